// This file reads and writes preference files with a property-list reader and writer of our
// own, not libplist. libplist 2.2 asserts on text it does not expect (a key holding U+0000
// aborts the process), recurses as deep as the input nests, and copies a shared object once
// per reference, so a file of a few kilobytes can crash or exhaust any process that reads
// it; proving a file safe for it first would mean parsing it completely anyway. Its writer
// also slows down more than linearly with the number of keys. The reader here works with an
// explicit stack, checks every length and reference against the file before using it, keeps
// shared objects shared, and refuses nesting beyond kMaxDepth, so reading or writing a file
// of N bytes takes time and memory linear in N.
#include "platform/plist_file.h"

#include "platform/text_codec.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <string_view>

namespace velmora::plist {

using Kind = Dictionary::Kind;
using Object = Dictionary::Object;

namespace {

constexpr std::uint32_t kNone = 0xFFFFFFFFu;

std::uint64_t readBigEndian(unsigned char const* p, std::size_t n) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i)
        v = (v << 8) | p[i];
    return v;
}

void appendBigEndian(std::string& out, std::uint64_t v, std::size_t n) {
    for (std::size_t i = n; i-- > 0;)
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

// The fewest of 1, 2, 4 or 8 bytes that hold v.
std::size_t widthOf(std::uint64_t v) {
    return v <= 0xFF ? 1 : v <= 0xFFFF ? 2 : v <= 0xFFFFFFFFu ? 4 : 8;
}

std::uint64_t bitsOf(double d) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &d, sizeof bits);
    return bits;
}

double doubleOf(std::uint64_t bits) {
    double d = 0.0;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

bool isText(Kind kind) {
    return kind == Kind::Ascii || kind == Kind::Utf16 || kind == Kind::Utf8;
}

bool isContainer(Kind kind) {
    return kind == Kind::Array || kind == Kind::Set || kind == Kind::Dict;
}

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool validUtf8(char const* p, std::size_t n) {
    std::u16string scratch;
    return text::utf8ToUtf16(p, n, scratch);
}

} // namespace

// Fills a Dictionary's arenas from a file; each reader returns the root object or kNone.
class DocumentBuilder {
public:
    explicit DocumentBuilder(Dictionary& doc) : m_doc(doc) {}

    std::uint32_t ReadBinary(std::string const& bytes);
    std::uint32_t ReadXml(std::string const& bytes);

private:
    // Binary: one object's marker, its length, and where its content starts.
    struct Header {
        unsigned type, info;
        std::uint64_t length, start;
    };
    bool BinaryHeader(std::uint64_t object, Header& h) const;
    std::uint32_t BinaryScalar(Header const& h);

    // XML.
    bool SkipMisc();
    bool StartTag(std::string& name, bool& empty);
    bool EndTag(std::string const& name);
    bool Text(std::string const& element, std::string& out);
    std::uint32_t XmlScalar(std::string const& name, bool empty);

    std::uint32_t Container(Kind kind, std::uint32_t const* members, std::size_t n);

    Dictionary& m_doc;
    // The binary file.
    unsigned char const* m_data = nullptr;
    std::uint64_t m_table = 0, m_count = 0;
    std::size_t m_offsetSize = 0, m_refSize = 0;
    // The XML text.
    char const* m_p = nullptr;
    char const* m_end = nullptr;
};

std::uint32_t DocumentBuilder::Container(Kind kind, std::uint32_t const* members, std::size_t n) {
    std::size_t const start = m_doc.m_refs.size();
    m_doc.m_refs.insert(m_doc.m_refs.end(), members, members + n);
    return m_doc.Add({kind, static_cast<std::uint32_t>(n), start});
}

bool DocumentBuilder::BinaryHeader(std::uint64_t object, Header& h) const {
    std::uint64_t const at = readBigEndian(m_data + m_table + object * m_offsetSize, m_offsetSize);
    if (at < 8 || at >= m_table)
        return false;
    h.type = m_data[at] >> 4;
    h.info = m_data[at] & 0xF;
    h.start = at + 1;
    h.length = h.info;
    bool const counted = h.type == 0x4 || h.type == 0x5 || h.type == 0x6 || h.type == 0xA ||
                         h.type == 0xC || h.type == 0xD;
    if (counted && h.info == 0xF) {
        // The length follows as an integer object of 1, 2, 4 or 8 bytes.
        if (h.start >= m_table || (m_data[h.start] >> 4) != 0x1 || (m_data[h.start] & 0xF) > 3)
            return false;
        std::size_t const width = std::size_t(1) << (m_data[h.start] & 0xF);
        if (m_table - h.start - 1 < width)
            return false;
        h.length = readBigEndian(m_data + h.start + 1, width);
        h.start += 1 + width;
    }
    std::uint64_t unit = 1;
    switch (h.type) {
    case 0x0:
        return h.info == 0x0 || h.info == 0x8 || h.info == 0x9;
    case 0x1:
        if (h.info > 4)
            return false;
        h.length = std::uint64_t(1) << h.info;
        break;
    case 0x2:
        if (h.info != 2 && h.info != 3)
            return false;
        h.length = std::uint64_t(1) << h.info;
        break;
    case 0x3:
        if (h.info != 3)
            return false;
        h.length = 8;
        break;
    case 0x8:
        if (h.info > 7)
            return false;
        h.length = h.info + 1;
        break;
    case 0x4:
    case 0x5:
        break;
    case 0x6:
        unit = 2;
        break;
    case 0xA:
    case 0xC:
        unit = m_refSize;
        break;
    case 0xD:
        unit = 2 * m_refSize;
        break;
    default:
        return false;
    }
    return h.length <= (m_table - h.start) / unit;
}

