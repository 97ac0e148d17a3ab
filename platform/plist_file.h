// The property-list side of the preference store: parsing a preference file (binary or XML),
// reading and changing its top-level dictionary, and writing it as a binary property list.
// Every use of libplist in the platform layer goes through here.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace velmora::plist {

// Stands for an entry of a type the store does not map (date, array, dictionary, UID, or a
// string that is not valid UTF-8); such entries are listed but have no value.
struct Unmapped {};

// The value of one top-level entry: UTF-8 text, a signed 64-bit integer, a real, data bytes,
// a boolean, or an unmapped entry.
using Value =
    std::variant<Unmapped, std::string, std::int64_t, double, std::vector<std::uint8_t>, bool>;

// A preference file's top-level dictionary. Entries that are not changed through Set or
// Remove are written back exactly as they were read, whatever their type.
class Dictionary {
public:
    enum class ParseResult { Ok, NotPropertyList, NotDictionary };

    // An empty dictionary.
    Dictionary();
    ~Dictionary();
    Dictionary(Dictionary&& other) noexcept;
    Dictionary& operator=(Dictionary&& other) noexcept;
    Dictionary(Dictionary const&) = delete;
    Dictionary& operator=(Dictionary const&) = delete;

    // Replaces this dictionary with the one in bytes (binary or XML). On failure this
    // dictionary is left as it was. Lists nested deeper than 256 levels, or whose shared
    // objects would expand past two million values, count as not property lists: the parser
    // would exhaust the stack or memory on them.
    ParseResult Parse(std::string const& bytes);
    // Every entry with its value, in the file's order.
    std::vector<std::pair<std::string, Value>> Entries() const;
    // Sets key to value; an Unmapped value is ignored.
    void Set(std::string const& key, Value const& value);
    void Remove(std::string const& key);
    // The dictionary as a binary property list; false when it cannot be serialised.
    bool ToBinary(std::string& out) const;

private:
    void* m_root; // the libplist dictionary node, owned
};

} // namespace velmora::plist
