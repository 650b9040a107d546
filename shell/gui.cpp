// The editor's presence in the host: clap.gui, and the timer and descriptor
// callbacks that drive it, with the process-wide changes of scale, skin and
// timer period that reach every open editor.
#include <stdio.h>
#include <string.h>

#include "editor/editor.h"
#include "engine/engine.h"
#include "shell/patch_browser.h"
#include "shell/plugin.h"
#include "store/dialogs.h"
#include "store/launcher.h"
#include "store/settings.h"
#include "toolkit/embedded.h"
#include "toolkit/interface_file.h"
#include "toolkit/palette.h"

static void RegisterTimer(Plugin *plugin) {
    const clap_host_timer_support_t *timers = plugin->hostTimerSupport;
    if (!timers || !timers->register_timer) return;
    plugin->guiTimerRegistered =
        timers->register_timer(plugin->host, (uint32_t)globals.uiRefreshMs, &plugin->guiTimer);
}

static void UnregisterTimer(Plugin *plugin) {
    const clap_host_timer_support_t *timers = plugin->hostTimerSupport;
    if (plugin->guiTimerRegistered && timers && timers->unregister_timer)
        timers->unregister_timer(plugin->host, plugin->guiTimer);
    plugin->guiTimerRegistered = 0;
}

// ---- the editor's hook ----

static bool HostMenuItemAt(Plugin *plugin, int64_t index, UIHostMenuItem *item) {
    if (index < 0 || index >= plugin->hostMenuCount) return false;
    const HostMenuItem *row = &plugin->hostMenuItems[index];
    bool separator = row->kind == CLAP_CONTEXT_MENU_ITEM_SEPARATOR;
    *item = {separator ? nullptr : row->label, row->disabled, row->checked};
    return true;
}

// The descriptor's addresses, widened for the launcher.
static void OpenAddress(const char *address) {
    char32_t wide[LAUNCHER_ADDRESS_MAX + 1] = {};
    for (int i = 0; address && address[i] && i < LAUNCHER_ADDRESS_MAX; i++)
        wide[i] = (char32_t)(uint8_t)address[i];
    OpenExternal(wide);
}
// The toolkit's questions that need the Plugin are answered here; everything
// else is the editor's.

static int32_t EditorHook(Editor *editor, UIWindow *window, Plugin *plugin, uint32_t message,
                          int64_t argument, void *data) {
    bool parameter = argument >= 0 && argument < PARAM_COUNT;
    switch (message) {
    case UI_ASK_PARAM_SET:
        if (plugin) ParamSet(plugin, (int32_t)argument, *(const float *)data);
        return 0;
    case UI_ASK_PARAM_GESTURE:
        if (plugin) ParamGesture(plugin, (int32_t)argument, *(const uint8_t *)data != 0);
        return 0;
    case UI_ASK_MARK_DIRTY:
        if (plugin && plugin->hostState && plugin->hostState->mark_dirty)
            plugin->hostState->mark_dirty(plugin->host);
        return 0;
    case UI_ASK_PARAM_FACTS:
        if (parameter) {
            const ParamInfo &info = PARAM_INFO[argument];
            *(UIParamFacts *)data = {info.ownerEnable, info.modulatable, info.defaultValue};
        }
        return 0;
    case UI_ASK_EQ_RESPONSE:
        // Main thread, from the editor's values: it follows a dial whether or
        // not audio runs, and writes only the meter's curve.
        if (editor && argument >= 0 && argument < 3) EngineEqResponse(editor, (int32_t)argument);
        return 0;
    case UI_ASK_AUDIO_ACTIVE:
        // A bank worker's wait page paints on every tick, as it is where
        // the worker's end is noticed.
        if (plugin && plugin->bankWorker) return 1;
        return editor && editor->meter && MeterRead(editor->meter->audioActive);
    case UI_ASK_INDICATION:
        if (parameter && editor && editor->meter) {
            *(UIIndication *)data = {editor->meter->mappingColour[argument],
                                     editor->meter->automationColour[argument]};
        }
        return 0;
    case UI_ASK_HOST_MENU:
        return plugin ? (int32_t)HostMenuPopulate(plugin, (int32_t)argument) : 0;
    case UI_ASK_HOST_MENU_ITEM:
        return plugin && HostMenuItemAt(plugin, argument, (UIHostMenuItem *)data);
    case UI_ASK_HOST_MENU_PERFORM:
        if (plugin && argument >= 0) HostMenuPerform(plugin, (uint32_t)argument);
        return 0;
    case UI_ASK_SET_SCALE:
        UISetScale((int32_t)argument, uiSkin);
        return 0;
    case UI_ASK_REFRESH:
        if (argument > 0) UISetRefresh((int32_t)argument);
        return globals.uiRefreshMs;
    case UI_ASK_OPEN_ADDRESS:
        if (plugin) OpenAddress(argument == UI_ADDRESS_MANUAL ? plugin->clapPlugin.desc->manual_url
                                                              : plugin->clapPlugin.desc->url);
        return 0;
    case UI_ASK_VERSION:
        if (plugin) *(const char **)data = plugin->clapPlugin.desc->version;
        return 0;
    case UI_ASK_PATCH_MENU:
        if (plugin) PatchMenuOpen(plugin, (UIElement *)data);
        return 0;
    case UI_ASK_PATCH_STEP:
        if (plugin) PatchStep(plugin, argument != 0);
        return 0;
    case UI_ASK_PATCH_NAME:
        if (plugin) memcpy(data, plugin->patch.name, UI_PATCH_NAME_SIZE);
        return 0;
    }
    return EditorMessage(editor, window, plugin, message, argument, data);
}