std::uint32_t DocumentBuilder::BinaryScalar(Header const& h) {
    unsigned char const* p = m_data + h.start;
    auto const bytes = [&](Kind kind, std::uint64_t n) {
        return m_doc.AddBytes(kind, reinterpret_cast<char const*>(p), n);
    };
    switch (h.type) {
    case 0x0:
        return m_doc.Add({h.info == 0x0   ? Kind::Null
                          : h.info == 0x8 ? Kind::False
                                          : Kind::True,
                          0, 0});
    case 0x1: {
        if (h.length <= 8)
            return m_doc.Add({Kind::Integer, 0, readBigEndian(p, h.length)});
        // 128-bit integers carry unsigned 64-bit values; a sign-extended negative one is kept
        // as the 64-bit value it stands for. Wider values do not fit a preference.
        std::uint64_t const high = readBigEndian(p, 8);
        std::uint64_t const low = readBigEndian(p + 8, 8);
        if (high == 0)
            return m_doc.Add({Kind::Unsigned128, 0, low});
        if (high == ~std::uint64_t(0) && (low >> 63) != 0)
            return m_doc.Add({Kind::Integer, 0, low});
        return kNone;
    }
    case 0x2:
        if (h.length == 4) {
            std::uint32_t const bits = static_cast<std::uint32_t>(readBigEndian(p, 4));
            float f = 0.0f;
            std::memcpy(&f, &bits, sizeof f);
            return m_doc.Add({Kind::Real, 0, bitsOf(f)});
        }
        return m_doc.Add({Kind::Real, 0, readBigEndian(p, 8)});
    case 0x3:
        return m_doc.Add({Kind::Date, 0, readBigEndian(p, 8)});
    case 0x4:
        return bytes(Kind::Data, h.length);
    case 0x5:
        return bytes(Kind::Ascii, h.length);
    case 0x6: {
        std::uint32_t const at = bytes(Kind::Utf16, 2 * h.length);
        m_doc.m_objects[at].count = static_cast<std::uint32_t>(h.length);
        return at;
    }
    case 0x8:
        return m_doc.Add({Kind::Uid, 0, readBigEndian(p, h.length)});
    default:
        return kNone;
    }
}

std::uint32_t DocumentBuilder::ReadBinary(std::string const& file) {
    m_data = reinterpret_cast<unsigned char const*>(file.data());
    if (file.size() < 8 + 32)
        return kNone;
    std::uint64_t const end = file.size() - 32;
    unsigned char const* trailer = m_data + end;
    m_offsetSize = trailer[6];
    m_refSize = trailer[7];
    m_count = readBigEndian(trailer + 8, 8);
    std::uint64_t const top = readBigEndian(trailer + 16, 8);
    m_table = readBigEndian(trailer + 24, 8);
    if (m_offsetSize < 1 || m_offsetSize > 8 || m_refSize < 1 || m_refSize > 8 || m_table < 9 ||
        m_table > end || m_count > (end - m_table) / m_offsetSize || top >= m_count)
        return kNone;

    // A depth-first walk with an explicit stack. Every object is read once, however often it
    // is referred to, and an object met again while it is open is a cycle.
    enum : std::uint8_t { kNew, kOpen, kDone };
    std::vector<std::uint8_t> state(m_count, kNew);
    std::vector<std::uint16_t> height(m_count, 0); // levels from the object down, itself included
    std::vector<std::uint32_t> made(m_count, kNone);
    struct Frame {
        std::uint64_t object;
        Header header;
        std::uint64_t refs, next;
        std::size_t height;
    };
    std::vector<Frame> stack;
    std::vector<std::uint32_t> members;

    auto const refAt = [&](Frame const& f, std::uint64_t i) {
        return readBigEndian(m_data + f.header.start + i * m_refSize, m_refSize);
    };
    // Reads a scalar at once, or opens a container; false for a malformed object.
    auto const enter = [&](std::uint64_t object) {
        Header h{};
        if (!BinaryHeader(object, h))
            return false;
        if (h.type == 0xA || h.type == 0xC || h.type == 0xD) {
            if (stack.size() >= kMaxDepth)
                return false;
            state[object] = kOpen;
            stack.push_back({object, h, h.type == 0xD ? 2 * h.length : h.length, 0, 1});
            return true;
        }
        made[object] = BinaryScalar(h);
        state[object] = kDone;
        height[object] = 1;
        return made[object] != kNone;
    };

    if (!enter(top) || stack.empty() || stack.back().header.type != 0xD)
        return kNone;
    for (;;) {
        Frame& f = stack.back();
        if (f.next < f.refs) {
            std::uint64_t const child = refAt(f, f.next);
            if (child >= m_count || state[child] == kOpen)
                return kNone;
            if (state[child] == kNew && !enter(child))
                return kNone;
            if (state[child] != kDone)
                continue; // a container was opened; come back when it is done
            Frame& parent = stack.back();
            // Dictionary keys must be text.
            if (parent.header.type == 0xD && parent.next < parent.header.length &&
                !isText(m_doc.m_objects[made[child]].kind))
                return kNone;
            if (stack.size() + height[child] > kMaxDepth)
                return kNone;
            parent.height = std::max<std::size_t>(parent.height, height[child] + 1u);
            ++parent.next;
            continue;
        }
        members.clear();
        for (std::uint64_t i = 0; i < f.refs; ++i)
            members.push_back(made[refAt(f, i)]);
        Kind const kind = f.header.type == 0xA   ? Kind::Array
                          : f.header.type == 0xC ? Kind::Set
                                                 : Kind::Dict;
        std::uint64_t const object = f.object;
        height[object] = static_cast<std::uint16_t>(f.height);
        made[object] = Container(kind, members.data(), members.size());
        state[object] = kDone;
        stack.pop_back();
        if (stack.empty())
            return made[object];
        // The parent counts this child on its next turn, through the kDone branch above.
    }
}

