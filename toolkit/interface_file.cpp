// The interface file's reader: tokens, expressions, key-value lists, `with`
// blocks, macros, and the step that turns one statement into an element.
#include "toolkit/interface_file.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "toolkit/palette.h"
#include "vocabulary/grow.h"
#include "vocabulary/params.h"

UIHandler uiKindHandlers[UI_KIND_COUNT];

// ---- small helpers ----

static bool TokenIs(const UIToken &token, const char *word) {
    size_t length = strlen(word);
    return token.length == length && memcmp(token.text, word, length) == 0;
}

static void Push(UITokenList *list, UIToken token) {
    ArrayReserve(&list->items, &list->capacity, list->count + 1);
    list->items[list->count++] = token;
}

static UIToken Keep(UIStringList *strings, char *text) {
    ArrayReserve(&strings->items, &strings->capacity, strings->count + 1);
    strings->items[strings->count++] = text;
    return {text, strlen(text), UI_TOKEN_STRING};
}

// Reading past the end keeps giving the last token, the end of the text.
static UIToken Peek(const UITokenList *tokens, uint64_t index) {
    return tokens->items[index < tokens->count ? index : tokens->count - 1];
}

static UIToken Take(const UITokenList *tokens, uint64_t *index) {
    return Peek(tokens, (*index)++);
}

const UIToken *UIPairValue(const UIToken *pairs, uint64_t pairTokens, const char *key) {
    for (uint64_t i = pairTokens; i >= 2; i -= 2) {
        if (TokenIs(pairs[i - 2], key) && pairs[i - 1].type != UI_TOKEN_EOF) return &pairs[i - 1];
    }
    return nullptr;
}

void UITokenText(const UIToken *token, char buffer[UI_VALUE_MAX + 1]) {
    size_t length = token->length < (uint64_t)UI_VALUE_MAX ? token->length : (uint64_t)UI_VALUE_MAX;
    if (length) memcpy(buffer, token->text, length);
    buffer[length] = 0;
}

// ---- tokens ----

static bool IsWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

