// The element list: an interface is one flat array of UIElement records in
// paint order, each with its own rectangle in design units and one handler
// that takes every message meant for it. There is no tree, no layout pass and
// no keyboard focus. A modal UIPage has a second, short array drawn over the
// main one. Everything here works on the window's pixel buffer alone; the X
// side only feeds pointer events in and shows the pixels.
//
// Design units are those of the interface file, valid at 100 percent; device
// pixels = design * uiScale / 100 and design = device * 100 / uiScale, both
// truncated toward zero.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "toolkit/painter.h"

// The program's own records. The toolkit passes them through to handlers and
// to the editor hook and never looks inside, so it names them only.
struct EngineContext;
struct Plugin;
typedef EngineContext Editor;   // what every handler gets as its first argument

struct UIWindow;
struct UIElement;

typedef uint32_t UIMessage;

enum : UIMessage {
    UI_MSG_PAINT = 0,             // data: one byte, 1 in the repaint over the assign-mode dimming
    UI_MSG_LEFT_DOWN = 1,         // data: UIPointerInfo
    UI_MSG_RIGHT_DOWN = 2,
    UI_MSG_RIGHT_UP = 3,          // only on elements without a parameter menu of their own
    UI_MSG_RESET = 4,             // middle press, or Alt with left press
    UI_MSG_DRAG = 6,              // the pointer moved while this element holds it
    UI_MSG_DRAG_REBASE = 7,       // data: one byte, 0 horizontal axis, 1 vertical
    UI_MSG_DRAG_END = 8,
    UI_MSG_WHEEL = 9,             // wheelDelta holds the step
    UI_MSG_HOVER = 11,            // answer the cursor in UIPointerInfo.cursor
    UI_MSG_PAINT_CAPTURED = 14,   // data: null; the captured element's overlay, after all others
    UI_MSG_GET_ROLE = 15,         // data: u32 answer
    UI_MSG_GET_DESCRIPTION = 16,  // data: char32_t[UI_DESCRIPTION_SIZE], zeroed, to fill
    UI_MSG_CLICKED = 17,          // buttons: released inside after pressing inside
    UI_MSG_PAINT_FACE = 18,       // buttons: draw the face; data null
    UI_MSG_GET_PRESSED_RECT = 19, // buttons: data UIPressedRect, to adjust
};

// Messages to the program (the editor), through UIWindow.editorMessage. They
// never reach an element's handler.
enum : uint32_t {
    EDITOR_MSG_PAINT_BACKGROUND = 20,
    EDITOR_MSG_PAINT_TOOLTIP = 22,     // argument: the parameter; data: the element
    EDITOR_MSG_SKIN_LOADED = 24,
    EDITOR_MSG_DRAG_VALUE = 25,        // argument: the parameter; data: UIDragValue
    EDITOR_MSG_PLACE_UNITS = 26,       // data: UIClusterSlot[UI_CLUSTER_SLOTS] to refill
    EDITOR_MSG_MAKE_ELEMENT = 27,
    EDITOR_MSG_RESET_TABS = 34,
    EDITOR_MSG_CURVES_RESET = 37,
    EDITOR_MSG_CURVES_FREE = 38,
    EDITOR_MSG_CURVES_WRITE = 39,
    EDITOR_MSG_CURVES_READ = 40,
};