// Skips white space, comments and processing instructions; false at a malformed one.
bool DocumentBuilder::SkipMisc() {
    for (;;) {
        while (m_p < m_end && isSpace(*m_p))
            ++m_p;
        std::string_view const rest(m_p, static_cast<std::size_t>(m_end - m_p));
        std::size_t close = std::string_view::npos;
        if (rest.substr(0, 4) == "<!--")
            close = rest.find("-->", 4) + 3;
        else if (rest.substr(0, 2) == "<?")
            close = rest.find("?>", 2) + 2;
        else
            return true;
        if (close < 3)
            return false; // npos + 2 or 3 wrapped round: not closed
        m_p += close;
    }
}

// Reads "<name attributes>" or "<name attributes/>", the '<' being at m_p.
bool DocumentBuilder::StartTag(std::string& name, bool& empty) {
    ++m_p;
    char const* const first = m_p;
    while (m_p < m_end && (std::isalnum(static_cast<unsigned char>(*m_p)) || *m_p == '_' ||
                           *m_p == ':' || *m_p == '-' || *m_p == '.'))
        ++m_p;
    name.assign(first, m_p);
    if (name.empty())
        return false;
    for (;;) {
        bool const spaced = m_p < m_end && isSpace(*m_p);
        while (m_p < m_end && isSpace(*m_p))
            ++m_p;
        if (m_p == m_end)
            return false;
        if (*m_p == '>' || (*m_p == '/' && m_end - m_p >= 2 && m_p[1] == '>')) {
            empty = *m_p == '/';
            m_p += empty ? 2 : 1;
            return true;
        }
        // An attribute: name = "value" or 'value'.
        char const* const attr = m_p;
        while (m_p < m_end && !isSpace(*m_p) && *m_p != '=' && *m_p != '>' && *m_p != '/')
            ++m_p;
        if (!spaced || m_p == attr)
            return false;
        while (m_p < m_end && isSpace(*m_p))
            ++m_p;
        if (m_p == m_end || *m_p++ != '=')
            return false;
        while (m_p < m_end && isSpace(*m_p))
            ++m_p;
        if (m_p == m_end || (*m_p != '"' && *m_p != '\''))
            return false;
        char const* const close = static_cast<char const*>(
            std::memchr(m_p + 1, *m_p, static_cast<std::size_t>(m_end - m_p - 1)));
        if (close == nullptr || std::memchr(m_p, '<', static_cast<std::size_t>(close - m_p)))
            return false;
        m_p = close + 1;
    }
}

// Reads "</name>" (white space allowed before '>'), the '<' being at m_p.
bool DocumentBuilder::EndTag(std::string const& name) {
    std::size_t const n = name.size();
    if (static_cast<std::size_t>(m_end - m_p) < n + 3 || m_p[0] != '<' || m_p[1] != '/' ||
        name.compare(0, n, m_p + 2, n) != 0)
        return false;
    m_p += n + 2;
    while (m_p < m_end && isSpace(*m_p))
        ++m_p;
    if (m_p == m_end || *m_p != '>')
        return false;
    ++m_p;
    return true;
}

// Reads character data up to and including "</element>": entity and character references,
// CDATA sections and comments; false on markup, bad references or text that is not UTF-8.
bool DocumentBuilder::Text(std::string const& element, std::string& out) {
    out.clear();
    for (;;) {
        char const* const lt =
            static_cast<char const*>(std::memchr(m_p, '<', static_cast<std::size_t>(m_end - m_p)));
        if (lt == nullptr)
            return false;
        for (char const* q = m_p; q < lt;) {
            char const* const amp =
                static_cast<char const*>(std::memchr(q, '&', static_cast<std::size_t>(lt - q)));
            out.append(q, amp != nullptr ? amp : lt);
            if (amp == nullptr)
                break;
            char const* const semi = static_cast<char const*>(std::memchr(
                amp, ';', static_cast<std::size_t>(std::min<std::ptrdiff_t>(lt - amp, 12))));
            if (semi == nullptr)
                return false;
            std::string_view const ref(amp + 1, static_cast<std::size_t>(semi - amp - 1));
            if (ref == "lt")
                out += '<';
            else if (ref == "gt")
                out += '>';
            else if (ref == "amp")
                out += '&';
            else if (ref == "quot")
                out += '"';
            else if (ref == "apos")
                out += '\'';
            else if (ref.size() >= 2 && ref[0] == '#') {
                bool const hex = ref[1] == 'x';
                std::uint32_t code = 0;
                auto const digits = ref.substr(hex ? 2 : 1);
                auto const [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(),
                                                       code, hex ? 16 : 10);
                // No U+0000, surrogates or values past Unicode: XML has no such characters.
                if (digits.empty() || ec != std::errc() || end != digits.data() + digits.size() ||
                    code == 0 || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF)
                    return false;
                char16_t units[2];
                std::size_t n = 1;
                if (code >= 0x10000) {
                    units[0] = static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
                    units[1] = static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
                    n = 2;
                } else {
                    units[0] = static_cast<char16_t>(code);
                }
                text::utf16ToUtf8(units, n, out);
            } else {
                return false; // no other entities are declared
            }
            q = semi + 1;
        }
        m_p = lt;
        std::string_view const rest(m_p, static_cast<std::size_t>(m_end - m_p));
        if (rest.substr(0, 9) == "<![CDATA[") {
            std::size_t const close = rest.find("]]>", 9);
            if (close == std::string_view::npos)
                return false;
            out.append(m_p + 9, close - 9);
            m_p += close + 3;
        } else if (rest.substr(0, 4) == "<!--") {
            std::size_t const close = rest.find("-->", 4);
            if (close == std::string_view::npos)
                return false;
            m_p += close + 3;
        } else {
            return EndTag(element) && out.find('\0') == std::string::npos &&
                   validUtf8(out.data(), out.size());
        }
    }
}

