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
    EXPECT_EQ(str(e.GetFilename()), "");
    EXPECT_EQ(e.GetLineNumber(), -1);
    EXPECT_EQ(e.GetLastError(), 0xFFFFFFFFu);
}

TEST(Exception, FileRenderingForEveryCategory) {
    struct Row {
        int type;
        char const* text;
    } const rows[] = {{0, "File not found"},    {1, "Open error"},       {2, "Read error"},
                      {3, "Write error"},       {4, "Close error"},      {5, "Remove error"},
                      {6, " Unknown error"},    {7, "Unexpected error"}, {8, " Unknown error"},
                      {1000, " Unknown error"}, {-1, " Unknown error"}};
    for (Row const& row : rows) {
        SCOPED_TRACE("error type " + std::to_string(row.type));
        FileIO e("Close failed", FilePath("/tmp/X.txt"), static_cast<FileIO::ErrorType>(row.type));
        e.SetMetaData("Util/File", 318, 5); // a non-zero last error still prints 0
        EXPECT_EQ(str(e.ToString()),
                  std::string("Base:\n\tClose failed\n\tUtil/File (318): Thrown, "
                              "GetLastError(): 0\n\nFileIO:\n/tmp/X.txt: ") +
                      row.text);
    }
}

TEST(Exception, FolderRenderingPrintsTheStoredFolderText) {
    FileIO e("rmdir() failed", FolderPath("/a//B"), FileIO::REMOVE_ERROR);
    e.SetMetaData("Util/Dir_mac", 7, 0);
    EXPECT_EQ(str(e.ToString()), "Base:\n\trmdir() failed\n\tUtil/Dir_mac (7): Thrown, "
                                 "GetLastError(): 0\n\nFileIO:\n/a//B/: Remove error");
    EXPECT_TRUE(e.GetFilePath().IsEmpty());
    EXPECT_TRUE(e.GetFolderPath() == FolderPath("/a/b"));
    EXPECT_EQ(e.GetErrorType(), FileIO::REMOVE_ERROR);
    // The base part alone, called past the override.
    EXPECT_EQ(str(e.Exception::Base::ToString()),
              "Base:\n\trmdir() failed\n\tUtil/Dir_mac (7): Thrown, GetLastError(): 0\n");
}

TEST(Exception, StampingAndCopying) {
    FileIO e("Rename failed", FilePath("/a/b"), FileIO::RENAME_ERROR);
    e.SetMetaData("Util/File", 42, 0);
    FileIO const copy(e);
    EXPECT_EQ(str(copy.ToString()), str(e.ToString()));
    EXPECT_EQ(copy.GetMessageText().Latin1(), e.GetMessageText().Latin1()); // shared text
    EXPECT_EQ(str(copy.GetFilename()), "Util/File");
    EXPECT_EQ(copy.GetLineNumber(), 42);
    EXPECT_EQ(copy.GetLastError(), 0u);
    EXPECT_TRUE(copy.GetFilePath() == FilePath("/a/b"));
    EXPECT_TRUE(copy.GetFolderPath().IsEmpty());
}

TEST(Exception, ThrowSiteStampsModuleAndLine) {
    int line = 0;
    try {
        line = __LINE__ + 1;
        VELMORA_THROW("Util/File", FileIO("Remove failed", FilePath("/f"), FileIO::REMOVE_ERROR));
    } catch (Exception::Base const& e) {
        EXPECT_EQ(typeid(e), typeid(FileIO));
        EXPECT_EQ(e.GetLineNumber(), line);
        EXPECT_EQ(str(e.ToString()),
                  "Base:\n\tRemove failed\n\tUtil/File (" + std::to_string(line) +
                      "): Thrown, GetLastError(): 0\n\nFileIO:\n/f: Remove error");
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
