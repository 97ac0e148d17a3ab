/// \file
/// The COM-style types through which CFPlugIn hosts call plug-in interfaces.
#pragma once

#include <CoreFoundation/CFPlugIn.h>

CF_EXTERN_C_BEGIN

typedef SInt32 HRESULT;     ///< A COM result: S_OK or an error such as E_NOINTERFACE.
typedef UInt32 ULONG;       ///< A reference count.
typedef void* LPVOID;       ///< An interface pointer.
typedef CFUUIDBytes REFIID; ///< An interface identity, passed by value.

/// Success.
#define S_OK ((HRESULT)0x00000000L)
/// The object does not offer the interface asked for.
#define E_NOINTERFACE ((HRESULT)0x80000004L)

CF_EXTERN_C_END
