// This file holds every libplist call of the platform layer (libplist 2.2: integers are kept
// as unsigned 64-bit values, so signed values travel as their two's-complement bits).
#include "platform/plist_file.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <vector>

namespace velmora::plist {

namespace {

Value valueOf(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
        char* text = nullptr;
        plist_get_string_val(node, &text);
        if (text == nullptr)
            return Unmapped{};
        std::string s(text);
        std::free(text);
        return s;
    }
    case PLIST_UINT: {
        std::uint64_t v = 0;
        plist_get_uint_val(node, &v);
        // Negative numbers are stored sign-extended; read them back signed.
        return static_cast<std::int64_t>(v);
    }
    case PLIST_REAL: {
        double v = 0.0;
        plist_get_real_val(node, &v);
        return v;
    }
    case PLIST_DATA: {
        char* bytes = nullptr;
        std::uint64_t length = 0;
        plist_get_data_val(node, &bytes, &length);
        std::vector<std::uint8_t> data(bytes, bytes + (bytes != nullptr ? length : 0));
        std::free(bytes);
        return data;
    }
    case PLIST_BOOLEAN: {
        std::uint8_t v = 0;
        plist_get_bool_val(node, &v);
        return v != 0;
    }
    default:
        return Unmapped{};
    }
}

plist_t nodeOf(Value const& value) {
    if (auto const* s = std::get_if<std::string>(&value))
        return plist_new_string(s->c_str());
    if (auto const* i = std::get_if<std::int64_t>(&value))
        return plist_new_uint(static_cast<std::uint64_t>(*i));
    if (auto const* r = std::get_if<double>(&value))
        return plist_new_real(*r);
    if (auto const* d = std::get_if<std::vector<std::uint8_t>>(&value))
        return plist_new_data(reinterpret_cast<char const*>(d->data()), d->size());
    if (auto const* b = std::get_if<bool>(&value))
        return plist_new_bool(*b ? 1 : 0);
    return nullptr;
}

// libplist 2.2 walks containers recursively and copies an object once per reference, so a
// small hostile file can exhaust the stack or memory. Files are checked first against these
// bounds, far beyond any real preference file.
constexpr std::size_t kMaxDepth = 256;
constexpr std::uint64_t kMaxNodes = 1u << 21;

std::uint64_t readBigEndian(unsigned char const* p, std::size_t n) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i)
        v = (v << 8) | p[i];
    return v;
}

// Whether a binary property list stays within the bounds once its shared objects are
// expanded into a tree, as the parser does. Malformed files pass, for the parser to refuse.
bool binaryWithinBounds(std::string const& bytes) {
    auto const* data = reinterpret_cast<unsigned char const*>(bytes.data());
    std::size_t const size = bytes.size();
    if (size < 8 + 32)
        return true;
    unsigned char const* trailer = data + size - 32;
    std::size_t const offsetSize = trailer[6];
    std::size_t const refSize = trailer[7];
    std::uint64_t const count = readBigEndian(trailer + 8, 8);
    std::uint64_t const top = readBigEndian(trailer + 16, 8);
    std::uint64_t const table = readBigEndian(trailer + 24, 8);
    std::size_t const end = size - 32;
    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8 || top >= count ||
        table > end || count > (end - table) / offsetSize)
        return true;

    // Finds an object's references; false when it is not a container or is malformed.
    auto refsOf = [&](std::uint64_t object, std::uint64_t& first, std::uint64_t& n) {
        std::uint64_t const at = readBigEndian(data + table + object * offsetSize, offsetSize);
        if (at < 8 || at >= table)
            return false;
        unsigned const type = data[at] >> 4;
        if (type != 0xA && type != 0xC && type != 0xD)
            return false;
        n = data[at] & 0xF;
        first = at + 1;
        if (n == 0xF) {
            if (first >= table || (data[first] >> 4) != 1 || (data[first] & 0xF) > 3)
                return false;
            std::size_t const width = std::size_t(1) << (data[first] & 0xF);
            if (first + 1 + width > table)
                return false;
            n = readBigEndian(data + first + 1, width);
            first += 1 + width;
        }
        if (n > table - first)
            return false;
        n *= type == 0xD ? 2 : 1; // keys, then values
        return n <= (table - first) / refSize;
    };

    enum : std::uint8_t { kNew, kOpen, kDone };
    std::vector<std::uint8_t> state(count, kNew);
    std::vector<std::uint16_t> height(count, 0); // levels below and including the object
    std::vector<std::uint32_t> nodes(count, 0);  // expanded size, at most kMaxNodes
    struct Frame {
        std::uint64_t object, first, n, next;
        std::size_t height;
        std::uint64_t nodes;
    };
    std::vector<Frame> stack;
    auto enter = [&](std::uint64_t object) {
        Frame f{object, 0, 0, 0, 1, 1};
        if (!refsOf(object, f.first, f.n)) {
            state[object] = kDone;
            height[object] = 1;
            nodes[object] = 1;
            return;
        }
        state[object] = kOpen;
        stack.push_back(f);
    };
    // Adds a finished child to the container being walked; false past a bound.
    auto add = [&](std::size_t childHeight, std::uint64_t childNodes) {
        Frame& parent = stack.back();
        parent.height = std::max(parent.height, childHeight + 1);
        parent.nodes += childNodes;
        return stack.size() - 1 + parent.height <= kMaxDepth && parent.nodes <= kMaxNodes;
    };
    enter(top);
    while (!stack.empty()) {
        Frame& f = stack.back();
        if (f.next < f.n) {
            std::uint64_t const child = readBigEndian(data + f.first + f.next * refSize, refSize);
            ++f.next;
            if (child >= count)
                return true;
            if (state[child] == kOpen || stack.size() >= kMaxDepth)
                return false; // a cycle, or nested too deep
            if (state[child] == kNew)
                enter(child);
            if (state[child] == kDone && !add(height[child], nodes[child]))
                return false;
            continue;
        }
        Frame const done = f;
        state[done.object] = kDone;
        height[done.object] = static_cast<std::uint16_t>(done.height);
        nodes[done.object] = static_cast<std::uint32_t>(done.nodes);
        stack.pop_back();
        if (!stack.empty() && !add(done.height, done.nodes))
            return false;
    }
    return true;
}