// Questions and orders of the toolkit that only the program can answer: the
// parameter table, the values, ParamSet, the host's indication colours, the
// meters and the menus live outside the toolkit, and the toolkit must not include their
// headers. They go through the same hook as the editor's messages, above the
// editor's own range. Answer records are filled by the toolkit with the
// neutral answer before sending, so a program that answers nothing (the hook
// left unset) leaves every gate open to value 0, no parameter owned or
// modulatable, and no menu.
enum : uint32_t {
    UI_ASK_PARAM_VALUE = 64,     // argument: parameter; data: float, its editor value. Sent
                                 // with a null Plugin: the Editor holds the values
    UI_ASK_PARAM_FACTS = 65,     // argument: parameter; data: UIParamFacts
    UI_ASK_PARAM_SET = 66,       // argument: parameter; data: float, the new value (ParamSet)
    UI_ASK_PARAM_MENU = 67,      // argument: parameter; data: the element; opens its menu
    UI_ASK_PREVIEW_MENU = 68,    // argument: index of the preview row; opens its menu
    UI_ASK_AUDIO_ACTIVE = 69,    // returns 1 while the audio side shows activity
    UI_ASK_INDICATION = 70,      // argument: parameter; data: UIIndication
    UI_ASK_PARAM_GESTURE = 71,   // argument: parameter; data: uint8_t, 1 begin, 0 end
    UI_ASK_MARK_DIRTY = 72,      // the curves changed: the host's state is no longer saved
    UI_ASK_EQ_RESPONSE = 73,     // argument: EQ instance 0..2; fills the meter's eqCurve
                                 // from the editor's values
    UI_ASK_HOST_MENU = 74,       // argument: parameter; returns the count of the host's items
    UI_ASK_HOST_MENU_ITEM = 75,  // argument: index; data: UIHostMenuItem; 0 past the end
    UI_ASK_HOST_MENU_PERFORM = 76,  // argument: index of the item chosen
    UI_ASK_SET_SCALE = 77,       // argument: percent, for every open editor
    UI_ASK_REFRESH = 78,         // argument: a new period in ms, or 0; returns the period
    UI_ASK_OPEN_ADDRESS = 79,    // argument: UI_ADDRESS_*; hands it to the desktop
    UI_ASK_VERSION = 80,         // data: const char *, the descriptor's version text
    UI_ASK_PATCH_MENU = 81,      // data: the element; opens the patch browser's menu under it
    UI_ASK_PATCH_STEP = 82,      // argument: 1 next, 0 previous patch of the patch folder
    UI_ASK_PATCH_NAME = 83,      // data: char[UI_PATCH_NAME_SIZE], the patch's name
};

enum { UI_PATCH_NAME_SIZE = 100, UI_DESCRIPTION_SIZE = 128 };

enum { UI_ADDRESS_MANUAL = 0, UI_ADDRESS_WEBSITE = 1 };

// One item of the host's context menu for a parameter.
struct UIHostMenuItem {
    const char32_t *label;   // null for a separator
    uint8_t disabled, checked;
};

// EDITOR_MSG_DRAG_VALUE: the pointer in design units, and the answer.
struct UIDragValue {
    int32_t x, y;
    float value;
};

struct UIParamFacts {
    int32_t ownerEnable;   // Enable row of the owning unit, 0 for none
    uint8_t modulatable;
    float defaultValue;
};

// The host's colours for one parameter, 0 where it shows none.
struct UIIndication {
    uint32_t mappingColour, automationColour;
};

enum : uint8_t {
    UI_ELEMENT_USED_INDICATOR = 1,
    UI_ELEMENT_RADIO = 2,
    UI_ELEMENT_INVERT_DIAL = 4,
    UI_ELEMENT_NO_HIT = 8,             // painted, never found by hit testing
    UI_ELEMENT_ALLOW_IN_MOD_ASSIGN = 16,
    UI_ELEMENT_OWN_RIGHT_CLICK = 32,
};

enum : uint32_t {
    UI_PAGE_ALL = 0xFFFFFFFF,
    UI_PAGE_UNPLACED = 1u << 30,       // set on `page` while the element's cluster has no place
};

enum {
    UI_PARAM_LIMIT = 231,        // parameters are 0..230
    UI_CLUSTER_SLOTS = 16,
    UI_PREVIEW_ROWS = 32,
    UI_CURVE_COUNT = 3,
    UI_ASSIGN_BOX_HEIGHT = 20,   // the "Remove assign" box
    UI_ASSIGN_TEXT_WIDTH = 100,  // the strip of "Click target..."
};

typedef void (*UIHandler)(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                          UIMessage message, void *data);

// The editor's message function: returns 0 unless the message says otherwise.
typedef int32_t (*UIEditorMessageFunction)(Editor *editor, UIWindow *window, Plugin *plugin,
                                           uint32_t message, int64_t argument, void *data);

