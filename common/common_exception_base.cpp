#include "common/common_exception_base.h"

namespace Exception {

Base::Base(String const& message)
    : m_strMessage(message), m_strFilename(), m_nLineNumber(-1), m_uLastError(0xFFFFFFFFu) {}

Base::~Base() {}

void Base::SetMetaData(String const& filename, int line, unsigned int lastError) {
    m_strFilename = filename;
    m_nLineNumber = line;
    m_uLastError = lastError;
}

String Base::ToString() const {
    // The last error is printed as 0 on purpose: there is no last-error facility to report.
    return String("Base:\n") + "\t" + m_strMessage + "\n" + "\t" +
           String("%1 (%2): Thrown, GetLastError(): %3\n")
               .Arg(m_strFilename)
               .Arg(static_cast<int>(m_nLineNumber), 10)
               .Arg(0, 10);
}

} // namespace Exception
