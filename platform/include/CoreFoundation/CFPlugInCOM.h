/* The COM-style types through which CFPlugIn hosts call plug-in interfaces. */
#pragma once

#include <CoreFoundation/CFPlugIn.h>

CF_EXTERN_C_BEGIN

typedef SInt32 HRESULT;
typedef UInt32 ULONG;
typedef void* LPVOID;
typedef CFUUIDBytes REFIID;

#define S_OK ((HRESULT)0x00000000L)
#define E_NOINTERFACE ((HRESULT)0x80000004L)

CF_EXTERN_C_END
