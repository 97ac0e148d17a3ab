// Char: one 8-bit character, classified through the exported table _CHAR_CATEGORIES.
#pragma once

#include "common/common_types.h"

// Entry b is the Unicode general category of U+0000 + b (the ISO Latin-1 character b). The
// table is writable and exported with C linkage, so a host can inspect or patch it.
extern "C" unsigned char _CHAR_CATEGORIES[256];

class Char {
public:
    // Unicode general categories, numbered as in _CHAR_CATEGORIES.
    enum Category {
        NO_CATEGORY = 0,
        MARK_NONSPACING = 1,
        MARK_SPACINGCOMBINING = 2,
        MARK_ENCLOSING = 3,
        NUMBER_DECIMALDIGIT = 4,
        NUMBER_LETTER = 5,
        NUMBER_OTHER = 6,
        SEPARATOR_SPACE = 7,
        SEPARATOR_LINE = 8,
        SEPARATOR_PARAGRAPH = 9,
        OTHER_CONTROL = 10,
        OTHER_FORMAT = 11,
        OTHER_SURROGATE = 12,
        OTHER_PRIVATEUSE = 13,
        OTHER_NOTASSIGNED = 14,
        LETTER_UPPERCASE = 15,
        LETTER_LOWERCASE = 16,
        LETTER_TITLECASE = 17,
        LETTER_MODIFIER = 18,
        LETTER_OTHER = 19,
        PUNCTUATION_CONNECTOR = 20,
        PUNCTUATION_DASH = 21,
        PUNCTUATION_OPEN = 22,
        PUNCTUATION_CLOSE = 23,
        PUNCTUATION_INITIALQUOTE = 24,
        PUNCTUATION_FINALQUOTE = 25,
        PUNCTUATION_OTHER = 26,
        SYMBOL_MATH = 27,
        SYMBOL_CURRENCY = 28,
        SYMBOL_MODIFIER = 29,
        SYMBOL_OTHER = 30
    };

    Char() : m_char(0) {}
    Char(char c) : m_char(c) {}

    // The byte itself.
    char Value() const { return m_char; }
    operator char() const { return m_char; }

    // The table's category for this byte: Char('7').GetCategory() is NUMBER_DECIMALDIGIT.
    Category GetCategory() const {
        return static_cast<Category>(_CHAR_CATEGORIES[static_cast<unsigned char>(m_char)]);
    }
    // "0".."9": the bytes of category NUMBER_DECIMALDIGIT.
    bool IsDigit() const { return GetCategory() == NUMBER_DECIMALDIGIT; }
    // " ", 0x09..0x0D, or a separator category (only 0x20 and 0xA0 carry one).
    bool IsSpace() const {
        unsigned char const b = static_cast<unsigned char>(m_char);
        if (b == 0x20 || (b >= 0x09 && b <= 0x0D))
            return true;
        Category const c = GetCategory();
        return c == SEPARATOR_SPACE || c == SEPARATOR_LINE || c == SEPARATOR_PARAGRAPH;
    }

private:
    char m_char;
};
