/// \file
/// CoreFoundation base types and the polymorphic object functions.
///
/// Objects are reference counted; counts are atomic, so objects may be shared between threads
/// as on the Mac. Constant objects (CFSTR strings, constant UUIDs) ignore retain and release.
/// Unlike the Mac's, these functions answer a null or mistyped reference softly (NULL, 0 or
/// false) instead of crashing.
#pragma once

#include <MacTypes.h>
#include <stddef.h>

#if defined(__GNUC__)
/// Declares a function or object the platform library exports.
#define CF_EXPORT extern __attribute__((visibility("default")))
#else
#define CF_EXPORT extern
#endif

#ifdef __cplusplus
/// Opens C linkage in C++ (nothing in C).
#define CF_EXTERN_C_BEGIN extern "C" {
/// Closes CF_EXTERN_C_BEGIN.
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

CF_EXTERN_C_BEGIN

typedef const void* CFTypeRef;    ///< Any CoreFoundation object.
typedef signed long CFIndex;      ///< A count or index (64 bits on 64-bit Linux).
typedef unsigned long CFTypeID;   ///< A type's identity, as CFGetTypeID answers it.
typedef unsigned long CFHashCode; ///< A hash, as CFHash answers it.
typedef OptionBits CFOptionFlags; ///< Flag bits.

/// A run of items: where it starts and how many.
typedef struct {
    CFIndex location; ///< The first index.
    CFIndex length;   ///< The number of items.
} CFRange;

/// The range of len items from loc: `CFRangeMake(2, 3)` covers indexes 2, 3 and 4.
static inline CFRange CFRangeMake(CFIndex loc, CFIndex len) {
    CFRange range;
    range.location = loc;
    range.length = len;
    return range;
}

typedef const struct __CFAllocator* CFAllocatorRef; ///< An allocator; only the default exists.
typedef const struct __CFString* CFStringRef;       ///< An immutable string (CFString.h).
typedef struct __CFString* CFMutableStringRef;      ///< Declared only; nothing mutates strings.

/// Only the default allocator exists; every allocator argument may be NULL and is ignored.
#define kCFAllocatorDefault ((CFAllocatorRef)NULL)

/// Adds one reference and returns cf; NULL is returned as it is (the Mac crashes on it).
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
/// Drops one reference; the object is destroyed when the last one goes. NULL is ignored.
CF_EXPORT void CFRelease(CFTypeRef cf);
/// The reference count; constant objects answer a very large number, NULL answers 0.
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
/// True when both are the same object (two NULLs included), or of one type with equal
/// contents; a CFNumber integer equals a real of the same value.
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
/// A hash that equal objects share; 0 for NULL.
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
/// The object's type, to compare with CFStringGetTypeID() and the like; 0 for NULL.
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);

CF_EXTERN_C_END
