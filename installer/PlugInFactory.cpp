// The CFPlugIn factory, the interface object and the XCodMain entry.
#include "installer/InstallerExtension.h"

#include <Carbon/Carbon.h>

namespace {

struct XcodPlugInObject {
    XcodFunctionBlock const* functionBlock; // must come first: hosts read it as the vtable
    CFUUIDRef factoryID;
    SInt32 refCount;
};

HRESULT myQueryInterface(void* object, REFIID iid, LPVOID* out);
ULONG myAddRef(void* object);
ULONG myRelease(void* object);
void XCodMain(InstallerParamRecord* record);

XcodFunctionBlock const gXcodFunctionBlock = {nullptr, myQueryInterface, myAddRef, myRelease,
                                              XCodMain};

HRESULT myQueryInterface(void* object, REFIID iid, LPVOID* out) {
    CFUUIDRef const requested = CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, iid);
    bool const known =
        CFEqual(requested,
                CFUUIDGetConstantUUIDWithBytes(nullptr, kVelmoraInstallerInterfaceBytes)) ||
        CFEqual(requested, CFUUIDGetConstantUUIDWithBytes(nullptr, kVelmoraIUnknownBytes));
    if (known) {
        static_cast<XcodPlugInObject*>(object)->functionBlock->AddRef(object);
        *out = object;
        CFRelease(requested);
        return S_OK;
    }
    *out = nullptr;
    CFRelease(requested);
    return E_NOINTERFACE;
}

ULONG myAddRef(void* object) {
    auto* const self = static_cast<XcodPlugInObject*>(object);
    return static_cast<ULONG>(++self->refCount);
}

ULONG myRelease(void* object) {
    auto* const self = static_cast<XcodPlugInObject*>(object);
    self->refCount -= 1;
    if (self->refCount != 0)
        return static_cast<ULONG>(self->refCount);
    CFUUIDRef const factoryID = self->factoryID;
    DisposePtr(reinterpret_cast<Ptr>(self));
    if (factoryID != nullptr) {
        CFPlugInRemoveInstanceForFactory(factoryID);
        CFRelease(factoryID);
    }
    return 0;
}

// The version test is repeated inside PostInstall on purpose: its failure alerts belong to
// direct calls only, while this path fails silently.
void XCodMain(InstallerParamRecord* record) {
    using namespace installer;
    if (ReadInt16(record, kVersionOffset) != kRecordVersion) {
        WriteInt32(record, kFlagsOffset, ReadInt32(record, kFlagsOffset) | kFailedFlag);
        return;
    }
    if (ReadInt16(record, kMessageOffset) != kPostInstallMessage)
        return;
    PostInstall(record);
}

} // namespace

extern "C" {

const UInt32 __procinfo = 0x000000C0;

void* MyFactory(CFAllocatorRef, CFUUIDRef requestedType) {
    if (!CFEqual(requestedType,
                 CFUUIDGetConstantUUIDWithBytes(nullptr, kVelmoraInstallerPlugInTypeBytes)))
        return nullptr;
    // NewPtr zero-fills, so the factory ID stays null: the object is deliberately not
    // registered with CFPlugInAddInstanceForFactory, and myRelease then skips the removal.
    auto* const self = reinterpret_cast<XcodPlugInObject*>(NewPtr(sizeof(XcodPlugInObject)));
    if (self == nullptr)
        return nullptr;
    self->refCount = 1;
    self->functionBlock = &gXcodFunctionBlock;
    return self;
}
}
