// The element list without a window system: hit testing, visibility, clusters,
// pages and a check box, against the real parameter
// table and ParamSet of a zero-filled Plugin.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <array>
#include <vector>

#include "editor/controls.h"
#include "editor/editor.h"
#include "vocabulary/params.h"
#include "shell/plugin.h"
#include "toolkit/element.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"

namespace {

UIClusterSlot placement[UI_CLUSTER_SLOTS];   // the rows the program hands out

int32_t ProgramAnswer(Editor *editor, UIWindow *window, Plugin *plugin, uint32_t message,
                      int64_t argument, void *data) {
    switch (message) {
    case UI_ASK_PARAM_VALUE:
        if (argument >= 0 && argument < PARAM_COUNT) *(float *)data = editor->editorValue[argument];
        return 0;
    case UI_ASK_PARAM_FACTS: {
        UIParamFacts *facts = (UIParamFacts *)data;
        facts->ownerEnable = PARAM_INFO[argument].ownerEnable;
        facts->modulatable = PARAM_INFO[argument].modulatable;
        facts->defaultValue = PARAM_INFO[argument].defaultValue;
        return 0;
    }
    case UI_ASK_PARAM_SET: ParamSet(plugin, (int32_t)argument, *(float *)data); return 0;
    case EDITOR_MSG_PLACE_UNITS: memcpy(data, placement, sizeof placement); return 0;
    }
    return 0;
}

// Every message an element got, by the id kept in its `value`.
struct Seen {
    int id;
    UIMessage message;
};
std::vector<Seen> seen;

void Recorder(Editor *, UIWindow *, Plugin *, UIElement *element, UIMessage message, void *) {
    seen.push_back({(int)element->value, message});
}

std::vector<int> Got(UIMessage message) {
    std::vector<int> ids;
    for (const Seen &entry : seen)
        if (entry.message == message) ids.push_back(entry.id);
    return ids;
}
typedef std::vector<int> Ids;

struct Elements : ::testing::Test {
    Plugin *plugin = (Plugin *)calloc(1, sizeof(Plugin));
    Editor *editor = &plugin->context;
    UIWindow window = {};
    std::vector<uint32_t> pixels = std::vector<uint32_t>(200 * 200);
    int32_t savedScale = uiScale;

