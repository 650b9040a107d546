#include "toolkit/element.h"

#include <stdlib.h>
#include <string.h>

#include "toolkit/font.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"
#include "vocabulary/grow.h"

// ---- coordinates and small rules ----

int32_t UIDesignFromDevice(int32_t device) {
    return device * 100 / uiScale;
}

int32_t UIDeviceFromDesign(int32_t design) {
    return design * uiScale / 100;
}

uint32_t UITabMask(int64_t tab) {
    return tab >= 0 && tab < 32 ? 1u << tab : 0;
}

UIElement UIElementDefault() {
    UIElement element = {};
    element.param = -1;
    element.page = UI_PAGE_ALL;
    return element;
}

int32_t UIEditorSend(Editor *editor, UIWindow *window, Plugin *plugin, uint32_t message,
                     int64_t argument, void *data) {
    if (!window->editorMessage) return 0;
    return window->editorMessage(editor, window, plugin, message, argument, data);
}

static void Send(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                 UIMessage message, void *data) {
    if (element->handler) element->handler(editor, window, plugin, element, message, data);
}

static bool IsParameter(int32_t param) {
    return param >= 0 && param < UI_PARAM_LIMIT;
}

// The program's value of a parameter. Visibility has no Plugin at hand, so the
// value is asked for with the Editor alone, which holds the values.
static float ParamValue(UIWindow *window, Editor *editor, int32_t param) {
    float value = 0;
    UIEditorSend(editor, window, nullptr, UI_ASK_PARAM_VALUE, param, &value);
    return value;
}

static UIParamFacts ParamFacts(UIWindow *window, Editor *editor, Plugin *plugin, int32_t param) {
    UIParamFacts facts = {};
    UIEditorSend(editor, window, plugin, UI_ASK_PARAM_FACTS, param, &facts);
    return facts;
}

static void ParamSetValue(UIWindow *window, Editor *editor, Plugin *plugin, int32_t param,
                          float value) {
    UIEditorSend(editor, window, plugin, UI_ASK_PARAM_SET, param, &value);
}

// Half-open: the left and top edges belong to the rectangle, the right and
// bottom ones do not, so a rectangle of width or height 0 holds no point.
static bool RectangleHolds(int32_t x, int32_t y, int32_t width, int32_t height, int32_t px,
                           int32_t py) {
    return px >= x && (int64_t)px < (int64_t)x + width && py >= y &&
           (int64_t)py < (int64_t)y + height;
}

// ---- the lists ----


UIElement *UIWindowAddTemplateElement(UIWindow *window, const UIElement *element) {
    ArrayReserve(&window->templateElements, &window->templateCapacity, window->templateCount + 1);
    UIElement *added = &window->templateElements[window->templateCount++];
    *added = *element;
    return added;
}

void UIWindowOwnBlock(UIWindow *window, void *block) {
    ArrayReserve(&window->ownedBlocks, &window->ownedBlockCapacity, window->ownedBlockCount + 1);
    window->ownedBlocks[window->ownedBlockCount++] = block;
}

// A hold points into `elements`; when the array moves, it follows to the
// element of the same index (the template's order never changes).
static UIElement *Rebase(UIElement *held, const UIElement *oldArray, uint64_t oldCount,
                         UIElement *newArray) {
    if (!held || held < oldArray || held >= oldArray + oldCount) return held;
    return newArray + (held - oldArray);
}

// `elements` becomes the template as the interface file gave it.
static void CopyTemplate(UIWindow *window) {
    UIElement *old = window->elements;
    uint64_t oldCount = window->elementCount;
    ArrayReserve(&window->elements, &window->elementCapacity, window->templateCount);
    if (window->templateCount) {
        memcpy(window->elements, window->templateElements,
               window->templateCount * sizeof(UIElement));
    }
    window->elementCount = window->templateCount;
    if (window->elements != old) {
        window->dragElement = Rebase(window->dragElement, old, oldCount, window->elements);
        window->capturedElement = Rebase(window->capturedElement, old, oldCount, window->elements);
        if (window->assignTarget.element) {
            window->assignTarget.element =
                Rebase(window->assignTarget.element, old, oldCount, window->elements);
        }
    }
}

