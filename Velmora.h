/// \file
/// Every public header of the Velmora base library.
///
///     #include <Velmora.h>
///
///     String const name = String("%1.plist").Arg("Tempest");   // "Tempest.plist"
#pragma once

#include "common/common_char.h"
#include "common/common_checked_types.h"
#include "common/common_exception_base.h"
#include "common/common_path.h"
#include "common/common_smart_ptr.h"
#include "common/common_string.h"
#include "common/common_types.h"

#include "IPP/IPP_util_mac.h"
#include "UI/Alert.h"
#include "Util/ByteStream.h"
#include "Util/CFString.h"
#include "Util/CRC16.h"
#include "Util/ConfigFile.h"
#include "Util/DataStream.h"
#include "Util/Dir.h"
#include "Util/Exception/DataStreamIO.h"
#include "Util/Exception/FileIO.h"
#include "Util/File.h"
#include "Util/TickCount.h"
#include "Util/math_utils.h"

/// \namespace Util
/// Files and folders, the typed preference store, the byte stream, CRC-16, the CoreFoundation
/// string bridge, maths and timing.
