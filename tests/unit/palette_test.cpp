// The palette table and a custom skin's "palette.ini" in a temporary HOME.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "toolkit/palette.h"

namespace {

void WriteFile(const std::string &path, const std::string &bytes) { std::ofstream(path, std::ios::binary) << bytes; }
bool AllDefaults() { return !memcmp(paletteValues, paletteDefaults, sizeof paletteValues); }

struct PaletteSkin : ::testing::Test {
    std::string home, palette, oldHome = getenv("HOME") ? getenv("HOME") : "";
    void SetUp() override {
        char pattern[] = "/tmp/palette-test-XXXXXX";
        ASSERT_TRUE(mkdtemp(pattern));
        home = pattern, palette = home + "/skin/palette.ini";
        mkdir((home + "/.config").c_str(), 0755);
        mkdir((home + "/skin").c_str(), 0755);
        WriteFile(home + "/.config/OrwenAudioPlugins.ini", "[LathemoorFX]\nCustomSkin=" + home + "/skin\n");
        setenv("HOME", home.c_str(), 1);
    }
    void TearDown() override { setenv("HOME", oldHome.c_str(), 1), system(("rm -rf " + home).c_str()); }
};

TEST(Palette, names_are_unique_and_in_place_and_text_colours_carry_no_alpha) {
    ASSERT_EQ(PAL_COUNT, 83u);
    for (uint32_t i = 0; i < PAL_COUNT; i++) {
        EXPECT_EQ(UIPaletteFind(paletteNames[i]), &paletteValues[i]) << paletteNames[i];
        EXPECT_TRUE(strncmp(paletteNames[i], "PAL_TXT_", 8) || paletteDefaults[i] < 0x01000000u) << i;
    }
    EXPECT_STREQ(paletteNames[82], "PAL_ACCENT_COLOR");
    EXPECT_EQ(paletteDefaults[PAL_CURVE_SHADE], 0x003D926Fu);
    EXPECT_EQ(UIPaletteFind("pal_accent_color"), UIPaletteFind("PAL_ACCENT"));  // both null
}

TEST_F(PaletteSkin, only_exact_keys_ahead_of_the_first_header_count_and_values_read_as_strtoull) {
    WriteFile(palette, "PAL_CURVE_LINE=0xFF112233\r\nPAL_TXT_DEFAULT=16777215\nPAL_TXT_MENU=077\n"
                       "PAL_MENU_BORDER=xyz\nPAL_MENU_ICON = 0x1\n; PAL_MENU_SEPARATOR=0x2\n"
                       "PAL_PREVIEW=\nPAL_ACCENT_COLOR=0x1FFFFFFFF\nPAL_MOD_TAB_COL_1=1\n"
                       "PAL_MOD_TAB_COL_1=2\n[anything]\nPAL_CURVE_GRID=0x5\n[]\nPAL_CURVE_SELECTION=6\n");
    uint32_t *line = UIPaletteFind("PAL_CURVE_LINE");
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_EQ(*line, 0xFF112233u);  // the pointer taken before sees the file's value
    uint32_t expected[][2] = {{PAL_TXT_DEFAULT, 0xFFFFFF}, {PAL_TXT_MENU, 077}, {PAL_MENU_BORDER, 0},
                              {PAL_ACCENT_COLOR, 0xFFFFFFFF}, {PAL_MOD_TAB_COL_1, 2}};
    for (auto &pair : expected) EXPECT_EQ(paletteValues[pair[0]], pair[1]) << paletteNames[pair[0]];
    for (uint32_t kept : {PAL_MENU_ICON, PAL_MENU_SEPARATOR, PAL_PREVIEW, PAL_CURVE_GRID, PAL_CURVE_SELECTION})
        EXPECT_EQ(paletteValues[kept], paletteDefaults[kept]) << paletteNames[kept];

    WriteFile(palette, "PAL_TXT_MENU=077\n");  // a line taken out goes back to its default
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_EQ(*line, paletteDefaults[PAL_CURVE_LINE]);
    EXPECT_EQ(paletteValues[PAL_TXT_MENU], 0x3Fu);
}

TEST_F(PaletteSkin, other_skins_and_missing_or_oversized_files_leave_the_defaults) {
    WriteFile(palette, "PAL_ACCENT_COLOR=1\n");
    UIPaletteLoad(1);
    EXPECT_TRUE(AllDefaults());
    std::string large = "PAL_ACCENT_COLOR=2\n;" + std::string(UI_PALETTE_MAX_FILE_SIZE - 21, ' ');
    WriteFile(palette, large);  // one byte under the limit
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_EQ(paletteValues[PAL_ACCENT_COLOR], 2u);
    WriteFile(palette, large + " ");
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_TRUE(AllDefaults());
    unlink(palette.c_str()), UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_TRUE(AllDefaults());
    WriteFile(palette, "PAL_ACCENT_COLOR=3\n");  // no "CustomSkin" setting
    WriteFile(home + "/.config/OrwenAudioPlugins.ini", "[LathemoorFX]\nUISkin=65535\n");
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_TRUE(AllDefaults());
}

}  // namespace