namespace {

std::string_view trimmed(std::string const& s) {
    std::size_t first = 0, last = s.size();
    while (first < last && isSpace(s[first]))
        ++first;
    while (last > first && isSpace(s[last - 1]))
        --last;
    return std::string_view(s).substr(first, last - first);
}

// Decimal or 0x-hexadecimal, optionally signed: the integer and whether it needs the unsigned
// 64-bit range.
bool parseInteger(std::string_view t, std::uint64_t& bits, bool& isUnsigned) {
    bool const negative = !t.empty() && t[0] == '-';
    if (!t.empty() && (t[0] == '-' || t[0] == '+'))
        t.remove_prefix(1);
    int base = 10;
    if (t.size() > 2 && t[0] == '0' && (t[1] == 'x' || t[1] == 'X')) {
        t.remove_prefix(2);
        base = 16;
    }
    std::uint64_t magnitude = 0;
    auto const [end, ec] = std::from_chars(t.data(), t.data() + t.size(), magnitude, base);
    if (t.empty() || ec != std::errc() || end != t.data() + t.size())
        return false;
    if (negative) {
        if (magnitude > (std::uint64_t(1) << 63))
            return false;
        bits = ~magnitude + 1;
        isUnsigned = false;
        return true;
    }
    bits = magnitude;
    isUnsigned = magnitude > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return true;
}

// A real written in any locale-independent form, including nan and [+-]inf[inity].
bool parseReal(std::string_view t, double& value) {
    bool const plus = !t.empty() && t[0] == '+';
    if (plus)
        t.remove_prefix(1);
    if (t.empty() || (plus && t[0] == '-'))
        return false;
    auto const [end, ec] = std::from_chars(t.data(), t.data() + t.size(), value);
    return ec == std::errc() && end == t.data() + t.size();
}

std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    std::int64_t const era = (y >= 0 ? y : y - 399) / 400;
    unsigned const yoe = static_cast<unsigned>(y - era * 400);
    unsigned const doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    unsigned const doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

// "YYYY-MM-DDTHH:MM:SS[.fraction]Z" as seconds since 2001-01-01 00:00:00 UTC.
bool parseDate(std::string_view t, double& seconds) {
    auto const number = [&](std::size_t at, std::size_t n, unsigned lo, unsigned hi,
                            unsigned& out) {
        auto const [end, ec] = std::from_chars(t.data() + at, t.data() + at + n, out);
        return ec == std::errc() && end == t.data() + at + n && out >= lo && out <= hi;
    };
    unsigned y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    if (t.size() < 20 || t[4] != '-' || t[7] != '-' || t[10] != 'T' || t[13] != ':' ||
        t[16] != ':' || t.back() != 'Z' || !number(0, 4, 0, 9999, y) || !number(5, 2, 1, 12, mo) ||
        !number(8, 2, 1, 31, d) || !number(11, 2, 0, 23, h) || !number(14, 2, 0, 59, mi) ||
        !number(17, 2, 0, 60, s))
        return false;
    double fraction = 0.0;
    std::string_view const tail = t.substr(19, t.size() - 20);
    if (!tail.empty()) {
        if (tail[0] != '.' || tail.size() < 2 || tail.size() > 20)
            return false;
        std::string const digits = "0" + std::string(tail);
        if (!parseReal(digits, fraction))
            return false;
    }
    std::int64_t const days = daysFromCivil(y, mo, d) - daysFromCivil(2001, 1, 1);
    seconds = static_cast<double>(days * 86400 + h * 3600 + mi * 60 + s) + fraction;
    return true;
}

int base64Value(char c) {
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    return c == '+' ? 62 : c == '/' ? 63 : -1;
}

// Base64 with white space anywhere and '=' padding only at the end (which may be left out).
bool parseBase64(std::string const& text, std::string& out) {
    out.clear();
    std::uint32_t group = 0;
    int have = 0, padding = 0;
    for (char c : text) {
        if (isSpace(c))
            continue;
        if (c == '=') {
            ++padding;
            continue;
        }
        int const v = base64Value(c);
        if (v < 0 || padding > 0)
            return false;
        group = (group << 6) | static_cast<std::uint32_t>(v);
        if (++have == 4) {
            out.push_back(static_cast<char>(group >> 16));
            out.push_back(static_cast<char>(group >> 8));
            out.push_back(static_cast<char>(group));
            group = 0;
            have = 0;
        }
    }
    if (have == 1 || padding > 2 || (padding > 0 && have + padding != 4))
        return false;
    if (have == 2)
        out.push_back(static_cast<char>(group >> 4));
    if (have == 3) {
        out.push_back(static_cast<char>(group >> 10));
        out.push_back(static_cast<char>(group >> 2));
    }
    return true;
}

} // namespace