// Whether the containers of an XML property list nest no deeper than the bound.
bool xmlWithinBounds(std::string const& bytes) {
    std::size_t depth = 0;
    for (std::size_t at = bytes.find('<'); at != std::string::npos; at = bytes.find('<', at + 1)) {
        bool const closing = bytes.compare(at, 2, "</") == 0;
        std::size_t const name = at + (closing ? 2 : 1);
        bool const container =
            bytes.compare(name, 5, "array") == 0 || bytes.compare(name, 4, "dict") == 0;
        std::size_t const close = bytes.find('>', at);
        if (!container || close == std::string::npos || bytes[close - 1] == '/')
            continue;
        if (closing)
            depth -= depth > 0 ? 1 : 0;
        else if (++depth > kMaxDepth)
            return false;
    }
    return true;
}

} // namespace

Dictionary::Dictionary() : m_root(plist_new_dict()) {}

Dictionary::~Dictionary() {
    if (m_root != nullptr)
        plist_free(m_root);
}

Dictionary::Dictionary(Dictionary&& other) noexcept : m_root(other.m_root) {
    other.m_root = plist_new_dict();
}

Dictionary& Dictionary::operator=(Dictionary&& other) noexcept {
    std::swap(m_root, other.m_root);
    return *this;
}

Dictionary::ParseResult Dictionary::Parse(std::string const& bytes) {
    if (bytes.empty() || bytes.size() > std::numeric_limits<std::uint32_t>::max())
        return ParseResult::NotPropertyList;
    bool const binary = bytes.compare(0, 8, "bplist00") == 0;
    if (!(binary ? binaryWithinBounds(bytes) : xmlWithinBounds(bytes)))
        return ParseResult::NotPropertyList;
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    if (root == nullptr)
        return ParseResult::NotPropertyList;
    if (plist_get_node_type(root) != PLIST_DICT) {
        plist_free(root);
        return ParseResult::NotDictionary;
    }
    plist_free(m_root);
    m_root = root;
    return ParseResult::Ok;
}

std::vector<std::pair<std::string, Value>> Dictionary::Entries() const {
    std::vector<std::pair<std::string, Value>> entries;
    plist_dict_iter it = nullptr;
    plist_dict_new_iter(m_root, &it);
    if (it == nullptr)
        return entries;
    for (;;) {
        char* key = nullptr;
        plist_t node = nullptr;
        plist_dict_next_item(m_root, it, &key, &node);
        if (node == nullptr) {
            std::free(key);
            break;
        }
        if (key != nullptr)
            entries.emplace_back(key, valueOf(node));
        std::free(key);
    }
    std::free(it);
    return entries;
}

void Dictionary::Set(std::string const& key, Value const& value) {
    if (plist_t node = nodeOf(value))
        plist_dict_set_item(m_root, key.c_str(), node);
}

void Dictionary::Remove(std::string const& key) {
    if (plist_dict_get_item(m_root, key.c_str()) != nullptr)
        plist_dict_remove_item(m_root, key.c_str());
}

bool Dictionary::ToBinary(std::string& out) const {
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(m_root, &bytes, &length);
    if (bytes == nullptr)
        return false;
    out.assign(bytes, length);
    plist_to_bin_free(bytes);
    return true;
}

} // namespace velmora::plist
