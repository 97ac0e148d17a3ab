/* The CoreFoundation subset that Velmora uses, provided on Linux by libvelmora_platform. */
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
