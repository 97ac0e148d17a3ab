#include "Util/Exception/DataStreamIO.h"

namespace Util {
namespace Exception {

DataStreamIO::DataStreamIO(String const& message) : ::Exception::Base(message) {}

DataStreamIO::~DataStreamIO() {}

String DataStreamIO::ToString() const {
    return ::Exception::Base::ToString() + "\nDataStreamIO\n";
}

} // namespace Exception
} // namespace Util
