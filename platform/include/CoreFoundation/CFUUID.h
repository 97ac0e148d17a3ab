/* CFUUID: 128-bit identifiers of plug-in types and interfaces. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFUUID* CFUUIDRef;

typedef struct {
    UInt8 byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7;
    UInt8 byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15;
} CFUUIDBytes;

CF_EXPORT CFTypeID CFUUIDGetTypeID(void);
/* One immortal object per distinct UUID: the same bytes always give the same pointer, and
 * retain and release do nothing to it. */
CF_EXPORT CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef alloc, UInt8 byte0, UInt8 byte1,
                                                   UInt8 byte2, UInt8 byte3, UInt8 byte4,
                                                   UInt8 byte5, UInt8 byte6, UInt8 byte7,
                                                   UInt8 byte8, UInt8 byte9, UInt8 byte10,
                                                   UInt8 byte11, UInt8 byte12, UInt8 byte13,
                                                   UInt8 byte14, UInt8 byte15);
/* A new UUID object holding bytes, owned by the caller. */
CF_EXPORT CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef alloc, CFUUIDBytes bytes);
CF_EXPORT CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid);

CF_EXTERN_C_END
