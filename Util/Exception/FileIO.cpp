#include "Util/Exception/FileIO.h"

namespace Util {
namespace Exception {

namespace {

// RENAME_ERROR has no text of its own and shares the default's, leading blank included.
char const* errorText(FileIO::ErrorType type) {
    switch (type) {
    case FileIO::FILE_NOT_FOUND:
        return "File not found";
    case FileIO::OPEN_ERROR:
        return "Open error";
    case FileIO::READ_ERROR:
        return "Read error";
    case FileIO::WRITE_ERROR:
        return "Write error";
    case FileIO::CLOSE_ERROR:
        return "Close error";
    case FileIO::REMOVE_ERROR:
        return "Remove error";
    case FileIO::UNEXPECTED_ERROR:
        return "Unexpected error";
    default:
        return " Unknown error";
    }
}

} // namespace

FileIO::FileIO(String const& message, FilePath const& path, ErrorType type)
    : ::Exception::Base(message), m_pathFile(path), m_pathFolder(), m_errorType(type) {}

FileIO::FileIO(String const& message, FolderPath const& path, ErrorType type)
    : ::Exception::Base(message), m_pathFile(), m_pathFolder(path), m_errorType(type) {}

FileIO::~FileIO() {}

String FileIO::ToString() const {
    String const path =
        m_pathFolder.IsEmpty() ? m_pathFile.GetInternal() : m_pathFolder.GetInternal();
    return ::Exception::Base::ToString() + "\nFileIO:\n" + path + ": " + errorText(m_errorType);
}

} // namespace Exception
} // namespace Util