static_assert((int)UI_PATCH_NAME_SIZE == (int)PATCH_NAME_SIZE, "the patch button reads the whole name");

// ---- clap.gui ----

static bool GuiIsApiSupported(const clap_plugin_t *clapPlugin, const char *api, bool floating) {
    return api && !strcmp(api, CLAP_WINDOW_API_X11) && !floating;
}

static bool GuiGetPreferredApi(const clap_plugin_t *clapPlugin, const char **api, bool *floating) {
    *api = CLAP_WINDOW_API_X11;
    *floating = false;
    return true;
}

static bool GuiCreate(const clap_plugin_t *clapPlugin, const char *api, bool floating) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    if (!GuiIsApiSupported(clapPlugin, api, floating)) return false;
    UIHostWindow *gui = &plugin->gui;
    if (gui->editorOpen) return true;
    gui->editor = &plugin->context;
    gui->plugin = plugin;
    gui->ui.editorMessage = EditorHook;
    gui->dialogBusy = DialogFileRunning;
    gui->dialogSettle = DialogFileSettle;
    EditorInstall();
    const UIEmbeddedFile *file = UIEmbeddedFind("lathemoorfx_ui.txt");
    if (file) {
        const char *text = (const char *)file->start;
        UIInterfaceFileParse(&gui->ui, text, text + file->size);
    }
    UIWindowStart(&gui->ui);
    // Without an X server there is no editor: create answers false, so the
    // host knows, and the elements just made are freed again.
    if (!UIHostWindowOpen(gui)) {
        UIWindowFree(&gui->ui);
        return false;
    }
    gui->editorOpen = 1;
    const clap_host_posix_fd_support_t *fds = plugin->hostPosixFdSupport;
    if (fds && fds->register_fd) {
        plugin->guiFdRegistered =
            fds->register_fd(plugin->host, UIHostWindowDescriptor(gui), CLAP_POSIX_FD_READ);
    }
    RegisterTimer(plugin);
    return true;
}

static void GuiDestroy(const clap_plugin_t *clapPlugin) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    UIHostWindow *gui = &plugin->gui;
    if (!gui->editorOpen) return;
    MeterWrite(plugin->meter.metersWanted, plugin->metersRequested);
    const clap_host_posix_fd_support_t *fds = plugin->hostPosixFdSupport;
    if (plugin->guiFdRegistered && fds && fds->unregister_fd)
        fds->unregister_fd(plugin->host, UIHostWindowDescriptor(gui));
    plugin->guiFdRegistered = 0;
    UnregisterTimer(plugin);
    gui->editorOpen = 0;
    UIWindowFree(&gui->ui);
    UIHostWindowClose(gui);
}

// The host's scale is ignored: the editor's own scale setting rules.
static bool GuiSetScale(const clap_plugin_t *clapPlugin, double scale) { return false; }

static bool GuiGetSize(const clap_plugin_t *clapPlugin, uint32_t *width, uint32_t *height) {
    int32_t w, h;
    UIWindowSize(&w, &h);
    *width = (uint32_t)w;
    *height = (uint32_t)h;
    return true;
}

static bool GuiCanResize(const clap_plugin_t *clapPlugin) { return false; }

static bool GuiGetResizeHints(const clap_plugin_t *clapPlugin, clap_gui_resize_hints_t *hints) {
    return false;
}

static bool GuiAdjustSize(const clap_plugin_t *clapPlugin, uint32_t *width, uint32_t *height) {
    return GuiGetSize(clapPlugin, width, height);
}

static bool GuiSetSize(const clap_plugin_t *clapPlugin, uint32_t width, uint32_t height) {
    return true;
}

static bool GuiSetParent(const clap_plugin_t *clapPlugin, const clap_window_t *window) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    if (!plugin->gui.editorOpen || !window) return false;
    UIHostWindowSetParent(&plugin->gui, window->x11);
    return true;
}

static bool GuiSetTransient(const clap_plugin_t *clapPlugin, const clap_window_t *window) {
    return false;
}