void UIWindowStart(UIWindow *window) {
    CopyTemplate(window);
    window->needsRepaint = 1;
    window->hoveredIndex = -1;
    window->assignTarget.param = -1;
    window->assignTarget.element = nullptr;
    window->tabBits = 1;
    window->dragElement = nullptr;
    window->capturedElement = nullptr;
    // The fresh copy stands at template positions, whatever the rows say, so
    // the first paint must place the clusters even if the rows come out the
    // same as under the last editor.
    window->clustersPlaced = 0;
    // No earlier pass has shown anything: count the last one as active so the
    // first pass draws even on an idle tick.
    window->wasActive = 1;
    if (window->openPage) UIWindowOpenPage(window, window->openPage);
}

void UIWindowFree(UIWindow *window) {
    if (window->openPage && window->openPage->closeWithEditor) UIWindowClosePage(window);
    for (uint64_t i = 0; i < window->ownedBlockCount; i++) free(window->ownedBlocks[i]);
    free(window->ownedBlocks);
    free(window->templateElements);
    free(window->elements);
    free(window->pageElements);
    window->ownedBlocks = nullptr;
    window->ownedBlockCount = window->ownedBlockCapacity = 0;
    window->templateElements = nullptr;
    window->templateCount = window->templateCapacity = 0;
    window->elements = nullptr;
    window->elementCount = window->elementCapacity = 0;
    window->pageElements = nullptr;
    window->pageElementCount = window->pageElementCapacity = 0;
    window->dragElement = nullptr;
    window->capturedElement = nullptr;
    window->assignTarget.element = nullptr;
    window->assignTarget.param = -1;
    window->hoveredIndex = -1;
    window->clustersPlaced = 0;
}

void UIWindowOpenPage(UIWindow *window, UIPage *page) {
    window->openPage = page;
    window->pageElementCount = 0;
    if (!page) return;
    ArrayReserve(&window->pageElements, &window->pageElementCapacity, page->elementCount);
    if (page->elementCount) {
        if (page->elements) {
            memcpy(window->pageElements, page->elements, page->elementCount * sizeof(UIElement));
        } else {
            memset(window->pageElements, 0, page->elementCount * sizeof(UIElement));
        }
    }
    window->pageElementCount = page->elementCount;
    if (page->onOpen) page->onOpen(window);
}

void UIWindowClosePage(UIWindow *window) {
    UIWindowOpenPage(window, nullptr);
}

void UIWindowPlaceClusters(UIWindow *window, const UIClusterSlot *slots) {
    if (window->clustersPlaced &&
        memcmp(slots, window->clusterSlots, sizeof window->clusterSlots) == 0) {
        return;
    }
    if (slots != window->clusterSlots) memcpy(window->clusterSlots, slots, sizeof window->clusterSlots);
    window->clustersPlaced = 1;
    // Always from the template: an element that moves from one slot to
    // another is shifted from where the file put it, never from where it
    // stood before.
    CopyTemplate(window);
    for (uint64_t i = 0; i < window->elementCount; i++) {
        UIElement *element = &window->elements[i];
        if (!element->cluster) continue;
        element->page |= UI_PAGE_UNPLACED;
        for (int32_t row = 0; row < UI_CLUSTER_SLOTS; row++) {
            const UIClusterSlot *slot = &window->clusterSlots[row];
            if (slot->cluster != element->cluster) continue;
            element->page &= ~(uint32_t)UI_PAGE_UNPLACED;
            element->x += slot->offsetX;
            element->y += slot->offsetY;
        }
    }
}

// ---- visibility and hit testing ----

// Page, then gate, then tabs. An element that carries a cluster is expected
// to name its page: bit 30 on the all-pages value changes nothing, so only a
// numbered page is hidden while its cluster has no place.
bool UIElementIsVisible(UIWindow *window, Editor *editor, const UIElement *element) {
    if (element->page != UI_PAGE_ALL && element->page != window->currentPage) return false;
    if (element->matchParam != 0) {
        // Written so that a NaN on either side fails the gate.
        if (!(ParamValue(window, editor, element->matchParam) == element->matchIs)) return false;
    }
    return (element->tabMask & window->tabBits) == element->tabMask;
}

