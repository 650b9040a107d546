// The editor's X window: the connection, the window the host reparents, the
// buffer shown whole, the cursors, and the pump that turns X events into the
// element list's messages. See toolkit/window.h.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "toolkit/images.h"
#include "toolkit/scale.h"
#include "toolkit/window.h"

enum {
    FONT_CURSOR_ARROW = 68,       // XC_left_ptr
    FONT_CURSOR_CROSSHAIR = 34,   // XC_crosshair
    FONT_CURSOR_HAND = 58,        // XC_hand1
    EDGE_MARGIN = 19,             // pixels from a screen edge where a hidden drag warps
    WARP_SETTLE_MS = 50,          // a hidden drag ignores motion this long after a warp
    WHEEL_STEP = 72,
    OPEN_TRIES = 5,
    OPEN_PAUSE_US = 10000,
};

static Display *DisplayOf(const UIHostWindow *host) { return (Display *)host->display; }

UIHostWindow *UIHostWindowOf(UIWindow *window) {
    return (UIHostWindow *)((char *)window - offsetof(UIHostWindow, ui));
}

void UIWindowSize(int32_t *width, int32_t *height) {
    const UIImage *page = UIImageGet(IMAGE_PAGE_MAIN);
    *width = page->designWidth * uiScale / 100;
    *height = page->designHeight * uiScale / 100;
}

// ---- images and screens ----

void *UIXImageMake(void *display, uint32_t *pixels, int32_t width, int32_t height) {
    Display *d = (Display *)display;
    XImage *image = XCreateImage(d, DefaultVisual(d, DefaultScreen(d)), 24, ZPixmap, 0, nullptr,
                                 10, 10, 32, 0);
    UIXImageResize(image, pixels, width, height);
    return image;
}

void UIXImageResize(void *image, uint32_t *pixels, int32_t width, int32_t height) {
    XImage *x = (XImage *)image;
    x->width = width;
    x->height = height;
    x->bytes_per_line = width * 4;
    x->data = (char *)pixels;
}

void UIXImageFree(void *image) {
    ((XImage *)image)->data = nullptr;
    XDestroyImage((XImage *)image);
}

void UIHostWindowOrigin(UIHostWindow *host, int32_t *x, int32_t *y) {
    Display *display = DisplayOf(host);
    Window child;
    int rootX = 0, rootY = 0;
    XTranslateCoordinates(display, host->window, DefaultRootWindow(display), 0, 0, &rootX, &rootY,
                          &child);
    *x = rootX;
    *y = rootY;
}

// The protocol's screens: several monitors under one X screen count as one.
UIRectangle UIScreenHolding(UIHostWindow *host, int32_t x, int32_t y, bool *found) {
    Display *display = DisplayOf(host);
    UIRectangle rectangle = {};
    *found = false;
    for (int i = 0; i < ScreenCount(display); i++) {
        Screen *screen = ScreenOfDisplay(display, i);
        Window child;
        int left = 0, top = 0;
        XTranslateCoordinates(display, RootWindowOfScreen(screen), DefaultRootWindow(display), 0,
                              0, &left, &top, &child);
        rectangle = {left, left + WidthOfScreen(screen), top, top + HeightOfScreen(screen)};
        if (x >= rectangle.left && x < rectangle.right && y >= rectangle.top &&
            y < rectangle.bottom) {
            *found = true;
            break;
        }
    }
    return rectangle;
}

int32_t UIMaximumScale(UIHostWindow *host) {
    int32_t x, y;
    bool found;
    UIHostWindowOrigin(host, &x, &y);
    UIRectangle screen = UIScreenHolding(host, x, y, &found);
    const UIImage *page = UIImageGet(IMAGE_PAGE_MAIN);
    int32_t byWidth = (screen.right - screen.left) * 100 / page->designWidth;
    int32_t byHeight = (screen.bottom - screen.top) * 100 / page->designHeight;
    int32_t scale = byWidth < byHeight ? byWidth : byHeight;
    return scale < 100 ? 100 : scale;
}

// ---- the window's life ----

// A window manager may not resize the editor: its least and largest sizes are its size.
static void FixSize(UIHostWindow *host) {
    XSizeHints hints = {};
    hints.flags = PMinSize | PMaxSize;
    hints.min_width = hints.max_width = host->width;
    hints.min_height = hints.max_height = host->height;
    XSetWMNormalHints(DisplayOf(host), host->window, &hints);
}