static void GuiSuggestTitle(const clap_plugin_t *clapPlugin, const char *title) {}

static bool GuiShow(const clap_plugin_t *clapPlugin) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    if (!plugin->gui.editorOpen) return false;
    MeterWrite(plugin->meter.metersWanted, (uint8_t)1);
    UIHostWindowShow(&plugin->gui);
    return true;
}

static bool GuiHide(const clap_plugin_t *clapPlugin) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    if (!plugin->gui.editorOpen) return false;
    MeterWrite(plugin->meter.metersWanted, plugin->metersRequested);
    UIHostWindowHide(&plugin->gui);
    return true;
}

const clap_plugin_gui_t PLUGIN_GUI = {
    GuiIsApiSupported, GuiGetPreferredApi, GuiCreate,       GuiDestroy,    GuiSetScale,
    GuiGetSize,        GuiCanResize,       GuiGetResizeHints, GuiAdjustSize, GuiSetSize,
    GuiSetParent,      GuiSetTransient,    GuiSuggestTitle, GuiShow,       GuiHide,
};

// ---- clap.timer-support ----
// The one timer is the editor's, registered while it is open; it is also
// the one moment the host's values reach the editor.

void UITimerTick(Plugin *plugin) {
    UIHostWindow *gui = &plugin->gui;
    if (!gui->editorOpen) return;
    // A file choice completes after the next X event, but the dialog is
    // another program's window: the editor may see no event for a long
    // while after it closes, so the tick settles it too.
    DialogFileSettle();
    bool changed = DrainHostValues(plugin);
    UIHostWindowPaint(gui, !changed);
    if (UIHostWindowPending(gui)) UIPumpEvents(gui);
}

static void TimerOnTimer(const clap_plugin_t *clapPlugin, clap_id timerId) {
    UITimerTick(PluginFromClap(clapPlugin));
}

const clap_plugin_timer_support_t PLUGIN_TIMER_SUPPORT = {TimerOnTimer};

// ---- clap.posix-fd-support ----
// The descriptor is the editor's X connection.

void UIDescriptorReady(Plugin *plugin) {
    if (plugin->gui.editorOpen) UIPumpEvents(&plugin->gui);
}

static void PosixFdOnFd(const clap_plugin_t *clapPlugin, int fd, uint32_t flags) {
    UIDescriptorReady(PluginFromClap(clapPlugin));
}

const clap_plugin_posix_fd_support_t PLUGIN_POSIX_FD_SUPPORT = {PosixFdOnFd};

// ---- scale, skin and refresh: process-wide, for every open editor ----

static void WriteNumberSetting(const char32_t *key, int32_t value) {
    char digits[16];
    char32_t text[16] = {};
    snprintf(digits, sizeof digits, "%d", value);
    for (int i = 0; digits[i]; i++) text[i] = (char32_t)digits[i];
    SettingsWrite(key, text);
}

void UISetScale(int32_t scale, int32_t skin) {
    uiScale = UIScaleLimit(scale);
    uiSkin = skin;
    UIPaletteReload();
    WriteNumberSetting(U"UIScale", uiScale);
    WriteNumberSetting(U"UISkin", uiSkin);
    // Every buffer takes the new size before any host hears of it, and every
    // editor repaints after all hosts have been asked.
    for (int32_t i = 0; i < globals.instanceCount; i++) {
        Plugin *plugin = globals.instances[i];
        if (plugin->gui.editorOpen) UIHostWindowResize(&plugin->gui);
    }
    for (int32_t i = 0; i < globals.instanceCount; i++) {
        Plugin *plugin = globals.instances[i];
        const clap_host_gui_t *hostGui = plugin->hostGui;
        if (!plugin->gui.editorOpen || !hostGui || !hostGui->request_resize) continue;
        hostGui->request_resize(plugin->host, (uint32_t)plugin->gui.width,
                                (uint32_t)plugin->gui.height);
    }
    for (int32_t i = 0; i < globals.instanceCount; i++) {
        UIHostWindow *gui = &globals.instances[i]->gui;
        if (!gui->editorOpen) continue;
        UIEditorSend(gui->editor, &gui->ui, gui->plugin, EDITOR_MSG_SKIN_LOADED, 0, nullptr);
        UIHostWindowPaint(gui, false);
        gui->ui.needsRepaint = 0;
    }
}

void UISetRefresh(int32_t milliseconds) {
    globals.uiRefreshMs = milliseconds;
    WriteNumberSetting(U"UIRefresh", milliseconds);
    for (int32_t i = 0; i < globals.instanceCount; i++) {
        Plugin *plugin = globals.instances[i];
        if (!plugin->gui.editorOpen) continue;
        UnregisterTimer(plugin);
        RegisterTimer(plugin);
    }
}
