// The concrete CoreFoundation objects of the Linux layer, for the layer's own sources.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "platform/cf_object.h"

#include <cstdint>
#include <string>
#include <vector>

struct __CFString final : velmora::cf::CFObject {
    static constexpr CFTypeID kTypeID = velmora::cf::kStringTypeID;
    explicit __CFString(std::u16string u) : CFObject(kTypeID), units(std::move(u)) {}
    bool Equals(CFObject const& other) const override;
    CFHashCode Hash() const override;

    std::u16string units;
    // Length byte and Mac Roman text, kept for strings made from short 8-bit text.
    std::string pascal;
};

struct __CFNumber final : velmora::cf::CFObject {
    static constexpr CFTypeID kTypeID = velmora::cf::kNumberTypeID;
    __CFNumber() : CFObject(kTypeID) {}
    bool Equals(CFObject const& other) const override;
    CFHashCode Hash() const override;

    bool isFloat = false;
    std::int64_t integer = 0;
    double real = 0.0;
};

struct __CFData final : velmora::cf::CFObject {
    static constexpr CFTypeID kTypeID = velmora::cf::kDataTypeID;
    explicit __CFData(std::vector<UInt8> b) : CFObject(kTypeID), bytes(std::move(b)) {}
    bool Equals(CFObject const& other) const override;
    CFHashCode Hash() const override;

    std::vector<UInt8> bytes;
};

struct __CFArray final : velmora::cf::CFObject {
    static constexpr CFTypeID kTypeID = velmora::cf::kArrayTypeID;
    __CFArray() : CFObject(kTypeID) {}
    ~__CFArray() override;
    bool Equals(CFObject const& other) const override;
    CFHashCode Hash() const override;

    std::vector<void const*> values;
    CFArrayCallBacks callBacks{};
};

struct __CFUUID final : velmora::cf::CFObject {
    static constexpr CFTypeID kTypeID = velmora::cf::kUUIDTypeID;
    explicit __CFUUID(CFUUIDBytes b) : CFObject(kTypeID), bytes(b) {}
    bool Equals(CFObject const& other) const override;
    CFHashCode Hash() const override;

    CFUUIDBytes bytes;
};

namespace velmora::cf {

// FNV-1a over a run of bytes: the hash of strings, data and UUIDs.
CFHashCode hashBytes(void const* data, std::size_t n);

// A new string holding units (owned by the caller).
CFStringRef createString(std::u16string units);

} // namespace velmora::cf