static void MakeCursors(UIHostWindow *host) {
    Display *display = DisplayOf(host);
    static const char ZERO = 0;
    Pixmap blank = XCreateBitmapFromData(display, host->window, &ZERO, 1, 1);
    XColor black = {};
    host->cursorBlank = XCreatePixmapCursor(display, blank, blank, &black, &black, 0, 0);
    XFreePixmap(display, blank);
    host->cursorArrow = XCreateFontCursor(display, FONT_CURSOR_ARROW);
    host->cursorCrosshair = XCreateFontCursor(display, FONT_CURSOR_CROSSHAIR);
    host->cursorHand = XCreateFontCursor(display, FONT_CURSOR_HAND);
}

bool UIHostWindowOpen(UIHostWindow *host) {
    // Several editors, each with its own connection, share the library.
    static bool threadsReady;
    if (!threadsReady) threadsReady = XInitThreads();

    // A server still ending earlier connections may refuse a new one for a
    // moment when editors open and close quickly: a few tries ride that out.
    Display *display = XOpenDisplay(nullptr);
    for (int i = 0; !display && getenv("DISPLAY") && i < OPEN_TRIES; i++) {
        usleep(OPEN_PAUSE_US);
        display = XOpenDisplay(nullptr);
    }
    if (!display) return false;
    host->display = display;
    UIWindowSize(&host->width, &host->height);

    // A child of the root until the host gives it a parent.
    XSetWindowAttributes attributes = {};
    attributes.override_redirect = False;
    host->window = XCreateWindow(display, DefaultRootWindow(display), 0, 0, host->width,
                                 host->height, 0, CopyFromParent, InputOutput, CopyFromParent,
                                 CWOverrideRedirect, &attributes);
    Atom embedInfo = XInternAtom(display, "_XEMBED_INFO", False);
    long embedValues[2] = {0, 0};
    XChangeProperty(display, host->window, embedInfo, embedInfo, 32, PropModeReplace,
                    (unsigned char *)embedValues, 2);
    FixSize(host);
    XStoreName(display, host->window, "LathemoorFX");
    XSelectInput(display, host->window, UI_X_EVENT_MASK);

    host->pixels = (uint32_t *)calloc((size_t)host->width * host->height, 4);
    host->image = UIXImageMake(display, host->pixels, host->width, host->height);
    host->ui.painter = {host->width, host->height, host->pixels, nullptr};
    MakeCursors(host);
    host->menuWindow = 0;
    return true;
}

void UIHostWindowClose(UIHostWindow *host) {
    Display *display = DisplayOf(host);
    UIHostWindowHide(host);
    UIMenuClose(&host->ui);
    free(host->menu.items);
    host->menu.items = nullptr;
    host->menu.count = host->menu.capacity = 0;

    free(host->pixels);
    host->pixels = nullptr;
    host->ui.painter.pixels = nullptr;
    UIXImageFree(host->image);
    host->image = nullptr;
    XDestroyWindow(display, host->window);
    host->window = 0;
    XFreeCursor(display, host->cursorBlank);
    XFreeCursor(display, host->cursorArrow);
    XFreeCursor(display, host->cursorCrosshair);
    XFreeCursor(display, host->cursorHand);
    XCloseDisplay(display);
    host->display = nullptr;
}

int UIHostWindowDescriptor(const UIHostWindow *host) {
    return ConnectionNumber(DisplayOf(host));
}

void UIHostWindowSetParent(UIHostWindow *host, unsigned long parent) {
    XReparentWindow(DisplayOf(host), host->window, parent, 0, 0);
    XFlush(DisplayOf(host));
}

void UIHostWindowShow(UIHostWindow *host) {
    if (host->mapped) return;
    host->mapped = 1;
    XMapRaised(DisplayOf(host), host->window);
    XFlush(DisplayOf(host));
}

void UIHostWindowHide(UIHostWindow *host) {
    if (!host->mapped) return;
    host->mapped = 0;
    XUnmapWindow(DisplayOf(host), host->window);
    XFlush(DisplayOf(host));
}

void UIHostWindowShowPixels(UIHostWindow *host) {
    Display *display = DisplayOf(host);
    XPutImage(display, host->window, DefaultGC(display, DefaultScreen(display)),
              (XImage *)host->image, 0, 0, 0, 0, host->width, host->height);
    host->putImageCount++;
}

void UIHostWindowPaint(UIHostWindow *host, bool idleTick) {
    if (UIPaintAll(host->editor, &host->ui, host->plugin, idleTick)) UIHostWindowShowPixels(host);
}

bool UIHostWindowPending(UIHostWindow *host) {
    return XPending(DisplayOf(host)) != 0;
}

void UIHostWindowResize(UIHostWindow *host) {
    int32_t width, height;
    UIWindowSize(&width, &height);
    bool changed = width != host->width || height != host->height;
    host->width = width;
    host->height = height;
    host->pixels = (uint32_t *)realloc(host->pixels, (size_t)width * height * 4);
    memset(host->pixels, 0, (size_t)width * height * 4);
    UIXImageResize(host->image, host->pixels, width, height);
    host->ui.painter = {width, height, host->pixels, nullptr};
    if (!changed) return;
    FixSize(host);
    XResizeWindow(DisplayOf(host), host->window, width, height);
}