struct UIElement {
    int32_t x, y;          // top-left corner, design units
    int32_t param;         // parameter, or -1
    UIHandler handler;
    float value;           // the kind's own number: `value` (float bits) or `which`
    int32_t width, height; // design units; 0 in either is never hit
    uint32_t page;         // UI_PAGE_ALL, or a page number; UI_PAGE_UNPLACED while unplaced
    uint8_t disabled;      // recomputed before every paint
    uint8_t flags;         // UI_ELEMENT_*
    uint32_t tabMask;      // 0, or the one bit of its tab
    int32_t matchParam;    // parameter that gates the element; 0 means no gate
    float matchIs;         // value the gate parameter must equal
    uint32_t cluster;      // 0 for none
    void *context;         // the kind's own data; not owned by the element
};

struct UIPointerInfo {
    int32_t x, y;          // design units
    uint8_t shift;
    uint8_t ctrl;          // only on drags with the pointer hidden
    int32_t wheelDelta;    // +72 or -72 on UI_MSG_WHEEL
    uint32_t cursor;       // UI_MSG_HOVER's answer: 0 arrow, 1 crosshair, 2 hand
};

// UI_MSG_GET_PRESSED_RECT: the overlay over a pressed button, relative to the
// element, design units.
struct UIPressedRect {
    int32_t x, y, width, height;
    uint32_t colour;
    int32_t radius;
};

struct UIPage {
    UIElement *elements;         // template, or null for elementCount zeroed rows
    uint64_t elementCount;
    uint64_t closeWithEditor;    // 0: the page opens again with the next editor
    void (*onOpen)(UIWindow *window);
    void (*onPaint)(Plugin *plugin, Editor *editor, UIWindow *window);
};

// Where a cluster stands now. 16 rows of 12 bytes: the 192 bytes compared
// before each paint.
struct UIClusterSlot {
    int32_t offsetX, offsetY;
    uint32_t cluster;
};

struct UIAssignTarget {
    int32_t x, y, width;   // the "Remove assign" box
    int32_t param;         // the destination being assigned, -1 when none is pending
    UIElement *element;    // the picker that started it
};

struct UIPreviewRow {
    int32_t x, y, width, height;   // design units
    uint32_t *colour;              // palette entry, or null
    uint8_t harmonic;              // 0 "Oscilloscope", 1 "Harmonic levels"
};

struct UIWindow {
    UIPainter painter;
    uint32_t currentPage;
    uint32_t tabBits;                             // an element shows when all its tabMask bits are here
    UIClusterSlot clusterSlots[UI_CLUSTER_SLOTS];
    int64_t hoveredIndex;                         // index in `elements`, -1 for none

    UIElement *elements;                          // working copy, moved by the clusters
    uint64_t elementCount, elementCapacity;
    UIElement *templateElements;                  // as the interface file gave them
    uint64_t templateCount, templateCapacity;
    void **ownedBlocks;                           // context blocks and strings of the parse
    uint64_t ownedBlockCount, ownedBlockCapacity;
    UIElement *pageElements;                      // live copy of the open page's elements
    uint64_t pageElementCount, pageElementCapacity;
    UIPage *openPage;                             // while set, only pageElements are hit

    UIAssignTarget assignTarget;
    int32_t dragOriginX, dragOriginY;             // device pixels
    float dragValueX, dragValueY;
    UIElement *dragElement;                       // holds the pointer, hidden
    UIElement *capturedElement;                   // holds the pointer, visible
    uint32_t pressedInside;                       // captured button: pointer still over it

    UIPreviewRow previewRows[UI_PREVIEW_ROWS];
    int32_t gridColumns[UI_CURVE_COUNT], gridRows[UI_CURVE_COUNT];
    uint8_t needsRepaint;

    // The program's side; null answers 0 to everything.
    UIEditorMessageFunction editorMessage;
    uint8_t wasActive;       // the paint pass's activity on its last run
    uint8_t clustersPlaced;  // clusterSlots describe `elements`; cleared when they are recopied
    int32_t moveSourceSlot;  // the slot whose unit the open move page moves
};

// ---- coordinates and small rules ----

