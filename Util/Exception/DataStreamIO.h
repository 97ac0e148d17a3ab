/// \file
/// Util::Exception::DataStreamIO: a failed byte-stream operation.
#pragma once

#include "common/common_exception_base.h"

namespace Util {
namespace Exception {

/// A failed byte-stream operation: a number read where too few bytes remain.
///
/// The byte stream throws it unstamped, so it keeps an empty file name, line -1 and last error
/// 0xFFFFFFFF. Its message reads "Can't extract 4 bytes at position 2, total size 5".
class DataStreamIO : public ::Exception::Base {
public:
    /// An unstamped exception with the final message text.
    explicit DataStreamIO(String const& message);
    /// A copy with the same message and origin.
    DataStreamIO(DataStreamIO const& other) = default;
    /// Destroys the base.
    ~DataStreamIO() override;

    /// The base text followed by an empty line and "DataStreamIO" with a line feed (no colon
    /// after the heading):
    ///
    ///     "Base:\n\tRead past end\n\t (-1): Thrown, GetLastError(): 0\n\nDataStreamIO\n"
    String ToString() const override;
};

} // namespace Exception
} // namespace Util
