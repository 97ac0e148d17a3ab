// What the velmora-* tools share: strict decimal numbers and JSON output.
#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#ifndef VELMORA_VERSION
#error "VELMORA_VERSION comes from the project version (tools/CMakeLists.txt)"
#endif

namespace velmora_tool {

// A decimal integer in [min, max]: an optional sign and digits only. Leading zeros do not
// make it octal and nothing else (spaces, "0x", a unit) is allowed, so "011" is 11.
inline bool ParseDecimal(std::string const& text, long long min, long long max, long long& value) {
    std::size_t i = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    if (text.size() == i)
        return false;
    long long magnitude = 0;
    int significant = 0;
    for (; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9')
            return false;
        // At most 18 significant digits, so the sum cannot overflow; the bounds given are far
        // inside them.
        if ((magnitude != 0 || text[i] != '0') && ++significant > 18)
            return false;
        magnitude = magnitude * 10 + (text[i] - '0');
    }
    long long const v = text[0] == '-' ? -magnitude : magnitude;
    if (v < min || v > max)
        return false;
    value = v;
    return true;
}

// text as a JSON string; bytes that are not UTF-8 become U+FFFD, so the document stays valid
// whatever a file name or argument held.
inline std::string JsonString(std::string const& text) {
    std::string out = "\"";
    for (std::size_t i = 0; i < text.size();) {
        auto const c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
        } else if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            // The length of a well-formed sequence starting here (no overlongs, surrogates or
            // values past U+10FFFF), else 0.
            std::size_t const n = c >= 0xC2 && c <= 0xDF   ? 2
                                  : c >= 0xE0 && c <= 0xEF ? 3
                                  : c >= 0xF0 && c <= 0xF4 ? 4
                                                           : 0;
            bool ok = n != 0 && i + n <= text.size();
            for (std::size_t k = 1; ok && k < n; ++k)
                ok = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
            if (ok && n >= 3) {
                auto const second = static_cast<unsigned char>(text[i + 1]);
                ok = !(c == 0xE0 && second < 0xA0) && !(c == 0xED && second >= 0xA0) &&
                     !(c == 0xF0 && second < 0x90) && !(c == 0xF4 && second >= 0x90);
            }
            out += ok ? text.substr(i, n) : "\xEF\xBF\xBD";
            i += ok ? n : 1;
            continue;
        }
        ++i;
    }
    return out + "\"";
}

// One JSON object built member by member; setting a member again replaces its value in place.
class JsonObject {
public:
    // value is JSON text already (a number, true, null, an object...).
    JsonObject& Raw(std::string const& name, std::string value) {
        for (auto& member : m_members)
            if (member.first == name) {
                member.second = std::move(value);
                return *this;
            }
        m_members.emplace_back(name, std::move(value));
        return *this;
    }
    JsonObject& String(std::string const& name, std::string const& value) {
        return Raw(name, JsonString(value));
    }
    JsonObject& Bool(std::string const& name, bool value) {
        return Raw(name, value ? "true" : "false");
    }
    JsonObject& Number(std::string const& name, long long value) {
        return Raw(name, std::to_string(value));
    }
    std::string Text() const {
        std::string out = "{";
        for (auto const& [name, value] : m_members)
            out += (out.size() > 1 ? ", " : "") + JsonString(name) + ": " + value;
        return out + "}";
    }

private:
    std::vector<std::pair<std::string, std::string>> m_members;
};

// A JSON array of values that are JSON text already.
inline std::string JsonArray(std::vector<std::string> const& values) {
    std::string out = "[";
    for (auto const& v : values)
        out += (out.size() > 1 ? ", " : "") + v;
    return out + "]";
}

} // namespace velmora_tool
