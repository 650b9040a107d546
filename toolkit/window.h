// The editor on the screen: one X connection per open editor, one window that
// the host reparents into its own, one client-side pixel buffer shown whole
// with XPutImage, and at most one menu window. There is no event thread: the
// program calls the pump from the host's timer and from the host's watch on
// the connection's descriptor, both on the main thread.
//
// Only toolkit/window_x11.cpp and toolkit/menu_x11.cpp include Xlib. X
// objects are held here as opaque handles: `void *` for pointers and
// `unsigned long` for XIDs and times.
#pragma once
#include <stdint.h>

#include "toolkit/element.h"
#include "toolkit/menu.h"

struct UIHostWindow {
    UIWindow ui;                 // the element list and its painter over `pixels`
    Editor *editor;              // handed to every handler; not owned
    Plugin *plugin;              // passed through to handlers and menus; not owned

    uint8_t editorOpen;          // from gui.create to gui.destroy
    uint8_t mapped;
    void *display;               // Display *, own connection
    unsigned long window;        // Window
    void *image;                 // XImage * round `pixels`
    uint32_t *pixels;            // 0xAARRGGBB, stride = width
    int32_t width, height;       // device pixels
    int32_t pointerX, pointerY;  // last pointer position in `window`
    int32_t pressX, pressY;      // pointer position at the last left press
    unsigned long cursorBlank, cursorArrow, cursorCrosshair, cursorHand;
    unsigned long nextDragTime;  // X time; a hidden drag's motion before it is dropped

    UIMenu menu;                 // the open menu, and the item array kept for the next one
    unsigned long menuWindow;    // 0 when no menu is open
    void *menuImage;

    uint64_t putImageCount;      // full buffers sent to the server, for tests and benchmarks

    // The file dialog's gate, set by the program (null: no dialogs). While
    // dialogBusy answers true the editor takes no presses, releases, keys or
    // motion; dialogSettle runs after every event handled, so a finished
    // choice completes on this thread.
    bool (*dialogBusy)(void);
    void (*dialogSettle)(void);
};

// The size of the main picture at the present scale: the window's size.
void UIWindowSize(int32_t *width, int32_t *height);

// Opens the connection and makes the (unmapped) window of the present size,
// a child of the root until the host reparents it, with its buffer and
// cursors. False when no X server can be reached; nothing is left open then.
bool UIHostWindowOpen(UIHostWindow *host);
// Closes an open menu without a choice, unmaps, and frees the buffer, the
// window, the cursors and the connection. The element lists are the
// caller's to free first.
void UIHostWindowClose(UIHostWindow *host);
int UIHostWindowDescriptor(const UIHostWindow *host);
void UIHostWindowSetParent(UIHostWindow *host, unsigned long parent);
void UIHostWindowShow(UIHostWindow *host);
void UIHostWindowHide(UIHostWindow *host);
// Paints the whole buffer (idleTick as UIPaintAll has it) and sends it to
// the server; a pass that drew nothing sends nothing, as the server still
// shows what the buffer holds.
void UIHostWindowPaint(UIHostWindow *host, bool idleTick);
// Sends the whole buffer to the server.
void UIHostWindowShowPixels(UIHostWindow *host);
// Whether the server has sent events not yet read.
bool UIHostWindowPending(UIHostWindow *host);
// The drain loop: every event the server has sent, with pointer motion
// compressed, and one repaint for the batch when any event asked for it.
void UIPumpEvents(UIHostWindow *host);
// After a change of scale or skin: the buffer takes the present window size,
// and when the size changed the window and its size hints follow.
void UIHostWindowResize(UIHostWindow *host);
// The largest scale in percent at which the window fits the screen that
// holds it; at least 100.
int32_t UIMaximumScale(UIHostWindow *host);

// The host window that holds this element list.
UIHostWindow *UIHostWindowOf(UIWindow *window);

// ---- shared by the window and the menus ----

// Key and button presses and releases, entering and leaving, motion, keymap,
// exposure, structure and substructure, focus and property changes. Keys are
// selected though nothing reads them.
enum : long { UI_X_EVENT_MASK = 0x6AE07F };

// An XImage round a 0xAARRGGBB buffer of that size, and its end (which
// leaves the buffer to its owner).
void *UIXImageMake(void *display, uint32_t *pixels, int32_t width, int32_t height);
void UIXImageFree(void *image);
void UIXImageResize(void *image, uint32_t *pixels, int32_t width, int32_t height);
// The root rectangle of the first X screen that holds the root point, or of
// the last screen when none does (found false then).
UIRectangle UIScreenHolding(UIHostWindow *host, int32_t x, int32_t y, bool *found);
// The window's origin on the root.
void UIHostWindowOrigin(UIHostWindow *host, int32_t *x, int32_t *y);

// ---- menu window events (toolkit/menu_x11.cpp) ----

void UIMenuExpose(UIHostWindow *host);
void UIMenuMotion(UIHostWindow *host, int32_t x, int32_t y);
void UIMenuLeave(UIHostWindow *host);
// A press or release of button 1 or 3 on the menu; true when the menu closed.
bool UIMenuButton(UIHostWindow *host, bool press, int32_t x, int32_t y);
