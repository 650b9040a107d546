// The interface file reader: values, expressions, `with`, macros, every
// message with whether the parse goes on, and the shipped file's elements.
#include <gtest/gtest.h>
#include <string.h>

#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "toolkit/embedded.h"
#include "toolkit/interface_file.h"
#include "toolkit/palette.h"
#include "vocabulary/params.h"

namespace {

template <int K> void KindHandler(Editor *, UIWindow *, Plugin *, UIElement *, UIMessage, void *) {}
template <size_t... K> void RegisterKinds(std::index_sequence<K...>) {
    ((uiKindHandlers[K] = KindHandler<(int)K>), ...);
}
UIKind KindOf(const UIElement &element) {
    for (int k = 0; k < UI_KIND_COUNT; k++) {
        if (element.handler == uiKindHandlers[k]) return (UIKind)k;
    }
    return UI_KIND_COUNT;
}

// The program's side: takes every kind but "refused", and keeps the pairs of the last offer.
std::string offeredPairs;
int32_t Program(Editor *, UIWindow *, Plugin *, uint32_t message, int64_t, void *data) {
    if (message != EDITOR_MSG_MAKE_ELEMENT) return 0;
    UIMakeElement *offer = (UIMakeElement *)data;
    offeredPairs.clear();
    for (uint64_t i = 0; i < offer->pairTokens; i++)
        offeredPairs += std::string(offer->pairs[i].text, offer->pairs[i].length) + " ";
    return std::string(offer->kind.text, offer->kind.length) != "refused";
}

struct Parsed {
    UIWindow window = {};
    std::string errors;
    explicit Parsed(const char *text, size_t length = 0) {
        RegisterKinds(std::make_index_sequence<UI_KIND_COUNT>());
        window.editorMessage = Program;
        testing::internal::CaptureStderr();
        UIInterfaceFileParse(&window, text, text + (length ? length : strlen(text)));
        errors = testing::internal::GetCapturedStderr();
    }
    ~Parsed() { UIWindowFree(&window); }
    uint64_t count() const { return window.templateCount; }
    const UIElement &operator[](size_t i) const { return window.templateElements[i]; }
};

TEST(InterfaceFile, ValuesExpressionsAndKeys) {
    Parsed p("dial: x=3#comment ends the value\n y=(2+3)*4 w=2+3*4 h=0-5 value=3f000000 tab=32 page=1;"
             "radio: value=0 which=2 tab=3 x no_hit=1 has_used_indicator check_hint='a b';"
             "dial: small bipolar; dial: bipolar tiny; dial: tiny small; slider: bipolar;"
             "x: y=2 - 3 - 4 * 2 w=10*(1) h=7-(2);");
    ASSERT_EQ(p.count(), 7u) << p.errors;
    EXPECT_EQ(p.errors, "");
    const UIElement &a = p[0], &b = p[1];
    EXPECT_EQ(std::make_tuple(a.x, a.y, a.width, a.height), std::make_tuple(3, 20, 14, -5));
    EXPECT_EQ(std::make_tuple(a.value, a.tabMask, a.page), std::make_tuple(0.5f, 0u, 1u));
    EXPECT_EQ(b.value, 2.0f);   // `which` after `value` overrides it
    EXPECT_EQ(b.tabMask, 8u);
    EXPECT_EQ(b.x, 0);          // a key that wants a value is ignored without one
    EXPECT_EQ(b.flags, UI_ELEMENT_RADIO | UI_ELEMENT_USED_INDICATOR);   // and a flag with one
    EXPECT_STREQ((const char *)b.context, "a b");
    EXPECT_EQ(KindOf(b), UI_KIND_TOGGLE);
    EXPECT_EQ(KindOf(p[2]), UI_KIND_DIAL_SMALL_BIPOLAR);
    EXPECT_EQ(KindOf(p[3]), UI_KIND_DIAL_TINY_BIPOLAR);
    EXPECT_EQ(KindOf(p[4]), UI_KIND_DIAL_TINY);   // tiny wins over small; sliders are never bipolar
    EXPECT_EQ(KindOf(p[5]), UI_KIND_SLIDER);
    EXPECT_EQ(std::make_tuple(p[6].y, p[6].width, p[6].height), std::make_tuple(-9, 10, 5));

    std::string longHint = "dial: check_hint=\"" + std::string(300, 'h') + "\";";
    Parsed cut(longHint.c_str());
    EXPECT_EQ(strlen((const char *)cut[0].context), (size_t)UI_VALUE_MAX);
}

TEST(InterfaceFile, WithKeysComeFirstAndEndWithTheirBlock) {
    Parsed p("with page=1 x=5 { dial: page=0; with y=7 { dial: ; } dial: ; } dial: ;");
    ASSERT_EQ(p.count(), 4u);
    EXPECT_EQ(std::make_pair(p[0].page, p[0].x), std::make_pair(0u, 5));
    EXPECT_EQ(std::make_pair(p[1].y, p[2].y), std::make_pair(7, 0));
    EXPECT_EQ(p[2].page, 1u);
    EXPECT_EQ(std::make_pair(p[3].page, p[3].x), std::make_pair((uint32_t)UI_PAGE_ALL, 0));
}

TEST(InterfaceFile, MacrosPassLowerCaseKeysAndRewriteStrings) {
    Parsed p("macro M { probe: ... w=$P param=\"Reverb $m\"; dial: param='Reverb $m$'; }"
             "M: x=1 y=2 P=3 m=Mix; dial: x=9;");
    ASSERT_EQ(p.count(), 3u);
    EXPECT_EQ(offeredPairs, "x 1 y 2 m Mix w 3 param Reverb Mix ");
    EXPECT_EQ(p[0].param, PARAM_REVERB_MIX);
    EXPECT_EQ(p[1].param, -1);   // "Reverb Mix$": a last "$" stays
    EXPECT_EQ(p.errors, "Error: param 'Reverb Mix$' not found.\n");
}

TEST(InterfaceFile, DuplicatedNamesBindByCluster) {
    Parsed p("dial: cluster=2 param=\"Polyrhythmic Delay Mix 2\" page=0;"
             "dial: param='Polyrhythmic Delay Mix 2' cluster=11 page=0;"
             "dial: param='Polyrhythmic Delay Time 2' cluster=11 page=0;"
             "dial: param='Polyrhythmic Delay Mix 2';");
    ASSERT_EQ(p.count(), 4u);
    for (int i = 0; i < 4; i++)
        EXPECT_STREQ(PARAM_INFO[p[i].param].name, i == 2 ? "Polyrhythmic Delay Time 2" : "Polyrhythmic Delay Mix 2");
    EXPECT_EQ(PARAM_INFO[p[0].param].ownerEnable, PARAM_DELAY_ENABLE);
    EXPECT_EQ(PARAM_INFO[p[1].param].ownerEnable, PARAM_DELAY_ENABLE + 1);
    EXPECT_EQ(PARAM_INFO[p[2].param].ownerEnable, PARAM_DELAY_ENABLE + 1);
    EXPECT_EQ(p[3].param, p[1].param);   // no cluster: the first row of the name
}

TEST(InterfaceFile, PreviewConfigurationMakesNoElement) {
    Parsed p("preview_configuration: id=3 color=PAL_PREVIEW x=1 y=2 w=3 h=4;"
             "preview_configuration: id=32 x=9; preview_configuration: x=9;"
             "preview_configuration: id=4 color=nope;");
    EXPECT_EQ(p.count(), 0u);
    EXPECT_EQ(p.window.previewRows[3].colour, UIPaletteFind("PAL_PREVIEW"));
    EXPECT_EQ(p.window.previewRows[3].height, 4);
    EXPECT_EQ(p.window.previewRows[4].colour, nullptr);
    EXPECT_EQ(p.window.previewRows[31].x + p.window.previewRows[0].x, 0);
}

// Each message in its words, and how many of the two statements around it were made.
TEST(InterfaceFile, MessagesAndWhetherTheParseGoesOn) {
    const struct { const char *text, *message; uint64_t made; } cases[] = {
        {"dial:; dial:; 'x", "UIParseToken: Invalid string.\n", 2},
        {"dial:; dial: x=1 $", "UIParseToken: Invalid macro variable.\n", 0},
        {"dial:; dial: x=1.5; dial:;", "UIParseToken: Invalid character '.'.\n", 0},
        {"dial:; dial: x=(1+2 y y=3; dial:;", "UIInterfaceFileEvaluate: Missing right bracket.\n", 3},
        {"dial:; dial: x=-5; dial:;", "UIInterfaceFileParseKeyValuePairs: Expected string for value.\n", 1},
        {"dial:; dial: = 5; dial:;", "UIInterfaceFileParseKeyValuePairs: Expected string for key.\n", 1},
        {"dial:; } dial:;", "UIInterfaceFileParse: Unexpected right bracket.\n", 1},
        {"dial:; ; dial:;", "UIInterfaceFileParse: Invalid token at top level.\n", 1},
        {"dial:; dial x=1; dial:;", "UIInterfaceFileParse: Expected colon.\n", 1},
        {"dial:; macro { } dial:;", "UIInterfaceFileParse: Expected macro name.\n", 1},
        {"dial:; macro M dial:;", "UIInterfaceFileParse: Expected macro body.\n", 1},
        {"dial:; macro M { dial: ", "UIInterfaceFileParse: Unexpected end of file in macro.\n", 1},
        {"dial:; macro M { macro N:; dial:;", "UIInterfaceFileParse: Nested macros.\n", 3},
        {"dial:; macro M { dial: w=$w; } M: x=1;", "UIInterfaceFileParse: Macro variable not found.\n"
         "UIInterfaceFileParseKeyValuePairs: Expected string for value.\n", 1},
        {"macro A { B:; } macro B { dial:; } B:; A:; dial:;", "UIInterfaceFileParse: Recursive macro evaluation.\n", 1},
        {"dial: param=Nothing; dial:;", "Error: param 'Nothing' not found.\n", 2},
        {"dial: cluster=3; dial: cluster=3 page=0;", "UICreateElement: Element with a cluster has no page.\n", 2},
        {"dial:; refused:; nameless:;", "", 2},
    };
    for (const auto &c : cases) {
        Parsed p(c.text);
        EXPECT_EQ(p.errors, c.message) << c.text;
        EXPECT_EQ(p.count(), c.made) << c.text;
    }
}

TEST(InterfaceFile, ShippedFileMakesTheWholeEditor) {
    const UIEmbeddedFile *file = UIEmbeddedFind("lathemoorfx_ui.txt");
    ASSERT_NE(file, nullptr);
    Parsed p((const char *)file->start, file->size);
    EXPECT_EQ(p.errors, "");
    ASSERT_EQ(p.count(), 321u);
    std::set<int32_t> rows;
    for (uint64_t i = 0; i < p.count(); i++) rows.insert(p[i].param);
    // Every parameter has its control but the unused rows and the right
    // gate patterns, which the gate view edits with the left ones.
    for (int32_t row = 0; row < PARAM_COUNT; row++) {
        bool silent = strcmp(PARAM_INFO[row].name, "Unused") == 0 ||
                      strncmp(PARAM_INFO[row].name, "Trancegate Right", 16) == 0;
        EXPECT_NE(rows.count(row), silent ? 1u : 0u) << PARAM_INFO[row].name;
    }
}

}  // namespace
