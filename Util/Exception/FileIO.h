/// \file
/// Util::Exception::FileIO: a failed file or folder operation, and VELMORA_ONLY_FILEIO.
#pragma once

#include <exception>

#include "common/common_exception_base.h"
#include "common/common_path.h"

namespace Util {
/// The exceptions of the Util classes.
namespace Exception {

/// A failed file or folder operation: Exception::Base plus the path concerned (a file or a
/// folder, never both) and a category.
///
///     try {
///         Util::File(FilePath(String("/tmp/x.txt"))).Remove();
///     } catch (Util::Exception::FileIO const& e) {
///         e.GetErrorType()   // REMOVE_ERROR
///         e.GetFilePath()    // "/tmp/x.txt"
///     }
class FileIO : public ::Exception::Base {
public:
    /// The category; ToString prints the text given with each value.
    enum ErrorType : int32 {
        FILE_NOT_FOUND = 0,  ///< "File not found"
        OPEN_ERROR = 1,      ///< "Open error"
        READ_ERROR = 2,      ///< "Read error"
        WRITE_ERROR = 3,     ///< "Write error"
        CLOSE_ERROR = 4,     ///< "Close error"
        REMOVE_ERROR = 5,    ///< "Remove error"
        RENAME_ERROR = 6,    ///< " Unknown error": deliberately has no text of its own
        UNEXPECTED_ERROR = 7 ///< "Unexpected error"; any other value prints " Unknown error"
    };

    /// A failure concerning a file; the folder path stays empty.
    FileIO(String const& message, FilePath const& path, ErrorType type);
    /// A failure concerning a folder; the file path stays empty.
    FileIO(String const& message, FolderPath const& path, ErrorType type);
    /// A copy with the same message, origin, path and category.
    FileIO(FileIO const& other) = default;
    /// Destroys the paths and the base.
    ~FileIO() override;

    /// The file concerned; empty for a folder failure.
    FilePath GetFilePath() const { return m_pathFile; }
    /// The folder concerned; empty for a file failure.
    FolderPath GetFolderPath() const { return m_pathFolder; }
    /// The category: REMOVE_ERROR for a failed Util::File::Remove.
    ErrorType GetErrorType() const { return m_errorType; }

    /// The base text, then an empty line, "FileIO:" and `<path>: <category>`, where path is
    /// the folder's or else the file's text as stored:
    ///
    ///     "Base:\n\tRemove failed\n\tUtil/File (40): Thrown, GetLastError(): 0\n"
    ///     "\nFileIO:\n/tmp/x.txt: Remove error"
    ///
    /// RENAME_ERROR and unknown values read "/tmp/x.txt:  Unknown error" (two blanks).
    String ToString() const override;

private:
    FilePath m_pathFile;
    FolderPath m_pathFolder;
    ErrorType m_errorType;
};

} // namespace Exception
} // namespace Util

/// Closes a function-try-block of an operation that lets only FileIO escape: anything else
/// (such as memory exhaustion while a message is built) ends the program.
///
///     void File::Close() try {
///         ...
///     }
///     VELMORA_ONLY_FILEIO
#define VELMORA_ONLY_FILEIO                                                                        \
    catch (Util::Exception::FileIO const&) {                                                       \
        throw;                                                                                     \
    }                                                                                              \
    catch (...) {                                                                                  \
        std::terminate();                                                                          \
    }
