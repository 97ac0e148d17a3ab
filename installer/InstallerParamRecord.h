// The host installer's parameter record: a big-endian byte layout, read and written byte by
// byte so that it means the same on every CPU.
//
//   offset 0x000  int16   version       must be 1000
//   offset 0x002  int16   message       3 = post-install
//   offset 0x004  int32   productCode   which product was installed
//   offset 0x008  int32   flags         bit 0 set = the step failed
//   offset 0x262  uint32  languageCode  Mac OS language code of the installer
//
// No other byte is read or written.
#pragma once

#include <cstddef>
#include <cstdint>

struct InstallerParamRecord {
    unsigned char bytes[0x266];
};

namespace installer {

enum RecordOffset : std::size_t {
    kVersionOffset = 0x000,
    kMessageOffset = 0x002,
    kProductCodeOffset = 0x004,
    kFlagsOffset = 0x008,
    kLanguageCodeOffset = 0x262
};

std::int16_t const kRecordVersion = 1000;
std::int16_t const kPostInstallMessage = 3;
std::int32_t const kFailedFlag = 0x00000001;

inline std::int16_t ReadInt16(InstallerParamRecord const* record, std::size_t offset) {
    unsigned char const* p = record->bytes + offset;
    return static_cast<std::int16_t>(static_cast<std::uint16_t>((p[0] << 8) | p[1]));
}

inline std::uint32_t ReadUInt32(InstallerParamRecord const* record, std::size_t offset) {
    unsigned char const* p = record->bytes + offset;
    return (static_cast<std::uint32_t>(p[0]) << 24) | (static_cast<std::uint32_t>(p[1]) << 16) |
           (static_cast<std::uint32_t>(p[2]) << 8) | static_cast<std::uint32_t>(p[3]);
}

inline std::int32_t ReadInt32(InstallerParamRecord const* record, std::size_t offset) {
    return static_cast<std::int32_t>(ReadUInt32(record, offset));
}

inline void WriteInt16(InstallerParamRecord* record, std::size_t offset, std::int16_t value) {
    auto const v = static_cast<std::uint16_t>(value);
    record->bytes[offset] = static_cast<unsigned char>(v >> 8);
    record->bytes[offset + 1] = static_cast<unsigned char>(v);
}

inline void WriteUInt32(InstallerParamRecord* record, std::size_t offset, std::uint32_t value) {
    record->bytes[offset] = static_cast<unsigned char>(value >> 24);
    record->bytes[offset + 1] = static_cast<unsigned char>(value >> 16);
    record->bytes[offset + 2] = static_cast<unsigned char>(value >> 8);
    record->bytes[offset + 3] = static_cast<unsigned char>(value);
}

inline void WriteInt32(InstallerParamRecord* record, std::size_t offset, std::int32_t value) {
    WriteUInt32(record, offset, static_cast<std::uint32_t>(value));
}

} // namespace installer
