// Menus: a short-lived borderless window over a plain array of items, closed
// by one choice or by a press elsewhere. A menu is immediate: one function
// declares the items and acts on them. It runs once in a build pass that
// fills the array, and once more when a choice comes back, when the same
// calls answer whether theirs is the chosen item.
//
// This file holds what needs no X server: both passes, the measuring, the hot
// item and the painting into the menu's own pixel buffer. The window, its
// events and the screen live in toolkit/menu_x11.cpp.
#pragma once
#include <stdint.h>

#include "toolkit/element.h"

struct UIMenuItem {
    uint32_t *text;        // owned; null for a separator
    uint8_t arrowRight;    // a small triangle pointing right in the icon place
    uint8_t separator;     // a thin line, not selectable
    uint8_t columnBreak;   // starts a new column (not on the first item)
    uint8_t disabled;      // drawn dim, not selectable
    uint8_t checked;       // a square mark in the icon place
    uint8_t arrowLeft;
    uint8_t bold;          // drawn twice, one design pixel apart
    uint64_t value;        // handed back for this item when the menu uses values
    uint32_t columnWidth;  // design pixels, set when the menu opens
};

struct UIMenuItemList {
    UIMenuItem *items;
    uint64_t count, capacity;
};

enum : uint32_t {
    UI_MENU_CHECKED = 1,
    UI_MENU_SEPARATOR = 2,   // the whole flags word: adds a separator, text ignored
    UI_MENU_DISABLED = 4,
};

struct UIMenuBuilder;
// Declares the items (build pass, items set) or acts on the choice (choice
// pass, items null). It must add the same items in both passes.
typedef void (*UIMenuFunction)(UIMenuBuilder *builder);

struct UIMenuBuilder {
    Plugin *plugin;
    UIElement *element;
    uint32_t choice;          // counts down in the choice pass; the value for a list
    UIWindow *window;
    Editor *editor;
    UIMenuItemList *items;    // null in the choice pass
    void *context;            // the caller's, for lists
    uint8_t lastWasSeparator; // choice pass: a separator just went by
};

// The open menu of one editor. Positions are device pixels.
struct UIMenu {
    uint8_t open;
    uint8_t pressed;          // a button went down on the menu
    uint8_t hotValid;         // the pointer is on a selectable item now
    uint8_t usesValue;        // the choice is the item's value, not its index
    UIMenuItem *items;        // a copy; the array stays allocated for the next menu
    uint64_t count, capacity;
    int64_t hot;              // item under the pointer, -1 at first
    UIMenuFunction callback;
    UIMenuBuilder record;     // handed to the callback with the choice
    int32_t pointerX, pointerY;   // in the menu window; y -1 is off the menu
    int32_t x, y;                 // root position of the window
    UIPainter painter;            // over the menu's own pixels
};

// ---- the two passes ----

// True when this item is the chosen one (choice pass only).
bool UIMenuAdd(UIMenuBuilder *builder, const char32_t *text);
// flags: UI_MENU_CHECKED, UI_MENU_DISABLED, or UI_MENU_SEPARATOR alone.
bool UIMenuAddFlagged(UIMenuBuilder *builder, const char32_t *text, uint32_t flags);
// Runs `build` in the build pass and drops a trailing separator.
void UIMenuBuild(UIMenuBuilder *builder, UIMenuFunction build, UIMenuItemList *items);
// Runs `build` in the choice pass for item `choice` of the array it built.
void UIMenuChoose(UIMenuBuilder builder, UIMenuFunction build, uint32_t choice);
void UIMenuFreeTexts(UIMenuItem *items, uint64_t count);

// ---- measuring and painting ----

// Gives every item its column's width and answers the menu's size in design
// pixels.
void UIMenuMeasure(UIMenuItem *items, uint64_t count, int32_t *width, int32_t *height);
// Finds the hot item under the pointer and paints the whole menu into its painter.
void UIMenuPaint(UIMenu *menu);
// The release of a button that went down on the menu, at a position in the
// menu window: stores it, repaints, and answers the choice (the item's index
// or value), or -1 for none.
int64_t UIMenuRelease(UIMenu *menu, int32_t x, int32_t y);

// ---- opening (toolkit/menu_x11.cpp) ----

// Opens the items under `element` (its left and bottom edges), or at the
// pointer when element is null. The callback gets the record with the
// choice. clearPointer: no item is hot until the pointer moves.
void UIMenuShow(UIWindow *window, UIElement *element, const UIMenuItem *items, uint64_t count,
                UIMenuFunction callback, void *context, bool useValue, bool clearPointer);
// The build pass, then the menu with `build` as its callback.
void UIMenuBuildAndShow(UIWindow *window, UIElement *element, UIMenuFunction build);
// Item k is labels[k] with value k, checked when k is one of the marks; a
// label starting with "-" has a separator before it.
void UIMenuShowList(UIWindow *window, UIElement *element, const char32_t *const *labels,
                    uint32_t count, UIMenuFunction callback, void *context, int64_t mark0,
                    int64_t mark1, int64_t mark2, int64_t mark3);
// Closes the open menu without a choice.
void UIMenuClose(UIWindow *window);

// ---- pages ----

// The close area of a modal page: an element over the whole page that closes
// it at a press, so a click anywhere dismisses the page.
void UIPageCloser(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                  UIMessage message, void *data);
