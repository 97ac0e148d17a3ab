// Util::Exception::DataStreamIO: a failed byte-stream operation.
//
// The byte stream throws it unstamped, so it keeps an empty file name, line -1 and last error
// 0xFFFFFFFF.
#pragma once

#include "common/common_exception_base.h"

namespace Util {
namespace Exception {

class DataStreamIO : public ::Exception::Base {
public:
    explicit DataStreamIO(String const& message);
    DataStreamIO(DataStreamIO const& other) = default;
    ~DataStreamIO() override;

    // The base text followed by "\nDataStreamIO\n" (no colon after the heading):
    //   "Base:\n\tRead past end\n\t (-1): Thrown, GetLastError(): 0\n\nDataStreamIO\n"
    String ToString() const override;
};

} // namespace Exception
} // namespace Util
