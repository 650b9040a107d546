// The small extensions seen from inside the instance: the host's context-menu
// items, parameter indication colours and the own extension tables.
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "shell/plugin.h"
#include "toolkit/palette.h"

extern "C" const clap_plugin_entry_t clap_entry;

namespace {

struct MenuHost {
    bool populateResult = true;
    std::vector<clap_id> performed;
    clap_context_menu_target_t lastTarget = {};
};
MenuHost menuHost;

bool Populate(const clap_host_t *, const clap_context_menu_target_t *target,
              const clap_context_menu_builder_t *builder) {
    menuHost.lastTarget = *target;
    std::string longLabel(120, 'x');
    clap_context_menu_entry_t entry = {"Show &Automation", true, 11};
    clap_context_menu_entry_t disabled = {"Disabled", false, 12};
    clap_context_menu_check_entry_t check = {longLabel.c_str(), true, true, 13};
    clap_context_menu_entry_t submenu = {"Submenu", true, 14};
    EXPECT_TRUE(builder->supports(builder, CLAP_CONTEXT_MENU_ITEM_SEPARATOR));
    EXPECT_FALSE(builder->supports(builder, CLAP_CONTEXT_MENU_ITEM_BEGIN_SUBMENU));
    builder->add_item(builder, CLAP_CONTEXT_MENU_ITEM_ENTRY, &entry);
    builder->add_item(builder, CLAP_CONTEXT_MENU_ITEM_SEPARATOR, nullptr);
    builder->add_item(builder, CLAP_CONTEXT_MENU_ITEM_ENTRY, &disabled);
    builder->add_item(builder, CLAP_CONTEXT_MENU_ITEM_CHECK_ENTRY, &check);
    EXPECT_FALSE(builder->add_item(builder, CLAP_CONTEXT_MENU_ITEM_BEGIN_SUBMENU, &submenu));
    return menuHost.populateResult;
}
bool Perform(const clap_host_t *, const clap_context_menu_target_t *target, clap_id action) {
    menuHost.lastTarget = *target;
    menuHost.performed.push_back(action);
    return true;
}
const clap_host_context_menu_t HOST_MENU = {Populate, Perform, nullptr, nullptr};
const void *HostGetExtension(const clap_host_t *, const char *id) {
    return strcmp(id, CLAP_EXT_CONTEXT_MENU) ? nullptr : &HOST_MENU;
}
const clap_host_t MENU_HOST = {CLAP_VERSION_INIT, nullptr, "test", "test", "", "1",
                               HostGetExtension, nullptr, nullptr, nullptr};
const clap_host_t BARE_HOST = {CLAP_VERSION_INIT, nullptr, "test", "test", "", "1",
                               nullptr, nullptr, nullptr, nullptr};

const clap_plugin_t *NewInstance(const clap_host_t *host) {
    auto factory = (const clap_plugin_factory_t *)clap_entry.get_factory(CLAP_PLUGIN_FACTORY_ID);
    const clap_plugin_t *plugin = factory->create_plugin(factory, host, "orwen.LathemoorFX");
    plugin->init(plugin);
    return plugin;
}

std::u32string Label(const HostMenuItem &item) { return std::u32string(item.label); }

TEST(HostMenu, builder_keeps_entries_checks_and_separators_in_order) {
    menuHost = MenuHost();
    const clap_plugin_t *clapPlugin = NewInstance(&MENU_HOST);
    Plugin *plugin = PluginFromClap(clapPlugin);
    ASSERT_EQ(HostMenuPopulate(plugin, 42), 4u);
    EXPECT_EQ(menuHost.lastTarget.kind, (uint32_t)CLAP_CONTEXT_MENU_TARGET_KIND_PARAM);
    EXPECT_EQ(menuHost.lastTarget.id, 42u);
    const HostMenuItem *items = plugin->hostMenuItems;
    EXPECT_EQ(Label(items[0]), U"Show &Automation");  // the menu drops "&" when it shows it
    EXPECT_EQ(items[1].kind, (uint32_t)CLAP_CONTEXT_MENU_ITEM_SEPARATOR);
    EXPECT_TRUE(items[2].disabled);
    EXPECT_TRUE(items[3].checked);
    EXPECT_EQ(Label(items[3]).size(), 79u);

    HostMenuPerform(plugin, 0);
    HostMenuPerform(plugin, 1);  // a separator does nothing
    HostMenuPerform(plugin, 2);  // nor does a disabled entry
    HostMenuPerform(plugin, 3);
    HostMenuPerform(plugin, 9);
    EXPECT_EQ(menuHost.performed, (std::vector<clap_id>{11, 13}));
    EXPECT_EQ(menuHost.lastTarget.id, 42u);

    menuHost.populateResult = false;  // a failed populate leaves only our own items
    EXPECT_EQ(HostMenuPopulate(plugin, 5), 0u);
    clapPlugin->destroy(clapPlugin);
}

TEST(HostMenu, host_without_menu_gives_no_items) {
    const clap_plugin_t *clapPlugin = NewInstance(&BARE_HOST);
    EXPECT_EQ(HostMenuPopulate(PluginFromClap(clapPlugin), 0), 0u);
    HostMenuPerform(PluginFromClap(clapPlugin), 0);
    clapPlugin->destroy(clapPlugin);
}

TEST(ParamIndication, colours_are_packed_with_seventy_percent_alpha_and_cleared) {
    const clap_plugin_t *clapPlugin = NewInstance(&BARE_HOST);
    Plugin *plugin = PluginFromClap(clapPlugin);
    auto indication = (const clap_plugin_param_indication_t *)clapPlugin->get_extension(
        clapPlugin, CLAP_EXT_PARAM_INDICATION);
    ASSERT_NE(indication, nullptr);
    clap_color_t colour = {255, 0x12, 0x34, 0x56};
    indication->set_mapping(clapPlugin, 7, true, &colour, "label", nullptr);
    EXPECT_EQ(plugin->meter.mappingColour[7], 0xB2123456u);  // alpha 178
    indication->set_mapping(clapPlugin, 7, true, nullptr, nullptr, nullptr);
    EXPECT_EQ(plugin->meter.mappingColour[7], 0u);
    indication->set_mapping(clapPlugin, 8, false, &colour, nullptr, nullptr);
    EXPECT_EQ(plugin->meter.mappingColour[8], 0u);

    indication->set_automation(clapPlugin, 9, 2, &colour);
    EXPECT_EQ(plugin->meter.automationColour[9], 0xB2123456u);
    indication->set_automation(clapPlugin, 9, CLAP_PARAM_INDICATION_AUTOMATION_NONE, &colour);
    EXPECT_EQ(plugin->meter.automationColour[9], 0u);
    indication->set_automation(clapPlugin, 231, 2, &colour);  // ignored
    indication->set_mapping(clapPlugin, 0xFFFFFFFF, true, &colour, nullptr, nullptr);
    clapPlugin->destroy(clapPlugin);
}

TEST(OwnExtensions, tables_answer_and_unknown_ids_do_not) {
    const clap_plugin_t *clapPlugin = NewInstance(&BARE_HOST);
    auto ensure = (const OrwenEnsureSamplesLoaded *)clapPlugin->get_extension(
        clapPlugin, "orwen.ensure_samples_loaded");
    ASSERT_NE(ensure, nullptr);
    ensure->ensure(clapPlugin);
    auto palette = (const OrwenPaletteAccess *)clapPlugin->get_extension(clapPlugin,
                                                                          "orwen.palette_access");
    ASSERT_NE(palette, nullptr);
    const char *name = "unset";
    EXPECT_EQ(palette->get(clapPlugin, 83, &name), nullptr);
    EXPECT_EQ(name, nullptr);
    // Below the end: the live entry, the same one the toolkit paints with.
    uint32_t *entry = palette->get(clapPlugin, 0, &name);
    EXPECT_EQ(entry, UIPaletteFind("PAL_PREVIEW"));
    EXPECT_STREQ(name, "PAL_PREVIEW");
    EXPECT_EQ(palette->get(clapPlugin, 82, nullptr), UIPaletteFind("PAL_ACCENT_COLOR"));
    palette->reserved(clapPlugin);
    EXPECT_EQ(clapPlugin->get_extension(clapPlugin, "clap.latency"), nullptr);
    EXPECT_EQ(clapPlugin->get_extension(clapPlugin, "orwen.unknown"), nullptr);
    clapPlugin->destroy(clapPlugin);
}

}  // namespace
