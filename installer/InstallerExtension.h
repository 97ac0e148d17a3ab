// The C interface of VelmoraInstallerExtension.so, as a host installer sees it.
//
// A host either calls PostInstall with its parameter record, or asks MyFactory for an object
// of the extension's plug-in type, queries it for the extension interface, calls XCodMain
// through slot 5 of its function block and releases it once per reference held.
#pragma once

#include "installer/InstallerParamRecord.h"

#include <CoreFoundation/CoreFoundation.h>

#define VELMORA_EXPORT __attribute__((visibility("default")))

// The plug-in type MyFactory serves: 5CD9484B-4A86-4CA2-A79A-1525A3B5F6E8.
#define kVelmoraInstallerPlugInTypeBytes                                                           \
    0x5C, 0xD9, 0x48, 0x4B, 0x4A, 0x86, 0x4C, 0xA2, 0xA7, 0x9A, 0x15, 0x25, 0xA3, 0xB5, 0xF6, 0xE8
// The extension interface: 00D5FBFE-3D3D-40E2-9DCB-92ED695834F8 (IUnknown is accepted too).
#define kVelmoraInstallerInterfaceBytes                                                            \
    0x00, 0xD5, 0xFB, 0xFE, 0x3D, 0x3D, 0x40, 0xE2, 0x9D, 0xCB, 0x92, 0xED, 0x69, 0x58, 0x34, 0xF8
#define kVelmoraIUnknownBytes                                                                      \
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46

extern "C" {

// The function block every plug-in object points to; the slot order is binding.
struct XcodFunctionBlock {
    void* reserved;
    HRESULT (*QueryInterface)(void* object, REFIID iid, LPVOID* out);
    ULONG (*AddRef)(void* object);
    ULONG (*Release)(void* object);
    void (*XCodMain)(InstallerParamRecord* record);
};

// A new plug-in object (reference count 1) when requestedType is the extension's plug-in
// type, else null.
VELMORA_EXPORT void* MyFactory(CFAllocatorRef allocator, CFUUIDRef requestedType);

// The post-install step: writes "Lang" into the installed product's preference domains, for
// all users of this host; a record of another version gets two alerts and bit 0 of flags.
// A null record is ignored.
VELMORA_EXPORT void PostInstall(InstallerParamRecord* record);

// The entry's procedure information: C calling convention, no result, one 4-byte parameter.
VELMORA_EXPORT extern const UInt32 __procinfo;

// The product code of the last PostInstall call with a record (0 before the first).
VELMORA_EXPORT extern SInt32 g_vlPluginID;
}
