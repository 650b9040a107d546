// The unit rack. A slot holds a unit's id, instance * 9 + kind, as a coded
// whole number; the interface file writes each of the 27 units' controls once,
// at the first place, under cluster id + 2, and each place's add button under
// cluster 31 + place. Placing the units is choosing, for every place, which of
// those clusters stands there.
//
// A unit is added from a menu of the kinds that still have a free instance,
// deleted by emptying its slot (the other slots keep their places, and the
// unit keeps its settings for when it comes back), and moved through a page
// of insert buttons laid over the rack.
#include "editor/rack.h"

#include <string.h>

#include "toolkit/images.h"
#include "toolkit/menu.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"
#include "vocabulary/context.h"
#include "vocabulary/params.h"

enum {
    SLOT_COUNT = 8,
    KIND_COUNT = 9,
    INSTANCE_COUNT = 3,
    UNIT_COUNT = KIND_COUNT * INSTANCE_COUNT,
    FIRST_UNIT_CLUSTER = 2,
    FIRST_ADD_CLUSTER = 31,
    EMPTY = -1,
};

// Each place's offset from the first, where the interface file puts every
// unit: two columns, five places on the left and three on the right.
static const int32_t PLACE_OFFSETS[SLOT_COUNT][2] = {
    {0, 0}, {0, 99}, {0, 198}, {0, 297}, {0, 396}, {535, 0}, {535, 99}, {535, 198},
};

// ---- the slots ----

static int32_t SlotId(const Editor *editor, int32_t slot) {
    return ParamDecodeWhole(editor->editorValue[PARAM_EFFECT_SLOT + slot]);
}

static bool IsUnit(int32_t id) { return id >= 0 && id < UNIT_COUNT; }

void RackPlaceUnits(const Editor *editor, UIClusterSlot *slots) {
    for (int32_t s = 0; s < SLOT_COUNT; s++) {
        int32_t id = SlotId(editor, s);
        slots[s].cluster = IsUnit(id) ? FIRST_UNIT_CLUSTER + id : FIRST_ADD_CLUSTER + s;
        slots[s].offsetX = PLACE_OFFSETS[s][0];
        slots[s].offsetY = PLACE_OFFSETS[s][1];
    }
}

// The slot that holds the unit of a move or delete button, or -1 when the
// slots changed under it in the same tick.
static int32_t SlotOfCluster(const Editor *editor, uint32_t cluster) {
    for (int32_t s = 0; s < SLOT_COUNT; s++) {
        int32_t id = SlotId(editor, s);
        if (IsUnit(id) && (uint32_t)(id + FIRST_UNIT_CLUSTER) == cluster) return s;
    }
    return -1;
}

// Every write of the rack is a gesture of its own, so a host that records
// automation takes each one as the user's.
static void SetParameter(Editor *editor, UIWindow *window, Plugin *plugin, int32_t param,
                         float value) {
    uint8_t begin = 1, end = 0;
    UIEditorSend(editor, window, plugin, UI_ASK_PARAM_GESTURE, param, &begin);
    UIEditorSend(editor, window, plugin, UI_ASK_PARAM_SET, param, &value);
    UIEditorSend(editor, window, plugin, UI_ASK_PARAM_GESTURE, param, &end);
}

static void SetSlot(Editor *editor, UIWindow *window, Plugin *plugin, int32_t slot, int32_t id) {
    SetParameter(editor, window, plugin, PARAM_EFFECT_SLOT + slot, ParamEncodeWhole(id));
}

// ---- adding ----

struct KindEntry {
    const char32_t *name;
    int32_t kind;
    int32_t enableRow;   // the first instance's Enable; the others follow
};

// In the menu's alphabetical order.
static const KindEntry ADD_MENU[KIND_COUNT] = {
    {U"Chorus", 3, PARAM_CHORUS_ENABLE},
    {U"Compressor", 8, PARAM_COMP_ENABLE},
    {U"Multiband Distortion", 2, PARAM_DIST_ENABLE},
    {U"Parametric EQ", 5, PARAM_EQ_ENABLE},
    {U"Phaser", 4, PARAM_PHASER_ENABLE},
    {U"Ping-Pong Delay", 1, PARAM_PINGPONG_ENABLE},
    {U"Polyrhythmic Delay", 0, PARAM_DELAY_ENABLE},
    {U"Reverb", 7, PARAM_REVERB_ENABLE},
    {U"Trance Gate", 6, PARAM_GATE_ENABLE},
};

