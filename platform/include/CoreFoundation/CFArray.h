/// \file
/// CFArray: an immutable ordered list of objects.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFArray* CFArrayRef; ///< An immutable array.

/// Called with each value put into an array; returns what the array keeps.
typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef allocator, const void* value);
/// Called with each value when the array is destroyed.
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef allocator, const void* value);
/// Declared for the Mac's layout; never called here.
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void* value);
/// Compares two values when arrays are compared with CFEqual.
typedef Boolean (*CFArrayEqualCallBack)(const void* value1, const void* value2);

/// How an array treats its values; a NULL callback leaves that step out.
typedef struct {
    CFIndex version;                                ///< 0.
    CFArrayRetainCallBack retain;                   ///< NULL: values are not retained.
    CFArrayReleaseCallBack release;                 ///< NULL: values are not released.
    CFArrayCopyDescriptionCallBack copyDescription; ///< Not used.
    CFArrayEqualCallBack equal;                     ///< NULL: values compare by pointer.
} CFArrayCallBacks;

/// Retains the values while they are in the array and compares them with CFEqual.
CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

/// The type of every CFArray.
CF_EXPORT CFTypeID CFArrayGetTypeID(void);
/// An array of numValues values; with NULL callBacks the values are neither retained nor
/// released. NULL for a negative count, or NULL values with a positive count.
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                                   const CFArrayCallBacks* callBacks);
/// The number of values; 0 for NULL or another type.
CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef theArray);
/// The value at idx, not retained; NULL when idx is outside the array (the Mac crashes).
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);

CF_EXTERN_C_END
