// The menus' two passes, their measure and their painting: everything of a
// menu but its window. See toolkit/menu.h.
#include <stdlib.h>
#include <string.h>

#include "toolkit/font.h"
#include "toolkit/menu.h"
#include "toolkit/palette.h"
#include "toolkit/rasterise.h"
#include "toolkit/scale.h"
#include "vocabulary/grow.h"

// Design pixels.
enum {
    ITEM_HEIGHT = 19,
    SEPARATOR_HEIGHT = 9,
    MENU_MARGIN = 4,            // above the first item and below the last of a column
    COLUMN_MIN_WIDTH = 20,
    TEXT_INDENT = 20,           // the icon place left of the text
    TEXT_ROOM = 40,             // the icon place and the right margin together
    ICON_X = 8, ICON_Y = 6, ICON_SIZE = 6,
};

// ---- the two passes ----

// The label as shown: every "&" is dropped and the character after it kept,
// so "&&" leaves one "&".
static uint32_t *ShownText(const char32_t *text) {
    size_t length = 0;
    while (text && text[length]) length++;
    uint32_t *shown = (uint32_t *)malloc((length + 1) * sizeof *shown), *out = shown;
    for (size_t i = 0; i < length; i++) {
        if (text[i] == U'&' && ++i == length) break;
        *out++ = text[i];
    }
    *out = 0;
    return shown;
}

bool UIMenuAddFlagged(UIMenuBuilder *builder, const char32_t *text, uint32_t flags) {
    bool separator = flags == UI_MENU_SEPARATOR;
    UIMenuItemList *list = builder->items;
    if (list) {
        if (separator && list->count && list->items[list->count - 1].separator) return false;
        ArrayReserve(&list->items, &list->capacity, list->count + 1);
        UIMenuItem *item = &list->items[list->count++];
        memset(item, 0, sizeof *item);
        item->separator = separator;
        item->text = separator ? nullptr : ShownText(text);
        item->checked = !separator && (flags & UI_MENU_CHECKED);
        item->disabled = !separator && (flags & UI_MENU_DISABLED);
        return false;
    }
    // The choice pass counts the items down to the chosen one, skipping a
    // separator exactly where the build pass did not add it.
    if (separator) {
        if (builder->lastWasSeparator) return false;
        builder->lastWasSeparator = 1;
        builder->choice--;
        return false;
    }
    builder->lastWasSeparator = 0;
    return builder->choice-- == 0 && !(flags & UI_MENU_DISABLED);
}

bool UIMenuAdd(UIMenuBuilder *builder, const char32_t *text) {
    return UIMenuAddFlagged(builder, text, 0);
}

void UIMenuBuild(UIMenuBuilder *builder, UIMenuFunction build, UIMenuItemList *items) {
    builder->items = items;
    build(builder);
    builder->items = nullptr;
    if (items->count && items->items[items->count - 1].separator) items->count--;
}

void UIMenuChoose(UIMenuBuilder builder, UIMenuFunction build, uint32_t choice) {
    builder.items = nullptr;
    builder.choice = choice;
    builder.lastWasSeparator = 0;
    build(&builder);
}

void UIMenuFreeTexts(UIMenuItem *items, uint64_t count) {
    for (uint64_t i = 0; i < count; i++) {
        free(items[i].text);
        items[i].text = nullptr;
    }
}

// ---- measuring ----

static bool StartsColumn(const UIMenuItem *items, uint64_t i) {
    return i > 0 && items[i].columnBreak;
}

void UIMenuMeasure(UIMenuItem *items, uint64_t count, int32_t *width, int32_t *height) {
    int32_t total = 0, tallest = 0;
    for (uint64_t first = 0; first < count;) {
        uint64_t end = first + 1;
        while (end < count && !StartsColumn(items, end)) end++;
        int32_t columnWidth = COLUMN_MIN_WIDTH, columnHeight = 0;
        for (uint64_t i = first; i < end; i++) {
            columnHeight += items[i].separator ? SEPARATOR_HEIGHT : ITEM_HEIGHT;
            if (items[i].separator) continue;
            int32_t wanted = UIMeasureText(items[i].text, UI_FONT_SMALL) + TEXT_ROOM + items[i].bold;
            if (wanted > columnWidth) columnWidth = wanted;
        }
        for (uint64_t i = first; i < end; i++) items[i].columnWidth = (uint32_t)columnWidth;
        total += columnWidth;
        if (columnHeight > tallest) tallest = columnHeight;
        first = end;
    }
    *width = count ? total : COLUMN_MIN_WIDTH;
    *height = tallest + 2 * MENU_MARGIN;
}

// ---- the hot item and painting ----

// Walks the items in their columns, calling `visit` with each one's design
// position; a new column calls it first with a null item.
template <typename Visit>
static void WalkItems(const UIMenu *menu, Visit visit) {
    int32_t x = 0, y = MENU_MARGIN;
    for (uint64_t i = 0; i < menu->count; i++) {
        const UIMenuItem *item = &menu->items[i];
        if (StartsColumn(menu->items, i)) {
            x += (int32_t)menu->items[i - 1].columnWidth;
            y = MENU_MARGIN;
            visit((uint64_t)-1, x, y);
        }
        visit(i, x, y);
        y += item->separator ? SEPARATOR_HEIGHT : ITEM_HEIGHT;
    }
}