UIElement *UIHitTest(UIWindow *window, Editor *editor, int32_t x, int32_t y) {
    UIElement *list = window->openPage ? window->pageElements : window->elements;
    uint64_t count = window->openPage ? window->pageElementCount : window->elementCount;
    for (uint64_t i = 0; i < count; i++) {
        UIElement *element = &list[i];
        if (element->flags & UI_ELEMENT_NO_HIT) continue;
        if (!RectangleHolds(element->x, element->y, element->width, element->height, x, y)) continue;
        if (UIElementIsVisible(window, editor, element)) return element;
    }
    return nullptr;
}

// ---- the pointer ----

UIPointerInfo UIPointerAt(int32_t deviceX, int32_t deviceY, uint8_t shift, uint8_t ctrl) {
    UIPointerInfo info = {};
    info.x = UIDesignFromDevice(deviceX);
    info.y = UIDesignFromDevice(deviceY);
    info.shift = shift;
    info.ctrl = ctrl;
    return info;
}

static bool AssignPending(const UIWindow *window) {
    return window->assignTarget.param >= 0;
}

// A left press while a modulation destination waits for its target. Only an
// element of ALLOW_IN_MOD_ASSIGN (the modulator tabs) is reached as usual;
// every other press ends the wait, assigning when it lands on a control that
// can take modulation.
static void AssignPress(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *hit,
                        UIPointerInfo *info) {
    UIAssignTarget *target = &window->assignTarget;
    if (hit && IsParameter(hit->param) && !hit->disabled &&
        ParamFacts(window, editor, plugin, hit->param).modulatable) {
        // The destination holds the target's row as a coded whole number.
        ParamSetValue(window, editor, plugin, target->param, (hit->param + 1) * 1.5258789e-5f);
        target->param = -1;
        return;
    }
    if (hit && (hit->flags & UI_ELEMENT_ALLOW_IN_MOD_ASSIGN)) {
        Send(editor, window, plugin, hit, UI_MSG_LEFT_DOWN, info);
        return;
    }
    if (RectangleHolds(target->x, target->y, target->width, UI_ASSIGN_BOX_HEIGHT, info->x,
                       info->y)) {
        ParamSetValue(window, editor, plugin, target->param, 0);
    }
    target->param = -1;
}

// A right release away from every element: the preview row under it, if any,
// opens its menu.
static void PreviewRowRelease(Editor *editor, UIWindow *window, Plugin *plugin,
                              const UIPointerInfo *info) {
    for (int32_t row = 0; row < UI_PREVIEW_ROWS; row++) {
        const UIPreviewRow *preview = &window->previewRows[row];
        if (RectangleHolds(preview->x, preview->y, preview->width, preview->height, info->x,
                           info->y)) {
            UIEditorSend(editor, window, plugin, UI_ASK_PREVIEW_MENU, row, nullptr);
            return;
        }
    }
}

uint32_t UIDispatchPointer(Editor *editor, UIWindow *window, Plugin *plugin, UIMessage message,
                           int32_t deviceX, int32_t deviceY, uint8_t shift, int32_t wheelDelta) {
    UIPointerInfo info = UIPointerAt(deviceX, deviceY, shift, 0);
    info.wheelDelta = wheelDelta;

    // A hidden drag gets its messages from the event pump alone; a visible
    // capture sees only the hover, so the cursor stays its own.
    if (window->dragElement) return 0;
    if (window->capturedElement) {
        if (message == UI_MSG_HOVER) {
            Send(editor, window, plugin, window->capturedElement, UI_MSG_HOVER, &info);
        }
        return info.cursor;
    }

    UIElement *hit = UIHitTest(window, editor, info.x, info.y);
    if (message == UI_MSG_LEFT_DOWN && AssignPending(window)) {
        AssignPress(editor, window, plugin, hit, &info);
        return info.cursor;
    }
    if (message == UI_MSG_RIGHT_UP) {
        if (hit && IsParameter(hit->param) && !(hit->flags & UI_ELEMENT_OWN_RIGHT_CLICK)) {
            UIEditorSend(editor, window, plugin, UI_ASK_PARAM_MENU, hit->param, hit);
        } else if (hit) {
            Send(editor, window, plugin, hit, UI_MSG_RIGHT_UP, &info);
        } else if (!window->openPage) {
            PreviewRowRelease(editor, window, plugin, &info);
        }
        return info.cursor;
    }
    if (message == UI_MSG_RIGHT_DOWN && !hit) {
        // Shift and a right press on the bare background reloads a custom
        // skin, so its author sees an edit without reopening the editor. The
        // editor's notice only lines up two pictures, so it may follow the
        // palette.
        if (shift && !window->openPage && uiSkin == UI_SKIN_CUSTOM) {
            UIPaletteReload();
            UIEditorSend(editor, window, plugin, EDITOR_MSG_SKIN_LOADED, 0, nullptr);
            window->needsRepaint = 1;
        }
        return info.cursor;
    }
    if (hit) Send(editor, window, plugin, hit, message, &info);
    return info.cursor;
}

