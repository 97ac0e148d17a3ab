// Exception::Base, Util::Exception::FileIO and Util::Exception::DataStreamIO: renderings
// compared whole, stamping, copying and the run-time type names.
#include "Util/Exception/DataStreamIO.h"
#include "Util/Exception/FileIO.h"

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

namespace {

using Util::Exception::DataStreamIO;
using Util::Exception::FileIO;

std::string str(String const& s) {
    return s.Latin1();
}

TEST(Exception, UnstampedRendering) {
    DataStreamIO const e("Read past end");
    EXPECT_EQ(str(e.ToString()),
              "Base:\n\tRead past end\n\t (-1): Thrown, GetLastError(): 0\n\nDataStreamIO\n");
    EXPECT_TRUE(e.GetFilename() == "" && e.GetLineNumber() == -1 &&
                e.GetLastError() == 0xFFFFFFFFu);
}

// Categories 6 (rename) and every value past 7 have no text of their own; a stamped non-zero
// last error still prints 0.
TEST(Exception, FileRenderingForEveryCategory) {
    std::pair<int, char const*> const rows[] = {
        {0, "File not found"},    {1, "Open error"},       {2, "Read error"},
        {3, "Write error"},       {4, "Close error"},      {5, "Remove error"},
        {6, " Unknown error"},    {7, "Unexpected error"}, {8, " Unknown error"},
        {1000, " Unknown error"}, {-1, " Unknown error"}};
    for (auto const& [type, text] : rows) {
        FileIO e("Close failed", FilePath("/tmp/X.txt"), static_cast<FileIO::ErrorType>(type));
        e.SetMetaData("Util/File", 318, 5);
        EXPECT_EQ(str(e.ToString()), "Base:\n\tClose failed\n\tUtil/File (318): Thrown, "
                                     "GetLastError(): 0\n\nFileIO:\n/tmp/X.txt: " +
                                         std::string(text))
            << "error type " << type;
    }
}

// A folder failure prints the folder's stored text; the base part alone stops before FileIO.
TEST(Exception, FolderRenderingAndAccessors) {
    FileIO e("rmdir() failed", FolderPath("/a//B"), FileIO::REMOVE_ERROR);
    e.SetMetaData("Util/Dir_mac", 7, 0);
    std::string const base =
        "Base:\n\trmdir() failed\n\tUtil/Dir_mac (7): Thrown, GetLastError(): 0\n";
    EXPECT_EQ(str(e.ToString()), base + "\nFileIO:\n/a//B/: Remove error");
    EXPECT_EQ(str(e.Exception::Base::ToString()), base);
    EXPECT_TRUE(e.GetFilePath().IsEmpty() && e.GetFolderPath() == FolderPath("/a/b") &&
                e.GetErrorType() == FileIO::REMOVE_ERROR);
}

// The thrown object is a copy of the stamped local.
TEST(Exception, ThrowSiteStampsModuleAndLine) {
    int line = 0;
    try {
        line = __LINE__ + 1;
        VELMORA_THROW("Util/File", FileIO("Remove failed", FilePath("/f"), FileIO::REMOVE_ERROR));
    } catch (Exception::Base const& e) {
        EXPECT_EQ(typeid(e), typeid(FileIO));
        EXPECT_EQ(str(e.ToString()),
                  "Base:\n\tRemove failed\n\tUtil/File (" + std::to_string(line) +
                      "): Thrown, GetLastError(): 0\n\nFileIO:\n/f: Remove error");
        EXPECT_TRUE(e.GetLineNumber() == line && e.GetLastError() == 0u);
        return;
    }
    ADD_FAILURE() << "nothing was thrown";
}

TEST(Exception, RunTimeTypeNames) {
    EXPECT_STREQ(typeid(Exception::Base).name(), "N9Exception4BaseE");
    EXPECT_STREQ(typeid(FileIO).name(), "N4Util9Exception6FileIOE");
    EXPECT_STREQ(typeid(DataStreamIO).name(), "N4Util9Exception12DataStreamIOE");
}

} // namespace
