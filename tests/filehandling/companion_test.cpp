// What a copy asks of the companion library, and files of sizes that no test wants to write.

#include "filehandling/CopyListener.h"
#include "frame/RecordingUtility.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTFileHandling.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

using testing::ElementsAre;

namespace {

class FileHandlingCompanionTest : public testing::Test {
protected:
    FileHandlingCompanionTest()
    {
        takeFileCalls();
        std::filesystem::create_directory(source);
        std::filesystem::create_directory(target);
        writeAll(source + "/a", std::string(1024, 'x'));
    }

    void copyDir(bool cm)
    {
        EXPECT_EQ(handling.copyDir(source, target, cm, &listener), 0);
        handling.join();
    }

    void copyFile(bool cm)
    {
        EXPECT_EQ(handling.copyFile(source + "/a", target + "/a", cm, &listener), 0);
        handling.join();
    }

    const TemporaryFolder folder;
    const std::string source = folder / "source";
    const std::string target = folder / "target";
    CopyListener listener;
    ZT::ZTFileHandling handling;
};

const std::uint64_t GIB_4 = 4294967296;

} // namespace

TEST_F(FileHandlingCompanionTest, AMoveOfAFolderAsksForTheSizeOfItsTargetTwice)
{
    answerFileSizes({1024, 1024, 1024});
    copyDir(false);
    EXPECT_THAT(takeFileCalls(),
                ElementsAre("isDirectory " + source, "isDirectory " + target, "addSlash " + source,
                            "addSlash " + target, "isDirectory " + source, "isDirectory " + target,
                            "getFileSize " + source + "/a", "getFileSize " + target + "/a",
                            "getFileSize " + target + "/a", "erase " + source + "/a"));
}

TEST_F(FileHandlingCompanionTest, AMoveOfAFileAsksForTheSizeOfItsSource)
{
    answerFileSizes({1024});
    copyFile(false);
    EXPECT_THAT(takeFileCalls(),
                ElementsAre("isFile " + source + "/a", "isFile " + source + "/a",
                            "getFileSize " + source + "/a", "erase " + source + "/a"));
}

TEST_F(FileHandlingCompanionTest, ACopyErasesNothing)
{
    answerFileSizes({1024});
    copyFile(true);
    EXPECT_THAT(takeFileCalls(), ElementsAre("isFile " + source + "/a", "isFile " + source + "/a",
                                             "getFileSize " + source + "/a"));
}

TEST_F(FileHandlingCompanionTest, AnEmptyNameIsRefusedWhateverTheCompanionSaysOfIt)
{
    EXPECT_EQ(handling.setSourceDirectory(""), 41);
    EXPECT_EQ(handling.setTargetDirectory(""), 41);
    EXPECT_EQ(handling.setCurrentSourceFile(""), 16);
}

TEST_F(FileHandlingCompanionTest, OfASizeBeyond32BitsTheLow32Count)
{
    answerFileSizes({GIB_4 + 2048, GIB_4 + 1024, GIB_4 + 1024});
    copyDir(true);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 50", "progress 100", "finished 0"));
    answerFileSizes({GIB_4 + 4096});
    copyFile(true);
    EXPECT_EQ(listener.calls()[3], "progress 25");
}

TEST_F(FileHandlingCompanionTest, OfATotalBeyond32BitsTheLow32Count)
{
    writeAll(source + "/b", std::string(1024, 'x'));
    answerFileSizes({GIB_4 - 1024, 5120, 1024, 1024, 1024, 1024});
    copyDir(true);
    EXPECT_THAT(listener.calls(),
                ElementsAre("progress 25", "progress 50", "progress 100", "finished 0"));
}

TEST_F(FileHandlingCompanionTest, ATotalOfExactly4GiBIsNothingToCopy)
{
    writeAll(source + "/b", std::string(1024, 'x'));
    answerFileSizes({GIB_4 / 2, GIB_4 / 2});
    copyDir(true);
    EXPECT_THAT(listener.calls(), ElementsAre("finished 42"));
}

TEST_F(FileHandlingCompanionTest, AFileOfExactly4GiBGivesTheLargestPercentage)
{
    answerFileSizes({GIB_4});
    copyFile(true);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 4294967295", "progress 100", "finished 0"));
}

TEST_F(FileHandlingCompanionTest, WhatIsCopiedStartsAgainFrom0After4GiB)
{
    writeAll(source + "/b", std::string(1024, 'x'));
    answerFileSizes({2048, 2048, GIB_4 - 1024, GIB_4 - 1024, 1024, 1024});
    copyDir(true);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 25", "progress 100", "finished 0"))
        << "the second file begins at -1024 and ends at 0";
}
