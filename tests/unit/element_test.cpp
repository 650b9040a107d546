// The element list without a window system: hit testing, visibility, clusters,
// pages, pointer capture and buttons, assign mode and the paint pass's idle
// rule. The program's side of the hook answers from the real parameter table
// and changes values through the real ParamSet of a zero-filled Plugin.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "shell/params.h"
#include "shell/plugin.h"
#include "tests/support/shell_rig.h"
#include "toolkit/element.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"

namespace {

const uint32_t BACKGROUND = 0xFF808080;

// What the program was asked to do, besides answering.
struct ProgramLog {
    UIClusterSlot placement[UI_CLUSTER_SLOTS];
    int backgrounds, reloads;
    int64_t menuParam, previewRow;
};
ProgramLog program;

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
    case UI_ASK_PARAM_MENU: program.menuParam = argument; return 0;
    case UI_ASK_PREVIEW_MENU: program.previewRow = argument; return 0;
    case EDITOR_MSG_SKIN_LOADED: program.reloads++; return 0;
    case UI_ASK_AUDIO_ACTIVE: return editor->meter->audioActive;
    case EDITOR_MSG_PLACE_UNITS: memcpy(data, program.placement, sizeof program.placement); return 0;
    case EDITOR_MSG_PAINT_BACKGROUND:
        program.backgrounds++;
        UIDrawBlock(&window->painter, 0, 0, window->painter.width, window->painter.height, BACKGROUND);
        return 0;
    }
    return 0;
}

// Every message an element got, by the id kept in its `value`.
struct Seen {
    int id;
    UIMessage message;
    UIPointerInfo info;
};
std::vector<Seen> seen;

void Recorder(Editor *, UIWindow *, Plugin *, UIElement *element, UIMessage message, void *data) {
    Seen entry = {(int)element->value, message, {}};
    if (message >= UI_MSG_LEFT_DOWN && message <= UI_MSG_HOVER && message != UI_MSG_DRAG_REBASE)
        entry.info = *(UIPointerInfo *)data;
    if (message == UI_MSG_HOVER) ((UIPointerInfo *)data)->cursor = 2;
    seen.push_back(entry);
}

int clicks;
void TestButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element, UIMessage message,
                void *data) {
    if (message == UI_MSG_CLICKED) clicks++;
    else if (message != UI_MSG_PAINT_FACE && message != UI_MSG_GET_PRESSED_RECT)
        UIButtonMessage(editor, window, plugin, element, message, data);
}

std::vector<int> Got(UIMessage message) {
    std::vector<int> ids;
    for (const Seen &entry : seen)
        if (entry.message == message) ids.push_back(entry.id);
    return ids;
}
typedef std::vector<int> Ids;

struct Elements : ::testing::Test {
    Plugin *plugin;
    Editor *editor;
    UIWindow window;
    std::vector<uint32_t> pixels = std::vector<uint32_t>(200 * 200);
    int32_t savedScale = uiScale, savedSkin = uiSkin;

    void SetUp() override {
        plugin = (Plugin *)calloc(1, sizeof(Plugin));
        plugin->context.meter = &plugin->meter;
        editor = &plugin->context;
        memset(&window, 0, sizeof window);
        window.painter = {200, 200, pixels.data(), nullptr};
        window.editorMessage = ProgramAnswer;
        memset(&program, 0, sizeof program);
        program.menuParam = program.previewRow = -1;
        seen.clear();
        clicks = 0;
        uiScale = 100;
        UIPaletteLoad(UI_SKIN_SHIPPED);
    }
    void TearDown() override {
        UIWindowFree(&window);
        free(plugin);
        uiScale = savedScale, uiSkin = savedSkin;
    }
    UIElement &Add(int id, int32_t x, int32_t y, int32_t width, int32_t height,
                   UIHandler handler = Recorder) {
        UIElement element = UIElementDefault();
        element.x = x, element.y = y, element.width = width, element.height = height;
        element.value = (float)id;
        element.handler = handler;
        return *UIWindowAddTemplateElement(&window, &element);
    }
    int HitId(int32_t x, int32_t y) {
        UIElement *hit = UIHitTest(&window, editor, x, y);
        return hit ? (int)hit->value : 0;
    }
    uint32_t Pointer(UIMessage message, int32_t x, int32_t y, uint8_t shift = 0) {
        return UIDispatchPointer(editor, &window, plugin, message, x, y, shift, 0);
    }
    void Paint(bool idle = false) { UIPaintAll(editor, &window, plugin, idle); }
    float &Value(int32_t param) { return editor->editorValue[param]; }
    bool Visible(int index) { return UIElementIsVisible(&window, editor, &window.elements[index]); }
};

