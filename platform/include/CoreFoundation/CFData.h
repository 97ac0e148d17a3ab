/* CFData: an immutable run of bytes. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFData* CFDataRef;

CF_EXPORT CFTypeID CFDataGetTypeID(void);
/* A copy of length bytes at bytes (length 0 gives empty data). */
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef alloc, const UInt8* bytes, CFIndex length);
CF_EXPORT CFIndex CFDataGetLength(CFDataRef theData);
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef theData);
/* Copies the bytes of range, which must lie inside the data. */
CF_EXPORT void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer);

CF_EXTERN_C_END
