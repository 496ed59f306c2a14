#include "zt/ZTPipe.h"

#include "support/Diagnostics.h"
#include "support/Emulation.h"
#include "support/FixedTick.h"
#include "support/HighDescriptors.h"
#include "support/Interpose.h"
#include "support/Layout.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;
using ZT::ZTPipe;

namespace {

const char SECTION[] = "zt_pipe";

class ZTPipeTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(pipe.init(), 0);
        ASSERT_THAT(diagnostics.take(), IsEmpty());
    }

    std::string idOf(int descriptor) const { return std::to_string(descriptor); }

    const ZTPipe& constPipe = pipe;
    Diagnostics diagnostics;
    ZTPipe pipe;
    char buffer[16] = {};
};

bool isOpen(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}

} // namespace

TEST(ZTPipe, IsNotInitializedWhenConstructed)
{
    const Interpose noPipe(interposed::pipe, [](auto...) {
        ADD_FAILURE();
        return -1;
    });
    const Diagnostics diagnostics;
    const ZTPipe pipe;
    EXPECT_FALSE(pipe.isConnected());
    EXPECT_FALSE(pipe.autoReconnect);
    EXPECT_EQ(pipe.getReadEndPointID(), -1);
    EXPECT_EQ(pipe.getWriteEndPointID(), -1);
}

TEST(ZTPipe, PrintsWhenItIsDestroyedWithoutHavingBeenInitialized)
{
    Diagnostics diagnostics;
    std::make_unique<ZTPipe>();
    EXPECT_THAT(diagnostics.take(), ElementsAre(Line{1, SECTION, "pipe already deinitialized"}));
}

TEST(ZTPipe, EveryPipeCanPrint)
{
    Diagnostics diagnostics;
    ZTPipe first;
    ZTPipe second;
    EXPECT_EQ(first.deinit(), 0);
    EXPECT_EQ(second.deinit(), 0);
    EXPECT_THAT(diagnostics.take(), ElementsAre(Line{1, SECTION, "pipe already deinitialized"},
                                                Line{1, SECTION, "pipe already deinitialized"}));
}

TEST(ZTPipe, InitThatTheSystemRefusesReturns3AndPrints)
{
    Diagnostics diagnostics;
    ZTPipe pipe;
    {
        const Interpose refused(interposed::pipe, [](auto...) {
            errno = EMFILE;
            return -1;
        });
        EXPECT_EQ(pipe.init(), 3);
    }
    EXPECT_THAT(diagnostics.take(), ElementsAre(Line{1, SECTION, "pipe creation failed "}));
    EXPECT_FALSE(pipe.isConnected());
    EXPECT_EQ(pipe.getReadEndPointID(), -1);
    EXPECT_EQ(pipe.getWriteEndPointID(), -1);
    EXPECT_EQ(pipe.reconnect(), 0);
}

TEST(ZTPipe, ReadingBeforeInitReturns20AndPrintsTheMissingDescriptorWithoutABlank)
{
    Diagnostics diagnostics;
    ZTPipe pipe;
    char byte = 0;
    EXPECT_EQ(pipe.readFromPipe(&byte, 1), 20);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{
                    1, SECTION, "no data available to read from the read End Pint with ID :  -1"}));
}

TEST(ZTPipe, WritingBeforeInitReturns20AndPrints)
{
    Diagnostics diagnostics;
    ZTPipe pipe;
    EXPECT_EQ(pipe.writeIntoPipe("x", 1), 20);
    EXPECT_THAT(
        diagnostics.take(),
        ElementsAre(Line{1, SECTION,
                         "ZTPipe::writeIntoPipe no data available to write into the pipe or "
                         "the pipe is uninitialized at write end point id -1"}));
}

TEST(ZTPipe, IsNotReadableBeforeInit)
{
    const Diagnostics diagnostics;
    const ZTPipe pipe;
    EXPECT_FALSE(pipe.isReadable());
    EXPECT_EQ(pipe.getNoOfBytesAvailable(), 0);
}

TEST(ZTPipe, ItsFieldsStandInTheOrderOfTheBinaryInterface)
{
    const Diagnostics diagnostics;
    ZTPipe pipe;
    ASSERT_EQ(pipe.init(), 0);
    const std::size_t flags = sizeof(void*);
    EXPECT_FALSE(fieldAt<bool>(&pipe, flags)) << "auto-reconnect";
    EXPECT_TRUE(fieldAt<bool>(&pipe, flags + 1)) << "initialized";
    EXPECT_EQ(fieldAt<int>(&pipe, flags + 4), pipe.getReadEndPointID());
    EXPECT_EQ(fieldAt<int>(&pipe, flags + 8), pipe.getWriteEndPointID());
    EXPECT_EQ(fieldAt<unsigned int>(&pipe, flags + 12), 0U);
    EXPECT_NE(fieldAt<unsigned int>(&pipe, flags + 16), 0U) << "the section's key";
}

