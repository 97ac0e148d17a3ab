/// \file
/// CFUUID: 128-bit identifiers of plug-in types and interfaces.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFUUID* CFUUIDRef; ///< An immutable UUID object.

/// The 16 bytes of a UUID in written order: 5CD9484B-... has byte0 0x5C.
typedef struct {
    /// \name Bytes
    ///@{

    /// One byte of the UUID; byte0 is written first.
    UInt8 byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7;
    UInt8 byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15;
    ///@}
} CFUUIDBytes;

/// The type of every CFUUID.
CF_EXPORT CFTypeID CFUUIDGetTypeID(void);
/// One immortal object per distinct UUID: the same bytes always give the same pointer, and
/// retain and release do nothing to it.
CF_EXPORT CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef alloc, UInt8 byte0, UInt8 byte1,
                                                   UInt8 byte2, UInt8 byte3, UInt8 byte4,
                                                   UInt8 byte5, UInt8 byte6, UInt8 byte7,
                                                   UInt8 byte8, UInt8 byte9, UInt8 byte10,
                                                   UInt8 byte11, UInt8 byte12, UInt8 byte13,
                                                   UInt8 byte14, UInt8 byte15);
/// A new UUID object holding bytes, owned by the caller; CFEqual to the constant UUID of the
/// same bytes.
CF_EXPORT CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef alloc, CFUUIDBytes bytes);
/// The UUID's bytes; all zero for NULL or another type.
CF_EXPORT CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid);

CF_EXTERN_C_END