void UIWindowTrackHover(UIWindow *window, Editor *editor, int32_t deviceX, int32_t deviceY) {
    if (window->dragElement || window->capturedElement || window->openPage) return;
    UIElement *hit =
        UIHitTest(window, editor, UIDesignFromDevice(deviceX), UIDesignFromDevice(deviceY));
    window->hoveredIndex = hit ? hit - window->elements : -1;
}

void UIDragCaptured(Editor *editor, UIWindow *window, Plugin *plugin, int32_t deviceX,
                    int32_t deviceY, uint8_t shift) {
    if (!window->capturedElement) return;
    UIPointerInfo info = UIPointerAt(deviceX, deviceY, shift, 0);
    Send(editor, window, plugin, window->capturedElement, UI_MSG_DRAG, &info);
}

void UIEndCapture(Editor *editor, UIWindow *window, Plugin *plugin, int32_t deviceX,
                  int32_t deviceY, uint8_t shift) {
    UIPointerInfo info = UIPointerAt(deviceX, deviceY, shift, 0);
    UIElement *holder = window->dragElement ? window->dragElement : window->capturedElement;
    window->dragElement = nullptr;
    window->capturedElement = nullptr;
    if (holder) Send(editor, window, plugin, holder, UI_MSG_DRAG_END, &info);
}

// ---- buttons ----

static void PaintButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element) {
    Send(editor, window, plugin, element, UI_MSG_PAINT_FACE, nullptr);
    if (window->capturedElement != element || window->pressedInside != 1) return;
    UIPressedRect overlay = {0, 0, element->width, element->height,
                             paletteValues[PAL_BUTTON_PRESSED_OVERLAY], 0};
    Send(editor, window, plugin, element, UI_MSG_GET_PRESSED_RECT, &overlay);
    // A radius under one device pixel fills plainly; a side under one pixel
    // draws nothing.
    UIDrawRoundedScaled(&window->painter, element->x + overlay.x, element->y + overlay.y,
                        overlay.width, overlay.height, overlay.colour, overlay.radius, uiScale);
}

void UIButtonMessage(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                     UIMessage message, void *data) {
    switch (message) {
    case UI_MSG_LEFT_DOWN:
        if (!element->disabled) {
            window->capturedElement = element;
            window->pressedInside = 1;
        }
        break;
    case UI_MSG_DRAG: {
        const UIPointerInfo *info = (const UIPointerInfo *)data;
        window->pressedInside = RectangleHolds(element->x, element->y, element->width,
                                               element->height, info->x, info->y);
        break;
    }
    case UI_MSG_DRAG_END:
        if (window->pressedInside == 1) Send(editor, window, plugin, element, UI_MSG_CLICKED, data);
        break;
    case UI_MSG_RESET:
        if (IsParameter(element->param) && !element->disabled) {
            UIParamFacts facts = ParamFacts(window, editor, plugin, element->param);
            ParamSetValue(window, editor, plugin, element->param, facts.defaultValue);
        }
        break;
    case UI_MSG_PAINT:
        PaintButton(editor, window, plugin, element);
        break;
    default:
        break;
    }
}

