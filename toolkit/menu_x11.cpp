// The menu's window: an override-redirect window on the editor's own
// connection, placed under an element or at the pointer and kept on the
// screen, with the events that make a choice. See toolkit/menu.h.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <stdlib.h>
#include <string.h>

#include "toolkit/scale.h"
#include "toolkit/window.h"
#include "vocabulary/grow.h"

static void ShowMenuPixels(UIHostWindow *host) {
    Display *display = (Display *)host->display;
    const UIPainter *painter = &host->menu.painter;
    XPutImage(display, host->menuWindow, DefaultGC(display, DefaultScreen(display)),
              (XImage *)host->menuImage, 0, 0, 0, 0, painter->width, painter->height);
}

static void RepaintMenu(UIHostWindow *host) {
    UIMenuPaint(&host->menu);
    ShowMenuPixels(host);
}

// Where the menu stands on the root, moved to stay on the screen that holds
// its corner and cut to that screen when it is still too big.
static void Place(UIHostWindow *host, UIElement *element, int32_t *x, int32_t *y,
                  int32_t *width, int32_t *height) {
    UIHostWindowOrigin(host, x, y);
    if (element) {
        *x += UIDeviceFromDesign(element->x);
        *y += UIDeviceFromDesign(element->y + element->height);
    } else {
        *x += host->pointerX;
        *y += host->pointerY;
    }
    bool found;
    UIRectangle screen = UIScreenHolding(host, *x, *y, &found);
    if (!found) return;
    if (*x + *width > screen.right) *x = screen.right - *width;
    if (*y + *height > screen.bottom) *y = screen.bottom - *height;
    if (*x < screen.left) *x = screen.left;
    if (*y < screen.top) *y = screen.top;
    if (*width > screen.right - screen.left) *width = screen.right - screen.left;
    if (*height > screen.bottom - screen.top) *height = screen.bottom - screen.top;
}

static Window MakeMenuWindow(Display *display, int32_t width, int32_t height) {
    Window root = DefaultRootWindow(display);
    XSetWindowAttributes attributes = {};
    attributes.override_redirect = True;
    Window window = XCreateWindow(display, root, 0, 0, width, height, 0, CopyFromParent,
                                  InputOutput, CopyFromParent, CWOverrideRedirect, &attributes);
    XSelectInput(display, window, UI_X_EVENT_MASK);
    // Told to a window manager as a drop-down menu without decorations;
    // where the server knows no such names they are left out.
    Atom type = XInternAtom(display, "_NET_WM_WINDOW_TYPE", True);
    Atom dropDown = XInternAtom(display, "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", True);
    if (type && dropDown) {
        Atom values[2] = {type, dropDown};
        XChangeProperty(display, window, type, XA_ATOM, 32, PropModeReplace,
                        (unsigned char *)values, 2);
    }
    XSetTransientForHint(display, window, root);
    Atom motif = XInternAtom(display, "_MOTIF_WM_HINTS", True);
    if (motif) {
        long hints[5] = {2, 0, 0, 0, 0};
        XChangeProperty(display, window, motif, motif, 32, PropModeReplace,
                        (unsigned char *)hints, 5);
    }
    return window;
}

void UIMenuShow(UIWindow *window, UIElement *element, const UIMenuItem *items, uint64_t count,
                UIMenuFunction callback, void *context, bool useValue, bool clearPointer) {
    UIHostWindow *host = UIHostWindowOf(window);
    UIMenu *menu = &host->menu;
    UIMenuClose(window);   // menus open from the editor's presses, which close an open one
    menu->count = 0;
    ArrayReserve(&menu->items, &menu->capacity, count);
    if (count) memcpy(menu->items, items, count * sizeof *items);   // the texts change owner
    menu->count = count;
    menu->open = 1;
    menu->hot = -1;
    menu->hotValid = menu->pressed = 0;
    menu->usesValue = useValue;
    menu->callback = callback;
    menu->record = {host->plugin, element, 0, window, host->editor, nullptr, context, 0};
    if (clearPointer) menu->pointerX = -1;

    int32_t width, height, x, y;
    UIMenuMeasure(menu->items, menu->count, &width, &height);
    width = UIDeviceFromDesign(width);
    height = UIDeviceFromDesign(height);
    Place(host, element, &x, &y, &width, &height);
    menu->x = x;
    menu->y = y;

    Display *display = (Display *)host->display;
    host->menuWindow = MakeMenuWindow(display, width, height);
    uint32_t *pixels = (uint32_t *)calloc((size_t)width * height, 4);
    menu->painter = {width, height, pixels, nullptr};
    host->menuImage = UIXImageMake(display, pixels, width, height);
    XMapRaised(display, host->menuWindow);
    XMoveWindow(display, host->menuWindow, x, y);
    RepaintMenu(host);
    XFlush(display);
}

