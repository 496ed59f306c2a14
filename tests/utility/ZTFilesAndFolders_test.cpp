#include "ztutil/ZTFilesAndFolders.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;
using ZT::ZTFilesAndFolders;

namespace {

/// A file of five bytes, a full folder, a link to each, an empty folder, and a link to nothing.
class ZTFilesAndFoldersTest : public testing::Test {
protected:
    ZTFilesAndFoldersTest()
    {
        writeAll(file, "12345");
        fs::create_directories(folder + "/inner");
        writeAll(folder + "/inner/file", "");
        fs::create_directory(emptyFolder);
        fs::create_symlink(file, fileLink);
        fs::create_symlink(folder, folderLink);
        fs::create_symlink(missing, danglingLink);
    }

    const TemporaryFolder temporary;
    const std::string file = temporary / "file";
    const std::string folder = temporary / "folder";
    const std::string emptyFolder = temporary / "emptyFolder";
    const std::string fileLink = temporary / "fileLink";
    const std::string folderLink = temporary / "folderLink";
    const std::string danglingLink = temporary / "danglingLink";
    const std::string missing = temporary / "missing";
};

bool exists(const std::string& path)
{
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

bool erase(const std::string& path, bool recursive = false)
{
    return ZTFilesAndFolders::eraseFileOrFolder(path, recursive, "");
}

} // namespace

TEST_F(ZTFilesAndFoldersTest, AFolderIsADirectoryAlsoThroughALink)
{
    EXPECT_TRUE(ZTFilesAndFolders::isDirectory(folder));
    EXPECT_TRUE(ZTFilesAndFolders::isDirectory(folder + "/"));
    EXPECT_TRUE(ZTFilesAndFolders::isDirectory(folderLink));
}

TEST_F(ZTFilesAndFoldersTest, NothingElseIsADirectory)
{
    EXPECT_FALSE(ZTFilesAndFolders::isDirectory(file));
    EXPECT_FALSE(ZTFilesAndFolders::isDirectory(fileLink));
    EXPECT_FALSE(ZTFilesAndFolders::isDirectory(danglingLink));
    EXPECT_FALSE(ZTFilesAndFolders::isDirectory(missing));
    EXPECT_FALSE(ZTFilesAndFolders::isDirectory(file + "/below"));
    EXPECT_FALSE(ZTFilesAndFolders::isDirectory(std::string(5000, 'x')));
    EXPECT_FALSE(ZTFilesAndFolders::isDirectory(""));
}

TEST_F(ZTFilesAndFoldersTest, ARegularFileIsAFileAlsoThroughALink)
{
    EXPECT_TRUE(ZTFilesAndFolders::isFile(file));
    EXPECT_TRUE(ZTFilesAndFolders::isFile(fileLink));
}

TEST_F(ZTFilesAndFoldersTest, NothingElseIsAFile)
{
    EXPECT_FALSE(ZTFilesAndFolders::isFile(folder));
    EXPECT_FALSE(ZTFilesAndFolders::isFile("/dev/null"));
    EXPECT_FALSE(ZTFilesAndFolders::isFile(danglingLink));
    EXPECT_FALSE(ZTFilesAndFolders::isFile(missing));
    EXPECT_FALSE(ZTFilesAndFolders::isFile(file + "/below"));
    EXPECT_FALSE(ZTFilesAndFolders::isFile(std::string(5000, 'x')));
    EXPECT_FALSE(ZTFilesAndFolders::isFile(""));
}

TEST(ZTFilesAndFolders, ASlashIsAddedOnlyWhereNoneIsPresent)
{
    EXPECT_EQ(ZTFilesAndFolders::addSlash("/media/usb"), "/media/usb/");
    EXPECT_EQ(ZTFilesAndFolders::addSlash("/media/usb/"), "/media/usb/");
    EXPECT_EQ(ZTFilesAndFolders::addSlash("usb//"), "usb//");
    EXPECT_EQ(ZTFilesAndFolders::addSlash("/"), "/");
    EXPECT_EQ(ZTFilesAndFolders::addSlash(""), "/");
}

TEST_F(ZTFilesAndFoldersTest, TheSizeOfAFileIsInBytes)
{
    std::string error = "as before";
    EXPECT_EQ(ZTFilesAndFolders::getFileSize(file, &error), 5u);
    EXPECT_EQ(ZTFilesAndFolders::getFileSize(fileLink, nullptr), 5u);
    EXPECT_EQ(ZTFilesAndFolders::getFileSize(folder + "/inner/file", &error), 0u);
    EXPECT_EQ(error, "as before");
}

TEST_F(ZTFilesAndFoldersTest, ASizeMayExceed32Bits)
{
    fs::resize_file(file, 5000000000);
    EXPECT_EQ(ZTFilesAndFolders::getFileSize(file, nullptr), 5000000000u);
}

TEST_F(ZTFilesAndFoldersTest, WithoutASizeTheReasonIsTold)
{
    std::string error;
    EXPECT_EQ(ZTFilesAndFolders::getFileSize(missing, &error), 18446744073709551615u);
    EXPECT_EQ(error, "No such file or directory");
    EXPECT_EQ(ZTFilesAndFolders::getFileSize(folder, &error), 18446744073709551615u);
    EXPECT_EQ(error, "Is a directory");
    EXPECT_EQ(ZTFilesAndFolders::getFileSize(file + "/below", &error), 18446744073709551615u);
    EXPECT_EQ(error, "Not a directory");
    EXPECT_EQ(ZTFilesAndFolders::getFileSize(missing, nullptr), 18446744073709551615u);
}

TEST_F(ZTFilesAndFoldersTest, AFileAndAnEmptyFolderAreDeleted)
{
    EXPECT_TRUE(erase(file));
    EXPECT_FALSE(exists(file));
    EXPECT_TRUE(erase(emptyFolder));
    EXPECT_FALSE(exists(emptyFolder));
}

TEST_F(ZTFilesAndFoldersTest, ALinkIsDeletedAndItsTargetStays)
{
    EXPECT_TRUE(erase(fileLink));
    EXPECT_TRUE(erase(folderLink));
    EXPECT_TRUE(erase(danglingLink));
    EXPECT_FALSE(exists(fileLink));
    EXPECT_FALSE(exists(folderLink));
    EXPECT_FALSE(exists(danglingLink));
    EXPECT_EQ(readAll(file), "12345");
    EXPECT_TRUE(exists(folder + "/inner/file"));
}

TEST_F(ZTFilesAndFoldersTest, AFullFolderIsDeletedOnlyRecursively)
{
    EXPECT_FALSE(erase(folder));
    EXPECT_TRUE(exists(folder + "/inner/file"));
    EXPECT_TRUE(erase(folder, true));
    EXPECT_FALSE(exists(folder));
}

TEST_F(ZTFilesAndFoldersTest, RecursivelyAFileIsDeletedToo)
{
    EXPECT_TRUE(erase(file, true));
    EXPECT_FALSE(exists(file));
}

TEST_F(ZTFilesAndFoldersTest, DeletingAFolderFollowsNoLinkInIt)
{
    fs::create_symlink(file, emptyFolder + "/toFile");
    fs::create_symlink(folder, emptyFolder + "/toFolder");
    EXPECT_TRUE(erase(emptyFolder, true));
    EXPECT_FALSE(exists(emptyFolder));
    EXPECT_EQ(readAll(file), "12345");
    EXPECT_TRUE(exists(folder + "/inner/file"));
}

TEST_F(ZTFilesAndFoldersTest, ATrailingSlashDoesNotCount)
{
    EXPECT_TRUE(erase(emptyFolder + "/"));
    EXPECT_FALSE(exists(emptyFolder));
    EXPECT_TRUE(erase(folderLink + "/", true));
    EXPECT_FALSE(exists(folderLink));
    EXPECT_TRUE(exists(folder + "/inner/file"));
    EXPECT_TRUE(erase(folder + "//", true));
    EXPECT_FALSE(exists(folder));
}

TEST_F(ZTFilesAndFoldersTest, APathThatEndsInDotsIsRefused)
{
    EXPECT_FALSE(erase(folder + "/.", true));
    EXPECT_FALSE(erase(folder + "/inner/..", true));
    EXPECT_FALSE(erase(folder + "/inner/../", true));
    EXPECT_TRUE(exists(folder + "/inner/file"));
}

TEST_F(ZTFilesAndFoldersTest, WhereNothingIsNothingIsDeleted)
{
    for (const bool recursive : {false, true}) {
        EXPECT_FALSE(erase(missing, recursive));
        EXPECT_FALSE(erase(file + "/below", recursive));
        EXPECT_FALSE(erase(std::string(5000, 'x'), recursive));
        EXPECT_FALSE(erase("", recursive));
    }
}

TEST_F(ZTFilesAndFoldersTest, AtAPathWithANulThereIsNothing)
{
    const std::string rest("\0x", 2);
    EXPECT_FALSE(ZTFilesAndFolders::isDirectory(folder + rest));
    EXPECT_FALSE(ZTFilesAndFolders::isFile(file + rest));
    std::string error;
    EXPECT_EQ(ZTFilesAndFolders::getFileSize(file + rest, &error), 18446744073709551615u);
    EXPECT_EQ(error, "Invalid argument");
    EXPECT_FALSE(erase(file + rest));
    EXPECT_FALSE(erase(folder + rest, true));
    EXPECT_TRUE(exists(file));
    EXPECT_TRUE(exists(folder + "/inner/file"));
}

// Not recursively: the system itself would refuse, should this library fail to.
TEST(ZTFilesAndFolders, TheRootFolderIsRefused)
{
    EXPECT_FALSE(erase("/"));
    EXPECT_FALSE(erase("//"));
}

TEST_F(ZTFilesAndFoldersTest, WhatIsReservedMustBeEmpty)
{
    EXPECT_FALSE(ZTFilesAndFolders::eraseFileOrFolder(file, false, "x"));
    EXPECT_FALSE(ZTFilesAndFolders::eraseFileOrFolder(folder, true, "x"));
    EXPECT_EQ(readAll(file), "12345");
    EXPECT_TRUE(exists(folder + "/inner/file"));
}
