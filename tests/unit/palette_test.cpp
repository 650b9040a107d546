// The palette table and a custom skin's "palette.ini" in a temporary HOME.
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "tests/support/shell_rig.h"
#include "toolkit/images.h"
#include "toolkit/palette.h"

namespace {

bool AllDefaults() { return !memcmp(paletteValues, paletteDefaults, sizeof paletteValues); }

TEST(Palette, a_custom_skins_file_counts_only_exact_keys_before_any_header_and_within_the_size) {
    ASSERT_EQ(PAL_COUNT, 83u);
    EXPECT_EQ(UIPaletteFind("pal_accent_color"), nullptr);
    TempHome home;
    UISkinSetFolder(home.home.c_str());
    const std::string palette = home.home + "/palette.ini";
    TempHome::WriteWholeFile(palette,
                             "PAL_CURVE_LINE=0xFF112233\r\nPAL_TXT_MENU=077\nPAL_MENU_ICON = 0x1\n"
                             "PAL_ACCENT_COLOR=0x1FFFFFFFF\nPAL_MOD_TAB_COL_1=1\nPAL_MOD_TAB_COL_1=2\n"
                             "[anything]\nPAL_CURVE_GRID=0x5\n");
    uint32_t *line = UIPaletteFind("PAL_CURVE_LINE");
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_EQ(*line, 0xFF112233u);   // the pointer taken before sees the file's value
    // Values read as strtoull does, kept to 32 bits; the last of two lines wins.
    EXPECT_EQ(paletteValues[PAL_TXT_MENU], 077u);
    EXPECT_EQ(paletteValues[PAL_ACCENT_COLOR], 0xFFFFFFFFu);
    EXPECT_EQ(paletteValues[PAL_MOD_TAB_COL_1], 2u);
    EXPECT_EQ(paletteValues[PAL_MENU_ICON], paletteDefaults[PAL_MENU_ICON]);
    EXPECT_EQ(paletteValues[PAL_CURVE_GRID], paletteDefaults[PAL_CURVE_GRID]);

    // Other skins and oversized files: defaults.
    UIPaletteLoad(1);
    EXPECT_TRUE(AllDefaults());
    std::string large = "PAL_ACCENT_COLOR=2\n;" + std::string(UI_PALETTE_MAX_FILE_SIZE - 21, ' ');
    TempHome::WriteWholeFile(palette, large);   // one byte under the limit
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_EQ(paletteValues[PAL_ACCENT_COLOR], 2u);
    TempHome::WriteWholeFile(palette, large + " ");
    UIPaletteLoad(UI_SKIN_CUSTOM);
    EXPECT_TRUE(AllDefaults());
    UISkinSetFolder(nullptr);
}

}  // namespace