// ---- pointer events ----

// The element under the pointer says which cursor shows; a hidden drag
// shows none.
static void Hover(UIHostWindow *host) {
    uint32_t cursor = UIDispatchPointer(host->editor, &host->ui, host->plugin, UI_MSG_HOVER,
                                        host->pointerX, host->pointerY, 0, 0);
    const unsigned long cursors[3] = {host->cursorArrow, host->cursorCrosshair, host->cursorHand};
    if (host->ui.dragElement) {
        XDefineCursor(DisplayOf(host), host->window, host->cursorBlank);
    } else if (cursor < 3) {
        XDefineCursor(DisplayOf(host), host->window, cursors[cursor]);
    }
}

static void SendToDragged(UIHostWindow *host, UIMessage message, void *data) {
    UIElement *element = host->ui.dragElement;
    if (element && element->handler)
        element->handler(host->editor, &host->ui, host->plugin, element, message, data);
}

// With the pointer hidden, a long drag must not stop at the screen's edge:
// near an edge the pointer jumps to the middle of the screen on that axis,
// and the dragged element takes the new place as its origin. True when the
// pointer was moved.
static bool EdgeWarp(UIHostWindow *host) {
    int32_t wx, wy;
    bool found;
    UIHostWindowOrigin(host, &wx, &wy);
    UIRectangle screen = UIScreenHolding(host, wx, wy, &found);
    int32_t px = wx + host->pointerX, py = wy + host->pointerY;
    int32_t dx = 0, dy = 0;
    UIWindow *ui = &host->ui;
    if (px <= screen.left + EDGE_MARGIN || px >= screen.right - EDGE_MARGIN) {
        ui->dragOriginX = (screen.left + screen.right) / 2 - wx;
        dx = ui->dragOriginX - host->pointerX;
        uint8_t axis = 0;
        SendToDragged(host, UI_MSG_DRAG_REBASE, &axis);
    }
    if (py <= screen.top + EDGE_MARGIN || py >= screen.bottom - EDGE_MARGIN) {
        ui->dragOriginY = (screen.top + screen.bottom) / 2 - wy;
        dy = ui->dragOriginY - host->pointerY;
        uint8_t axis = 1;
        SendToDragged(host, UI_MSG_DRAG_REBASE, &axis);
    }
    if (!dx && !dy) return false;
    XWarpPointer(DisplayOf(host), None, None, 0, 0, 0, 0, dx, dy);
    return true;
}

static void PointerMotion(UIHostWindow *host, const XMotionEvent *event) {
    UIWindow *ui = &host->ui;
    host->pointerX = event->x;
    host->pointerY = event->y;
    uint8_t shift = (event->state & ShiftMask) != 0;
    UIWindowTrackHover(ui, host->editor, event->x, event->y);
    if (ui->capturedElement) {
        UIDragCaptured(host->editor, ui, host->plugin, event->x, event->y, shift);
    } else if (ui->dragElement && event->time >= host->nextDragTime) {
        // The motion that a warp itself causes falls inside the settle time.
        UIPointerInfo info = UIPointerAt(event->x, event->y, shift, (event->state & ControlMask) != 0);
        SendToDragged(host, UI_MSG_DRAG, &info);
        if (ui->dragElement && EdgeWarp(host)) host->nextDragTime = event->time + WARP_SETTLE_MS;
    }
    Hover(host);
}