TEST_F(Elements, the_earliest_visible_element_takes_the_point_over_half_open_rectangles) {
    Add(1, 10, 10, 50, 50);
    Add(2, 30, 30, 50, 50);   // overlaps 1 and paints over it
    Add(3, 100, 100, 0, 0);   // a background: painted, never hit
    Add(4, 100, 100, 0, 20);
    Add(5, 120, 10, 20, 20).flags = UI_ELEMENT_NO_HIT;
    Add(6, 120, 10, 20, 20);
    UIWindowStart(&window);
    const int HITS[][3] = {{40, 40, 1}, {70, 70, 2}, {10, 10, 1}, {59, 59, 1}, {60, 35, 2}, {60, 20, 0},
                           {9, 10, 0},  {100, 100, 0}, {100, 110, 0}, {125, 15, 6}};
    for (const auto &hit : HITS) EXPECT_EQ(HitId(hit[0], hit[1]), hit[2]) << hit[0] << "," << hit[1];
    Paint();
    EXPECT_EQ(Got(UI_MSG_PAINT), (Ids{1, 2, 3, 4, 5, 6}));

    // Pointer messages carry design units: at 150 percent, device 60 is 40.
    uiScale = 150;
    seen.clear();
    Pointer(UI_MSG_LEFT_DOWN, 60, 60);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].id, 1);
    EXPECT_EQ(seen[0].info.x, 40);
    EXPECT_EQ(Pointer(UI_MSG_HOVER, 60, 60), 2u);   // the hover answer comes back
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

    EXPECT_EQ(UITabMask(-1), 0u);
    EXPECT_EQ(UITabMask(31), 0x80000000u);
    EXPECT_EQ(window.elements[0].tabMask, 0u);
    EXPECT_TRUE(Visible(0));
    EXPECT_FALSE(Visible(1));
    window.tabBits = 2;
    EXPECT_TRUE(Visible(0) && Visible(1));
    window.tabBits = 1;

    Value(0) = 0.2f;
    EXPECT_TRUE(Visible(2));
    Value(PARAM_DIST_MODE) = 0.25f;
    EXPECT_TRUE(Visible(3));
    Value(PARAM_DIST_MODE) = 0.5f;
    EXPECT_FALSE(Visible(3));
    Value(PARAM_DIST_MODE) = NAN;
    EXPECT_FALSE(Visible(3));
    window.elements[3].matchIs = NAN;   // NaN equals nothing, itself included
    EXPECT_FALSE(Visible(3));

    EXPECT_FALSE(Visible(4));
    window.currentPage = 1;
    EXPECT_TRUE(Visible(4) && Visible(0));   // UI_PAGE_ALL shows on every page
    window.currentPage = 0;
    EXPECT_EQ(HitId(5, 5), 1);
    window.elements[0].tabMask = 4;   // hidden tabs let the point through
    EXPECT_EQ(HitId(5, 5), 0);
    EXPECT_EQ(HitId(45, 5), 0);
}

TEST_F(Elements, clusters_move_from_their_template_place_and_hide_when_unplaced) {
    Add(1, 5, 5, 10, 10);
    Add(2, 10, 20, 30, 10).cluster = 2;
    Add(3, 10, 40, 30, 10).cluster = 3;
    for (int i = 0; i < 3; i++) window.templateElements[i].page = 0;
    UIWindowStart(&window);
    UIElement *list = window.elements;

    program.placement[0] = {0, 100, 2};
    Paint();
    EXPECT_EQ(list[1].y, 120);
    EXPECT_EQ(list[1].page, 0u);
    EXPECT_EQ(list[2].page, UI_PAGE_UNPLACED);
    EXPECT_EQ(Got(UI_MSG_PAINT), (Ids{1, 2}));
    EXPECT_EQ(HitId(15, 45), 0);   // unplaced: no hit at its template place
    EXPECT_EQ(HitId(15, 125), 2);
    list[1].context = &window;     // the same rows again leave the list as it stands
    Paint();
    EXPECT_EQ(list[1].context, &window);

    // New rows: both clusters placed from the template, not from before.
    program.placement[0] = {0, 200, 2};
    program.placement[1] = {50, 0, 3};
    seen.clear();
    Paint();
    EXPECT_EQ(list[1].context, nullptr);
    EXPECT_EQ(list[1].y, 220);
    EXPECT_EQ(std::make_pair(list[2].x, list[2].y), std::make_pair(60, 40));
    EXPECT_EQ(list[0].y, 5);
    EXPECT_EQ(Got(UI_MSG_PAINT), (Ids{1, 2, 3}));
    EXPECT_EQ(HitId(65, 45), 3);
    // A new editor starts from the template and places again, even with
    // unchanged rows.
    UIWindowStart(&window);
    EXPECT_EQ(window.elements[1].y, 20);
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
    EXPECT_EQ(pageOpens, 1);
    Pointer(UI_MSG_LEFT_DOWN, 100, 100);   // outside the page's elements: nobody
    Pointer(UI_MSG_RIGHT_UP, 100, 100);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(program.menuParam, -1);
    Pointer(UI_MSG_LEFT_DOWN, 15, 15);
    EXPECT_EQ(Got(UI_MSG_LEFT_DOWN), Ids{10});
    seen.clear();
    Paint();
    EXPECT_EQ(Got(UI_MSG_PAINT), (Ids{1, 10}));   // the page paints last
    EXPECT_EQ(pagePaints, 1);

    // Not marked to close with the editor: the next editor opens it again.
    UIWindowFree(&window);
    EXPECT_EQ(window.openPage, &page);
    Add(1, 0, 0, 200, 200);
    UIWindowStart(&window);
    EXPECT_EQ(pageOpens, 2);
    EXPECT_EQ(HitId(15, 15), 10);
    page.closeWithEditor = 1;
    UIWindowFree(&window);
    EXPECT_EQ(window.openPage, nullptr);
}

