/* Basic Mac OS types, as the system headers define them, for the Linux Mac-API layer. */
#pragma once

#include <stdint.h>

typedef unsigned char Boolean;
typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef uint64_t UInt64;
typedef int64_t SInt64;
typedef float Float32;
typedef double Float64;

typedef SInt16 OSErr;
typedef SInt32 OSStatus;
typedef UInt32 OptionBits;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
typedef unsigned long ByteCount;
typedef unsigned long ByteOffset;
typedef unsigned long ItemCount;
typedef void* LogicalAddress;
typedef const void* ConstLogicalAddress;
typedef char* Ptr;
typedef long Size;
typedef UInt16 UniChar;
typedef UInt32 UniCharCount;
typedef unsigned char Str255[256];
typedef unsigned char* StringPtr;
typedef const unsigned char* ConstStringPtr;
typedef const unsigned char* ConstStr255Param;

enum { noErr = 0, paramErr = -50, memFullErr = -108, resNotFound = -192 };

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
