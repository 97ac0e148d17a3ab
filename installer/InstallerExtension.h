/// \file
/// The C interface of VelmoraInstallerExtension.so, as a host installer sees it.
///
/// A host either calls PostInstall with its parameter record, or asks MyFactory for an object
/// of the extension's plug-in type, queries it for the extension interface, calls XCodMain
/// through slot 5 of its function block and releases it once per reference held. The module
/// exports exactly MyFactory, PostInstall, __procinfo, g_vlPluginID and _CHAR_CATEGORIES;
/// docs/writing-a-host.md shows a complete host.
///
///     InstallerParamRecord record{};
///     installer::WriteInt16(&record, installer::kVersionOffset, 1000);
///     installer::WriteInt16(&record, installer::kMessageOffset, 3);
///     installer::WriteInt32(&record, installer::kProductCodeOffset, 1400);   // Tempest
///     installer::WriteUInt32(&record, installer::kLanguageCodeOffset, 11);   // Japanese
///     PostInstall(&record);   // "Lang" = "ja" in Tempest's AU, PT and SA domains
#pragma once

#include "installer/InstallerParamRecord.h"

#include <CoreFoundation/CoreFoundation.h>

/// Gives a declaration default visibility, so that the module exports it.
#define VELMORA_EXPORT __attribute__((visibility("default")))

/// The plug-in type MyFactory serves: 5CD9484B-4A86-4CA2-A79A-1525A3B5F6E8, as the 16
/// arguments of CFUUIDGetConstantUUIDWithBytes after the allocator.
#define kVelmoraInstallerPlugInTypeBytes                                                           \
    0x5C, 0xD9, 0x48, 0x4B, 0x4A, 0x86, 0x4C, 0xA2, 0xA7, 0x9A, 0x15, 0x25, 0xA3, 0xB5, 0xF6, 0xE8
/// The extension interface: 00D5FBFE-3D3D-40E2-9DCB-92ED695834F8 (IUnknown is accepted too).
/// Its bytes initialise a CFUUIDBytes for QueryInterface:
/// `CFUUIDBytes iid = {kVelmoraInstallerInterfaceBytes};`
#define kVelmoraInstallerInterfaceBytes                                                            \
    0x00, 0xD5, 0xFB, 0xFE, 0x3D, 0x3D, 0x40, 0xE2, 0x9D, 0xCB, 0x92, 0xED, 0x69, 0x58, 0x34, 0xF8
/// COM's IUnknown: 00000000-0000-0000-C000-000000000046, which QueryInterface also accepts.
#define kVelmoraIUnknownBytes                                                                      \
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46

extern "C" {

/// The function block every plug-in object points to; the slot order is binding. An object
/// from MyFactory is a pointer to a pointer to this block, so a host calls
/// `(*(XcodFunctionBlock**)object)->XCodMain(&record)`.
struct XcodFunctionBlock {
    /// Slot 1: unused, null.
    void* reserved;
    /// Slot 2: for the extension interface or IUnknown, adds a reference, stores object in
    /// `*out` and answers S_OK; for any other interface stores null and answers
    /// E_NOINTERFACE.
    HRESULT (*QueryInterface)(void* object, REFIID iid, LPVOID* out);
    /// Slot 3: adds a reference and returns the new count.
    ULONG (*AddRef)(void* object);
    /// Slot 4: drops a reference and returns the new count; at 0 the object is freed.
    ULONG (*Release)(void* object);
    /// Slot 5: the post-install step through the interface. A record whose version is not
    /// 1000 gets bit 0 of its flags set and no alert; a message other than 3 is ignored;
    /// otherwise it does what PostInstall does.
    void (*XCodMain)(InstallerParamRecord* record);
};

/// A new plug-in object (reference count 1) when requestedType is the extension's plug-in
/// type, else null. The allocator is not used.
VELMORA_EXPORT void* MyFactory(CFAllocatorRef allocator, CFUUIDRef requestedType);

/// The post-install step: writes "Lang" into the installed product's preference domains, for
/// all users of this host; a record of another version gets two alerts and bit 0 of flags.
/// A null record is ignored.
///
/// The product code sets g_vlPluginID. Products 1000 to 1500 (Harrow, Meridian3, Gravel,
/// Lattice, Tempest, CadenzaPRO) have the domains
/// `com.velmora.audioplugins.<Product>.<Format>` of their formats (AU, VST, MAS, PT; Tempest
/// AU, PT and SA; CadenzaPRO AU and VST); any other code writes nothing. Mac OS language codes
/// 1, 2, 3, 6 and 11 give "fr", "de", "it", "es" and "ja", every other code "en". Each domain
/// is synchronised before the next; a write that fails is not reported and sets no flag. The
/// message field is not read. The two alerts of a record of another version are
/// "Unable to set language key." and alert resource 5000 (StopAlert).
VELMORA_EXPORT void PostInstall(InstallerParamRecord* record);

/// The entry's procedure information: C calling convention, no result, one 4-byte parameter
/// (0x000000C0).
VELMORA_EXPORT extern const UInt32 __procinfo;

/// The product code of the last PostInstall call with a record (0 before the first), whatever
/// its version: 1400 after a Tempest installation.
VELMORA_EXPORT extern SInt32 g_vlPluginID;
}