TEST_F(ZTPipeTest, InitGivesTwoDescriptors)
{
    EXPECT_TRUE(pipe.isConnected());
    EXPECT_TRUE(isOpen(pipe.getReadEndPointID()));
    EXPECT_TRUE(isOpen(pipe.getWriteEndPointID()));
    EXPECT_NE(pipe.getReadEndPointID(), pipe.getWriteEndPointID());
}

TEST_F(ZTPipeTest, SecondInitReturns3AndKeepsItsDescriptors)
{
    const int readID = pipe.getReadEndPointID();
    const int writeID = pipe.getWriteEndPointID();
    EXPECT_EQ(pipe.init(), 3);
    EXPECT_EQ(pipe.reconnect(), 3);
    EXPECT_THAT(diagnostics.take(), ElementsAre(Line{1, SECTION, "pipe is already initialized"},
                                                Line{1, SECTION, "pipe is already initialized"}));
    EXPECT_EQ(pipe.getReadEndPointID(), readID);
    EXPECT_EQ(pipe.getWriteEndPointID(), writeID);
    EXPECT_TRUE(pipe.isConnected());
}

TEST_F(ZTPipeTest, DeinitClosesTheReadAndThenTheWriteDescriptor)
{
    const int readID = pipe.getReadEndPointID();
    const int writeID = pipe.getWriteEndPointID();
    std::vector<int> closed;
    {
        const Interpose recorder(interposed::close, [&](int descriptor) {
            closed.push_back(descriptor);
            return interposed::close.real(descriptor);
        });
        EXPECT_EQ(pipe.deinit(), 0);
    }
    EXPECT_THAT(closed, ElementsAre(readID, writeID));
    EXPECT_FALSE(pipe.isConnected());
    EXPECT_EQ(pipe.getReadEndPointID(), -1);
    EXPECT_EQ(pipe.getWriteEndPointID(), -1);
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

TEST_F(ZTPipeTest, AFailedCloseIsNotRepeatedAndDeinitReturns0)
{
    int calls = 0;
    {
        const Interpose interrupted(interposed::close, [&](int descriptor) {
            ++calls;
            interposed::close.real(descriptor);
            errno = EINTR;
            return -1;
        });
        EXPECT_EQ(pipe.deinit(), 0);
    }
    EXPECT_EQ(calls, 2);
    EXPECT_FALSE(pipe.isConnected());
    EXPECT_EQ(pipe.getReadEndPointID(), -1);
    EXPECT_EQ(pipe.getWriteEndPointID(), -1);
}

TEST_F(ZTPipeTest, CanBeOpenedAgainAndAgain)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(pipe.deinit(), 0);
        EXPECT_EQ(pipe.reconnect(), 0);
        EXPECT_EQ(pipe.writeIntoPipe("abc", 3), 0);
        EXPECT_EQ(pipe.readFromPipe(buffer, 3), 0);
        EXPECT_STREQ(buffer, "abc");
    }
}

