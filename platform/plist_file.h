// The property-list side of the preference store: reading a preference file (binary or XML),
// reading and changing its top-level dictionary, and writing it as a binary property list.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace velmora::plist {

// Stands for an entry of a type the store does not map (date, array, dictionary, UID, or
// text that is not valid or holds U+0000); such entries are listed but have no value.
struct Unmapped {};

// The value of one top-level entry: UTF-8 text, a signed 64-bit integer, a real, data bytes,
// a boolean, or an unmapped entry.
using Value =
    std::variant<Unmapped, std::string, std::int64_t, double, std::vector<std::uint8_t>, bool>;

// Containers may nest no deeper than this; deeper files are refused.
constexpr std::size_t kMaxDepth = 256;

// A preference file's top-level dictionary. Entries that are not changed through Set or
// Remove are written back as they were read, whatever their type; objects a binary file
// shares stay shared, so nothing is ever expanded in memory.
class Dictionary {
public:
    enum class ParseResult { Ok, NotPropertyList, NotDictionary };

    // Replaces this dictionary with the one in bytes (binary or XML). On failure this
    // dictionary is left as it was. Malformed files, cycles, non-text dictionary keys and
    // containers nested deeper than kMaxDepth count as not property lists. Time and memory
    // grow linearly with the size of bytes.
    ParseResult Parse(std::string const& bytes);
    // The value under key (Unmapped for a type the store does not map); false when there is
    // no such key. Only keys of valid text without U+0000 can be found; a key the file holds
    // twice has its last value.
    bool Find(std::string const& key, Value& value) const;
    // Every key Find finds, sorted by their bytes.
    std::vector<std::string> Keys() const;
    // Sets key to value; an Unmapped value is ignored.
    void Set(std::string const& key, Value const& value);
    void Remove(std::string const& key);
    // Whether no entry is left, counting those whose keys Find cannot find.
    bool Empty() const;
    // The dictionary as a binary property list; false when it cannot be encoded.
    bool ToBinary(std::string& out) const;
    // The dictionary as an XML property list, as Apple's tools write it; false when it holds
    // text XML cannot carry (U+0000, an unpaired surrogate).
    bool ToXml(std::string& out) const;

    // One object of the document. Containers and text keep their bytes in the arenas below.
    enum class Kind : std::uint8_t {
        Null,
        False,
        True,
        Integer,
        Unsigned128,
        Real,
        Date,
        Data,
        Ascii,
        Utf16,
        Utf8,
        Uid,
        Array,
        Set,
        Dict
    };
    struct Object {
        Kind kind;
        std::uint32_t count;   // bytes of Data and text, units of Utf16, references of containers
        std::uint64_t payload; // the number's bits, or where the bytes or references start
    };

private:
    friend class DocumentBuilder;

    struct Entry {
        std::uint32_t key;   // a text object
        std::uint32_t value; // any object; kRemoved once removed
    };
    static constexpr std::uint32_t kRemoved = 0xFFFFFFFFu;

    Value ValueOf(std::uint32_t object) const;
    std::uint32_t Add(Object object);
    std::uint32_t AddBytes(Kind kind, char const* bytes, std::size_t n);
    void Index(); // rebuilds m_index from m_entries; later duplicates win

    std::vector<Object> m_objects;     // every object read or set; unreachable ones are not written
    std::string m_bytes;               // text and data bytes
    std::vector<std::uint32_t> m_refs; // container members (dictionaries: keys, then values)
    std::vector<Entry> m_entries;      // the top-level dictionary, in order
    std::map<std::string, std::size_t> m_index; // text key -> entry
};

} // namespace velmora::plist