TEST_F(Elements, a_button_captures_the_pointer_and_clicks_only_when_released_over_itself) {
    Add(1, 10, 10, 40, 20, TestButton);
    Add(2, 100, 100, 20, 20);
    UIWindowStart(&window);
    UIElement &button = window.elements[0];

    Pointer(UI_MSG_LEFT_DOWN, 20, 15);
    EXPECT_EQ(window.capturedElement, &button);
    EXPECT_EQ(window.pressedInside, 1u);
    Pointer(UI_MSG_LEFT_DOWN, 105, 105);   // nothing else is reached, not even by hover
    EXPECT_EQ(Pointer(UI_MSG_HOVER, 105, 105), 0u);
    EXPECT_TRUE(seen.empty());
    Paint();   // the overlay shows while the pointer is over the pressed button
    EXPECT_EQ(pixels[15 * 200 + 20], UIBlend(BACKGROUND, paletteValues[PAL_BUTTON_PRESSED_OVERLAY]));
    EXPECT_EQ(pixels[15 * 200 + 50], BACKGROUND);
    UIDragCaptured(editor, &window, plugin, 50, 15, 0);   // the right edge is outside
    EXPECT_EQ(window.pressedInside, 0u);
    Paint();
    EXPECT_EQ(pixels[15 * 200 + 20], BACKGROUND);
    UIEndCapture(editor, &window, plugin, 50, 15, 0);
    EXPECT_EQ(window.capturedElement, nullptr);
    EXPECT_EQ(clicks, 0);

    Pointer(UI_MSG_LEFT_DOWN, 20, 15);
    UIDragCaptured(editor, &window, plugin, 60, 15, 0);
    UIDragCaptured(editor, &window, plugin, 49, 29, 0);   // back inside, at the far corner
    UIEndCapture(editor, &window, plugin, 49, 29, 0);
    EXPECT_EQ(clicks, 1);
    Pointer(UI_MSG_LEFT_DOWN, 105, 105);   // the hold is over
    EXPECT_EQ(Got(UI_MSG_LEFT_DOWN), Ids{2});

    // A button of a unit that is off neither captures nor resets.
    button.param = PARAM_REVERB_MIX;
    Value(PARAM_REVERB_MIX) = 0.9f, Value(PARAM_REVERB_ENABLE) = 0;
    Paint();
    Pointer(UI_MSG_LEFT_DOWN, 20, 15);
    Pointer(UI_MSG_RESET, 20, 15);
    EXPECT_EQ(window.capturedElement, nullptr);
    EXPECT_EQ(Value(PARAM_REVERB_MIX), 0.9f);
    Value(PARAM_REVERB_ENABLE) = 1;
    Paint();
    Pointer(UI_MSG_RESET, 20, 15);
    EXPECT_EQ(Value(PARAM_REVERB_MIX), PARAM_INFO[PARAM_REVERB_MIX].defaultValue);
}

TEST_F(Elements, idle_ticks_paint_only_while_something_moves_and_once_after) {
    Add(1, 0, 0, 10, 10);
    UIWindowStart(&window);
    Ids drawn;
    auto pass = [&](bool idle) {
        int before = program.backgrounds;
        Paint(idle);
        drawn.push_back(program.backgrounds - before);
    };
    pass(true), pass(true);    // a new editor's first pass always draws
    pass(false), pass(true);   // a value changed
    plugin->meter.audioActive = 1;
    pass(true), pass(true);
    plugin->meter.audioActive = 0;
    pass(true), pass(true);    // one more, for the frame after activity ends
    window.capturedElement = &window.elements[0];
    pass(true);
    window.capturedElement = nullptr;
    pass(true), pass(true);
    EXPECT_EQ(drawn, (Ids{1, 0, 1, 0, 1, 1, 1, 0, 1, 1, 0}));
    EXPECT_EQ(Got(UI_MSG_PAINT_CAPTURED), Ids{1});
}