std::uint32_t DocumentBuilder::XmlScalar(std::string const& name, bool empty) {
    if (name == "true" || name == "false") {
        if (!empty && !EndTag(name))
            return kNone;
        return m_doc.Add({name == "true" ? Kind::True : Kind::False, 0, 0});
    }
    std::string text;
    if (!empty && !Text(name, text))
        return kNone;
    if (name == "string" || name == "key")
        return m_doc.AddBytes(Kind::Utf8, text.data(), text.size());
    if (name == "data") {
        std::string bytes;
        return parseBase64(text, bytes) ? m_doc.AddBytes(Kind::Data, bytes.data(), bytes.size())
                                        : kNone;
    }
    if (name == "integer") {
        std::uint64_t bits = 0;
        bool isUnsigned = false;
        if (!parseInteger(trimmed(text), bits, isUnsigned))
            return kNone;
        return m_doc.Add({isUnsigned ? Kind::Unsigned128 : Kind::Integer, 0, bits});
    }
    double value = 0.0;
    if (name == "real" && parseReal(trimmed(text), value))
        return m_doc.Add({Kind::Real, 0, bitsOf(value)});
    if (name == "date" && parseDate(trimmed(text), value))
        return m_doc.Add({Kind::Date, 0, bitsOf(value)});
    return kNone;
}

std::uint32_t DocumentBuilder::ReadXml(std::string const& file) {
    m_p = file.data();
    m_end = m_p + file.size();
    if (file.compare(0, 3, "\xEF\xBB\xBF") == 0)
        m_p += 3;
    // The prolog: declaration, comments, and a document type without an internal subset
    // (which could declare entities).
    for (;;) {
        if (!SkipMisc())
            return kNone;
        std::string_view const rest(m_p, static_cast<std::size_t>(m_end - m_p));
        if (rest.substr(0, 9) != "<!DOCTYPE")
            break;
        std::size_t const close = rest.find('>');
        if (close == std::string_view::npos || rest.substr(0, close).find('[') != rest.npos)
            return kNone;
        m_p += close + 1;
    }

    struct Frame {
        Kind kind;
        std::size_t first; // where its members start in children
    };
    std::vector<Frame> stack;
    std::vector<std::uint32_t> children;
    std::vector<std::uint32_t> keysThenValues;
    std::string name;
    bool inPlist = false;
    std::uint32_t root = kNone;

    while (root == kNone) {
        if (!SkipMisc() || m_p == m_end || *m_p != '<')
            return kNone;
        std::uint32_t made = kNone;
        if (m_p + 1 < m_end && m_p[1] == '/') {
            if (stack.empty())
                return kNone;
            Frame const f = stack.back();
            std::size_t const n = children.size() - f.first;
            if (!EndTag(f.kind == Kind::Dict ? "dict" : "array"))
                return kNone;
            if (f.kind == Kind::Dict) {
                // Read as key, value, key, value; kept as keys, then values.
                if (n % 2 != 0)
                    return kNone;
                keysThenValues.clear();
                for (std::size_t i = 0; i < n; i += 2)
                    keysThenValues.push_back(children[f.first + i]);
                for (std::size_t i = 1; i < n; i += 2)
                    keysThenValues.push_back(children[f.first + i]);
                made = Container(Kind::Dict, keysThenValues.data(), n);
            } else {
                made = Container(Kind::Array, children.data() + f.first, n);
            }
            children.resize(f.first);
            stack.pop_back();
        } else {
            bool empty = false;
            if (!StartTag(name, empty))
                return kNone;
            bool const inDict = !stack.empty() && stack.back().kind == Kind::Dict;
            bool const wantKey = inDict && (children.size() - stack.back().first) % 2 == 0;
            if ((name == "key") != wantKey)
                return kNone;
            if (name == "plist" && !inPlist && stack.empty() && !empty) {
                inPlist = true;
                continue;
            }
            if (name == "dict" || name == "array") {
                Kind const kind = name == "dict" ? Kind::Dict : Kind::Array;
                if (empty) {
                    made = Container(kind, nullptr, 0);
                } else {
                    if (stack.size() >= kMaxDepth)
                        return kNone;
                    stack.push_back({kind, children.size()});
                    continue;
                }
            } else if ((made = XmlScalar(name, empty)) == kNone) {
                return kNone;
            }
        }
        if (stack.empty())
            root = made;
        else
            children.push_back(made);
    }
    if (inPlist && (!SkipMisc() || !EndTag("plist")))
        return kNone;
    if (!SkipMisc() || m_p != m_end)
        return kNone;
    return root;
}

std::uint32_t Dictionary::Add(Object object) {
    m_objects.push_back(object);
    return static_cast<std::uint32_t>(m_objects.size() - 1);
}

std::uint32_t Dictionary::AddBytes(Kind kind, char const* bytes, std::size_t n) {
    std::size_t const at = m_bytes.size();
    m_bytes.append(bytes, n);
    return Add({kind, static_cast<std::uint32_t>(n), at});
}