// The lowest instance of `kind` that no slot holds, or -1 when all three are
// in the rack.
static int32_t FreeInstance(const Editor *editor, int32_t kind) {
    bool used[INSTANCE_COUNT] = {};
    for (int32_t s = 0; s < SLOT_COUNT; s++) {
        int32_t id = SlotId(editor, s);
        if (IsUnit(id) && id % KIND_COUNT == kind) used[id / KIND_COUNT] = true;
    }
    for (int32_t i = 0; i < INSTANCE_COUNT; i++)
        if (!used[i]) return i;
    return -1;
}

// Declares the kinds with a free instance, and on the choice puts that
// instance in the button's slot, switched on. Its other settings stay as
// they were, so a unit deleted and added again comes back the same.
static void AddMenu(UIMenuBuilder *builder) {
    Editor *editor = builder->editor;
    for (const KindEntry &entry : ADD_MENU) {
        int32_t instance = FreeInstance(editor, entry.kind);
        if (instance < 0 || !UIMenuAdd(builder, entry.name)) continue;
        int32_t slot = builder->element->param - PARAM_EFFECT_SLOT;
        if (slot < 0 || slot >= SLOT_COUNT) return;
        SetSlot(editor, builder->window, builder->plugin, slot,
                instance * KIND_COUNT + entry.kind);
        SetParameter(editor, builder->window, builder->plugin, entry.enableRow + instance, 1.0f);
        return;
    }
}

// ---- moving ----

// Insert position p stands in front of slot p; 8 is behind the last slot.
enum { INSERT_POSITIONS = 9 };

// Takes the unit out of slot `source` and drops it in front of slot
// `position`. The units from the drop on shift toward the nearest gap at or
// after it; with none there, the units before the drop shift back toward the
// gap below (the moved unit's own slot at the latest). Other gaps stay.
static void MoveInList(int32_t ids[SLOT_COUNT], int32_t source, int32_t position) {
    int32_t carried = ids[source];
    ids[source] = EMPTY;
    bool gapAhead = false;
    for (int32_t i = position; i < SLOT_COUNT; i++) gapAhead |= ids[i] == EMPTY;
    int32_t step = gapAhead ? 1 : -1;
    for (int32_t i = gapAhead ? position : position - 1; i >= 0 && i < SLOT_COUNT; i += step) {
        int32_t was = ids[i];
        ids[i] = carried;
        carried = was;
        if (was == EMPTY) break;
    }
}

static void MovePagePaint(Plugin *plugin, Editor *editor, UIWindow *window) {
    UIPainter *painter = &window->painter;
    UIDrawBlock(painter, 0, 0, painter->width, painter->height,
                paletteValues[PAL_POPUP_WEAK_BACKGROUND]);
}

// The darkening over a pressed button: the element's own rectangle, with
// the picture's rounded corners.
static void RoundPressedRect(void *data) { ((UIPressedRect *)data)->radius = 2; }

// The insert button in front of the moved unit's own slot would leave all
// as it is: it is neither drawn nor live.
static void MoveTarget(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                       UIMessage message, void *data) {
    int32_t position = (int32_t)element->value;
    if (position == window->moveSourceSlot) return;
    switch (message) {
    case UI_MSG_PAINT_FACE:
        UIDrawImage(&window->painter, UIImageGet(IMAGE_INSERT_BUTTON), element->x - 2,
                    element->y - 1, true);
        break;
    case UI_MSG_GET_PRESSED_RECT:
        RoundPressedRect(data);
        break;
    case UI_MSG_CLICKED: {
        int32_t source = window->moveSourceSlot;
        if (source >= 0 && source < SLOT_COUNT) {
            int32_t ids[SLOT_COUNT];
            for (int32_t s = 0; s < SLOT_COUNT; s++) {
                int32_t id = SlotId(editor, s);
                ids[s] = IsUnit(id) ? id : EMPTY;
            }
            int32_t moved[SLOT_COUNT];
            memcpy(moved, ids, sizeof moved);
            MoveInList(moved, source, position);
            for (int32_t s = 0; s < SLOT_COUNT; s++)
                if (moved[s] != ids[s]) SetSlot(editor, window, plugin, s, moved[s]);
        }
        UIWindowClosePage(window);
        break;
    }
    default:
        UIButtonMessage(editor, window, plugin, element, message, data);
        break;
    }
}

enum { INSERT_WIDTH = 74, INSERT_HEIGHT = 19, CLOSE_WIDTH = 1189, CLOSE_HEIGHT = 695 };

