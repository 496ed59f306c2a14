#include "ztutil/writeToFile.h"

#include "support/TemporaryFolder.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using ZT::writeToFile;

namespace {

// While true, what is written by write(2) is noted, or cut short, and close(2) fails after closing.
bool isRecording = false;
bool isCuttingShort = false;
bool isCloseFailing = false;
std::vector<std::string> recorded;
std::vector<bool> inherited; // whether a program would inherit what is written to

class WriteToFileTest : public testing::Test {
protected:
    ~WriteToFileTest() override
    {
        isRecording = isCuttingShort = isCloseFailing = false;
        recorded.clear();
        inherited.clear();
    }

    const TemporaryFolder temporary;
    const std::string file = temporary / "file";
};

} // namespace

extern "C" ssize_t write(int descriptor, const void* data, size_t size)
{
    if (isRecording) {
        recorded.emplace_back(static_cast<const char*>(data), size);
        inherited.push_back((fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0);
    }
    return syscall(SYS_write, descriptor, data, isCuttingShort ? size - 1 : size);
}

extern "C" int close(int descriptor)
{
    const long result = syscall(SYS_close, descriptor);
    if (!isCloseFailing) {
        return static_cast<int>(result);
    }
    errno = EIO;
    return -1;
}

TEST_F(WriteToFileTest, TheValueIsWrittenAsDecimalTextAndNothingElse)
{
    EXPECT_TRUE(writeToFile(file, 3));
    EXPECT_EQ(readAll(file), "3");
    EXPECT_TRUE(writeToFile(file, INT_MAX));
    EXPECT_EQ(readAll(file), "2147483647");
    EXPECT_TRUE(writeToFile(file, INT_MIN));
    EXPECT_EQ(readAll(file), "-2147483648");
}

TEST_F(WriteToFileTest, TheOldContentIsReplaced)
{
    writeAll(file, "a longer text");
    EXPECT_TRUE(writeToFile(file, 0));
    EXPECT_EQ(readAll(file), "0");
}

TEST_F(WriteToFileTest, AMissingFileIsCreatedWithTheModeTheUmaskLeaves)
{
    const mode_t before = umask(027);
    EXPECT_TRUE(writeToFile(file, 1));
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0640u);
}

TEST_F(WriteToFileTest, TheTextIsWrittenAtOnceAndNoProgramInheritsTheFile)
{
    isRecording = true;
    EXPECT_TRUE(writeToFile(file, 12345));
    EXPECT_THAT(recorded, ElementsAre("12345"));
    EXPECT_THAT(inherited, ElementsAre(false));
}

TEST_F(WriteToFileTest, WhereNoFileCanBeOpenedItIsFalse)
{
    EXPECT_FALSE(writeToFile(temporary / "missing/file", 1));
    EXPECT_FALSE(writeToFile(temporary / "", 1));
    EXPECT_FALSE(writeToFile("", 1));
    EXPECT_FALSE(writeToFile(file + std::string("\0x", 2), 1));
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(WriteToFileTest, WhereNothingCanBeWrittenItIsFalse)
{
    EXPECT_FALSE(writeToFile("/dev/full", 1));
}

TEST_F(WriteToFileTest, AShortWriteIsFalseAndNotRepeated)
{
    isRecording = isCuttingShort = true;
    EXPECT_FALSE(writeToFile(file, 12345));
    EXPECT_THAT(recorded, ElementsAre("12345"));
}

TEST_F(WriteToFileTest, AFailedCloseIsFalse)
{
    isCloseFailing = true;
    EXPECT_FALSE(writeToFile(file, 1));
}

TEST_F(WriteToFileTest, NoDescriptorStaysOpen)
{
    const int before = dup(STDERR_FILENO);
    close(before);
    EXPECT_TRUE(writeToFile(file, 1));
    EXPECT_FALSE(writeToFile("/dev/full", 1));
    const int after = dup(STDERR_FILENO);
    close(after);
    EXPECT_EQ(after, before);
}