TEST_F(ZTPipeTest, WhatIsWrittenIsRead)
{
    EXPECT_EQ(constPipe.writeIntoPipe("0123456789", 10), 0);
    EXPECT_EQ(pipe.readFromPipe(buffer, 4), 0);
    EXPECT_STREQ(buffer, "0123");
    EXPECT_EQ(pipe.readFromPipe(buffer, 6), 0);
    EXPECT_STREQ(buffer, "456789");
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

TEST_F(ZTPipeTest, TellsHowManyBytesAreThere)
{
    EXPECT_EQ(constPipe.getNoOfBytesAvailable(), 0);
    EXPECT_FALSE(constPipe.isReadable());
    pipe.writeIntoPipe("0123456789", 10);
    EXPECT_EQ(constPipe.getNoOfBytesAvailable(), 10);
    EXPECT_TRUE(constPipe.isReadable());
    pipe.readFromPipe(buffer, 10);
    EXPECT_EQ(constPipe.getNoOfBytesAvailable(), 0);
    EXPECT_FALSE(constPipe.isReadable());
}

TEST_F(ZTPipeTest, IsReadableAsksSelectForTheReadDescriptorAloneWithoutWaiting)
{
    const Interpose recorder(interposed::select, [this](int count, fd_set* in, fd_set* out,
                                                        fd_set* except, timeval* timeout) {
        EXPECT_EQ(count, pipe.getReadEndPointID() + 1);
        for (int descriptor = 0; descriptor < count; ++descriptor) {
            EXPECT_EQ(FD_ISSET(descriptor, in), descriptor == pipe.getReadEndPointID());
        }
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(except, nullptr);
        EXPECT_EQ(timeout->tv_sec, 0);
        EXPECT_EQ(timeout->tv_usec, 0);
        return 1;
    });
    EXPECT_TRUE(pipe.isReadable());
}

TEST_F(ZTPipeTest, IsNotReadableWhenSelectFails)
{
    const Interpose failing(interposed::select, [](auto...) {
        errno = EINTR;
        return -1;
    });
    EXPECT_FALSE(pipe.isReadable());
}

TEST_F(ZTPipeTest, IsNotReadableWhenSelectLeavesItsDescriptorOut)
{
    const Interpose empty(interposed::select, [](int, fd_set* in, fd_set*, fd_set*, timeval*) {
        FD_ZERO(in);
        return 1;
    });
    EXPECT_FALSE(pipe.isReadable());
}

TEST_F(ZTPipeTest, ReadingWithoutABufferOrALengthReturns20AndTouchesNothing)
{
    pipe.writeIntoPipe("abc", 3);
    EXPECT_EQ(pipe.readFromPipe(nullptr, 3), 20);
    EXPECT_EQ(pipe.readFromPipe(buffer, 0), 20);
    EXPECT_EQ(pipe.readFromPipe(buffer, -1), 20);
    const Line line{1, SECTION,
                    "no data available to read from the read End Pint with ID :   " +
                        idOf(pipe.getReadEndPointID())};
    EXPECT_THAT(diagnostics.take(), ElementsAre(line, line, line));
    EXPECT_EQ(pipe.getNoOfBytesAvailable(), 3);
}

TEST_F(ZTPipeTest, WritingWithoutABufferOrALengthReturns20AndTouchesNothing)
{
    EXPECT_EQ(pipe.writeIntoPipe(nullptr, 3), 20);
    EXPECT_EQ(pipe.writeIntoPipe("x", 0), 20);
    EXPECT_EQ(pipe.writeIntoPipe("x", -1), 20);
    const Line line{1, SECTION,
                    "ZTPipe::writeIntoPipe no data available to write into the pipe or the pipe is "
                    "uninitialized at write end point id " +
                        idOf(pipe.getWriteEndPointID())};
    EXPECT_THAT(diagnostics.take(), ElementsAre(line, line, line));
    EXPECT_EQ(pipe.getNoOfBytesAvailable(), 0);
}

TEST_F(ZTPipeTest, AShortReadReturns5AndKeepsWhatItRead)
{
    pipe.writeIntoPipe("012345678", 9);
    EXPECT_EQ(pipe.readFromPipe(buffer, 10), 5);
    EXPECT_STREQ(buffer, "012345678");
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{1, SECTION,
                                 "failed to read requested no of bytes from the pipe, No of bytes "
                                 "requested:  10 , Bytes actually read:  9 , read end ID:  " +
                                     idOf(pipe.getReadEndPointID())}));
    EXPECT_EQ(pipe.getNoOfBytesAvailable(), 0) << "the bytes are not given back";
}

TEST_F(ZTPipeTest, TheEndOfFileReturns5AndLeavesThePipeConnected)
{
    close(pipe.getWriteEndPointID());
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(null, pipe.getWriteEndPointID()) << "so that deinit() closes what is the test's";
    EXPECT_TRUE(pipe.isReadable());
    EXPECT_EQ(pipe.readFromPipe(buffer, 1), 5);
    EXPECT_THAT(
        diagnostics.take(),
        ElementsAre(Line{1, SECTION,
                         "cannot read from the pipe as end of file reached , Read end ID :  " +
                             idOf(pipe.getReadEndPointID())}));
    EXPECT_TRUE(pipe.isConnected());
}