static UIElement InsertButton(int32_t x, int32_t y, int32_t position) {
    UIElement element = {};
    element.x = x;
    element.y = y;
    element.param = -1;
    element.handler = MoveTarget;
    element.value = (float)position;
    element.width = INSERT_WIDTH;
    element.height = INSERT_HEIGHT;
    element.page = UI_PAGE_ALL;
    return element;
}

static UIElement CloseArea() {
    UIElement element = {};
    element.param = -1;
    element.handler = UIPageCloser;   // a press anywhere but on an insert button cancels
    element.width = CLOSE_WIDTH;
    element.height = CLOSE_HEIGHT;
    element.page = UI_PAGE_ALL;
    return element;
}

// The insert buttons stand in the gaps between the places, in front of the
// place they name, and come first: the close area under them takes only the
// presses they leave.
static UIElement MOVE_PAGE_ELEMENTS[INSERT_POSITIONS + 1] = {
    InsertButton(230, 60, 0),  InsertButton(230, 159, 1), InsertButton(230, 258, 2),
    InsertButton(230, 357, 3), InsertButton(230, 456, 4), InsertButton(765, 60, 5),
    InsertButton(765, 159, 6), InsertButton(765, 258, 7), InsertButton(765, 357, 8),
    CloseArea(),
};

// It stays open when the editor closes, and is there again in the next one.
static UIPage MOVE_PAGE = {MOVE_PAGE_ELEMENTS, INSERT_POSITIONS + 1, 0, nullptr, MovePagePaint};

// ---- the buttons on the rack and the unit backgrounds ----

// What the three buttons share: an image for a face, rounded corners while
// pressed, and the toolkit's button behaviour; each acts on its own click.
static void RackButton(UIImageSingle face, Editor *editor, UIWindow *window, Plugin *plugin,
                       UIElement *element, UIMessage message, void *data) {
    if (message == UI_MSG_PAINT_FACE)
        UIDrawImage(&window->painter, UIImageGet(face), element->x - 2, element->y - 1, true);
    else if (message == UI_MSG_GET_PRESSED_RECT)
        RoundPressedRect(data);
    else
        UIButtonMessage(editor, window, plugin, element, message, data);
}

static void AddButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                      UIMessage message, void *data) {
    if (message == UI_MSG_CLICKED) UIMenuBuildAndShow(window, element, AddMenu);
    else if (message != UI_MSG_PAINT_FACE || window->openPage != &MOVE_PAGE)
        RackButton(IMAGE_ADD_BUTTON, editor, window, plugin, element, message, data);
}

static void MoveButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                       UIMessage message, void *data) {
    if (message != UI_MSG_CLICKED) {
        RackButton(IMAGE_MOVE_BUTTON, editor, window, plugin, element, message, data);
        return;
    }
    int32_t slot = SlotOfCluster(editor, element->cluster);
    if (slot < 0) return;
    window->moveSourceSlot = slot;
    UIWindowOpenPage(window, &MOVE_PAGE);
}

// Only the slot empties: the unit keeps its Enable and settings, and the
// other units keep their places.
static void DeleteButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                         UIMessage message, void *data) {
    if (message != UI_MSG_CLICKED) {
        RackButton(IMAGE_DELETE_BUTTON, editor, window, plugin, element, message, data);
        return;
    }
    int32_t slot = SlotOfCluster(editor, element->cluster);
    if (slot >= 0) SetSlot(editor, window, plugin, slot, EMPTY);
}

// Of size 0, so it takes no pointer: it only paints its unit's panel.
static void UnitBackground(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                           UIMessage message, void *data) {
    if (message != UI_MSG_PAINT) return;
    UIImage *image = UIUnitBackground((int32_t)element->cluster);
    if (image) UIDrawImage(&window->painter, image, element->x, element->y, true);
}

bool RackMakeElement(UIMakeElement *offer) {
    static const struct {
        const char *kind;
        UIHandler handler;
    } KINDS[] = {
        {"button_add_effect", AddButton},
        {"button_move_unit", MoveButton},
        {"button_delete_unit", DeleteButton},
        {"unit_background", UnitBackground},
    };
    for (const auto &row : KINDS) {
        if (strlen(row.kind) != offer->kind.length ||
            memcmp(row.kind, offer->kind.text, offer->kind.length))
            continue;
        offer->element->handler = row.handler;
        return true;
    }
    return false;
}
