#include "common/common_string.h"

#include <Carbon/Carbon.h>

#include <cstring>
#include <memory>

namespace {

char const kEmptyText[] = "";

// Conversions give up on texts without a terminator in their first 100,000 units.
unsigned int const kMaxConvertedUnits = 100000;

// 0 when both pointers are equal, -1 or 1 when only one is null, else strcmp (unsigned bytes).
int StringCompare(char const* a, char const* b) {
    if (a == b)
        return 0;
    if (a == nullptr)
        return -1;
    if (b == nullptr)
        return 1;
    return std::strcmp(a, b);
}

} // namespace

String::String() = default;

String::String(char const* s) : m_pString(s != nullptr ? new std::string(s) : nullptr) {}

String::String(char const* s, unsigned int n)
    : m_pString(s != nullptr ? new std::string(s, ::strnlen(s, n)) : nullptr) {}

String::String(unsigned short const* u) {
    if (u == nullptr)
        return;
    if (u[0] == 0) {
        m_pString.reset(new std::string);
        return;
    }
    // The converter allocates nothing, so asking for one per call costs nothing.
    UnicodeToTextInfo info = nullptr;
    if (CreateUnicodeToTextInfoByEncoding(CreateTextEncoding(kTextEncodingMacRoman, 0, 0), &info) !=
        noErr)
        return;
    unsigned int n = 0;
    while (n < kMaxConvertedUnits && u[n] != 0)
        ++n;
    if (n == kMaxConvertedUnits)
        return;
    std::unique_ptr<char[]> buffer(new char[n + 1]());
    ByteCount read = 0;
    ByteCount written = 0;
    if (ConvertFromUnicodeToText(info, 2 * static_cast<ByteCount>(n), u, 0, 0, nullptr, nullptr,
                                 nullptr, n + 1, &read, &written, buffer.get()) != noErr)
        return;
    buffer[n] = '\0';
    m_pString.reset(new std::string(buffer.get()));
}

String::String(char c) : m_pString(new std::string(1, c)) {}

String::String(String const& other) = default;

String::~String() = default;

String& String::operator=(String const& other) {
    m_pString = other.m_pString;
    return *this;
}

String& String::operator=(char const* s) {
    String const value(s);
    m_pString = value.m_pString;
    return *this;
}

unsigned int String::GetLength() const {
    return m_pString.get() != nullptr ? static_cast<unsigned int>(m_pString->size()) : 0;
}

char const* String::Latin1() const {
    return m_pString.get() != nullptr ? m_pString->c_str() : kEmptyText;
}

shared_array<unsigned short> String::Unicode() const {
    char const* const bytes = Latin1();
    TextToUnicodeInfo info = nullptr;
    if (CreateTextToUnicodeInfoByEncoding(CreateTextEncoding(kTextEncodingMacRoman, 0, 0), &info) !=
        noErr)
        return shared_array<unsigned short>();
    unsigned int const n = static_cast<unsigned int>(::strnlen(bytes, kMaxConvertedUnits));
    if (n == kMaxConvertedUnits)
        return shared_array<unsigned short>();
    shared_array<unsigned short> units(new unsigned short[n + 1]);
    ByteCount read = 0;
    ByteCount written = 0;
    if (ConvertFromTextToUnicode(info, n, bytes, 0, 0, nullptr, nullptr, nullptr,
                                 2 * static_cast<ByteCount>(n), &read, &written,
                                 units.get()) != noErr)
        return shared_array<unsigned short>();
    ByteCount const produced = written / 2;
    if (produced > n)
        return shared_array<unsigned short>();
    units[static_cast<std::ptrdiff_t>(produced)] = 0;
    return units;
}

String& String::operator+=(String const& other) {
    if (other.GetLength() == 0)
        return *this;
    if (GetLength() != 0) {
        shared_ptr<std::string> joined(new std::string);
        joined->reserve(GetLength() + other.GetLength());
        joined->append(*m_pString).append(*other.m_pString);
        m_pString = joined;
    } else {
        m_pString = other.m_pString;
    }
    return *this;
}

String& String::operator+=(char c) { return *this += String(c); }

String& String::Insert(unsigned int pos, String const& s) {
    unsigned int const length = GetLength();
    if (pos > length)
        pos = length;
    shared_ptr<std::string> text(new std::string);
    text->reserve(length + s.GetLength());
    text->append(Latin1(), pos).append(s.Latin1(), s.GetLength());
    text->append(Latin1() + pos, length - pos);
    m_pString = text;
    return *this;
}

void String::Truncate(unsigned int n) {
    if (m_pString.get() == nullptr || n >= GetLength())
        return;
    m_pString.reset(new std::string(*m_pString, 0, n));
}

void String::detachAndExtend(unsigned int i) {
    unsigned int const length = GetLength();
    shared_ptr<std::string> text(length != 0 ? new std::string(*m_pString) : new std::string);
    if (i >= length)
        text->resize(static_cast<std::size_t>(i) + 1, '\0');
    m_pString = text;
}

bool String::operator==(String const& other) const {
    return StringCompare(Latin1(), other.Latin1()) == 0;
}

bool String::operator==(char const* other) const {
    return other != nullptr && StringCompare(Latin1(), other) == 0;
}

bool String::operator<(String const& other) const {
    return StringCompare(Latin1(), other.Latin1()) < 0;
}

bool String::operator<(char const* other) const {
    return other != nullptr && StringCompare(Latin1(), other) < 0;
}

bool String::operator<=(String const& other) const {
    return StringCompare(Latin1(), other.Latin1()) <= 0;
}

bool String::operator<=(char const* other) const {
    return other != nullptr && StringCompare(Latin1(), other) <= 0;
}

String operator+(String const& a, String const& b) {
    String result(a);
    result += b;
    return result;
}

String operator+(String const& a, char const* b) {
    String result(a);
    result += String(b);
    return result;
}
