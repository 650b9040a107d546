// The small extensions seen from inside the instance: the host's context-menu
// items, parameter indication colours and the own extension tables.
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "tests/support/shell_rig.h"
#include "toolkit/palette.h"

namespace {

struct MenuHost {
    bool populateResult = true;
    std::vector<clap_id> performed;
    clap_context_menu_target_t lastTarget = {};
} menuHost;

bool Populate(const clap_host_t *, const clap_context_menu_target_t *target,
              const clap_context_menu_builder_t *builder) {
    menuHost.lastTarget = *target;
    std::string longLabel(120, 'x');
    clap_context_menu_entry_t entry = {"Show &Automation", true, 11}, disabled = {"Disabled", false, 12},
                              submenu = {"Submenu", true, 14};
    clap_context_menu_check_entry_t check = {longLabel.c_str(), true, true, 13};
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
const clap_host_t MENU_HOST = MakeHost([](const clap_host_t *, const char *id) -> const void * {
    return strcmp(id, CLAP_EXT_CONTEXT_MENU) ? nullptr : &HOST_MENU;
});
const clap_host_t BARE_HOST = MakeHost();

TEST(HostMenu, the_builder_keeps_entries_checks_and_separators_in_order_and_performs_entries) {
    menuHost = MenuHost();
    const clap_plugin_t *clapPlugin = NewPlugin(&MENU_HOST);
    Plugin *plugin = PluginFromClap(clapPlugin);
    ASSERT_EQ(HostMenuPopulate(plugin, 42), 4u);
    EXPECT_EQ(menuHost.lastTarget.id, 42u);
    const HostMenuItem *items = plugin->hostMenuItems;
    EXPECT_EQ(std::u32string(items[0].label), U"Show &Automation");  // the menu drops "&" when it shows it
    EXPECT_EQ(items[1].kind, (uint32_t)CLAP_CONTEXT_MENU_ITEM_SEPARATOR);
    EXPECT_TRUE(items[2].disabled);
    EXPECT_TRUE(items[3].checked);
    EXPECT_EQ(std::u32string(items[3].label).size(), 79u);
    for (uint32_t item : {0, 1, 2, 3, 9})
        HostMenuPerform(plugin, item);  // not a separator, disabled or missing one
    EXPECT_EQ(menuHost.performed, (std::vector<clap_id>{11, 13}));
    menuHost.populateResult = false;  // a failed populate leaves only our own items
    EXPECT_EQ(HostMenuPopulate(plugin, 5), 0u);
    clapPlugin->destroy(clapPlugin);
}

TEST(OwnExtensions, on_a_bare_host_menus_are_empty_colours_get_seventy_percent_alpha_and_the_palette_answers) {
    const clap_plugin_t *clapPlugin = NewPlugin(&BARE_HOST);
    Plugin *plugin = PluginFromClap(clapPlugin);
    EXPECT_EQ(HostMenuPopulate(plugin, 0), 0u);  // a host without a menu gives no items
    auto indication = (const clap_plugin_param_indication_t *)clapPlugin->get_extension(
        clapPlugin, CLAP_EXT_PARAM_INDICATION);
    ASSERT_NE(indication, nullptr);
    clap_color_t colour = {255, 0x12, 0x34, 0x56};
    indication->set_mapping(clapPlugin, 7, true, &colour, "label", nullptr);
    EXPECT_EQ(plugin->meter.mappingColour[7], 0xB2123456u);  // alpha 178
    indication->set_mapping(clapPlugin, 7, true, nullptr, nullptr, nullptr);
    EXPECT_EQ(plugin->meter.mappingColour[7], 0u);
    indication->set_automation(clapPlugin, 9, 2, &colour);
    EXPECT_EQ(plugin->meter.automationColour[9], 0xB2123456u);
    indication->set_automation(clapPlugin, 9, CLAP_PARAM_INDICATION_AUTOMATION_NONE, &colour);
    EXPECT_EQ(plugin->meter.automationColour[9], 0u);
    indication->set_automation(clapPlugin, 231, 2, &colour);  // out of range: ignored

    EXPECT_NE(clapPlugin->get_extension(clapPlugin, "orwen.ensure_samples_loaded"), nullptr);
    auto palette = (const OrwenPaletteAccess *)clapPlugin->get_extension(clapPlugin, "orwen.palette_access");
    ASSERT_NE(palette, nullptr);
    const char *name = "unset";
    EXPECT_EQ(palette->get(clapPlugin, 83, &name), nullptr);
    EXPECT_EQ(name, nullptr);
    // Below the end: the live entry, the same one the toolkit paints with.
    EXPECT_EQ(palette->get(clapPlugin, 0, &name), UIPaletteFind("PAL_PREVIEW"));
    EXPECT_STREQ(name, "PAL_PREVIEW");
    EXPECT_EQ(palette->get(clapPlugin, 82, nullptr), UIPaletteFind("PAL_ACCENT_COLOR"));
    clapPlugin->destroy(clapPlugin);
}

}  // namespace
