/// \file
/// Exception::Base: the root of every exception the library throws, and VELMORA_THROW.
#pragma once

#include "common/common_string.h"

/// The root of the library's exceptions.
namespace Exception {

/// The root of every exception the library throws.
///
/// An exception carries a message, the source file and line of the statement that threw it and
/// an operating-system error value. Throw sites never assemble these by hand: they use
/// VELMORA_THROW, which constructs the exception, stamps it and throws a copy in one step.
///
///     try {
///         file.Open(Util::File::Read);
///     } catch (Exception::Base const& e) {
///         std::fputs(e.ToString().Latin1(), stderr);
///     }
class Base {
public:
    /// A copy with the same message and origin.
    Base(Base const& other) = default;
    /// Virtual, so that derived exceptions are destroyed whole through a Base.
    virtual ~Base();

    /// Stamps the origin: the source file (a module name such as "Util/File"), the line of the
    /// throw statement and the OS error value (0 on this platform).
    void SetMetaData(String const& filename, int line, unsigned int lastError);

    /// The message as given: "Close failed".
    String GetMessageText() const { return m_strMessage; }
    /// The stamped module name: "Util/File"; "" until stamped.
    String GetFilename() const { return m_strFilename; }
    /// The stamped line; -1 until stamped.
    int32 GetLineNumber() const { return m_nLineNumber; }
    /// The stamped OS error value; 0xFFFFFFFF until stamped.
    uint32 GetLastError() const { return m_uLastError; }

    /// Two tab-indented lines under a heading, each ending in a line feed:
    ///
    ///     "Base:\n\tClose failed\n\tUtil/File (318): Thrown, GetLastError(): 0\n"
    ///
    /// The last error always prints as 0, whatever was stamped: this platform has no
    /// last-error facility. An unstamped exception prints " (-1)" after an empty file name.
    virtual String ToString() const;

protected:
    /// The message is final text (placeholders already filled); the origin starts unstamped.
    explicit Base(String const& message);

private:
    String m_strMessage;
    String m_strFilename;
    int32 m_nLineNumber;
    uint32 m_uLastError;
};

/// Stamps e with module, line and last error 0 and throws it. Taking e by value makes the
/// thrown object a copy of a stamped local, as every throw site requires.
template <typename E>
[[noreturn]] void ThrowStamped(E e, char const* module, int line) {
    e.SetMetaData(String(module), line, 0);
    throw e;
}

} // namespace Exception

/// Builds, stamps and throws an exception at this line:
/// `VELMORA_THROW("Util/File", FileIO(...))` throws a FileIO whose GetFilename() is
/// "Util/File" and whose GetLineNumber() is the line of the macro.
#define VELMORA_THROW(module, exception) ::Exception::ThrowStamped((exception), (module), __LINE__)
