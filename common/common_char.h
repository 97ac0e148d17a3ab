/// \file
/// Char: one 8-bit character, classified through the exported table _CHAR_CATEGORIES.
#pragma once

#include "common/common_types.h"

/// Entry b is the Unicode general category of U+0000 + b (the ISO Latin-1 character b), as a
/// Char::Category number: ``_CHAR_CATEGORIES['7']`` is 4 (NUMBER_DECIMALDIGIT), entry 0xA0 (the
/// no-break space) is 7 (SEPARATOR_SPACE). The table is writable and exported with C linkage,
/// so a host can inspect or patch it.
extern "C" unsigned char _CHAR_CATEGORIES[256];

/// One 8-bit character, classified by the Latin-1 table _CHAR_CATEGORIES.
///
///     Char('7').IsDigit()        // true
///     Char('\t').IsSpace()       // true
///     Char('A').GetCategory()    // LETTER_UPPERCASE
class Char {
public:
    /// Unicode general categories, numbered as in _CHAR_CATEGORIES.
    enum Category {
        NO_CATEGORY = 0,               ///< No category (no table entry holds it).
        MARK_NONSPACING = 1,           ///< Mn
        MARK_SPACINGCOMBINING = 2,     ///< Mc
        MARK_ENCLOSING = 3,            ///< Me
        NUMBER_DECIMALDIGIT = 4,       ///< Nd: "0".."9"
        NUMBER_LETTER = 5,             ///< Nl
        NUMBER_OTHER = 6,              ///< No: superscripts and fractions
        SEPARATOR_SPACE = 7,           ///< Zs: " " and 0xA0
        SEPARATOR_LINE = 8,            ///< Zl
        SEPARATOR_PARAGRAPH = 9,       ///< Zp
        OTHER_CONTROL = 10,            ///< Cc: 0x00..0x1F, 0x7F..0x9F
        OTHER_FORMAT = 11,             ///< Cf
        OTHER_SURROGATE = 12,          ///< Cs
        OTHER_PRIVATEUSE = 13,         ///< Co
        OTHER_NOTASSIGNED = 14,        ///< Cn
        LETTER_UPPERCASE = 15,         ///< Lu: "A".."Z", 0xC0..0xDE but 0xD7
        LETTER_LOWERCASE = 16,         ///< Ll: "a".."z", 0xDF..0xFF but 0xF7, and 0xAA, 0xB5, 0xBA
        LETTER_TITLECASE = 17,         ///< Lt
        LETTER_MODIFIER = 18,          ///< Lm
        LETTER_OTHER = 19,             ///< Lo
        PUNCTUATION_CONNECTOR = 20,    ///< Pc: "_"
        PUNCTUATION_DASH = 21,         ///< Pd: "-" and 0xAD
        PUNCTUATION_OPEN = 22,         ///< Ps: "(", "[", "{"
        PUNCTUATION_CLOSE = 23,        ///< Pe: ")", "]", "}"
        PUNCTUATION_INITIALQUOTE = 24, ///< Pi: 0xAB
        PUNCTUATION_FINALQUOTE = 25,   ///< Pf: 0xBB
        PUNCTUATION_OTHER = 26,        ///< Po
        SYMBOL_MATH = 27,              ///< Sm: "+", "<", "=", ">", "|", "~", 0xAC, 0xB1, 0xD7, 0xF7
        SYMBOL_CURRENCY = 28,          ///< Sc: "$", 0xA2..0xA5
        SYMBOL_MODIFIER = 29,          ///< Sk
        SYMBOL_OTHER = 30              ///< So
    };

    /// The zero byte.
    Char() : m_char(0) {}
    /// The byte c.
    Char(char c) : m_char(c) {}

    /// The byte itself.
    char Value() const { return m_char; }
    /// The byte itself, so a Char passes where a char is expected.
    operator char() const { return m_char; }

    /// The table's category for this byte: ``Char('7').GetCategory()`` is NUMBER_DECIMALDIGIT.
    Category GetCategory() const {
        return static_cast<Category>(_CHAR_CATEGORIES[static_cast<unsigned char>(m_char)]);
    }
    /// "0".."9": the bytes of category NUMBER_DECIMALDIGIT.
    bool IsDigit() const { return GetCategory() == NUMBER_DECIMALDIGIT; }
    /// " ", 0x09..0x0D, or a separator category (only 0x20 and 0xA0 carry one).
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
