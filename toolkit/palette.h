// The colour palette: one process-wide table of 83 named 0xAARRGGBB colours
// that all painting by role reads at paint time. It starts from built-in
// defaults; a custom skin may override any entry through "palette.ini" in its
// folder. Pointers into the live table stay valid for the life of the process,
// so a reload reaches every holder of such a pointer at its next paint.
//
// The PAL_TXT_* entries, PAL_PREVIEW, PAL_MOD_TAB_COL_1, PAL_MOD_TAB_COL_2,
// PAL_CURVE_SHADE and PAL_PREVIEW_CLIP_BORDER carry alpha 00 by default: their
// users supply the alpha (text takes the glyph's coverage). Main thread only.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "toolkit/scale.h"

// Every entry with its default, in table order. The order is a stored format:
// the index is what the host extension numbers the entries by.
#define UI_PALETTE_ENTRIES(X) \
    X(PAL_PREVIEW, 0x006BFDC0) \
    X(PAL_MOD_TAB_COL_1, 0x00A9FFD4) \
    X(PAL_MOD_TAB_COL_2, 0x0033AA72) \
    X(PAL_CURVE_LINE, 0xFF6BFDC0) \
    X(PAL_CURVE_SHADE, 0x003D926F) \
    X(PAL_TXT_DEFAULT, 0x00FFFFFF) \
    X(PAL_TXT_MAIN_LABEL, 0x00CBCBCB) \
    X(PAL_TXT_MAIN_LABEL_DIM, 0x00B4B4B4) \
    X(PAL_TXT_MAIN_LABEL_DISABLED, 0x007B7B7B) \
    X(PAL_TXT_MAIN_LABEL_ERROR, 0x00FFBBBB) \
    X(PAL_TXT_BRIGHT_LABEL, 0x00EFEFEF) \
    X(PAL_TXT_BRIGHT_LABEL_DISABLED, 0x00999999) \
    X(PAL_MENU_BACKGROUND, 0xFFBDC5C9) \
    X(PAL_MENU_BORDER, 0xFF151E23) \
    X(PAL_MENU_SEPARATOR, 0xFF929DA4) \
    X(PAL_MENU_ITEM_HOT, 0xFF5D6B74) \
    X(PAL_MENU_ICON, 0xFF252728) \
    X(PAL_MENU_ICON_HOT, 0xFFD4E0E8) \
    X(PAL_TXT_MENU_DISABLED, 0x00949EA6) \
    X(PAL_TXT_MENU_HOT, 0x00D4E0E8) \
    X(PAL_TXT_MENU, 0x00252728) \
    X(PAL_TXT_WIDGET_LABEL, 0x00F0F0F3) \
    X(PAL_WIDGET_BUTTON_ICON, 0xFFFFFFFF) \
    X(PAL_WIDGET_BUTTON_BACKGROUND_1, 0xFF5A5E64) \
    X(PAL_WIDGET_BUTTON_BACKGROUND_2, 0xFF53565C) \
    X(PAL_WIDGET_BUTTON_BORDER, 0xFF252729) \
    X(PAL_WIDGET_BUTTON_SHADOW, 0x28000000) \
    X(PAL_TXT_DRAG_OVERLAY_SECONDARY, 0x00F0F0F0) \
    X(PAL_DRAG_OVERLAY_FILL, 0xD0000000) \
    X(PAL_DRAG_OVERLAY_BORDER, 0x50FFFFFF) \
    X(PAL_DRAG_OVERLAY_DIAGRAM_LINE, 0xCFFFFFFF) \
    X(PAL_DRAG_OVERLAY_DIAGRAM_HIGHLIGHT, 0x3FFFFFFF) \
    X(PAL_TXT_PATCH_DISPLAY, 0x0005140A) \
    X(PAL_TXT_PATCH_DISPLAY_SECONDARY, 0x0055645A) \
    X(PAL_TXT_PATCH_DISPLAY_CATEGORY, 0x00D5E1CB) \
    X(PAL_PATCH_DISPLAY_CATEGORY, 0xDF51564C) \
    X(PAL_PATCH_DISPLAY_DIVIDER, 0x20000000) \
    X(PAL_POPUP_STRONG_BACKGROUND, 0xC0000000) \
    X(PAL_POPUP_MEDIUM_BACKGROUND, 0xA0000000) \
    X(PAL_POPUP_WEAK_BACKGROUND, 0x40000000) \
    X(PAL_POPUP_DIALOG_AREA, 0xF0222426) \
    X(PAL_POPUP_DIALOG_AREA_DIVIDER, 0xFF050709) \
    X(PAL_POPUP_SHADOW, 0x7F000000) \
    X(PAL_CURVE_GRID, 0x1FFFFFFF) \
    X(PAL_CURVE_SELECTION, 0x5F3399FF) \
    X(PAL_CURVE_LOOP_START_HANDLE, 0x5FFFFFFF) \
    X(PAL_CURVE_PHASE_INDICATOR, 0x80FFFFFF) \
    X(PAL_MOD_DEST_SEL_BACKGROUND, 0x80000000) \
    X(PAL_REMOVE_ASSIGN_FILL, 0x80000000) \
    X(PAL_REMOVE_ASSIGN_BORDER, 0x7FFFFFFF) \
    X(PAL_PREVIEW_BACKGROUND_DISABLED, 0xFF333333) \
    X(PAL_PREVIEW_BACKGROUND_NORMAL, 0xFF000000) \
    X(PAL_PREVIEW_BACKGROUND_GRID, 0xFF181818) \
    X(PAL_PREVIEW_CLIP_BORDER, 0x00FE1212) \
    X(PAL_TRANCEGATE_STEP_ON, 0xFF51564C) \
    X(PAL_TRANCEGATE_STEP_OFF, 0x6651564C) \
    X(PAL_TRANCEGATE_DISABLED, 0xC7000000) \
    X(PAL_COMPRESSOR_BAR, 0xFF808080) \
    X(PAL_COMPRESSOR_BAR_CLIPPING, 0xFFF08080) \
    X(PAL_COMPRESSOR_THRESHOLD_MARKER, 0x7FFFFFFF) \
    X(PAL_SCROLL_BAR_THUMB_NORMAL, 0xFFD8D6D4) \
    X(PAL_SCROLL_BAR_THUMB_PRESSED, 0xFF808080) \
    X(PAL_LIST_ITEM_SELECTED, 0xFFF4F4F4) \
    X(PAL_TXT_LIST_ITEM_SELECTED, 0x00000000) \
    X(PAL_TXT_LIST_ITEM, 0x00DFDFDF) \
    X(PAL_SEQ_STEP_ACTIVE, 0x7FC0CFEF) \
    X(PAL_SEQ_STEP_ENABLED, 0x1FC0CFEF) \
    X(PAL_TXT_SEQ_STEP_DISABLED, 0x00777777) \
    X(PAL_ACCENT_BOX_BACKGROUND_1, 0xFF0C0D0E) \
    X(PAL_ACCENT_BOX_BACKGROUND_2, 0xFF262627) \
    X(PAL_ASSIGN_INVALID_OUTLINE, 0x5FFF0000) \
    X(PAL_BUTTON_PRESSED_OVERLAY, 0x80000000) \
    X(PAL_BUTTON_PRESSED_OVERLAY_LIGHTER, 0x40000000) \
    X(PAL_BYPASS_LOCK_OVERLAY, 0x40FFFFFF) \
    X(PAL_KEY_MAP_HAS_EDITS, 0x407F7FFF) \
    X(PAL_MODULATABLE_CHECK_HIGHLIGHT, 0x30FFFFFF) \
    X(PAL_TAB_ACTIVE_LINE, 0x4FFFFFFF) \
    X(PAL_TARGET_HINT_BORDER, 0x3FFFFFFF) \
    X(PAL_TARGET_HINT_BORDER_BRIGHT, 0x7FFFFFFF) \
    X(PAL_TARGET_HINT_FILL, 0x7F000000) \
    X(PAL_TXT_DEFAULT_SHADOW, 0x00000000) \
    X(PAL_XY_PAD_INDICATOR_LINES, 0xFFA1A1A1) \
    X(PAL_ACCENT_COLOR, 0xFFFF00FF)