TEST_F(Elements, assign_mode_and_right_clicks_go_to_the_program_first) {
    Add(1, 0, 0, 40, 40).param = PARAM_REVERB_MIX;    // modulatable
    Add(2, 50, 0, 40, 40).param = PARAM_DELAY_TIME;   // not modulatable
    Add(3, 100, 0, 40, 40).flags = UI_ELEMENT_ALLOW_IN_MOD_ASSIGN;
    UIElement &picker = Add(4, 150, 0, 40, 40);
    picker.param = PARAM_MOD_DESTINATION, picker.flags = UI_ELEMENT_OWN_RIGHT_CLICK;
    UIWindowStart(&window);
    Value(PARAM_REVERB_ENABLE) = 1, Value(PARAM_DELAY_ENABLE) = 1;
    Paint();
    const UIAssignTarget pending = {0, 100, 100, PARAM_MOD_DESTINATION, &window.elements[3]};

    window.assignTarget = pending;
    Pointer(UI_MSG_LEFT_DOWN, 110, 10);   // what is allowed in assign mode still works
    EXPECT_EQ(window.assignTarget.param, PARAM_MOD_DESTINATION);
    Pointer(UI_MSG_LEFT_DOWN, 60, 10);    // can't take modulation: cancels
    EXPECT_EQ(window.assignTarget.param, -1);
    EXPECT_EQ(Value(PARAM_MOD_DESTINATION), 0.0f);
    window.assignTarget = pending;
    Pointer(UI_MSG_LEFT_DOWN, 10, 10);    // takes the assignment instead of the press
    EXPECT_EQ(Value(PARAM_MOD_DESTINATION), (PARAM_REVERB_MIX + 1) * 1.5258789e-5f);
    EXPECT_EQ(window.assignTarget.param, -1);
    EXPECT_EQ(Got(UI_MSG_LEFT_DOWN), Ids{3});
    window.assignTarget = pending;
    Pointer(UI_MSG_LEFT_DOWN, 50, 120);   // below the "Remove assign" box
    EXPECT_NE(Value(PARAM_MOD_DESTINATION), 0.0f);
    window.assignTarget = pending;
    Pointer(UI_MSG_LEFT_DOWN, 99, 119);   // its last pixel
    EXPECT_EQ(Value(PARAM_MOD_DESTINATION), 0.0f);

    // Right release: a parameter's menu, unless the element keeps the click.
    seen.clear();
    Pointer(UI_MSG_RIGHT_UP, 10, 10);
    Pointer(UI_MSG_RIGHT_UP, 160, 10);
    EXPECT_EQ(program.menuParam, PARAM_REVERB_MIX);
    EXPECT_EQ(Got(UI_MSG_RIGHT_UP), Ids{4});
    window.previewRows[3] = {0, 150, 50, 20, nullptr, 0};
    Pointer(UI_MSG_RIGHT_UP, 50, 150);
    EXPECT_EQ(program.previewRow, -1);
    Pointer(UI_MSG_RIGHT_UP, 49, 169);
    EXPECT_EQ(program.previewRow, 3);
}

TEST_F(Elements, shift_and_right_press_on_the_background_reload_a_custom_skin) {
    {
        TempHome home;
        home.PutSettings("[LathemoorFX]\nCustomSkin=" + home.home + "\n");
        TempHome::WriteWholeFile(home.home + "/palette.ini", "PAL_CURVE_LINE=0xFF112233\n");
        Add(1, 0, 0, 40, 40);
        UIWindowStart(&window);
        uiSkin = UI_SKIN_SHIPPED;
        Pointer(UI_MSG_RIGHT_DOWN, 100, 100, 1);   // not the custom skin
        uiSkin = UI_SKIN_CUSTOM;
        Pointer(UI_MSG_RIGHT_DOWN, 100, 100, 0);   // no Shift
        Pointer(UI_MSG_RIGHT_DOWN, 10, 10, 1);     // on an element: its own press
        EXPECT_EQ(paletteValues[PAL_CURVE_LINE], paletteDefaults[PAL_CURVE_LINE]);
        EXPECT_EQ(program.reloads, 0);
        EXPECT_EQ(Got(UI_MSG_RIGHT_DOWN), Ids{1});
        Pointer(UI_MSG_RIGHT_DOWN, 100, 100, 1);
        EXPECT_EQ(paletteValues[PAL_CURVE_LINE], 0xFF112233u);
        EXPECT_EQ(program.reloads, 1);
    }
    uiSkin = savedSkin;
    UIPaletteReload();   // leaves the pictures and palette as the other tests expect them
}

}  // namespace
