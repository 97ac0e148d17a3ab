/// \file
/// Memory Manager pointer blocks.
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A zero-filled block of byteCount bytes (on the Mac only NewPtrClear zero-fills), or NULL
/// when byteCount is negative or memory is exhausted. A zero count gives a block of its own.
__attribute__((visibility("default"))) Ptr NewPtr(Size byteCount);
/// Frees a block from NewPtr; NULL is ignored.
__attribute__((visibility("default"))) void DisposePtr(Ptr p);

#ifdef __cplusplus
}
#endif