int32_t UIDesignFromDevice(int32_t device);   // device * 100 / uiScale
int32_t UIDeviceFromDesign(int32_t design);   // design * uiScale / 100

// The tab mask of the interface file's `tab` key: one bit for 0..31, else 0
// (and an element with mask 0 shows on every tab).
uint32_t UITabMask(int64_t tab);

// An element as the interface file makes it before reading its keys.
UIElement UIElementDefault();

// Sends a message to the program; 0 when no hook is set.
int32_t UIEditorSend(Editor *editor, UIWindow *window, Plugin *plugin, uint32_t message,
                     int64_t argument, void *data);

// ---- the lists ----

// Appends to the template; the pointer is valid until the next append.
UIElement *UIWindowAddTemplateElement(UIWindow *window, const UIElement *element);
// Hands a malloc'd block to the window, which frees it with the lists.
void UIWindowOwnBlock(UIWindow *window, void *block);

// After the interface file is parsed into the template: copies it to
// `elements`, sets the per-editor state (nothing hovered, no assignment
// pending, the first tab) and opens again a page left open by the last editor.
void UIWindowStart(UIWindow *window);
// When the editor goes: closes a page marked closeWithEditor, frees every
// list and owned block. A page not so marked stays selected.
void UIWindowFree(UIWindow *window);

// Opens `page` over the interface, or closes the open one when null. The
// close area of a page also sets hoveredIndex to -1 after closing.
void UIWindowOpenPage(UIWindow *window, UIPage *page);
void UIWindowClosePage(UIWindow *window);

// Takes a newly filled copy of clusterSlots; when it differs from the rows
// standing, rebuilds `elements` from the template and moves each cluster by
// its row's offsets, hiding the clusters in no row.
void UIWindowPlaceClusters(UIWindow *window, const UIClusterSlot *slots);

// ---- visibility, hit testing and the pointer ----

bool UIElementIsVisible(UIWindow *window, Editor *editor, const UIElement *element);
// The element under a design point, or null: the first match of the list
// (pageElements while a page is open), though later elements paint on top.
UIElement *UIHitTest(UIWindow *window, Editor *editor, int32_t x, int32_t y);

// A pointer record for a device position.
UIPointerInfo UIPointerAt(int32_t deviceX, int32_t deviceY, uint8_t shift, uint8_t ctrl);

// Turns a press, release, reset, wheel or hover at a device position into a
// message to the element under it, with the window-wide holds, the pending
// modulation assignment, the parameter menu, the preview menus and the
// custom skin's reload taken first. Returns the cursor answered (0 when
// nobody answered).
uint32_t UIDispatchPointer(Editor *editor, UIWindow *window, Plugin *plugin, UIMessage message,
                           int32_t deviceX, int32_t deviceY, uint8_t shift, int32_t wheelDelta);

// Pointer motion with nothing held and no page open: the element under it
// becomes the hovered one (-1 for none).
void UIWindowTrackHover(UIWindow *window, Editor *editor, int32_t deviceX, int32_t deviceY);
// Motion while capturedElement is set: UI_MSG_DRAG with ctrl always 0.
void UIDragCaptured(Editor *editor, UIWindow *window, Plugin *plugin, int32_t deviceX,
                    int32_t deviceY, uint8_t shift);
// The release of the button that began a capture: both holds are cleared
// before the holder gets UI_MSG_DRAG_END.
void UIEndCapture(Editor *editor, UIWindow *window, Plugin *plugin, int32_t deviceX,
                  int32_t deviceY, uint8_t shift);

// The body every push button shares. A button kind handles UI_MSG_PAINT_FACE,
// UI_MSG_CLICKED and UI_MSG_GET_PRESSED_RECT and passes the rest here.
void UIButtonMessage(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                     UIMessage message, void *data);

// ---- painting ----

// The paint pass over the whole buffer. `idleTick`: the caller saw no
// parameter change since the last tick; with nothing active now or on the
// last pass, such a pass changes no pixel. False when it drew nothing.
bool UIPaintAll(Editor *editor, UIWindow *window, Plugin *plugin, bool idleTick);