// ---- painting ----

// The host's two rings round an element, as design offsets from its centre:
// the mapping ring inside the automation ring.
static const UIRectangle MAPPING_RING = {-5, 6, -4, 6};
static const UIRectangle AUTOMATION_RING = {-9, 10, -8, 10};

// One ring: each side scaled on its own, a 2-unit border in the colour, no
// fill. The host's colour 0 means no ring.
static void DrawIndicationRing(UIPainter *painter, int32_t cx, int32_t cy, UIRectangle ring,
                               int32_t radius, uint32_t colour) {
    if (!(colour >> 24)) return;
    UIDrawTarget target = {{0, painter->width, 0, painter->height}, painter->pixels,
                           painter->width};
    UIRectangle device = {UIDeviceFromDesign(cx + ring.left), UIDeviceFromDesign(cx + ring.right),
                          UIDeviceFromDesign(cy + ring.top), UIDeviceFromDesign(cy + ring.bottom)};
    UIBox box = {};
    box.borderLeft = box.borderRight = box.borderTop = box.borderBottom = 2;
    box.radiusTopLeft = box.radiusTopRight = box.radiusBottomLeft = box.radiusBottomRight =
        (int8_t)radius;
    box.borderPaint = UI_PAINT_SOLID;
    UIDrawBox(&target, device, &box, nullptr, &colour, nullptr, nullptr, uiScale / 100.0f);
}

static void DrawIndicationRings(Editor *editor, UIWindow *window, Plugin *plugin,
                                const UIElement *element) {
    UIIndication indication = {};
    UIEditorSend(editor, window, plugin, UI_ASK_INDICATION, element->param, &indication);
    int32_t cx = element->x + element->width / 2, cy = element->y + element->height / 2;
    DrawIndicationRing(&window->painter, cx, cy, MAPPING_RING, 5, indication.mappingColour);
    DrawIndicationRing(&window->painter, cx, cy, AUTOMATION_RING, 10, indication.automationColour);
}

// A parameter of a unit that is switched off is disabled: its Enable is not
// above 0.5. Parameters without an owning unit never are.
static uint8_t IsDisabled(Editor *editor, UIWindow *window, Plugin *plugin,
                          const UIElement *element) {
    if (!IsParameter(element->param)) return 0;
    int32_t owner = ParamFacts(window, editor, plugin, element->param).ownerEnable;
    if (!owner) return 0;
    return 0.5f > ParamValue(window, editor, owner);
}

// One line of text centred in a design box, from a byte string widened code
// by code.
static void DrawCentredLabel(UIPainter *painter, const char *label, int32_t x, int32_t y,
                             int32_t width, int32_t height) {
    uint32_t text[32];
    size_t length = strlen(label);
    if (length > 31) length = 31;
    for (size_t i = 0; i < length; i++) text[i] = (uint8_t)label[i];
    text[length] = 0;
    UIDrawTextCentred(painter, text, x, y, width, height, paletteValues[PAL_TXT_DEFAULT],
                      UI_FONT_SMALL, painter->textClip);
}

