/// \file
/// The Carbon subset that Velmora uses, provided on Linux by libvelmora_platform.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <Carbon/CarbonEvents.h>
#include <Carbon/Dialogs.h>
#include <Carbon/MacMemory.h>
#include <Carbon/TextEncodingConverter.h>
