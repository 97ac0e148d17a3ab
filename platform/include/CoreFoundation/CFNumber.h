/// \file
/// CFNumber: an immutable integer or floating-point value.
///
/// A number keeps a signed 64-bit integer or a double, whatever type it was created with, and
/// converts on the way out.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFNumber* CFNumberRef; ///< An immutable number.

/// The C type of a value passed to or taken from a CFNumber.
typedef enum {
    kCFNumberSInt8Type = 1,     ///< SInt8
    kCFNumberSInt16Type = 2,    ///< SInt16
    kCFNumberSInt32Type = 3,    ///< SInt32
    kCFNumberSInt64Type = 4,    ///< SInt64
    kCFNumberFloat32Type = 5,   ///< Float32
    kCFNumberFloat64Type = 6,   ///< Float64
    kCFNumberCharType = 7,      ///< char, as SInt8
    kCFNumberShortType = 8,     ///< short, as SInt16
    kCFNumberIntType = 9,       ///< int, as SInt32
    kCFNumberLongType = 10,     ///< long, as SInt64 (64-bit Linux)
    kCFNumberLongLongType = 11, ///< long long, as SInt64
    kCFNumberFloatType = 12,    ///< float, as Float32
    kCFNumberDoubleType = 13,   ///< double, as Float64
    kCFNumberCFIndexType = 14,  ///< CFIndex, as SInt64
    kCFNumberMaxType = 16       ///< Not a type: the upper bound.
} CFNumberType;

/// The type of every CFNumber.
CF_EXPORT CFTypeID CFNumberGetTypeID(void);
/// A number holding `*valuePtr` read as theType; NULL for an unknown type or a NULL valuePtr.
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef alloc, CFNumberType theType,
                                     const void* valuePtr);
/// The stored type: kCFNumberSInt64Type for integers, kCFNumberFloat64Type for reals (the
/// Mac may answer the type the number was created with).
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef number);
/// True when the number holds a real.
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef number);
/// Converts the value to theType into `*valuePtr`; false when the conversion loses information
/// (the converted value is still written: 300 as SInt8 writes 44, 1.5 as SInt32 writes 1) or
/// when number is not a CFNumber.
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr);

CF_EXTERN_C_END
