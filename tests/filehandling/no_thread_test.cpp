// A copy for which there is no thread.

#include "support/TemporaryFolder.h"
#include "zt/ZTFileHandling.h"
#include "zt/ZTThread.h"

#include <fstream>
#include <gtest/gtest.h>

namespace ZT {

// In the place of the library's.
ZTThread* ZTThread::create(const std::string& /*name*/)
{
    return nullptr;
}

} // namespace ZT

TEST(ZTFileHandling, WithoutAThreadCopyDirReturns19AndKeepsIt)
{
    const TemporaryFolder folder;
    ZT::ZTFileHandling handling;
    EXPECT_EQ(handling.copyDir(folder / ".", folder / ".", true, nullptr), 19);
    EXPECT_EQ(handling.getErrorCode(), 19);
    EXPECT_TRUE(handling.isRunning());
    handling.join();
}

TEST(ZTFileHandling, WithoutAThreadCopyFileReturns19AndKeepsNoCode)
{
    const TemporaryFolder folder;
    const std::string source = folder / "source";
    const std::ofstream file(source);
    ZT::ZTFileHandling handling;
    EXPECT_EQ(handling.copyFile(source, folder / "target", true, nullptr), 19);
    EXPECT_EQ(handling.getErrorCode(), 0);
    EXPECT_TRUE(handling.isRunning());
    handling.join();
}

TEST(ZTFileHandling, WithoutAThreadCreateReturns19AndKeepsNoCode)
{
    ZT::ZTFileHandling handling;
    EXPECT_EQ(handling.create(true, nullptr), 19);
    EXPECT_EQ(handling.getErrorCode(), 0);
    EXPECT_FALSE(handling.isRunning());
    handling.join();
}