// The index of each entry in the table.
enum UIPaletteIndex : uint32_t {
#define UI_PALETTE_INDEX(name, colour) name,
    UI_PALETTE_ENTRIES(UI_PALETTE_INDEX)
#undef UI_PALETTE_INDEX
    PAL_COUNT
};

// Files at or above this size are not read as a palette.
enum { UI_PALETTE_MAX_FILE_SIZE = 4000000 };

extern const char *const paletteNames[PAL_COUNT];   // "PAL_PREVIEW" ...
extern const uint32_t paletteDefaults[PAL_COUNT];
extern uint32_t paletteValues[PAL_COUNT];           // live; zero until the first load

// The palette part of a reload: copies the defaults over the live table, then,
// when skin is UI_SKIN_CUSTOM and a custom skin folder was handed over
// (UISkinSetFolder), applies that folder's "palette.ini". A missing, unreadable or oversized file
// leaves the defaults standing. Only key lines ahead of the file's first
// section header count, with a non-empty key and value; the key must equal a
// name exactly (no trimming, case kept); the value is read by strtoull with
// base 0 and its low 32 bits are kept; unknown keys are passed over and the
// last line of a key wins. The full reload is UIPaletteReload.
void UIPaletteLoad(int32_t skin);

// The reload of skin and palette, for the present uiScale and uiSkin: the
// images first (UISkinSelect frees every decoded picture and selects the rows),
// then the palette (UIPaletteLoad). Main thread.
void UIPaletteReload(void);

// The live entry of that name (compared exactly), or null.
uint32_t *UIPaletteFind(const char *name);