TEST_F(ZTPipeTest, AFailedReadReturns5AndIsNotRepeated)
{
    int reads = 0;
    {
        const Interpose failing(interposed::read, [&](int descriptor, void*, size_t size) {
            ++reads;
            EXPECT_EQ(descriptor, pipe.getReadEndPointID());
            EXPECT_EQ(size, 7U);
            errno = EINTR;
            return -1;
        });
        EXPECT_EQ(pipe.readFromPipe(buffer, 7), 5);
    }
    EXPECT_EQ(reads, 1);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{1, SECTION,
                                 "failed to read from the pipe , read end ID : " +
                                     idOf(pipe.getReadEndPointID())}));
}

TEST_F(ZTPipeTest, AFailedWriteReturns6AndIsNotRepeated)
{
    int writes = 0;
    {
        const Interpose failing(interposed::write, [&](int descriptor, const void*, size_t size) {
            ++writes;
            EXPECT_EQ(descriptor, pipe.getWriteEndPointID());
            EXPECT_EQ(size, 2U);
            errno = EINTR;
            return -1;
        });
        EXPECT_EQ(pipe.writeIntoPipe("ab", 2), 6);
    }
    EXPECT_EQ(writes, 1);
    EXPECT_THAT(diagnostics.take(), ElementsAre(Line{1, SECTION,
                                                     "ZTPipe::writeIntoPipe failed " +
                                                         idOf(pipe.getWriteEndPointID())}));
}

TEST_F(ZTPipeTest, AShortWriteReturns6AndIsNotRepeated)
{
    {
        const Interpose partial(interposed::write, [](int descriptor, const void* data, size_t) {
            return interposed::write.real(descriptor, data, 4);
        });
        EXPECT_EQ(pipe.writeIntoPipe("abcde", 5), 6);
    }
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{1, SECTION,
                                 "ZTPipe::writeIntoPipe failed " + idOf(pipe.getWriteEndPointID()) +
                                     " bytes to write 5 bytes written 4"}));
    EXPECT_EQ(pipe.getNoOfBytesAvailable(), 4);
}

TEST_F(ZTPipeTest, AWriteIsTracedBeforeAndAfterWithTheTickCount)
{
    Diagnostics traces(4);
    const FixedTick lastBeforeTheWrap(4294967295U);
    const std::string id = idOf(pipe.getWriteEndPointID());
    EXPECT_EQ(pipe.writeIntoPipe("abc", 3), 0);
    EXPECT_THAT(
        traces.take(),
        ElementsAre(Line{4, SECTION,
                         "ZTPipe::writeIntoPipe [4294967295] bytes to write 3 to Endpoint " + id},
                    Line{4, SECTION,
                         "ZTPipe::writeIntoPipe [4294967295] bytes written 3 to Endpoint " + id}));
    EXPECT_EQ(pipe.writeIntoPipe(nullptr, -5), 20);
    EXPECT_THAT(
        traces.take(),
        testing::Contains(Line{
            4, SECTION, "ZTPipe::writeIntoPipe [4294967295] bytes to write -5 to Endpoint " + id}));
}

TEST_F(ZTPipeTest, OneThreadWritesWhileAnotherReads)
{
    const int rounds = 2000;
    std::thread writer([this] {
        for (int i = 0; i < rounds; ++i) {
            EXPECT_EQ(pipe.writeIntoPipe(&i, sizeof i), 0);
        }
    });
    for (int i = 0; i < rounds; ++i) {
        int received = -1;
        EXPECT_EQ(pipe.readFromPipe(&received, sizeof received), 0);
        EXPECT_EQ(received, i);
    }
    writer.join();
}

TEST_F(ZTPipeTest, WritingWithoutAReaderRaisesSIGPIPE)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    signal(SIGPIPE, SIG_IGN);
    close(pipe.getReadEndPointID());
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(null, pipe.getReadEndPointID());
    EXPECT_EQ(pipe.writeIntoPipe("x", 1), 6);
    EXPECT_EXIT(
        {
            signal(SIGPIPE, SIG_DFL);
            pipe.writeIntoPipe("x", 1);
        },
        testing::KilledBySignal(SIGPIPE), "");
}

TEST(ZTPipe, WorksWithDescriptorsBeyondTheSizeOfAnFdSet)
{
    SKIP_WHERE_SELECT_IS_EMULATED();
    const HighDescriptors used;
    Diagnostics diagnostics;
    ZTPipe pipe;
    ASSERT_EQ(pipe.init(), 0);
    ASSERT_GE(pipe.getReadEndPointID(), FD_SETSIZE);
    EXPECT_FALSE(pipe.isReadable());
    EXPECT_EQ(pipe.writeIntoPipe("x", 1), 0);
    EXPECT_TRUE(pipe.isReadable());
}