// The item under the pointer becomes hot. A pointer that left keeps the
// highlight on the last item, but it can't be chosen.
static void FindHot(UIMenu *menu) {
    menu->hotValid = 0;
    if (menu->pointerX < 0 || menu->pointerY < 0) return;
    int32_t px = UIDesignFromDevice(menu->pointerX), py = UIDesignFromDevice(menu->pointerY);
    WalkItems(menu, [&](uint64_t i, int32_t x, int32_t y) {
        if (i == (uint64_t)-1) return;
        const UIMenuItem *item = &menu->items[i];
        if (item->separator || item->disabled) return;
        if (py >= y && py <= y + ITEM_HEIGHT - 1 && px >= x && px < x + (int32_t)item->columnWidth) {
            menu->hot = (int64_t)i;
            menu->hotValid = 1;
        }
    });
}

static void DrawIcon(UIPainter *painter, const UIMenuItem *item, int32_t x, int32_t y,
                     uint32_t colour) {
    if (item->checked) UIDrawBlockScaled(painter, x, y, ICON_SIZE, ICON_SIZE, colour, uiScale);
    if (!item->arrowRight && !item->arrowLeft) return;
    // A triangle 5 wide and 6 high, pointing right or left.
    float tip = item->arrowRight ? 6.5f : 1.5f, base = item->arrowRight ? 1.5f : 6.5f;
    float s = uiScale / 100.0f;
    UIPoint points[3] = {{(x + base) * s, y * s}, {(x + tip) * s, (y + 3) * s},
                         {(x + base) * s, (y + 6) * s}};
    UIFillTriangle(painter->width, painter->height, painter->pixels, points, colour);
}

void UIMenuPaint(UIMenu *menu) {
    UIPainter *painter = &menu->painter;
    UIDrawBlock(painter, 0, 0, painter->width, painter->height, paletteValues[PAL_MENU_BACKGROUND]);
    if (painter->width > 0 && painter->height > 0) {
        int32_t t = uiScale / 50;
        uint32_t border = paletteValues[PAL_MENU_BORDER];
        UIDrawBlock(painter, 0, 0, painter->width, t, border);
        UIDrawBlock(painter, 0, painter->height - t, painter->width, t, border);
        UIDrawBlock(painter, 0, t, t, painter->height - 2 * t, border);
        UIDrawBlock(painter, painter->width - t, t, t, painter->height - 2 * t, border);
    }
    FindHot(menu);
    int32_t line = uiScale / 100 > 0 ? uiScale / 100 : 1;
    WalkItems(menu, [&](uint64_t i, int32_t x, int32_t y) {
        if (i == (uint64_t)-1) {
            UIDrawBlock(painter, UIDeviceFromDesign(x), 0, line, painter->height,
                        paletteValues[PAL_MENU_BORDER]);
            return;
        }
        const UIMenuItem *item = &menu->items[i];
        int32_t width = (int32_t)item->columnWidth;
        if (item->separator) {
            UIDrawBlock(painter, UIDeviceFromDesign(x + 4), UIDeviceFromDesign(y + 4),
                        UIDeviceFromDesign(width - 8), line, paletteValues[PAL_MENU_SEPARATOR]);
            return;
        }
        bool hot = (int64_t)i == menu->hot;
        if (hot) {
            UIDrawBlockScaled(painter, x + 4, y, width - 8, ITEM_HEIGHT,
                              paletteValues[PAL_MENU_ITEM_HOT], uiScale);
        }
        uint32_t text = item->disabled ? paletteValues[PAL_TXT_MENU_DISABLED]
                        : hot          ? paletteValues[PAL_TXT_MENU_HOT]
                                       : paletteValues[PAL_TXT_MENU];
        // The baked fonts have no bold face: a bold item is the text drawn
        // again one design pixel to the right.
        for (int32_t pass = 0; pass <= item->bold; pass++)
            UIDrawTextLeft(painter, item->text, x + TEXT_INDENT + pass, y, width - TEXT_ROOM,
                           ITEM_HEIGHT, text, UI_FONT_SMALL, nullptr);
        DrawIcon(painter, item, x + ICON_X, y + ICON_Y,
                 paletteValues[hot ? PAL_MENU_ICON_HOT : PAL_MENU_ICON]);
    });
}

int64_t UIMenuRelease(UIMenu *menu, int32_t x, int32_t y) {
    if (!menu->pressed) return -1;
    menu->pressed = 0;
    int64_t before = menu->hot;
    menu->pointerX = x;
    menu->pointerY = y;
    UIMenuPaint(menu);
    bool inside = x >= 0 && y >= 0 && x < menu->painter.width && y < menu->painter.height;
    if (menu->hot != before || before < 0 || (uint64_t)before >= menu->count || !inside ||
        !menu->hotValid)
        return -1;
    const UIMenuItem *item = &menu->items[before];
    if (item->separator || item->disabled) return -1;
    return menu->usesValue ? (int64_t)item->value : before;
}

// ---- pages ----

enum { UI_ROLE_CLOSE_POPUP = 8 };

void UIPageCloser(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                  UIMessage message, void *data) {
    if (message == UI_MSG_GET_ROLE) *(uint32_t *)data = UI_ROLE_CLOSE_POPUP;
    if (message != UI_MSG_LEFT_DOWN) return;
    UIWindowClosePage(window);
    window->hoveredIndex = -1;
}