namespace {

// The UTF-8 form of a text object, false when it is not valid text or holds U+0000.
bool textOf(Object const& o, std::string const& arena, std::string& out) {
    out.clear();
    if (!isText(o.kind))
        return false;
    char const* const p = arena.data() + o.payload;
    switch (o.kind) {
    case Kind::Ascii:
        for (std::uint32_t i = 0; i < o.count; ++i)
            if (p[i] <= 0) // U+0000, or not ASCII
                return false;
        out.assign(p, o.count);
        return true;
    case Kind::Utf8:
        out.assign(p, o.count);
        return out.find('\0') == std::string::npos;
    case Kind::Utf16: {
        std::u16string units(o.count, u'\0');
        for (std::uint32_t i = 0; i < o.count; ++i)
            units[i] = static_cast<char16_t>(
                readBigEndian(reinterpret_cast<unsigned char const*>(p) + 2 * i, 2));
        return units.find(u'\0') == std::u16string::npos &&
               text::utf16ToUtf8(units.data(), units.size(), out);
    }
    default:
        return false;
    }
}

} // namespace

void Dictionary::Index() {
    m_index.clear();
    std::string key;
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        if (!textOf(m_objects[m_entries[i].key], m_bytes, key))
            continue;
        auto const [it, added] = m_index.emplace(key, i);
        if (!added) {
            m_entries[it->second].value = kRemoved; // the file's last value wins
            it->second = i;
        }
    }
}

Dictionary::ParseResult Dictionary::Parse(std::string const& bytes) {
    if (bytes.empty() || bytes.size() > std::numeric_limits<std::uint32_t>::max())
        return ParseResult::NotPropertyList;
    Dictionary doc;
    DocumentBuilder builder(doc);
    bool const binary = bytes.compare(0, 8, "bplist00") == 0;
    std::uint32_t const root = binary ? builder.ReadBinary(bytes) : builder.ReadXml(bytes);
    if (root == kNone)
        return ParseResult::NotPropertyList;
    Object const& r = doc.m_objects[root];
    if (r.kind != Kind::Dict)
        return ParseResult::NotDictionary;
    std::size_t const pairs = r.count / 2;
    for (std::size_t i = 0; i < pairs; ++i) {
        std::uint32_t const key = doc.m_refs[r.payload + i];
        if (!isText(doc.m_objects[key].kind))
            return ParseResult::NotPropertyList;
        doc.m_entries.push_back({key, doc.m_refs[r.payload + pairs + i]});
    }
    doc.Index();
    *this = std::move(doc);
    return ParseResult::Ok;
}

Value Dictionary::ValueOf(std::uint32_t object) const {
    Object const& o = m_objects[object];
    switch (o.kind) {
    case Kind::Ascii:
    case Kind::Utf8:
    case Kind::Utf16: {
        std::string text;
        if (textOf(o, m_bytes, text))
            return text;
        return Unmapped{};
    }
    case Kind::Integer:
    case Kind::Unsigned128: // read back as its two's-complement bits
        return static_cast<std::int64_t>(o.payload);
    case Kind::Real:
        return doubleOf(o.payload);
    case Kind::Data: {
        auto const* p = reinterpret_cast<std::uint8_t const*>(m_bytes.data() + o.payload);
        return std::vector<std::uint8_t>(p, p + o.count);
    }
    case Kind::True:
    case Kind::False:
        return o.kind == Kind::True;
    default:
        return Unmapped{};
    }
}

bool Dictionary::Find(std::string const& key, Value& value) const {
    auto const it = m_index.find(key);
    if (it == m_index.end())
        return false;
    value = ValueOf(m_entries[it->second].value);
    return true;
}

std::vector<std::string> Dictionary::Keys() const {
    std::vector<std::string> keys;
    keys.reserve(m_index.size());
    for (auto const& entry : m_index)
        keys.push_back(entry.first);
    return keys;
}

void Dictionary::Set(std::string const& key, Value const& value) {
    std::uint32_t object = kNone;
    if (auto const* s = std::get_if<std::string>(&value))
        object = AddBytes(Kind::Utf8, s->data(), s->size());
    else if (auto const* i = std::get_if<std::int64_t>(&value))
        object = Add({Kind::Integer, 0, static_cast<std::uint64_t>(*i)});
    else if (auto const* r = std::get_if<double>(&value))
        object = Add({Kind::Real, 0, bitsOf(*r)});
    else if (auto const* d = std::get_if<std::vector<std::uint8_t>>(&value))
        object = AddBytes(Kind::Data, reinterpret_cast<char const*>(d->data()), d->size());
    else if (auto const* b = std::get_if<bool>(&value))
        object = Add({*b ? Kind::True : Kind::False, 0, 0});
    if (object == kNone)
        return;
    auto const it = m_index.find(key);
    if (it != m_index.end()) {
        m_entries[it->second].value = object;
        return;
    }
    m_entries.push_back({AddBytes(Kind::Utf8, key.data(), key.size()), object});
    m_index.emplace(key, m_entries.size() - 1);
}

void Dictionary::Remove(std::string const& key) {
    auto const it = m_index.find(key);
    if (it == m_index.end())
        return;
    m_entries[it->second].value = kRemoved;
    m_index.erase(it);
}

bool Dictionary::Empty() const {
    return std::all_of(m_entries.begin(), m_entries.end(),
                       [](Entry const& e) { return e.value == kRemoved; });
}

