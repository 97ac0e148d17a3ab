/* CoreFoundation base types and the polymorphic object functions.
 *
 * Objects are reference counted; counts are atomic, so objects may be shared between threads
 * as on the Mac. Constant objects (CFSTR strings, constant UUIDs) ignore retain and release. */
#pragma once

#include <MacTypes.h>
#include <stddef.h>

#if defined(__GNUC__)
#define CF_EXPORT extern __attribute__((visibility("default")))
#else
#define CF_EXPORT extern
#endif

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

CF_EXTERN_C_BEGIN

typedef const void* CFTypeRef;
typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFHashCode;
typedef OptionBits CFOptionFlags;

typedef struct {
    CFIndex location;
    CFIndex length;
} CFRange;

static inline CFRange CFRangeMake(CFIndex loc, CFIndex len) {
    CFRange range;
    range.location = loc;
    range.length = len;
    return range;
}

typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;

/* Only the default allocator exists; every allocator argument may be NULL. */
#define kCFAllocatorDefault ((CFAllocatorRef)NULL)

/* Adds one reference and returns cf. */
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
/* Drops one reference; the object is destroyed when the last one goes. */
CF_EXPORT void CFRelease(CFTypeRef cf);
/* The reference count; constant objects answer a very large number. */
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
/* True when both are the same object, or of one type with equal contents. */
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);

CF_EXTERN_C_END
