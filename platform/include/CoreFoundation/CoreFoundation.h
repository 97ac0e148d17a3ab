/// \file
/// The CoreFoundation subset that Velmora uses, provided on Linux by libvelmora_platform.
///
/// One shared library holds the one CoreFoundation runtime of a process (its constant strings
/// and UUIDs, its preference cache), as the framework does on the Mac.
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPlugIn.h>
#include <CoreFoundation/CFPlugInCOM.h>
#include <CoreFoundation/CFPreferences.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFUUID.h>