void UIMenuClose(UIWindow *window) {
    UIHostWindow *host = UIHostWindowOf(window);
    UIMenu *menu = &host->menu;
    if (!menu->open) return;
    Display *display = (Display *)host->display;
    UIMenuFreeTexts(menu->items, menu->count);
    free(menu->painter.pixels);
    menu->painter.pixels = nullptr;
    XUnmapWindow(display, host->menuWindow);
    UIXImageFree(host->menuImage);
    host->menuImage = nullptr;
    XDestroyWindow(display, host->menuWindow);
    XFlush(display);
    menu->open = 0;
    host->menuWindow = 0;
}

void UIMenuBuildAndShow(UIWindow *window, UIElement *element, UIMenuFunction build) {
    UIHostWindow *host = UIHostWindowOf(window);
    UIMenuBuilder builder = {host->plugin, element, 0, window, host->editor, nullptr, nullptr, 0};
    UIMenuItemList items = {};
    UIMenuBuild(&builder, build, &items);
    UIMenuShow(window, element, items.items, items.count, build, nullptr, false, true);
    free(items.items);
}

void UIMenuShowList(UIWindow *window, UIElement *element, const char32_t *const *labels,
                    uint32_t count, UIMenuFunction callback, void *context, int64_t mark0,
                    int64_t mark1, int64_t mark2, int64_t mark3) {
    UIMenuBuilder builder = {};
    UIMenuItemList items = {};
    builder.items = &items;
    for (uint32_t k = 0; k < count; k++) {
        bool dash = labels[k][0] == U'-';
        if (dash) UIMenuAddFlagged(&builder, nullptr, UI_MENU_SEPARATOR);
        bool marked = k == mark0 || k == mark1 || k == mark2 || k == mark3;
        UIMenuAddFlagged(&builder, labels[k] + dash, marked ? (uint32_t)UI_MENU_CHECKED : 0u);
        items.items[items.count - 1].value = k;
    }
    UIMenuShow(window, element, items.items, items.count, callback, context, true, true);
    free(items.items);
}

// ---- events on the menu's window ----

void UIMenuExpose(UIHostWindow *host) { ShowMenuPixels(host); }

void UIMenuMotion(UIHostWindow *host, int32_t x, int32_t y) {
    UIMenu *menu = &host->menu;
    if (menu->pressed || (x == menu->pointerX && y == menu->pointerY)) return;
    menu->pointerX = x;
    menu->pointerY = y;
    RepaintMenu(host);
}

void UIMenuLeave(UIHostWindow *host) {
    host->menu.pointerY = -1;
    RepaintMenu(host);
}

bool UIMenuButton(UIHostWindow *host, bool press, int32_t x, int32_t y) {
    UIMenu *menu = &host->menu;
    if (press) {
        menu->pressed = 1;
        return false;
    }
    // A release on the menu without a press there (the press that opened
    // it) chooses nothing.
    if (!menu->pressed) return false;
    int64_t choice = UIMenuRelease(menu, x, y);
    ShowMenuPixels(host);
    if (choice < 0) return false;
    UIMenuBuilder record = menu->record;
    UIMenuFunction callback = menu->callback;
    UIMenuClose(&host->ui);
    UIMenuChoose(record, callback, (uint32_t)choice);
    return true;
}
