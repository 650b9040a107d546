// The host's side of an editor: a top-level window that takes the plug-in's
// window, the main loop that fires the plug-in's timers and watches its
// descriptors, the pixels read back and the pointer moved through XTest.
#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "tools/host/host.h"
// Last: Xlib's macros would break the headers above.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

static double Seconds() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}

static Display *DisplayOf(const EditorFrame &frame) { return (Display *)frame.display; }

// A server still ending earlier connections may refuse one for a moment.
static Display *OpenDisplay() {
    Display *display = XOpenDisplay(nullptr);
    for (int i = 0; !display && i < 5; i++) {
        usleep(10000);
        display = XOpenDisplay(nullptr);
    }
    return display;
}

std::unique_ptr<EditorFrame> OpenEditor(Instance &instance, const char *title) {
    const clap_plugin_t *plugin = instance.plugin;
    auto frame = std::make_unique<EditorFrame>();
    frame->instance = &instance;
    frame->gui = (const clap_plugin_gui_t *)plugin->get_extension(plugin, CLAP_EXT_GUI);
    if (!frame->gui) throw HostError("the plug-in offers no clap.gui");
    if (!frame->gui->create(plugin, CLAP_WINDOW_API_X11, false))
        throw HostError("clap.gui create failed (is DISPLAY set?)");
    frame->gui->get_size(plugin, &frame->width, &frame->height);
    Display *display = OpenDisplay();
    if (!display) throw HostError("no X server at DISPLAY");
    frame->display = display;
    Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, frame->width,
                                        frame->height, 0, 0, 0);
    frame->window = window;
    XStoreName(display, window, title);
    Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(display, window, &deleteWindow, 1);
    XSelectInput(display, window, StructureNotifyMask);
    XMapWindow(display, window);
    XSync(display, False);
    clap_window_t parent = {CLAP_WINDOW_API_X11, {}};
    parent.x11 = window;
    frame->gui->set_parent(plugin, &parent);
    frame->gui->show(plugin);
    // The reparenting travels on the plug-in's connection: wait until this
    // one sees it.
    for (int i = 0; i < 200 && !EditorWindow(*frame); i++) usleep(5000);
    return frame;
}

EditorFrame::~EditorFrame() {
    if (gui && instance && instance->plugin) {
        gui->hide(instance->plugin);
        gui->destroy(instance->plugin);
    }
    if (display) {
        XDestroyWindow((Display *)display, window);
        XCloseDisplay((Display *)display);
    }
}

// The frame's own events: a resize the plug-in asked for, and the user's close.
static bool FrameEvents(EditorFrame *frame) {
    Display *display = DisplayOf(*frame);
    bool open = true;
    while (XPending(display)) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type == ClientMessage || event.type == DestroyNotify) open = false;
    }
    Host &host = *frame->instance->host;
    if (!host.calls.resizeRequests.empty()) {
        auto size = host.calls.resizeRequests.back();
        host.calls.resizeRequests.clear();
        frame->width = size.first;
        frame->height = size.second;
        XResizeWindow(display, frame->window, size.first, size.second);
        XFlush(display);
    }
    return open;
}

bool RunEditor(Instance &instance, double seconds, EditorFrame *frame) {
    const clap_plugin_t *plugin = instance.plugin;
    auto timer = (const clap_plugin_timer_support_t *)plugin->get_extension(plugin, CLAP_EXT_TIMER_SUPPORT);
    auto fd = (const clap_plugin_posix_fd_support_t *)plugin->get_extension(plugin, CLAP_EXT_POSIX_FD_SUPPORT);
    Host &host = *instance.host;
    double now = Seconds(), end = now + seconds;
    for (HostTimer &t : host.timers)
        if (t.due == 0) t.due = now + t.periodMs / 1000.0;
    while ((now = Seconds()) < end) {
        double next = end;
        for (const HostTimer &t : host.timers) next = t.due < next ? t.due : next;
        std::vector<pollfd> watched;
        for (int d : host.fds) watched.push_back({d, POLLIN, 0});
        if (frame) watched.push_back({ConnectionNumber(DisplayOf(*frame)), POLLIN, 0});
        int wait = next > now ? (int)((next - now) * 1000) + 1 : 0;
        poll(watched.data(), watched.size(), wait);
        for (size_t i = 0; i < host.fds.size() && i < watched.size(); i++)
            if (watched[i].revents && fd) fd->on_fd(plugin, watched[i].fd, CLAP_POSIX_FD_READ);
        now = Seconds();
        // A callback may register or unregister timers: walk by id.
        std::vector<clap_id> due;
        for (HostTimer &t : host.timers)
            if (t.due <= now) {
                due.push_back(t.id);
                t.due = now + t.periodMs / 1000.0;
            }
        for (clap_id id : due)
            if (timer) timer->on_timer(plugin, id);
        if (frame && !FrameEvents(frame)) return false;
    }
    return true;
}

unsigned long EditorWindow(const EditorFrame &frame) {
    Window root, parent, *children = nullptr;
    unsigned int count = 0;
    XQueryTree(DisplayOf(frame), frame.window, &root, &parent, &children, &count);
    Window child = count == 1 ? children[0] : 0;
    if (children) XFree(children);
    return child;
}

std::vector<uint32_t> EditorPixels(const EditorFrame &frame, uint32_t *width, uint32_t *height) {
    Display *display = DisplayOf(frame);
    Window window = EditorWindow(frame);
    XWindowAttributes attributes;
    if (!window || !XGetWindowAttributes(display, window, &attributes))
        throw HostError("the editor has no window");
    // Only what is on the screen can be read: a window larger than the
    // screen gives its top-left part.
    int x, y;
    Window child;
    XTranslateCoordinates(display, window, DefaultRootWindow(display), 0, 0, &x, &y, &child);
    *width = std::min(attributes.width, DisplayWidth(display, DefaultScreen(display)) - x);
    *height = std::min(attributes.height, DisplayHeight(display, DefaultScreen(display)) - y);
    XImage *image = XGetImage(display, window, 0, 0, *width, *height, AllPlanes, ZPixmap);
    if (!image) throw HostError("the editor's pixels can't be read");
    std::vector<uint32_t> pixels((size_t)*width * *height);
    for (uint32_t y = 0; y < *height; y++)
        for (uint32_t x = 0; x < *width; x++)
            pixels[(size_t)y * *width + x] = 0xFF000000 | (uint32_t)XGetPixel(image, x, y);
    XDestroyImage(image);
    return pixels;
}

static void ToRoot(const EditorFrame &frame, int32_t *x, int32_t *y) {
    Display *display = DisplayOf(frame);
    Window child;
    int rootX, rootY;
    XTranslateCoordinates(display, EditorWindow(frame), DefaultRootWindow(display), *x, *y,
                          &rootX, &rootY, &child);
    *x = rootX;
    *y = rootY;
}

void PointerMove(const EditorFrame &frame, int32_t x, int32_t y) {
    ToRoot(frame, &x, &y);
    XTestFakeMotionEvent(DisplayOf(frame), -1, x, y, CurrentTime);
    XFlush(DisplayOf(frame));
}

void PointerButton(const EditorFrame &frame, uint32_t button, bool press, bool alt) {
    Display *display = DisplayOf(frame);
    KeyCode altKey = XKeysymToKeycode(display, XK_Alt_L);
    if (alt) XTestFakeKeyEvent(display, altKey, True, CurrentTime);
    XTestFakeButtonEvent(display, button, press, CurrentTime);
    if (alt) XTestFakeKeyEvent(display, altKey, False, CurrentTime);
    XFlush(display);
}