namespace {

// An XML form bigger than this is refused: shared objects are written out once per reference,
// so a small binary file could otherwise expand without bound.
constexpr std::size_t kMaxXmlSize = 64u * 1024u * 1024u;

void appendEscaped(std::string& x, std::string const& text) {
    for (char c : text) {
        if (c == '&')
            x += "&amp;";
        else if (c == '<')
            x += "&lt;";
        else if (c == '>')
            x += "&gt;";
        else
            x += c;
    }
}

void appendBase64(std::string& x, unsigned char const* p, std::size_t n) {
    static char const digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::size_t i = 0; i < n; i += 3) {
        std::uint32_t group = std::uint32_t(p[i]) << 16;
        if (i + 1 < n)
            group |= std::uint32_t(p[i + 1]) << 8;
        if (i + 2 < n)
            group |= p[i + 2];
        x += digits[(group >> 18) & 63];
        x += digits[(group >> 12) & 63];
        x += i + 1 < n ? digits[(group >> 6) & 63] : '=';
        x += i + 2 < n ? digits[group & 63] : '=';
    }
}

void appendNumber(std::string& x, double d) {
    if (d != d) {
        x += "nan";
        return;
    }
    if (d == std::numeric_limits<double>::infinity() ||
        -d == std::numeric_limits<double>::infinity()) {
        x += d > 0 ? "+infinity" : "-infinity";
        return;
    }
    char buffer[64];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, d);
    x.append(buffer, result.ptr);
}

// Seconds since 2001-01-01 00:00:00 UTC as "YYYY-MM-DDTHH:MM:SSZ".
bool appendDate(std::string& x, double seconds) {
    if (!(seconds > -1e14 && seconds < 1e14)) // years outside 0..9999 and NaN
        return false;
    std::int64_t const whole = static_cast<std::int64_t>(std::floor(seconds));
    std::int64_t days = (whole >= 0 ? whole : whole - 86399) / 86400;
    std::int64_t const rest = whole - days * 86400;
    days += daysFromCivil(2001, 1, 1);
    // Civil date from days since 1970 (the inverse of daysFromCivil).
    std::int64_t const z = days + 719468;
    std::int64_t const era = (z >= 0 ? z : z - 146096) / 146097;
    auto const doe = static_cast<unsigned>(z - era * 146097);
    unsigned const yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    unsigned const doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    unsigned const mp = (5 * doy + 2) / 153;
    unsigned const d = doy - (153 * mp + 2) / 5 + 1;
    unsigned const m = mp < 10 ? mp + 3 : mp - 9;
    std::int64_t const y = static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2);
    if (y < 0 || y > 9999)
        return false;
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(y), m,
                  d, static_cast<int>(rest / 3600), static_cast<int>(rest / 60 % 60),
                  static_cast<int>(rest % 60));
    x += buffer;
    return true;
}

} // namespace

bool Dictionary::ToXml(std::string& out) const {
    std::string x = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                    "<plist version=\"1.0\">\n<dict>\n";
    std::string text;
    // Writes one value at depth levels of indentation; depth is at most kMaxDepth + 1, so the
    // recursion is bounded by what the reader accepted.
    std::function<bool(std::uint32_t, std::size_t)> value = [&](std::uint32_t object,
                                                                std::size_t depth) {
        if (x.size() > kMaxXmlSize)
            return false;
        Object const& o = m_objects[object];
        x.append(depth, '\t');
        switch (o.kind) {
        case Kind::Null:
            return false; // XML property lists have no null
        case Kind::True:
        case Kind::False:
            x += o.kind == Kind::True ? "<true/>" : "<false/>";
            break;
        case Kind::Integer:
            x += "<integer>" + std::to_string(static_cast<std::int64_t>(o.payload)) + "</integer>";
            break;
        case Kind::Unsigned128:
            x += "<integer>" + std::to_string(o.payload) + "</integer>";
            break;
        case Kind::Real:
            x += "<real>";
            appendNumber(x, doubleOf(o.payload));
            x += "</real>";
            break;
        case Kind::Date:
            x += "<date>";
            if (!appendDate(x, doubleOf(o.payload)))
                return false;
            x += "</date>";
            break;
        case Kind::Data:
            x += "<data>";
            appendBase64(x, reinterpret_cast<unsigned char const*>(m_bytes.data() + o.payload),
                         o.count);
            x += "</data>";
            break;
        case Kind::Ascii:
        case Kind::Utf8:
        case Kind::Utf16:
            if (!textOf(o, m_bytes, text))
                return false;
            x += "<string>";
            appendEscaped(x, text);
            x += "</string>";
            break;
        case Kind::Uid:
            x += "<dict><key>CF$UID</key><integer>" + std::to_string(o.payload) +
                 "</integer></dict>";
            break;
        case Kind::Array:
        case Kind::Set:
        case Kind::Dict: {
            bool const dict = o.kind == Kind::Dict;
            std::uint32_t const n = dict ? o.count / 2 : o.count;
            if (n == 0) {
                x += dict ? "<dict/>" : "<array/>";
                break;
            }
            x += dict ? "<dict>\n" : "<array>\n";
            for (std::uint32_t i = 0; i < n; ++i) {
                if (dict) {
                    if (!textOf(m_objects[m_refs[o.payload + i]], m_bytes, text))
                        return false;
                    x.append(depth + 1, '\t');
                    x += "<key>";
                    appendEscaped(x, text);
                    x += "</key>\n";
                }
                if (!value(m_refs[o.payload + (dict ? n : 0) + i], depth + 1))
                    return false;
            }
            x.append(depth, '\t');
            x += dict ? "</dict>" : "</array>";
            break;
        }
        }
        x += '\n';
        return true;
    };
    for (auto const& e : m_entries) {
        if (e.value == kRemoved)
            continue;
        if (!textOf(m_objects[e.key], m_bytes, text))
            return false;
        x += "\t<key>";
        appendEscaped(x, text);
        x += "</key>\n";
        if (!value(e.value, 1))
            return false;
    }
    x += "</dict>\n</plist>\n";
    out = std::move(x);
    return true;
}