// Assign mode: everything dims, and only what can take the press shows again.
static void PaintAssignMode(Editor *editor, UIWindow *window, Plugin *plugin) {
    UIPainter *painter = &window->painter;
    UIDrawBlock(painter, 0, 0, painter->width, painter->height,
                paletteValues[PAL_MOD_DEST_SEL_BACKGROUND]);
    const UIAssignTarget *target = &window->assignTarget;
    uint8_t over = 1;
    for (uint64_t i = 0; i < window->elementCount; i++) {
        UIElement *element = &window->elements[i];
        if (!UIElementIsVisible(window, editor, element)) continue;
        bool live = (element->flags & UI_ELEMENT_ALLOW_IN_MOD_ASSIGN) ||
                    (IsParameter(element->param) && !element->disabled &&
                     ParamFacts(window, editor, plugin, element->param).modulatable);
        if (live) {
            Send(editor, window, plugin, element, UI_MSG_PAINT, &over);
        } else if (element->param == target->param) {
            DrawCentredLabel(painter, "Click target...",
                             element->x + element->width / 2 - UI_ASSIGN_TEXT_WIDTH / 2,
                             element->y, UI_ASSIGN_TEXT_WIDTH, element->height);
        }
    }
    // The box offers to remove a destination, so it shows only when there is
    // one, and only while the picker that started the wait is on screen.
    if (ParamValue(window, editor, target->param) != 0 && target->element &&
        UIElementIsVisible(window, editor, target->element)) {
        UIDrawBlockScaled(painter, target->x, target->y, target->width, UI_ASSIGN_BOX_HEIGHT,
                          paletteValues[PAL_REMOVE_ASSIGN_FILL], uiScale);
        UIDrawOutlineScaled(painter, target->x, target->y, target->width, UI_ASSIGN_BOX_HEIGHT,
                            paletteValues[PAL_REMOVE_ASSIGN_BORDER], 1, uiScale);
        DrawCentredLabel(painter, "Remove assign", target->x, target->y, target->width,
                         UI_ASSIGN_BOX_HEIGHT);
    }
}

bool UIPaintAll(Editor *editor, UIWindow *window, Plugin *plugin, bool idleTick) {
    // 1. The program says where each unit stands; the list follows.
    UIClusterSlot slots[UI_CLUSTER_SLOTS];
    memcpy(slots, window->clusterSlots, sizeof slots);
    UIEditorSend(editor, window, plugin, EDITOR_MSG_PLACE_UNITS, 0, slots);
    UIWindowPlaceClusters(window, slots);

    // 2. Nothing moves, nothing moved on the last pass and no value changed:
    // the buffer already shows all there is. The pass after activity ends
    // still draws, so the last frame of it is not left standing.
    bool active = window->dragElement || window->capturedElement || AssignPending(window) ||
                  UIEditorSend(editor, window, plugin, UI_ASK_AUDIO_ACTIVE, 0, nullptr);
    bool wasActive = window->wasActive;
    window->wasActive = active;
    if (!active && !wasActive && idleTick) return false;

    // 3, 4. Background, then the elements in list order.
    UIEditorSend(editor, window, plugin, EDITOR_MSG_PAINT_BACKGROUND, 0, nullptr);
    uint8_t plain = 0;
    for (uint64_t i = 0; i < window->elementCount; i++) {
        UIElement *element = &window->elements[i];
        if (!UIElementIsVisible(window, editor, element)) continue;
        element->disabled = IsDisabled(editor, window, plugin, element);
        Send(editor, window, plugin, element, UI_MSG_PAINT, &plain);
        if (IsParameter(element->param)) DrawIndicationRings(editor, window, plugin, element);
    }

    // 5. The dimming of assign mode.
    if (AssignPending(window)) PaintAssignMode(editor, window, plugin);

    // 6. Over everything: the dragged value's tooltip, or a captured
    // element's overlay, or the tooltip of the control under the pointer.
    bool hovering = window->hoveredIndex >= 0 && !window->openPage &&
                    (uint64_t)window->hoveredIndex < window->elementCount;
    UIElement *hovered = hovering ? &window->elements[window->hoveredIndex] : nullptr;
    if (window->dragElement) {
        UIEditorSend(editor, window, plugin, EDITOR_MSG_PAINT_TOOLTIP, window->dragElement->param,
                     window->dragElement);
    } else if (window->capturedElement) {
        Send(editor, window, plugin, window->capturedElement, UI_MSG_PAINT_CAPTURED, nullptr);
    } else if (hovered && IsParameter(hovered->param) && !hovered->disabled &&
               UIElementIsVisible(window, editor, hovered)) {
        UIEditorSend(editor, window, plugin, EDITOR_MSG_PAINT_TOOLTIP, hovered->param, hovered);
    }

    // 7. A modal page last. Its elements all paint: a page shows whole.
    if (window->openPage) {
        if (window->openPage->onPaint) window->openPage->onPaint(plugin, editor, window);
        for (uint64_t i = 0; i < window->pageElementCount; i++) {
            Send(editor, window, plugin, &window->pageElements[i], UI_MSG_PAINT, &plain);
        }
    }
    return true;
}
