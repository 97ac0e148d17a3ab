// This file holds every libplist call of the platform layer (libplist 2.2: integers are kept
// as unsigned 64-bit values, so signed values travel as their two's-complement bits).
#include "platform/plist_file.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>

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