    void SetUp() override {
        plugin->context.meter = &plugin->meter;
        window.painter = {200, 200, pixels.data(), nullptr};
        window.editorMessage = ProgramAnswer;
        memset(placement, 0, sizeof placement);
        seen.clear();
        uiScale = 100;
        UIPaletteLoad(UI_SKIN_SHIPPED);
    }
    void TearDown() override {
        UIWindowFree(&window);
        free(plugin);
        uiScale = savedScale;
    }
    UIElement &Add(int id, int32_t x, int32_t y, int32_t width, int32_t height,
                   UIHandler handler = Recorder) {
        UIElement element = UIElementDefault();
        element.x = x, element.y = y, element.width = width, element.height = height;
        element.value = (float)id, element.handler = handler;
        return *UIWindowAddTemplateElement(&window, &element);
    }
    int HitId(int32_t x, int32_t y) {
        UIElement *hit = UIHitTest(&window, editor, x, y);
        return hit ? (int)hit->value : 0;
    }
    uint32_t Pointer(UIMessage message, int32_t x, int32_t y) {
        return UIDispatchPointer(editor, &window, plugin, message, x, y, 0, 0);
    }
    void Paint() { UIPaintAll(editor, &window, plugin, false); }
    float &Value(int32_t param) { return editor->editorValue[param]; }
    bool Visible(int index) { return UIElementIsVisible(&window, editor, &window.elements[index]); }
};

TEST_F(Elements, the_earliest_visible_element_takes_the_point_over_half_open_rectangles) {
    Add(1, 10, 10, 50, 50);
    Add(2, 30, 30, 50, 50);   // overlaps 1 and paints over it
    Add(3, 100, 100, 0, 0);   // a background: painted, never hit
    Add(4, 120, 10, 20, 20).flags = UI_ELEMENT_NO_HIT;
    Add(5, 120, 10, 20, 20);
    UIWindowStart(&window);
    const int HITS[][3] = {{40, 40, 1}, {70, 70, 2}, {59, 59, 1}, {60, 35, 2}, {9, 10, 0}, {100, 100, 0},
                           {125, 15, 5}};
    for (const auto &hit : HITS) EXPECT_EQ(HitId(hit[0], hit[1]), hit[2]) << hit[0] << "," << hit[1];
    Paint();
    EXPECT_EQ(Got(UI_MSG_PAINT), (Ids{1, 2, 3, 4, 5}));
}

TEST_F(Elements, tabs_the_gate_and_pages_decide_what_shows_and_so_what_is_hit) {
    Add(1, 0, 0, 10, 10).tabMask = UITabMask(32);   // out of range: mask 0, every tab
    Add(2, 0, 0, 10, 10).tabMask = UITabMask(1);
    UIElement &noGate = Add(3, 20, 0, 10, 10);
    noGate.matchParam = 0, noGate.matchIs = 0.7f;   // parameter 0 can't gate
    UIElement &gated = Add(4, 40, 0, 10, 10);
    gated.matchParam = PARAM_DIST_MODE, gated.matchIs = 0.25f;
    Add(5, 60, 0, 10, 10).page = 1;
    UIWindowStart(&window);

    EXPECT_FALSE(Visible(1));
    window.tabBits = 2;
    EXPECT_TRUE(Visible(0) && Visible(1));
    window.tabBits = 1;
    Value(0) = 0.2f;
    EXPECT_TRUE(Visible(2));
    Value(PARAM_DIST_MODE) = 0.25f;
    EXPECT_TRUE(Visible(3));
    Value(PARAM_DIST_MODE) = window.elements[3].matchIs = NAN;   // NaN equals nothing, itself included
    EXPECT_FALSE(Visible(3));
    EXPECT_FALSE(Visible(4));
    window.currentPage = 1;
    EXPECT_TRUE(Visible(4) && Visible(0));   // UI_PAGE_ALL shows on every page
    window.currentPage = 0;
    window.elements[0].tabMask = 4;   // hidden tabs let the point through
    EXPECT_EQ(HitId(5, 5), 0);
}

TEST_F(Elements, clusters_move_from_their_template_place_and_hide_when_unplaced) {
    Add(1, 5, 5, 10, 10);
    Add(2, 10, 20, 30, 10).cluster = 2;
    Add(3, 10, 40, 30, 10).cluster = 3;
    for (int i = 0; i < 3; i++) window.templateElements[i].page = 0;
    UIWindowStart(&window);
    UIElement *list = window.elements;

    placement[0] = {0, 100, 2};
    Paint();
    EXPECT_EQ(list[1].y, 120);
    EXPECT_EQ(list[2].page, UI_PAGE_UNPLACED);
    EXPECT_EQ(HitId(15, 45), 0);   // unplaced: no hit at its template place

    // New rows: clusters placed from the template, not from before.
    placement[0] = {0, 200, 2};
    placement[1] = {50, 0, 3};
    Paint();
    EXPECT_EQ(list[1].y, 220);
    EXPECT_EQ(std::make_pair(list[2].x, list[2].y), std::make_pair(60, 40));
    EXPECT_EQ(HitId(65, 45), 3);
    UIWindowStart(&window);   // a new editor places again, even with unchanged rows
    Paint();
    EXPECT_EQ(window.elements[1].y, 220);
}

int pageOpens, pagePaints;
void CountOpen(UIWindow *) { pageOpens++; }
void CountPaint(Plugin *, Editor *, UIWindow *) { pagePaints++; }

TEST_F(Elements, an_open_page_takes_every_press_and_may_outlive_the_editor) {
    Add(1, 0, 0, 200, 200);
    UIElement pageTemplate = UIElementDefault();
    pageTemplate.x = 10, pageTemplate.y = 10, pageTemplate.width = 20, pageTemplate.height = 20;
    pageTemplate.value = 10, pageTemplate.handler = Recorder;
    UIPage page = {&pageTemplate, 1, 0, CountOpen, CountPaint};
    pageOpens = pagePaints = 0;
    UIWindowStart(&window);

    UIWindowOpenPage(&window, &page);
    Pointer(UI_MSG_LEFT_DOWN, 100, 100);   // outside the page's elements: nobody
    EXPECT_TRUE(seen.empty());
    Pointer(UI_MSG_LEFT_DOWN, 15, 15);
    EXPECT_EQ(Got(UI_MSG_LEFT_DOWN), Ids{10});
    seen.clear();
    Paint();
    EXPECT_EQ(Got(UI_MSG_PAINT), (Ids{1, 10}));   // the page paints last
    EXPECT_EQ(pagePaints, 1);

    UIWindowFree(&window);   // not marked to close with the editor: the next opens it again
    Add(1, 0, 0, 200, 200);
    UIWindowStart(&window);
    EXPECT_EQ(pageOpens, 2);
    page.closeWithEditor = 1;
    UIWindowFree(&window);
    EXPECT_EQ(window.openPage, nullptr);
}

TEST_F(Elements, a_check_box_flips_only_when_released_over_itself_and_a_unit_that_is_off_takes_nothing) {
    Add(1, 10, 10, 40, 20, ToggleHandler).param = PARAM_GATE_STEREO;
    Add(2, 100, 100, 20, 20);
    Add(3, 60, 60, 40, 40, DialNormal).param = PARAM_GATE_MIX;
    UIWindowStart(&window);
    float &stereo = Value(PARAM_GATE_STEREO), &mix = Value(PARAM_GATE_MIX);
    Value(PARAM_GATE_ENABLE) = 1, mix = 0.5f;

    Pointer(UI_MSG_LEFT_DOWN, 20, 15);
    EXPECT_EQ(window.capturedElement, &window.elements[0]);
    Pointer(UI_MSG_LEFT_DOWN, 105, 105);   // nothing else is reached
    EXPECT_TRUE(seen.empty());
    UIDragCaptured(editor, &window, plugin, 50, 15, 0);   // the right edge is outside
    EXPECT_EQ(window.pressedInside, 0u);
    UIEndCapture(editor, &window, plugin, 50, 15, 0);
    EXPECT_TRUE(window.capturedElement == nullptr && stereo == 0.0f);

    Pointer(UI_MSG_LEFT_DOWN, 20, 15);
    UIDragCaptured(editor, &window, plugin, 60, 15, 0);
    UIDragCaptured(editor, &window, plugin, 49, 29, 0);   // back inside, at the far corner
    UIEndCapture(editor, &window, plugin, 49, 29, 0);
    EXPECT_EQ(stereo, 1.0f);

    Value(PARAM_GATE_ENABLE) = 0;
    Paint();
    for (auto [x, y] : {std::make_pair(20, 15), std::make_pair(70, 65)}) {   // box, dial
        Pointer(UI_MSG_LEFT_DOWN, x, y);
        Pointer(UI_MSG_RESET, x, y);
        UIDispatchPointer(editor, &window, plugin, UI_MSG_WHEEL, x, y, 0, 72);
    }
    EXPECT_TRUE(!window.capturedElement && !window.dragElement && stereo == 1.0f && mix == 0.5f);
}

TEST_F(Elements, a_tooltip_keeps_twenty_from_the_sides_and_opens_upward_near_the_bottom) {
    // Left, top, right and bottom of what a 20 by 20 control at (x, y) gets for a parameter
    // without help text.
    auto box = [&](int32_t x, int32_t y) {
        std::fill(pixels.begin(), pixels.end(), 0u);
        UIElement element = UIElementDefault();
        element.x = x, element.y = y, element.width = element.height = 20;
        EditorMessage(editor, &window, plugin, EDITOR_MSG_PAINT_TOOLTIP, PARAM_MOD_AMOUNT, &element);
        std::array<int32_t, 4> e = {200, 200, 0, 0};
        for (int32_t i = 0; i < 200 * 200; i++)
            if (pixels[i]) e = {std::min(e[0], i % 200), std::min(e[1], i / 200), std::max(e[2], i % 200 + 1), std::max(e[3], i / 200 + 1)};
        return e;
    };
    EXPECT_EQ(box(90, 10), (std::array<int32_t, 4>{40, 30, 160, 50}));    // centred below
    EXPECT_EQ(box(170, 10), (std::array<int32_t, 4>{60, 30, 180, 50}));   // held off the right
    EXPECT_EQ(box(0, 10)[0], 20);
    EXPECT_EQ(box(90, 150), (std::array<int32_t, 4>{40, 130, 160, 150}));  // above the control
}

}  // namespace
