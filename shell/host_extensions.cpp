// The small extensions: parameter indication, the host's context-menu items
// for a parameter, and the plug-in's own "orwen.*" extensions.
#include <stdlib.h>
#include <string.h>

#include "shell/plugin.h"
#include "shell/whole_patch.h"
#include "toolkit/palette.h"
#include "vocabulary/grow.h"

// ---- clap.param-indication.draft/4 ----

// The ring colour for the editor: the host's colour with 70 % of its alpha.
uint32_t PackIndicationColour(const clap_color_t *colour) {
    return (uint32_t)colour->red << 16 | (uint32_t)colour->green << 8 | colour->blue |
           (uint32_t)(colour->alpha * 0.7f) << 24;
}

static void IndicationSetMapping(const clap_plugin_t *clapPlugin, clap_id id, bool hasMapping,
                                 const clap_color_t *colour, const char *label,
                                 const char *description) {
    if (id >= PARAM_COUNT) return;
    Plugin *plugin = PluginFromClap(clapPlugin);
    plugin->meter.mappingColour[id] = hasMapping && colour ? PackIndicationColour(colour) : 0;
}

static void IndicationSetAutomation(const clap_plugin_t *clapPlugin, clap_id id, uint32_t state,
                                    const clap_color_t *colour) {
    if (id >= PARAM_COUNT) return;
    Plugin *plugin = PluginFromClap(clapPlugin);
    bool shown = state != CLAP_PARAM_INDICATION_AUTOMATION_NONE && colour;
    plugin->meter.automationColour[id] = shown ? PackIndicationColour(colour) : 0;
}

const clap_plugin_param_indication_t PLUGIN_PARAM_INDICATION = {
    IndicationSetMapping,
    IndicationSetAutomation,
};

// ---- the host's context menu for a parameter ----

static bool BuilderSupports(const clap_context_menu_builder_t *builder, uint32_t kind) {
    return kind == CLAP_CONTEXT_MENU_ITEM_ENTRY || kind == CLAP_CONTEXT_MENU_ITEM_CHECK_ENTRY ||
           kind == CLAP_CONTEXT_MENU_ITEM_SEPARATOR;
}

static HostMenuItem *AppendItem(Plugin *plugin, uint32_t kind) {
    ArrayReserve(&plugin->hostMenuItems, &plugin->hostMenuCapacity, plugin->hostMenuCount + 1);
    HostMenuItem *item = &plugin->hostMenuItems[plugin->hostMenuCount++];
    memset(item, 0, sizeof *item);
    item->kind = kind;
    return item;
}

// Labels are widened byte by byte and cut to fit the row.
static void SetLabel(HostMenuItem *item, const char *label) {
    for (int i = 0; label && label[i] && i < HOST_MENU_LABEL_SIZE - 1; i++)
        item->label[i] = (char32_t)(signed char)label[i];
}

static bool BuilderAddItem(const clap_context_menu_builder_t *builder, uint32_t kind,
                           const void *data) {
    Plugin *plugin = (Plugin *)builder->ctx;
    if (kind == CLAP_CONTEXT_MENU_ITEM_ENTRY && data) {
        const clap_context_menu_entry_t *entry = (const clap_context_menu_entry_t *)data;
        HostMenuItem *item = AppendItem(plugin, kind);
        SetLabel(item, entry->label);
        item->actionId = entry->action_id;
        item->disabled = !entry->is_enabled;
        return true;
    }
    if (kind == CLAP_CONTEXT_MENU_ITEM_CHECK_ENTRY && data) {
        const clap_context_menu_check_entry_t *entry = (const clap_context_menu_check_entry_t *)data;
        HostMenuItem *item = AppendItem(plugin, kind);
        SetLabel(item, entry->label);
        item->actionId = entry->action_id;
        item->disabled = !entry->is_enabled;
        item->checked = entry->is_checked;
        return true;
    }
    if (kind == CLAP_CONTEXT_MENU_ITEM_SEPARATOR) {
        AppendItem(plugin, kind);
        return true;
    }
    return false;
}