UIToken UIParseToken(const char **cursor, const char *end) {
    const char *p = *cursor;
    for (;;) {
        while (p < end && (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n')) p++;
        if (p >= end || *p != '#') break;
        while (p < end && *p != '\n') p++;
    }
    UIToken token = {p, 1, UI_TOKEN_INVALID};
    if (p >= end) {
        *cursor = end;
        return {end, 0, UI_TOKEN_EOF};
    }
    char c = *p;
    if (IsWordCharacter(c)) {
        const char *q = p;
        while (q < end && IsWordCharacter(*q)) q++;
        token = {p, (uint64_t)(q - p), UI_TOKEN_STRING};
        if (TokenIs(token, "macro")) token.type = UI_TOKEN_MACRO;
        else if (TokenIs(token, "with")) token.type = UI_TOKEN_WITH;
        *cursor = q;
        return token;
    }
    if (c == '"' || c == '\'') {
        const char *q = (const char *)memchr(p + 1, c, end - p - 1);
        if (!q) {
            fprintf(stderr, "UIParseToken: Invalid string.\n");
            *cursor = end;
            return {end, 0, UI_TOKEN_EOF};
        }
        *cursor = q + 1;
        return {p + 1, (uint64_t)(q - p - 1), UI_TOKEN_STRING};
    }
    if (c == '$') {
        if (p + 1 >= end) {
            fprintf(stderr, "UIParseToken: Invalid macro variable.\n");
            *cursor = end;
            return token;
        }
        *cursor = p + 2;
        return {p + 1, 1, UI_TOKEN_MACRO_VARIABLE};
    }
    *cursor = p + 1;
    switch (c) {
    case ':': token.type = UI_TOKEN_COLON; break;
    case '=': token.type = UI_TOKEN_EQUALS; break;
    case ';': token.type = UI_TOKEN_SEMICOLON; break;
    case '+': token.type = UI_TOKEN_PLUS; break;
    case '*': token.type = UI_TOKEN_TIMES; break;
    case '-': token.type = UI_TOKEN_MINUS; break;
    case '{': token.type = UI_TOKEN_LEFT_BRACE; break;
    case '}': token.type = UI_TOKEN_RIGHT_BRACE; break;
    case '(': token.type = UI_TOKEN_LEFT_BRACKET; break;
    case ')': token.type = UI_TOKEN_RIGHT_BRACKET; break;
    case '.':
        if (end - p >= 3 && p[1] == '.' && p[2] == '.') {
            *cursor = p + 3;
            return {p, 3, UI_TOKEN_ELLIPSIS};
        }
        // A single or double dot is no token.
        [[fallthrough]];
    default: fprintf(stderr, "UIParseToken: Invalid character '%c'.\n", c);
    }
    return token;
}

// ---- expressions and pair lists ----

// The first 99 characters of a string read as a decimal number; a word that
// is no number counts as 0.
static uint32_t Number(const UIToken &token) {
    char text[100];
    size_t length = token.length < 99 ? token.length : 99;
    memcpy(text, token.text, length);
    text[length] = 0;
    return (uint32_t)strtol(text, nullptr, 10);
}

// "*" binds tighter than "+" and "-"; both levels associate to the left.
// There is no unary minus, so "-5" is no value while "0-5" is.
UIToken UIInterfaceFileEvaluate(const UITokenList *tokens, uint64_t *index, int32_t precedence,
                                UIStringList *strings) {
    UIToken result = Take(tokens, index);
    if (result.type == UI_TOKEN_LEFT_BRACKET) {
        result = UIInterfaceFileEvaluate(tokens, index, 0, strings);
        if (Take(tokens, index).type != UI_TOKEN_RIGHT_BRACKET)
            fprintf(stderr, "UIInterfaceFileEvaluate: Missing right bracket.\n");
    }
    while (result.type == UI_TOKEN_STRING) {
        UITokenType operation = Peek(tokens, *index).type;
        int32_t rightPrecedence;
        if ((operation == UI_TOKEN_PLUS || operation == UI_TOKEN_MINUS) && precedence == 0)
            rightPrecedence = 1;
        else if (operation == UI_TOKEN_TIMES && precedence <= 1) rightPrecedence = 2;
        else break;
        ++*index;
        UIToken right = UIInterfaceFileEvaluate(tokens, index, rightPrecedence, strings);
        if (right.type != UI_TOKEN_STRING) return right;
        uint32_t a = Number(result), b = Number(right);   // 32 bits, wrapping
        uint32_t value = operation == UI_TOKEN_PLUS ? a + b : operation == UI_TOKEN_MINUS ? a - b : a * b;
        char *text = (char *)malloc(100);
        snprintf(text, 100, "%d", (int32_t)value);
        result = Keep(strings, text);
    }
    return result;
}

bool UIInterfaceFileParseKeyValuePairs(const UITokenList *tokens, uint64_t *index,
                                       UITokenList *pairs, UIStringList *strings,
                                       UITokenType terminator) {
    for (;;) {
        UIToken key = Take(tokens, index);
        if (key.type == terminator) return true;
        if (key.type != UI_TOKEN_STRING) {
            fprintf(stderr, "UIInterfaceFileParseKeyValuePairs: Expected string for key.\n");
            return false;
        }
        UIToken value = {"", 0, UI_TOKEN_EOF};
        if (Peek(tokens, *index).type == UI_TOKEN_EQUALS) {
            ++*index;
            value = UIInterfaceFileEvaluate(tokens, index, 0, strings);
            if (value.type != UI_TOKEN_STRING) {
                fprintf(stderr, "UIInterfaceFileParseKeyValuePairs: Expected string for value.\n");
                return false;
            }
        }
        Push(pairs, key);
        Push(pairs, value);
    }
}

// ---- making an element ----

struct KindName {
    const char *name;
    UIKind kind;
    uint8_t flags;
};

static const KindName KIND_NAMES[] = {
    {"dial", UI_KIND_DIAL, 0},
    {"slider", UI_KIND_SLIDER, 0},
    {"toggle", UI_KIND_TOGGLE, 0},
    {"radio", UI_KIND_TOGGLE, UI_ELEMENT_RADIO},
    {"button_patch_menu", UI_KIND_BUTTON_PATCH_MENU, 0},
    {"button_next_patch", UI_KIND_BUTTON_NEXT_PATCH, 0},
    {"button_previous_patch", UI_KIND_BUTTON_PREVIOUS_PATCH, 0},
    {"xy_pad", UI_KIND_XY_PAD, 0},
    {"polyphony", UI_KIND_POLYPHONY, 0},
    {"button_bypass_seq", UI_KIND_BUTTON_BYPASS_SEQ, 0},
    {"button_bypass_fx", UI_KIND_BUTTON_BYPASS_FX, 0},
    {"button_copy", UI_KIND_BUTTON_COPY, 0},
    {"button_settings", UI_KIND_BUTTON_SETTINGS, 0},
    {"info_text", UI_KIND_INFO_TEXT, 0},
    {"pick_modulation_destination", UI_KIND_PICK_MODULATION_DESTINATION, 0},
};

// The Enable row of instance 1 of each unit kind, by unit kind number.
static const int32_t UNIT_ENABLE_ROWS[9] = {
    PARAM_DELAY_ENABLE, PARAM_PINGPONG_ENABLE, PARAM_DIST_ENABLE, PARAM_CHORUS_ENABLE,
    PARAM_PHASER_ENABLE, PARAM_EQ_ENABLE, PARAM_GATE_ENABLE, PARAM_REVERB_ENABLE, PARAM_COMP_ENABLE,
};
enum { FIRST_UNIT_CLUSTER = 2, UNIT_CLUSTERS = 27 };

// A parameter by name. Two names stand twice in the table: the second tap of
// the first delay instance ("Polyrhythmic Delay Mix 2") is also the first tap
// of the second instance. A unit's cluster says which instance the element
// belongs to, so among equal names the row owned by that instance's Enable wins.
static int32_t FindParam(const char *name, uint32_t cluster) {
    int32_t first = ParamFindByName(name);
    uint32_t unit = cluster - FIRST_UNIT_CLUSTER;
    if (first < 0 || unit >= UNIT_CLUSTERS) return first;
    int32_t enable = UNIT_ENABLE_ROWS[unit % 9] + (int32_t)(unit / 9);
    if (PARAM_INFO[first].ownerEnable == 0 || PARAM_INFO[first].ownerEnable == enable) return first;
    for (int32_t row = first + 1; row < PARAM_COUNT; row++) {
        if (PARAM_INFO[row].ownerEnable == enable && strcmp(PARAM_INFO[row].name, name) == 0) return row;
    }
    return first;
}

static int32_t FindParamReporting(const char *name, uint32_t cluster) {
    int32_t row = FindParam(name, cluster);
    if (row < 0) fprintf(stderr, "Error: param '%s' not found.\n", name);
    return row;
}

static int64_t Decimal(const char *text) { return strtoll(text, nullptr, 10); }

// `preview_configuration` places one of the window's preview rows and makes
// no element.
static void PreviewConfiguration(UIWindow *window, const UIToken *pairs, uint64_t pairTokens) {
    char text[UI_VALUE_MAX + 1];
    auto read = [&](const char *key, int64_t fallback) {
        const UIToken *value = UIPairValue(pairs, pairTokens, key);
        if (!value) return fallback;
        UITokenText(value, text);
        return Decimal(text);
    };
    uint64_t id = (uint64_t)read("id", -1);
    if (id >= UI_PREVIEW_ROWS) return;
    UIPreviewRow *row = &window->previewRows[id];
    row->x = (int32_t)read("x", 0);
    row->y = (int32_t)read("y", 0);
    row->width = (int32_t)read("w", 0);
    row->height = (int32_t)read("h", 0);
    row->colour = nullptr;
    if (const UIToken *colour = UIPairValue(pairs, pairTokens, "color")) {
        UITokenText(colour, text);
        row->colour = UIPaletteFind(text);
    }
}

// `bipolar`, `small` and `tiny` move a dial between its six kinds and leave
// every other kind alone.
static UIKind DialVariant(UIKind kind, const UIToken &flag) {
    if (TokenIs(flag, "bipolar")) {
        if (kind == UI_KIND_DIAL || kind == UI_KIND_DIAL_SMALL || kind == UI_KIND_DIAL_TINY)
            return (UIKind)(kind + 1);
    } else if (kind == UI_KIND_DIAL || kind == UI_KIND_DIAL_BIPOLAR) {
        int32_t base = TokenIs(flag, "small") ? UI_KIND_DIAL_SMALL : UI_KIND_DIAL_TINY;
        return (UIKind)(base + (kind - UI_KIND_DIAL));
    }
    return kind;
}

void UICreateElement(UIWindow *window, UIToken kind, const UIToken *pairs, uint64_t pairTokens) {
    if (TokenIs(kind, "preview_configuration")) {
        PreviewConfiguration(window, pairs, pairTokens);
        return;
    }
    const KindName *known = nullptr;
    for (const KindName &row : KIND_NAMES) {
        if (TokenIs(kind, row.name)) known = &row;
    }
    UIElement element = UIElementDefault();
    UIKind uiKind = known ? known->kind : UI_KIND_COUNT;
    if (known) element.flags = known->flags;

    char text[UI_VALUE_MAX + 1], paramName[UI_VALUE_MAX + 1], matchName[UI_VALUE_MAX + 1];
    bool hasParam = false, hasMatch = false;
    for (uint64_t i = 0; i + 1 < pairTokens; i += 2) {
        const UIToken &key = pairs[i];
        bool hasValue = pairs[i + 1].type != UI_TOKEN_EOF;
        UITokenText(&pairs[i + 1], text);
        if (hasValue) {
            if (TokenIs(key, "x")) element.x = (int32_t)Decimal(text);
            else if (TokenIs(key, "y")) element.y = (int32_t)Decimal(text);
            else if (TokenIs(key, "w")) element.width = (int32_t)Decimal(text);
            else if (TokenIs(key, "h")) element.height = (int32_t)Decimal(text);
            else if (TokenIs(key, "page")) element.page = (uint32_t)Decimal(text);
            else if (TokenIs(key, "tab")) element.tabMask = UITabMask(Decimal(text));
            else if (TokenIs(key, "cluster")) element.cluster = (uint32_t)Decimal(text);
            else if (TokenIs(key, "param")) hasParam = true, memcpy(paramName, text, sizeof text);
            else if (TokenIs(key, "match_p")) hasMatch = true, memcpy(matchName, text, sizeof text);
            else if (TokenIs(key, "match_i")) element.matchIs = (float)Decimal(text);
            else if (TokenIs(key, "which")) element.value = (float)Decimal(text);
            else if (TokenIs(key, "value")) {
                uint32_t bits = (uint32_t)strtoul(text, nullptr, 16);
                memcpy(&element.value, &bits, sizeof bits);
            } else if (TokenIs(key, "check_hint")) {
                char *hint = strdup(text);
                UIWindowOwnBlock(window, hint);
                element.context = hint;
            }
        } else {
            if (TokenIs(key, "has_used_indicator")) element.flags |= UI_ELEMENT_USED_INDICATOR;
            else if (TokenIs(key, "invert_dial")) element.flags |= UI_ELEMENT_INVERT_DIAL;
            else if (TokenIs(key, "no_hit")) element.flags |= UI_ELEMENT_NO_HIT;
            else if (TokenIs(key, "allow_in_mod_assign")) element.flags |= UI_ELEMENT_ALLOW_IN_MOD_ASSIGN;
            else if (TokenIs(key, "bipolar") || TokenIs(key, "small") || TokenIs(key, "tiny"))
                uiKind = DialVariant(uiKind, key);
        }
    }
    // Names are looked up once all keys are read, as the cluster decides
    // between equal names.
    if (hasParam) element.param = FindParamReporting(paramName, element.cluster);
    if (hasMatch) element.matchParam = FindParamReporting(matchName, element.cluster);

    if (known) {
        element.handler = uiKindHandlers[uiKind];
    } else {
        UIMakeElement offer = {&element, kind, pairs, pairTokens};
        if (!UIEditorSend(nullptr, window, nullptr, EDITOR_MSG_MAKE_ELEMENT, 0, &offer)) return;
    }
    // Placing a cluster sets bit 30 of `page` to hide it and clears it to show
    // it. On the every-page value 0xFFFFFFFF the bit is set already, so such an
    // element shows while its cluster has no place and hides once it has one:
    // the file almost certainly meant page=0.
    if (element.cluster && element.page == UI_PAGE_ALL)
        fprintf(stderr, "UICreateElement: Element with a cluster has no page.\n");
    UIWindowAddTemplateElement(window, &element);
}

// ---- the top level and macros ----

struct UIMacro {
    UIToken name;
    UITokenList body;
};

struct Parser {
    UIWindow *window;
    UITokenList tokens;
    uint64_t index;
    UIStringList strings;
    UITokenList withPairs;
    uint64_t *withLengths;   // the length of withPairs at each open `with`
    uint64_t withDepth, withCapacity;
    UIMacro *macros;
    uint64_t macroCount, macroCapacity;
    uint64_t expansionEnd;   // tokens before this index came from the last expansion
};

static void ParserFree(Parser *parser) {
    for (uint64_t i = 0; i < parser->strings.count; i++) free(parser->strings.items[i]);
    for (uint64_t i = 0; i < parser->macroCount; i++) free(parser->macros[i].body.items);
    free(parser->strings.items);
    free(parser->tokens.items);
    free(parser->withPairs.items);
    free(parser->withLengths);
    free(parser->macros);
}

// Copies the tokens up to the brace that closes the body. A body that runs to
// the end or holds a macro of its own is dropped, and reading goes on.
static bool DefineMacro(Parser *parser) {
    UIToken name = Take(&parser->tokens, &parser->index);
    if (name.type != UI_TOKEN_STRING) {
        fprintf(stderr, "UIInterfaceFileParse: Expected macro name.\n");
        return false;
    }
    if (Take(&parser->tokens, &parser->index).type != UI_TOKEN_LEFT_BRACE) {
        fprintf(stderr, "UIInterfaceFileParse: Expected macro body.\n");
        return false;
    }
    UIMacro macro = {name, {}};
    for (int32_t depth = 0;;) {
        UIToken token = Take(&parser->tokens, &parser->index);
        const char *problem = token.type == UI_TOKEN_EOF ? "Unexpected end of file in macro"
                              : token.type == UI_TOKEN_MACRO ? "Nested macros" : nullptr;
        if (problem) {
            fprintf(stderr, "UIInterfaceFileParse: %s.\n", problem);
            free(macro.body.items);
            return true;
        }
        if (token.type == UI_TOKEN_LEFT_BRACE) depth++;
        if (token.type == UI_TOKEN_RIGHT_BRACE && depth-- == 0) break;
        Push(&macro.body, token);
    }
    ArrayReserve(&parser->macros, &parser->macroCapacity, parser->macroCount + 1);
    parser->macros[parser->macroCount++] = macro;
    return true;
}

// The value of the last pair whose key is the one character c, or null.
static const UIToken *VariableValue(const UITokenList *pairs, char c) {
    for (uint64_t i = pairs->count; i >= 2; i -= 2) {
        const UIToken &key = pairs->items[i - 2];
        if (key.length == 1 && key.text[0] == c) return &pairs->items[i - 1];
    }
    return nullptr;
}

// A string with "$c" inside, each replaced by the value of pair c where there
// is one. Two passes: measure, then write.
static UIToken RewriteString(const UIToken &token, const UITokenList *pairs, UIStringList *strings) {
    char *text = nullptr;
    for (int pass = 0; pass < 2; pass++) {
        uint64_t length = 0;
        for (uint64_t i = 0; i < token.length; i++) {
            const UIToken *value = nullptr;
            if (token.text[i] == '$' && i + 1 < token.length)
                value = VariableValue(pairs, token.text[i + 1]);
            const char *piece = value ? value->text : &token.text[i];
            uint64_t pieceLength = value ? value->length : 1;
            if (text && pieceLength) memcpy(text + length, piece, pieceLength);
            length += pieceLength;
            i += value ? 1 : 0;
        }
        if (text) text[length] = 0;
        else text = (char *)malloc(length + 1);
    }
    return Keep(strings, text);
}

static void ExpandMacro(Parser *parser, const UIMacro *macro, const UITokenList *pairs) {
    static const UIToken EQUALS = {"=", 1, UI_TOKEN_EQUALS};
    UITokenList expansion = {};
    for (uint64_t b = 0; b < macro->body.count; b++) {
        const UIToken &token = macro->body.items[b];
        if (token.type == UI_TOKEN_MACRO_VARIABLE) {
            const UIToken *value = VariableValue(pairs, token.text[0]);
            if (!value) fprintf(stderr, "UIInterfaceFileParse: Macro variable not found.\n");
            Push(&expansion, value ? *value : token);
        } else if (token.type == UI_TOKEN_ELLIPSIS) {
            // Only lower-case keys pass on: the others are the macro's own arguments.
            for (uint64_t i = 0; i + 1 < pairs->count; i += 2) {
                const UIToken &key = pairs->items[i], &value = pairs->items[i + 1];
                if (!key.length || key.text[0] < 'a' || key.text[0] > 'z') continue;
                Push(&expansion, key);
                if (value.length) Push(&expansion, EQUALS), Push(&expansion, value);
            }
        } else if (token.type == UI_TOKEN_STRING && token.length > 1 &&
                   memchr(token.text, '$', token.length - 1)) {
            Push(&expansion, RewriteString(token, pairs, &parser->strings));
        } else {
            Push(&expansion, token);
        }
    }
    UITokenList *tokens = &parser->tokens;
    uint64_t at = parser->index < tokens->count ? parser->index : tokens->count - 1;
    ArrayReserve(&tokens->items, &tokens->capacity, tokens->count + expansion.count);
    memmove(tokens->items + at + expansion.count, tokens->items + at,
            (tokens->count - at) * sizeof(UIToken));
    if (expansion.count) memcpy(tokens->items + at, expansion.items, expansion.count * sizeof(UIToken));
    tokens->count += expansion.count;
    parser->index = at;
    parser->expansionEnd = at + expansion.count;
    free(expansion.items);
}

// One statement, its name already taken: an element, or a macro's expansion
// read next as if it stood in the file.
static bool Statement(Parser *parser, UIToken name) {
    uint64_t start = parser->index - 1;
    if (Take(&parser->tokens, &parser->index).type != UI_TOKEN_COLON) {
        fprintf(stderr, "UIInterfaceFileParse: Expected colon.\n");
        return false;
    }
    const UIMacro *macro = nullptr;
    for (uint64_t i = 0; i < parser->macroCount && !macro; i++) {
        if (parser->macros[i].name.length == name.length &&
            memcmp(parser->macros[i].name.text, name.text, name.length) == 0)
            macro = &parser->macros[i];   // the first defined of a name wins
    }
    UITokenList pairs = {};
    ArrayReserve(&pairs.items, &pairs.capacity, parser->withPairs.count);
    if (parser->withPairs.count)
        memcpy(pairs.items, parser->withPairs.items, parser->withPairs.count * sizeof(UIToken));
    pairs.count = parser->withPairs.count;
    bool ok = UIInterfaceFileParseKeyValuePairs(&parser->tokens, &parser->index, &pairs,
                                                &parser->strings, UI_TOKEN_SEMICOLON);
    if (ok && !macro) {
        UICreateElement(parser->window, name, pairs.items, pairs.count);
    } else if (ok && start < parser->expansionEnd) {
        // A macro may not invoke a macro, directly or not: a statement that
        // stands inside an expansion would otherwise expand without end.
        fprintf(stderr, "UIInterfaceFileParse: Recursive macro evaluation.\n");
        ok = false;
    } else if (ok) {
        ExpandMacro(parser, macro, &pairs);
    }
    free(pairs.items);
    return ok;
}

static bool TopLevel(Parser *parser) {
    for (;;) {
        UIToken token = Take(&parser->tokens, &parser->index);
        switch (token.type) {
        case UI_TOKEN_EOF: return true;
        case UI_TOKEN_WITH:
            ArrayReserve(&parser->withLengths, &parser->withCapacity, parser->withDepth + 1);
            parser->withLengths[parser->withDepth++] = parser->withPairs.count;
            if (!UIInterfaceFileParseKeyValuePairs(&parser->tokens, &parser->index, &parser->withPairs,
                                                   &parser->strings, UI_TOKEN_LEFT_BRACE))
                return false;
            break;
        case UI_TOKEN_RIGHT_BRACE:
            if (!parser->withDepth) {
                fprintf(stderr, "UIInterfaceFileParse: Unexpected right bracket.\n");
                return false;
            }
            parser->withPairs.count = parser->withLengths[--parser->withDepth];
            break;
        case UI_TOKEN_MACRO:
            if (!DefineMacro(parser)) return false;
            break;
        case UI_TOKEN_STRING:
            if (!Statement(parser, token)) return false;
            break;
        default: fprintf(stderr, "UIInterfaceFileParse: Invalid token at top level.\n"); return false;
        }
    }
}

void UIInterfaceFileParse(UIWindow *window, const char *text, const char *end) {
    Parser parser = {};
    parser.window = window;
    for (const char *cursor = text;;) {
        UIToken token = UIParseToken(&cursor, end);
        if (token.type == UI_TOKEN_INVALID) {
            ParserFree(&parser);
            return;
        }
        Push(&parser.tokens, token);
        if (token.type == UI_TOKEN_EOF) break;
    }
    TopLevel(&parser);
    ParserFree(&parser);
}
