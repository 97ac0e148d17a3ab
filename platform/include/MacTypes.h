/// \file
/// Basic Mac OS types, as the system headers define them, for the Linux Mac-API layer.
#pragma once

#include <stdint.h>

typedef unsigned char Boolean;           ///< 0 false, non-zero true (TRUE is 1).
typedef uint8_t UInt8;                   ///< Unsigned 8 bits.
typedef int8_t SInt8;                    ///< Signed 8 bits.
typedef uint16_t UInt16;                 ///< Unsigned 16 bits.
typedef int16_t SInt16;                  ///< Signed 16 bits.
typedef uint32_t UInt32;                 ///< Unsigned 32 bits.
typedef int32_t SInt32;                  ///< Signed 32 bits.
typedef uint64_t UInt64;                 ///< Unsigned 64 bits.
typedef int64_t SInt64;                  ///< Signed 64 bits.
typedef float Float32;                   ///< IEEE 754 single precision.
typedef double Float64;                  ///< IEEE 754 double precision.
typedef SInt16 OSErr;                    ///< A 16-bit result code: noErr or a negative error.
typedef SInt32 OSStatus;                 ///< A 32-bit result code: noErr or a negative error.
typedef UInt32 OptionBits;               ///< Flag bits.
typedef UInt32 FourCharCode;             ///< Four characters packed big-endian: 'WAVE'.
typedef FourCharCode OSType;             ///< A file type or creator code.
typedef unsigned long ByteCount;         ///< A byte count (64 bits on 64-bit Linux).
typedef unsigned long ByteOffset;        ///< A byte offset.
typedef unsigned long ItemCount;         ///< An item count.
typedef void* LogicalAddress;            ///< A pointer to writable bytes.
typedef const void* ConstLogicalAddress; ///< A pointer to read-only bytes.
typedef char* Ptr;                       ///< A Memory Manager pointer block (NewPtr).
typedef long Size;                       ///< A block size in bytes; negative is invalid.
typedef UInt16 UniChar;                  ///< One UTF-16 code unit.
typedef UInt32 UniCharCount;             ///< A count of UTF-16 code units.
typedef unsigned char Str255[256];       ///< A Pascal string: a length byte and up to 255 bytes.
typedef unsigned char* StringPtr;        ///< A pointer to a Pascal string.
typedef const unsigned char* ConstStringPtr;   ///< A pointer to a read-only Pascal string.
typedef const unsigned char* ConstStr255Param; ///< A read-only Pascal string parameter.

/// Result codes the layer returns.
enum {
    noErr = 0,         ///< Success.
    paramErr = -50,    ///< A required argument is missing or invalid.
    memFullErr = -108, ///< Not enough memory.
    resNotFound = -192 ///< No such resource.
};

#ifndef TRUE
/// The Boolean true value.
#define TRUE 1
#endif
#ifndef FALSE
/// The Boolean false value.
#define FALSE 0
#endif