uint32_t HostMenuPopulate(Plugin *plugin, int32_t parameter) {
    plugin->hostMenuCount = 0;
    const clap_host_context_menu_t *menu = plugin->hostContextMenu;
    if (!menu || !menu->populate || !menu->perform) return 0;
    plugin->hostMenuTarget = {CLAP_CONTEXT_MENU_TARGET_KIND_PARAM, (clap_id)parameter};
    clap_context_menu_builder_t builder = {plugin, BuilderAddItem, BuilderSupports};
    if (!menu->populate(plugin->host, &plugin->hostMenuTarget, &builder)) plugin->hostMenuCount = 0;
    return plugin->hostMenuCount;
}

void HostMenuPerform(Plugin *plugin, uint32_t index) {
    const clap_host_context_menu_t *menu = plugin->hostContextMenu;
    if (index >= plugin->hostMenuCount || !menu || !menu->perform) return;
    const HostMenuItem *item = &plugin->hostMenuItems[index];
    if (item->kind == CLAP_CONTEXT_MENU_ITEM_SEPARATOR || item->disabled) return;
    menu->perform(plugin->host, &plugin->hostMenuTarget, item->actionId);
}

// ---- orwen.ensure_samples_loaded: this effect has no samples to load ----

static void EnsureSamplesLoaded(const clap_plugin_t *clapPlugin) {}

const OrwenEnsureSamplesLoaded PLUGIN_ENSURE_SAMPLES_LOADED = {EnsureSamplesLoaded};

// ---- orwen.palette_access ----

// The live process-wide entry, writable, and its PAL_* name; past the table
// null and no name. A write reaches the next paint of every instance.
static uint32_t *PaletteGet(const clap_plugin_t *clapPlugin, uint32_t index, const char **name) {
    bool known = index < PAL_COUNT;
    if (name) *name = known ? paletteNames[index] : nullptr;
    return known ? &paletteValues[index] : nullptr;
}
static void PaletteReserved(const clap_plugin_t *clapPlugin) {}

const OrwenPaletteAccess PLUGIN_PALETTE_ACCESS = {PaletteGet, PaletteReserved};

// ---- orwen.randomize ----

static void RandomiseEntry(const clap_plugin_t *clapPlugin) { Randomise(PluginFromClap(clapPlugin)); }

const OrwenRandomize PLUGIN_RANDOMIZE = {RandomiseEntry};

// ---- orwen.meters ----
// The audio side measures while metersWanted is set: while the editor shows,
// or while a host asked. Main thread, like the editor's own reads.

static void MetersRequest(const clap_plugin_t *clapPlugin, bool wanted) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    plugin->metersRequested = wanted;
    MeterWrite(plugin->meter.metersWanted, (uint8_t)(wanted || (plugin->gui.editorOpen && plugin->gui.mapped)));
}

static bool MetersCompressorLevels(const clap_plugin_t *clapPlugin, uint32_t instance,
                                   float *inputDb, float *outputDb) {
    if (instance > 2) return false;
    const MeterBlock &meter = PluginFromClap(clapPlugin)->meter;
    if (inputDb) *inputDb = MeterRead(meter.compressorInputDb[instance]);
    if (outputDb) *outputDb = MeterRead(meter.compressorOutputDb[instance]);
    return true;
}

const OrwenMeters PLUGIN_METERS = {MetersRequest, MetersCompressorLevels};

// ---- clap.state ----

static bool StateSave(const clap_plugin_t *clapPlugin, const clap_ostream_t *stream) {
    return PatchStateSave(PluginFromClap(clapPlugin), stream);
}

static bool StateLoad(const clap_plugin_t *clapPlugin, const clap_istream_t *stream) {
    return PatchStateLoad(PluginFromClap(clapPlugin), stream);
}

const clap_plugin_state_t PLUGIN_STATE = {StateSave, StateLoad};
