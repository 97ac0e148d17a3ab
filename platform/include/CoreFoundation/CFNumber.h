/* CFNumber: an immutable integer or floating-point value. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFNumber* CFNumberRef;

typedef enum {
    kCFNumberSInt8Type = 1,
    kCFNumberSInt16Type = 2,
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberFloat32Type = 5,
    kCFNumberFloat64Type = 6,
    kCFNumberCharType = 7,
    kCFNumberShortType = 8,
    kCFNumberIntType = 9,
    kCFNumberLongType = 10,
    kCFNumberLongLongType = 11,
    kCFNumberFloatType = 12,
    kCFNumberDoubleType = 13,
    kCFNumberCFIndexType = 14,
    kCFNumberMaxType = 16
} CFNumberType;

CF_EXPORT CFTypeID CFNumberGetTypeID(void);
/* A number holding *valuePtr read as theType; NULL for an unknown type. */
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef alloc, CFNumberType theType,
                                     const void* valuePtr);
/* The stored type: kCFNumberSInt64Type for integers, kCFNumberFloat64Type for reals. */
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef number);
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef number);
/* Converts the value to theType into *valuePtr; false when the conversion loses information
 * (the converted value is still written) or when number is not a CFNumber. */
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr);

CF_EXTERN_C_END
