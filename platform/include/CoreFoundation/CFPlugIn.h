/// \file
/// CFPlugIn instance bookkeeping: how many instances each factory has handed out.
///
/// Only the counting is provided; nothing here loads or registers plug-ins (a Linux host loads
/// a module with dlopen and calls its factory itself).
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFUUID.h>

CF_EXTERN_C_BEGIN

/// Counts one more live instance of factoryID; NULL is ignored.
CF_EXPORT void CFPlugInAddInstanceForFactory(CFUUIDRef factoryID);
/// Counts one instance of factoryID less; a factory with no live instance stays at zero.
CF_EXPORT void CFPlugInRemoveInstanceForFactory(CFUUIDRef factoryID);

CF_EXTERN_C_END
