// The interface file: the whole editor described as plain text, one statement
// per element ("dial: x=42 y=74 w=56 h=56 param=\"Reverb Mix\";"). The language
// has "#" comments, quoted and bare strings, integer expressions with + - *
// and brackets, key-value lists, `with` blocks that put keys ahead of every
// statement inside them, and macros whose bodies are token lists with $
// variables and "..." (the caller's lower-case keys).
//
// Parsing turns the text into tokens that point into it (no token is copied
// as text), then reads statements into the window's templateElements. Errors
// go to standard error; a fatal one ends the parse and keeps the elements made
// so far.
#pragma once
#include <stdint.h>

#include "toolkit/element.h"

enum UITokenType : uint32_t {
    UI_TOKEN_EOF = 0,
    UI_TOKEN_COLON = 1,
    UI_TOKEN_EQUALS = 2,
    UI_TOKEN_SEMICOLON = 3,
    UI_TOKEN_PLUS = 4,
    UI_TOKEN_TIMES = 5,
    UI_TOKEN_LEFT_BRACE = 6,
    UI_TOKEN_RIGHT_BRACE = 7,
    UI_TOKEN_MACRO = 9,
    UI_TOKEN_WITH = 10,
    UI_TOKEN_STRING = 11,          // quoted (text without the quotes) or a bare word
    UI_TOKEN_INVALID = 12,
    UI_TOKEN_MACRO_VARIABLE = 13,  // "$c": the text is the one character c
    UI_TOKEN_MINUS = 14,
    UI_TOKEN_LEFT_BRACKET = 15,
    UI_TOKEN_RIGHT_BRACKET = 16,
    UI_TOKEN_ELLIPSIS = 17,
};

struct UIToken {
    const char *text;   // into the source or into a string of the parse; not terminated
    uint64_t length;
    UITokenType type;
};

// A token array. A list of pairs holds two tokens per pair, the key and then
// the value; a key given without a value has an empty UI_TOKEN_EOF value.
struct UITokenList {
    UIToken *items;
    uint64_t count, capacity;
};

// The strings that expressions and macro expansions make; freed with the parse.
struct UIStringList {
    char **items;
    uint64_t count, capacity;
};

// Element kinds whose handler the toolkit hands out. The six dials stand in
// the order of UIDialKind; `bipolar`, `small` and `tiny` move between them.
enum UIKind : int32_t {
    UI_KIND_DIAL,
    UI_KIND_DIAL_BIPOLAR,
    UI_KIND_DIAL_SMALL,
    UI_KIND_DIAL_SMALL_BIPOLAR,
    UI_KIND_DIAL_TINY,
    UI_KIND_DIAL_TINY_BIPOLAR,
    UI_KIND_SLIDER,
    UI_KIND_TOGGLE,                  // also `radio`, with UI_ELEMENT_RADIO
    UI_KIND_BUTTON_PATCH_MENU,
    UI_KIND_BUTTON_NEXT_PATCH,
    UI_KIND_BUTTON_PREVIOUS_PATCH,
    UI_KIND_XY_PAD,
    UI_KIND_POLYPHONY,
    UI_KIND_BUTTON_BYPASS_SEQ,
    UI_KIND_BUTTON_BYPASS_FX,
    UI_KIND_BUTTON_COPY,
    UI_KIND_BUTTON_SETTINGS,
    UI_KIND_INFO_TEXT,
    UI_KIND_PICK_MODULATION_DESTINATION,
    UI_KIND_COUNT
};

// The handler of each kind. The handlers belong to the program, which fills
// this table once before the first editor opens; a row left null (info_text)
// makes elements that paint nothing and answer nothing.
extern UIHandler uiKindHandlers[UI_KIND_COUNT];

// The data of EDITOR_MSG_MAKE_ELEMENT, sent for a kind the toolkit does not
// know by name, with a null Editor and Plugin (the parse runs before either is
// at hand). The element has every common key read; the program sets its
// handler and context and answers 1, or answers 0 and the element is dropped.
struct UIMakeElement {
    UIElement *element;
    UIToken kind;
    const UIToken *pairs;   // key, value, key, value ...
    uint64_t pairTokens;    // two per pair
};

enum { UI_VALUE_MAX = 199 };   // value texts are cut to this many characters

// The value of the last pair of that key that has a value, or null: what a
// kind's own keys are read with, a later key overriding an earlier one.
const UIToken *UIPairValue(const UIToken *pairs, uint64_t pairTokens, const char *key);
// The token's text, cut at UI_VALUE_MAX characters and terminated.
void UITokenText(const UIToken *token, char buffer[UI_VALUE_MAX + 1]);

// The next token from *cursor, which moves past it.
UIToken UIParseToken(const char **cursor, const char *end);
// Evaluates the expression at *index: a string token, or on failure the token
// that stopped it. Numbers made go on `strings`.
UIToken UIInterfaceFileEvaluate(const UITokenList *tokens, uint64_t *index, int32_t precedence,
                                UIStringList *strings);
// Appends pairs to `pairs` until a token of type `terminator`; true when it
// was reached, false (after a message) on a malformed pair.
bool UIInterfaceFileParseKeyValuePairs(const UITokenList *tokens, uint64_t *index,
                                       UITokenList *pairs, UIStringList *strings,
                                       UITokenType terminator);
// Parses the text and appends its elements to window->templateElements.
void UIInterfaceFileParse(UIWindow *window, const char *text, const char *end);
// Makes one element of `kind` from a pair list (or a preview row, for
// `preview_configuration`) and appends it to the template.
void UICreateElement(UIWindow *window, UIToken kind, const UIToken *pairs, uint64_t pairTokens);
