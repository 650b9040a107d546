// The palette table and a custom skin's "palette.ini" in a temporary HOME.
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "tests/support/shell_rig.h"
#include "toolkit/palette.h"

namespace {

bool AllDefaults() { return !memcmp(paletteValues, paletteDefaults, sizeof paletteValues); }

TEST(Palette, names_are_unique_and_in_place_and_text_colours_carry_no_alpha) {
    ASSERT_EQ(PAL_COUNT, 83u);
    for (uint32_t i = 0; i < PAL_COUNT; i++) {
        EXPECT_EQ(UIPaletteFind(paletteNames[i]), &paletteValues[i]) << paletteNames[i];
        EXPECT_TRUE(strncmp(paletteNames[i], "PAL_TXT_", 8) || paletteDefaults[i] < 0x01000000u) << i;
    }
    EXPECT_EQ(UIPaletteFind("pal_accent_color"), nullptr);
    EXPECT_EQ(UIPaletteFind("PAL_ACCENT"), nullptr);
}

TEST(Palette, a_custom_skins_file_counts_only_its_exact_keys_before_any_header_and_within_the_size) {
    TempHome home;
    home.PutSettings("[LathemoorFX]\nCustomSkin=" + home.home + "\n");
    const std::string palette = home.home + "/palette.ini";
    TempHome::WriteWholeFile(palette,
                             "PAL_CURVE_LINE=0xFF112233\r\nPAL_TXT_DEFAULT=16777215\nPAL_TXT_MENU=077\n"
                             "PAL_MENU_BORDER=xyz\nPAL_MENU_ICON = 0x1\n; PAL_MENU_SEPARATOR=0x2\n"
                             "PAL_PREVIEW=\nPAL_ACCENT_COLOR=0x1FFFFFFFF\nPAL_MOD_TAB_COL_1=1\n"
                             "PAL_MOD_TAB_COL_1=2\n[anything]\nPAL_CURVE_GRID=0x5\n[]\nPAL_CURVE_SELECTION=6\n");
    uint32_t *line = UIPaletteFind("PAL_CURVE_LINE");
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_EQ(*line, 0xFF112233u);   // the pointer taken before sees the file's value
    // Values read as strtoull does, kept to 32 bits; the last of two lines wins.
    uint32_t expected[][2] = {{PAL_TXT_DEFAULT, 0xFFFFFF}, {PAL_TXT_MENU, 077}, {PAL_MENU_BORDER, 0},
                              {PAL_ACCENT_COLOR, 0xFFFFFFFF}, {PAL_MOD_TAB_COL_1, 2}};
    for (auto &pair : expected) EXPECT_EQ(paletteValues[pair[0]], pair[1]) << paletteNames[pair[0]];
    for (uint32_t kept :
         {PAL_MENU_ICON, PAL_MENU_SEPARATOR, PAL_PREVIEW, PAL_CURVE_GRID, PAL_CURVE_SELECTION})
        EXPECT_EQ(paletteValues[kept], paletteDefaults[kept]) << paletteNames[kept];

    TempHome::WriteWholeFile(palette, "PAL_TXT_MENU=077\n");   // a line taken out goes back to its default
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_EQ(*line, paletteDefaults[PAL_CURVE_LINE]);
    EXPECT_EQ(paletteValues[PAL_TXT_MENU], 0x3Fu);

    // Other skins, oversized or missing files and a missing setting: defaults.
    UIPaletteLoad(1);
    EXPECT_TRUE(AllDefaults());
    std::string large = "PAL_ACCENT_COLOR=2\n;" + std::string(UI_PALETTE_MAX_FILE_SIZE - 21, ' ');
    TempHome::WriteWholeFile(palette, large);   // one byte under the limit
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_EQ(paletteValues[PAL_ACCENT_COLOR], 2u);
    TempHome::WriteWholeFile(palette, large + " ");
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_TRUE(AllDefaults());
    unlink(palette.c_str());
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_TRUE(AllDefaults());
    TempHome::WriteWholeFile(palette, "PAL_ACCENT_COLOR=3\n");
    home.PutSettings("[LathemoorFX]\nUISkin=65535\n");
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_TRUE(AllDefaults());
}

}  // namespace
