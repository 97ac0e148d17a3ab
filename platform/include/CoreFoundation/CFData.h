/// \file
/// CFData: an immutable run of bytes.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFData* CFDataRef; ///< An immutable run of bytes.

/// The type of every CFData.
CF_EXPORT CFTypeID CFDataGetTypeID(void);
/// A copy of length bytes at bytes (length 0 gives empty data, bytes may then be NULL); NULL
/// for a negative length, or NULL bytes with a positive one.
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef alloc, const UInt8* bytes, CFIndex length);
/// The number of bytes; 0 for NULL or another type.
CF_EXPORT CFIndex CFDataGetLength(CFDataRef theData);
/// The first byte, valid while the data lives; NULL for NULL or another type.
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef theData);
/// Copies the bytes of range, which must lie inside the data; a range outside it copies
/// nothing (the Mac raises an exception).
CF_EXPORT void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer);

CF_EXTERN_C_END
