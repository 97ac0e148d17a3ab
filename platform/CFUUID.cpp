// This file provides CFUUID and the CFPlugIn instance bookkeeping.
#include "platform/cf_types.h"

#include <velmora/platform_testing.h>

#include <array>
#include <cstring>
#include <map>
#include <mutex>

using velmora::cf::as;

namespace {

using Key = std::array<UInt8, 16>;

Key keyOf(CFUUIDBytes const& b) {
    Key k;
    std::memcpy(k.data(), &b, sizeof b);
    return k;
}

std::mutex& tableMutex() {
    static std::mutex m;
    return m;
}

// Every constant UUID of the process, one per distinct value, never freed.
std::map<Key, __CFUUID*>& constants() {
    static auto* table = new std::map<Key, __CFUUID*>;
    return *table;
}

// Live plug-in instances per factory UUID.
std::map<Key, CFIndex>& instances() {
    static auto* table = new std::map<Key, CFIndex>;
    return *table;
}

} // namespace

bool __CFUUID::Equals(CFObject const& other) const {
    return std::memcmp(&bytes, &static_cast<__CFUUID const&>(other).bytes, sizeof bytes) == 0;
}

CFHashCode __CFUUID::Hash() const {
    return velmora::cf::hashBytes(&bytes, sizeof bytes);
}

CFTypeID CFUUIDGetTypeID(void) {
    return __CFUUID::kTypeID;
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2,
                                         UInt8 byte3, UInt8 byte4, UInt8 byte5, UInt8 byte6,
                                         UInt8 byte7, UInt8 byte8, UInt8 byte9, UInt8 byte10,
                                         UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15) {
    CFUUIDBytes const b = {byte0, byte1, byte2,  byte3,  byte4,  byte5,  byte6,  byte7,
                           byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15};
    std::lock_guard<std::mutex> lock(tableMutex());
    auto& table = constants();
    auto it = table.find(keyOf(b));
    if (it != table.end())
        return it->second;
    auto* uuid = new __CFUUID(b);
    uuid->MakeImmortal();
    table.emplace(keyOf(b), uuid);
    return uuid;
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef, CFUUIDBytes bytes) {
    return new __CFUUID(bytes);
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid) {
    auto const* u = as<__CFUUID>(uuid);
    return u != nullptr ? u->bytes : CFUUIDBytes{};
}

void CFPlugInAddInstanceForFactory(CFUUIDRef factoryID) {
    auto const* u = as<__CFUUID>(factoryID);
    if (u == nullptr)
        return;
    std::lock_guard<std::mutex> lock(tableMutex());
    ++instances()[keyOf(u->bytes)];
}

void CFPlugInRemoveInstanceForFactory(CFUUIDRef factoryID) {
    auto const* u = as<__CFUUID>(factoryID);
    if (u == nullptr)
        return;
    std::lock_guard<std::mutex> lock(tableMutex());
    auto& table = instances();
    auto it = table.find(keyOf(u->bytes));
    if (it != table.end() && --it->second <= 0)
        table.erase(it);
}

CFIndex VelmoraPlugInInstanceCount(CFUUIDRef factoryID) {
    auto const* u = as<__CFUUID>(factoryID);
    if (u == nullptr)
        return 0;
    std::lock_guard<std::mutex> lock(tableMutex());
    auto const& table = instances();
    auto it = table.find(keyOf(u->bytes));
    return it != table.end() ? it->second : 0;
}