static void Button(UIHostWindow *host, const XButtonEvent *event) {
    UIWindow *ui = &host->ui;
    Editor *editor = host->editor;
    Plugin *plugin = host->plugin;
    bool press = event->type == ButtonPress;
    host->pointerX = event->x;
    host->pointerY = event->y;
    int32_t x = event->x, y = event->y;
    uint8_t shift = (event->state & ShiftMask) != 0;
    bool held = ui->dragElement || ui->capturedElement;
    switch (event->button) {
    case Button1:
        if (press && (event->state & Mod1Mask)) {
            UIDispatchPointer(editor, ui, plugin, UI_MSG_RESET, x, y, 0, 0);
        } else if (press) {
            host->pressX = ui->dragOriginX = x;
            host->pressY = ui->dragOriginY = y;
            UIDispatchPointer(editor, ui, plugin, UI_MSG_LEFT_DOWN, x, y, shift, 0);
        } else if (ui->capturedElement) {
            UIEndCapture(editor, ui, plugin, x, y, shift);
        } else if (ui->dragElement) {
            // Back to where the press was, however often the drag warped.
            UIEndCapture(editor, ui, plugin, x, y, shift);
            XWarpPointer(DisplayOf(host), None, None, 0, 0, 0, 0, host->pressX - x,
                         host->pressY - y);
        }
        break;
    case Button2:
        if (press) UIDispatchPointer(editor, ui, plugin, UI_MSG_RESET, x, y, 0, 0);
        break;
    case Button3:
        if (!held) {
            UIDispatchPointer(editor, ui, plugin, press ? UI_MSG_RIGHT_DOWN : UI_MSG_RIGHT_UP, x,
                              y, press ? shift : 0, 0);
        } else if (!press) {
            UIEndCapture(editor, ui, plugin, x, y, shift);
        }
        break;
    case Button4:
    case Button5:
        // Press and release each step: a notch reported as both moves twice.
        if (!held) {
            int32_t delta = event->button == Button4 ? WHEEL_STEP : -WHEEL_STEP;
            UIDispatchPointer(editor, ui, plugin, UI_MSG_WHEEL, x, y, 0, delta);
        }
        break;
    }
    Hover(host);
}

static bool HandleEvent(UIHostWindow *host, XEvent *event);

// One event, kept from the editor while a file dialog runs; then a finished
// dialog completes. True when the editor needs a repaint.
static bool HandleAndSettle(UIHostWindow *host, XEvent *event) {
    int type = event->type;
    bool input = type == ButtonPress || type == ButtonRelease || type == MotionNotify ||
                 type == KeyPress || type == KeyRelease;
    bool repaint = false;
    if (!(input && host->dialogBusy && host->dialogBusy())) repaint = HandleEvent(host, event);
    if (host->dialogSettle) host->dialogSettle();
    return repaint;
}

// One event; true when the editor needs a repaint for it.
static bool HandleEvent(UIHostWindow *host, XEvent *event) {
    Window target = event->xany.window;
    bool onMenu = host->menuWindow && target == host->menuWindow;
    switch (event->type) {
    case FocusOut:
        if (target != host->window) return false;
        UIMenuClose(&host->ui);
        return true;
    case Expose:
        if (onMenu) {
            UIMenuExpose(host);
        } else if (target == host->window) {
            if (host->ui.needsRepaint) UIPaintAll(host->editor, &host->ui, host->plugin, false);
            host->ui.needsRepaint = 0;
            UIHostWindowShowPixels(host);
        }
        return false;
    case LeaveNotify:
        if (onMenu) UIMenuLeave(host);
        // A grab's crossing is no move of the pointer, nor is a hidden
        // drag's jump to the middle of the screen.
        if (target != host->window || event->xcrossing.mode != NotifyNormal ||
            host->ui.hoveredIndex < 0 || host->ui.dragElement || host->ui.capturedElement)
            return false;
        host->ui.hoveredIndex = -1;   // its tooltip goes with the pointer
        return true;
    case MotionNotify:
        if (target == host->window) {
            if (event->xmotion.x == host->pointerX && event->xmotion.y == host->pointerY)
                return false;
            PointerMotion(host, &event->xmotion);
            return true;
        }
        if (onMenu) UIMenuMotion(host, event->xmotion.x, event->xmotion.y);
        return false;
    case ButtonPress:
    case ButtonRelease:
        // A press anywhere but on the open menu closes it, and goes no further.
        if (event->type == ButtonPress && host->menu.open && !onMenu) {
            UIMenuClose(&host->ui);
            return true;
        }
        if (target == host->window) {
            Button(host, &event->xbutton);
            return true;
        }
        if (onMenu && (event->xbutton.button == Button1 || event->xbutton.button == Button3))
            return UIMenuButton(host, event->type == ButtonPress, event->xbutton.x,
                                event->xbutton.y);
        return false;
    }
    return false;
}

void UIPumpEvents(UIHostWindow *host) {
    Display *display = DisplayOf(host);
    bool repaint = false;
    XFlush(display);
    while (XPending(display)) {
        // Of a run of motion events only the newest counts: the drag and
        // the repaint are paid for once per batch.
        XEvent current, next;
        XNextEvent(display, &current);
        while (XPending(display)) {
            XNextEvent(display, &next);
            if (!(current.type == MotionNotify && next.type == MotionNotify) &&
                HandleAndSettle(host, &current)) {
                repaint = true;
                XFlush(display);
            }
            current = next;
        }
        if (HandleAndSettle(host, &current)) repaint = true;
        if (repaint) {
            XFlush(display);
            UIPaintAll(host->editor, &host->ui, host->plugin, false);
            host->ui.needsRepaint = 0;
            UIHostWindowShowPixels(host);
        }
        XFlush(display);
    }
}