bool Dictionary::ToBinary(std::string& out) const {
    // Numbers every object reachable from the root once, breadth first, so that an object
    // shared in the file is written once and stays shared.
    std::vector<std::uint32_t> id(m_objects.size(), kNone);
    std::vector<std::uint32_t> order; // objects by id, the root dictionary (id 0) left out
    std::vector<std::uint32_t> rootRefs;
    auto const number = [&](std::uint32_t object) {
        if (id[object] == kNone) {
            order.push_back(object);
            id[object] = static_cast<std::uint32_t>(order.size());
        }
        return id[object];
    };
    for (auto const& e : m_entries)
        if (e.value != kRemoved)
            rootRefs.push_back(number(e.key));
    for (auto const& e : m_entries)
        if (e.value != kRemoved)
            rootRefs.push_back(number(e.value));
    for (std::size_t i = 0; i < order.size(); ++i) {
        Object const& o = m_objects[order[i]];
        if (isContainer(o.kind))
            for (std::uint32_t r = 0; r < o.count; ++r)
                number(m_refs[o.payload + r]);
    }
    std::size_t const count = order.size() + 1;
    std::size_t const refSize = widthOf(count - 1);

    std::string bin = "bplist00";
    std::vector<std::uint64_t> offsets;
    offsets.reserve(count);
    auto const marker = [&](unsigned type, std::uint64_t length) {
        if (length < 15) {
            bin.push_back(static_cast<char>((type << 4) | length));
            return;
        }
        bin.push_back(static_cast<char>((type << 4) | 0xF));
        std::size_t const width = widthOf(length);
        bin.push_back(static_cast<char>(0x10 | (width == 1   ? 0
                                                : width == 2 ? 1
                                                : width == 4 ? 2
                                                             : 3)));
        appendBigEndian(bin, length, width);
    };

    offsets.push_back(bin.size());
    marker(0xD, rootRefs.size() / 2);
    for (std::uint32_t r : rootRefs)
        appendBigEndian(bin, r, refSize);

    std::u16string units;
    for (std::uint32_t object : order) {
        offsets.push_back(bin.size());
        Object const& o = m_objects[object];
        // Only text and data keep bytes; for numbers the payload is the value itself.
        char const* const bytes =
            o.kind == Kind::Data || isText(o.kind) ? m_bytes.data() + o.payload : nullptr;
        switch (o.kind) {
        case Kind::Null:
            bin.push_back('\x00');
            break;
        case Kind::False:
            bin.push_back('\x08');
            break;
        case Kind::True:
            bin.push_back('\x09');
            break;
        case Kind::Integer: {
            // Negative values take 8 bytes; others the fewest that hold them.
            std::size_t const width = (o.payload >> 63) != 0 ? 8 : widthOf(o.payload);
            marker(0x1, width == 1 ? 0 : width == 2 ? 1 : width == 4 ? 2 : 3);
            appendBigEndian(bin, o.payload, width);
            break;
        }
        case Kind::Unsigned128:
            bin.push_back('\x14');
            appendBigEndian(bin, 0, 8);
            appendBigEndian(bin, o.payload, 8);
            break;
        case Kind::Real:
            bin.push_back('\x23');
            appendBigEndian(bin, o.payload, 8);
            break;
        case Kind::Date:
            bin.push_back('\x33');
            appendBigEndian(bin, o.payload, 8);
            break;
        case Kind::Uid: {
            std::size_t const width = widthOf(o.payload);
            bin.push_back(static_cast<char>(0x80 | (width - 1)));
            appendBigEndian(bin, o.payload, width);
            break;
        }
        case Kind::Data:
        case Kind::Ascii:
            marker(o.kind == Kind::Data ? 0x4 : 0x5, o.count);
            bin.append(bytes, o.count);
            break;
        case Kind::Utf16:
            marker(0x6, o.count);
            bin.append(bytes, 2 * std::size_t(o.count));
            break;
        case Kind::Utf8: {
            bool const ascii =
                std::all_of(bytes, bytes + o.count, [](char c) { return (c & 0x80) == 0; });
            if (ascii) {
                marker(0x5, o.count);
                bin.append(bytes, o.count);
                break;
            }
            units.clear();
            if (!text::utf8ToUtf16(bytes, o.count, units))
                return false;
            marker(0x6, units.size());
            for (char16_t u : units)
                appendBigEndian(bin, u, 2);
            break;
        }
        case Kind::Array:
        case Kind::Set:
        case Kind::Dict:
            marker(o.kind == Kind::Array ? 0xA
                   : o.kind == Kind::Set ? 0xC
                                         : 0xD,
                   o.kind == Kind::Dict ? o.count / 2 : o.count);
            for (std::uint32_t r = 0; r < o.count; ++r)
                appendBigEndian(bin, id[m_refs[o.payload + r]], refSize);
            break;
        }
    }

    std::uint64_t const table = bin.size();
    std::size_t const offsetSize = widthOf(table);
    for (std::uint64_t at : offsets)
        appendBigEndian(bin, at, offsetSize);
    bin.append(6, '\0');
    bin.push_back(static_cast<char>(offsetSize));
    bin.push_back(static_cast<char>(refSize));
    appendBigEndian(bin, count, 8);
    appendBigEndian(bin, 0, 8);
    appendBigEndian(bin, table, 8);
    out = std::move(bin);
    return true;
}

} // namespace velmora::plist
