/// \file
/// The host installer's parameter record: a big-endian byte layout, read and written byte by
/// byte so that it means the same on every CPU.
///
///     offset 0x000  int16   version       must be 1000
///     offset 0x002  int16   message       3 = post-install
///     offset 0x004  int32   productCode   which product was installed
///     offset 0x008  int32   flags         bit 0 set = the step failed
///     offset 0x262  uint32  languageCode  Mac OS language code of the installer
///
/// No other byte is read or written.
#pragma once

#include <cstddef>
#include <cstdint>

/// The parameter record: 0x266 bytes, of which only the fields of
/// InstallerParamRecord.h are read or written. Zero it and fill it with installer::WriteInt16
/// and installer::WriteInt32.
struct InstallerParamRecord {
    unsigned char bytes[0x266]; ///< The record's bytes, big-endian fields at fixed offsets.
};

/// The layout of InstallerParamRecord and its big-endian accessors.
namespace installer {

/// Where each field of the record starts.
enum RecordOffset : std::size_t {
    kVersionOffset = 0x000,     ///< int16 version, 1000
    kMessageOffset = 0x002,     ///< int16 message, 3 for post-install
    kProductCodeOffset = 0x004, ///< int32 product code, 1000 to 1500
    kFlagsOffset = 0x008,       ///< int32 flags, bit 0 for failure
    kLanguageCodeOffset = 0x262 ///< uint32 Mac OS language code: 0 English, 11 Japanese
};

/// The only record version the extension accepts.
std::int16_t const kRecordVersion = 1000;
/// The message that asks XCodMain for the post-install step.
std::int16_t const kPostInstallMessage = 3;
/// The bit of the flags the extension sets when the step failed.
std::int32_t const kFailedFlag = 0x00000001;

/// The big-endian 16-bit field at offset: bytes 03 E8 read as 1000, FF FE as -2.
inline std::int16_t ReadInt16(InstallerParamRecord const* record, std::size_t offset) {
    unsigned char const* p = record->bytes + offset;
    return static_cast<std::int16_t>(static_cast<std::uint16_t>((p[0] << 8) | p[1]));
}

/// The big-endian 32-bit field at offset: bytes 00 00 00 0B read as 11.
inline std::uint32_t ReadUInt32(InstallerParamRecord const* record, std::size_t offset) {
    unsigned char const* p = record->bytes + offset;
    return (static_cast<std::uint32_t>(p[0]) << 24) | (static_cast<std::uint32_t>(p[1]) << 16) |
           (static_cast<std::uint32_t>(p[2]) << 8) | static_cast<std::uint32_t>(p[3]);
}

/// ReadUInt32 as signed: bytes FF FF FF FF read as -1.
inline std::int32_t ReadInt32(InstallerParamRecord const* record, std::size_t offset) {
    return static_cast<std::int32_t>(ReadUInt32(record, offset));
}

/// Writes value at offset, most significant byte first: 1000 becomes 03 E8.
inline void WriteInt16(InstallerParamRecord* record, std::size_t offset, std::int16_t value) {
    auto const v = static_cast<std::uint16_t>(value);
    record->bytes[offset] = static_cast<unsigned char>(v >> 8);
    record->bytes[offset + 1] = static_cast<unsigned char>(v);
}

/// Writes value at offset, most significant byte first: 1400 becomes 00 00 05 78.
inline void WriteUInt32(InstallerParamRecord* record, std::size_t offset, std::uint32_t value) {
    record->bytes[offset] = static_cast<unsigned char>(value >> 24);
    record->bytes[offset + 1] = static_cast<unsigned char>(value >> 16);
    record->bytes[offset + 2] = static_cast<unsigned char>(value >> 8);
    record->bytes[offset + 3] = static_cast<unsigned char>(value);
}

/// WriteUInt32 of value's two's-complement bits: -1 becomes FF FF FF FF.
inline void WriteInt32(InstallerParamRecord* record, std::size_t offset, std::int32_t value) {
    WriteUInt32(record, offset, static_cast<std::uint32_t>(value));
}

} // namespace installer
