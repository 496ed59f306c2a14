#include "zt/ZTSocket.h"

#include "FedSocket.h"
#include "RecordBytes.h"
#include "support/Diagnostics.h"
#include "support/Layout.h"
#include "zt/ZTSocketMessage.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace ZT;

namespace {

const std::optional<std::string> NOTHING;

const std::string A = shortRecord(1);
const std::string B = shortRecord(2);
const std::string C = shortRecord(3);

const int UNCHANGED = -99;

std::string junk(std::size_t size)
{
    return std::string(size, 'j');
}

class ZTSocketTest : public testing::Test {
protected:
    // The record that comes after these reads, each of which but the last yields nothing.
    std::optional<std::string> nextAfter(const std::deque<std::string>& reads)
    {
        for (std::size_t i = 0; i + 1 < reads.size(); ++i) {
            EXPECT_EQ(read(reads[i]), NOTHING);
            EXPECT_EQ(socket.status, UNCHANGED);
        }
        return read(reads.back());
    }

    std::optional<std::string> read(const std::string& bytes)
    {
        socket.reads.push_back(bytes);
        return socket.next();
    }

    // The status that a read with this result and error gives, after some call failed.
    int statusOf(int answer, int error, int errorBefore = 0)
    {
        socket.answer = answer;
        socket.error = error;
        errno = errorBefore;
        EXPECT_EQ(socket.next(), NOTHING);
        return socket.status;
    }

    FedSocket socket;
};

class SendingSocket : public ZTSocketLinux {
public:
    using ZTSocketLinux::sendSocketData;

    int sendSocketData(unsigned int id, int* buffer, unsigned int length) override
    {
        EXPECT_EQ(id, 9U);
        sent.emplace_back(reinterpret_cast<char*>(buffer), length);
        return 11;
    }

    std::vector<std::string> sent;
};

class SizedMessage : public ZTSocketMessage {
public:
    explicit SizedMessage(unsigned int size) : size(size) {}

    unsigned int calculateBufferSize() override { return size; }

private:
    unsigned int size;
};

} // namespace

TEST_F(ZTSocketTest, ReadsUpTo1500BytesFromTheIdentifier)
{
    EXPECT_EQ(read(A), A);
    EXPECT_EQ(socket.status, 0);
    EXPECT_EQ(socket.askedID, 77U);
    EXPECT_EQ(socket.askedLength, 1500U);
}

TEST_F(ZTSocketTest, OfTwoRecordsInOneReadTheSecondComesWithoutReading)
{
    EXPECT_EQ(read(A + B), A);
    EXPECT_EQ(socket.status, 0);
    socket.status = UNCHANGED;
    EXPECT_EQ(socket.next(), B);
    EXPECT_EQ(socket.status, 0);
    EXPECT_EQ(socket.received, 1);
}

TEST_F(ZTSocketTest, ARecordInTwoReadsComesWithTheSecondAndTheFirstLeavesTheStatus)
{
    EXPECT_EQ(read(A.substr(0, 10)), NOTHING);
    EXPECT_EQ(socket.status, UNCHANGED);
    EXPECT_EQ(read(A.substr(10)), A);
    EXPECT_EQ(socket.status, 0);
}

TEST_F(ZTSocketTest, ARecordMayBeCutAnywhereButBehindItsMarker)
{
    for (std::size_t cut = 1; cut < 28; ++cut) {
        if (cut != 15) {
            EXPECT_EQ(nextAfter({A.substr(0, cut), A.substr(cut)}), A) << cut;
            socket.status = UNCHANGED;
        }
    }
}

TEST_F(ZTSocketTest, ARecordMayComeByteByByteOnceItsMarkerIsThere)
{
    std::deque<std::string> reads = {record(junk(2000)).substr(0, 16)};
    for (const char byte : record(junk(2000)).substr(16)) {
        reads.emplace_back(1, byte);
    }
    EXPECT_EQ(nextAfter(reads), record(junk(2000)));
    EXPECT_EQ(socket.held(), "");
}

TEST_F(ZTSocketTest, ARecordThatComesByteByByteFromItsFirstIsLost)
{
    std::deque<std::string> reads;
    for (const char byte : A) {
        reads.emplace_back(1, byte);
    }
    EXPECT_EQ(nextAfter(reads), NOTHING);
    EXPECT_EQ(socket.held(), A.substr(15));
}

TEST_F(ZTSocketTest, ARecordMayBeOfAnySizeFrom19)
{
    for (const std::size_t size : {19U, 20U, 27U, 28U, 29U, 1499U, 1500U}) {
        EXPECT_EQ(read(record(junk(size - 19))), record(junk(size - 19)));
    }
    socket.status = UNCHANGED;
    const std::string large = record(junk(3000));
    EXPECT_EQ(nextAfter({large.substr(0, 1500), large.substr(1500, 1500), large.substr(3000)}),
              large);
}

TEST_F(ZTSocketTest, ExactlyFifteenBytesAreDropped)
{
    EXPECT_EQ(read(A.substr(0, 15)), NOTHING);
    EXPECT_EQ(socket.status, UNCHANGED);
    EXPECT_EQ(socket.held(), "");
}

TEST_F(ZTSocketTest, FifteenBytesAreDroppedTogetherWithTheFewThatWereHeld)
{
    EXPECT_EQ(nextAfter({A.substr(0, 7), A.substr(7, 8)}), NOTHING);
    EXPECT_EQ(socket.held(), "");
}

TEST_F(ZTSocketTest, FewerThanFifteenBytesAreHeldWhateverTheyAre)
{
    for (std::size_t size = 1; size < 15; ++size) {
        FedSocket fresh;
        fresh.reads = {junk(size)};
        EXPECT_EQ(fresh.next(), NOTHING);
        EXPECT_EQ(fresh.held(), junk(size));
    }
    EXPECT_EQ(nextAfter({junk(5), A.substr(0, 5), A.substr(5)}), A);
    EXPECT_EQ(socket.held(), "");
}

TEST_F(ZTSocketTest, AMarkerIsHeldUntilItsLengthIsThere)
{
    for (std::size_t size = 16; size < 28; ++size) {
        EXPECT_EQ(read(junk(3) + A.substr(0, size)), NOTHING);
        EXPECT_EQ(socket.held(), A.substr(0, size));
        EXPECT_EQ(read(A.substr(size)), A);
        EXPECT_EQ(socket.held(), "");
    }
}

TEST_F(ZTSocketTest, WhatFollowsARecordIsHeldUnlessItIsExactlyFifteenBytes)
{
    for (std::size_t size = 1; size < 28; ++size) {
        FedSocket fresh;
        fresh.reads = {A + B.substr(0, size)};
        EXPECT_EQ(fresh.next(), A);
        EXPECT_EQ(fresh.held(), size == 15 ? "" : B.substr(0, size));
    }
}

TEST_F(ZTSocketTest, BytesBehindARecordThatAreNoMarkerAreDroppedFromFifteenOn)
{
    EXPECT_EQ(read(A + junk(14)), A);
    EXPECT_EQ(socket.held(), junk(14));
    EXPECT_EQ(read(B + junk(15)), B);
    EXPECT_EQ(socket.held(), junk(14)) << "nothing takes its place";
    EXPECT_EQ(read(C + junk(16)), C);
    EXPECT_EQ(socket.held(), junk(14));
}

TEST_F(ZTSocketTest, BytesBeforeAMarkerAreDropped)
{
    EXPECT_EQ(read(junk(100) + A + junk(100) + B), A);
    EXPECT_EQ(socket.next(), B);
    EXPECT_EQ(read("Z" + C), C);
    EXPECT_EQ(read("ZTSOCKETMESSAG" + C), C);
    EXPECT_EQ(socket.held(), "");
}

TEST_F(ZTSocketTest, TheLastFifteenBytesAreDroppedEvenIfTheyAreAMarker)
{
    EXPECT_EQ(read(junk(10) + A.substr(0, 15)), NOTHING);
    EXPECT_EQ(socket.held(), "");
    EXPECT_EQ(read(junk(10) + A.substr(0, 7)), NOTHING);
    EXPECT_EQ(socket.held(), "");
    EXPECT_EQ(read(junk(1500)), NOTHING);
    EXPECT_EQ(socket.held(), "");
}

TEST_F(ZTSocketTest, AReadThatBeginsWithTheMarkerIsNotJoinedAndWhatIsHeldStaysHeld)
{
    EXPECT_EQ(nextAfter({A.substr(0, 20), B}), B);
    EXPECT_EQ(socket.held(), A.substr(0, 20));
    EXPECT_EQ(read(C.substr(0, 15)), NOTHING) << "a marker alone";
    EXPECT_EQ(socket.held(), A.substr(0, 20));
    EXPECT_EQ(read(A.substr(20)), A);
    EXPECT_EQ(socket.held(), "");
}

TEST_F(ZTSocketTest, AnIncompleteRecordTakesThePlaceOfWhatIsHeld)
{
    EXPECT_EQ(nextAfter({A.substr(0, 20), B.substr(0, 17)}), NOTHING);
    EXPECT_EQ(socket.held(), B.substr(0, 17)) << "without its length";
    EXPECT_EQ(read(C.substr(0, 22)), NOTHING);
    EXPECT_EQ(socket.held(), C.substr(0, 22)) << "without its end";
    EXPECT_EQ(read(A + "ab"), A);
    EXPECT_EQ(socket.held(), "ab") << "behind a record";
}

TEST_F(ZTSocketTest, WhatFollowsTheMissingPartOfARecordIsScanned)
{
    EXPECT_EQ(nextAfter({A.substr(0, 20), A.substr(20) + B + C.substr(0, 19)}), A);
    EXPECT_EQ(socket.next(), B);
    EXPECT_EQ(socket.held(), C.substr(0, 19));
    EXPECT_EQ(read(C.substr(19)), C);
}

TEST_F(ZTSocketTest, ALengthOf0OrOneThatNeverComesStallsTheStreamAtItsMarker)
{
    for (const std::uint32_t length : {0U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        FedSocket fresh;
        fresh.reads = {junk(5) + head(length) + "x" + A, "y" + B, C, "z" + A};
        EXPECT_EQ(fresh.next(), NOTHING);
        std::string held = head(length) + "x" + A;
        EXPECT_EQ(fresh.held(), held);
        EXPECT_EQ(fresh.next(), NOTHING);
        held.append("y").append(B);
        EXPECT_EQ(fresh.held(), held);
        EXPECT_EQ(fresh.next(), C);
        EXPECT_EQ(fresh.next(), NOTHING);
        held.append("z").append(A);
        EXPECT_EQ(fresh.held(), held);
    }
}

TEST_F(ZTSocketTest, ALengthTakesNoMemoryBeforeItsBytesHaveCome)
{
    EXPECT_EQ(read(head(0xffffffff) + "x"), NOTHING);
    EXPECT_LE(socket.heldIn(), 4096U + 16U);
    for (int reads = 0; reads < 10; ++reads) {
        EXPECT_EQ(read(junk(1500)), NOTHING);
        EXPECT_LE(socket.heldIn(), 4 * socket.held().size() + 16U);
    }
}

TEST_F(ZTSocketTest, ALengthThatEndsOneByteTooLateIsIncomplete)
{
    EXPECT_EQ(nextAfter({head(21) + "a", "b"}), head(21) + "ab");
}

TEST_F(ZTSocketTest, ARecordShorterThanItsHeadIsCutOffAndCanBeReadAsAMessage)
{
    for (std::uint32_t length = 1; length < 19; ++length) {
        socket.reads = {head(length) + junk(9)};
        const std::unique_ptr<char[]> bytes(socket.getNextSocketBuffer(socket.status, 77));
        ASSERT_NE(bytes, nullptr);
        EXPECT_EQ(std::string(bytes.get(), 28),
                  head(length).substr(0, length) + std::string(28 - length, '\0'));
        EXPECT_EQ(ZTSocketMessage(bytes.get()).messageType, 0U);
    }
}

TEST_F(ZTSocketTest, ARecordOf20To27BytesInTwoReadsCanBeReadAsAMessageToo)
{
    for (std::size_t size = 20; size < 28; ++size) {
        const std::string bytes = record(junk(size - 19));
        EXPECT_EQ(read(bytes.substr(0, 19)), NOTHING);
        socket.reads = {bytes.substr(19)};
        const std::unique_ptr<char[]> array(socket.getNextSocketBuffer(socket.status, 77));
        ASSERT_NE(array, nullptr);
        EXPECT_EQ(std::string(array.get(), 28), bytes + std::string(28 - size, '\0'));
        EXPECT_EQ(ZTSocketMessage(array.get()).messageLength, size);
    }
}

TEST_F(ZTSocketTest, ScanningGoesOnBehindAShortRecord)
{
    socket.reads = {head(3) + A};
    const std::unique_ptr<char[]> bytes(socket.getNextSocketBuffer(socket.status, 77));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes.get(), 4), std::string("ZTS\0", 4));
    EXPECT_EQ(socket.next(), A);
}

TEST_F(ZTSocketTest, ARecordComesInAnArrayOfItsLength)
{
    socket.reads = {record(junk(1481))};
    const std::unique_ptr<char[]> bytes(socket.getNextSocketBuffer(socket.status, 77));
    ASSERT_NE(bytes, nullptr);
    EXPECT_LE(malloc_usable_size(bytes.get()), 1500U + 16U);
}

TEST_F(ZTSocketTest, NothingMoreToReceiveGives17)
{
    EXPECT_EQ(statusOf(-1, EAGAIN), 17);
}

TEST_F(ZTSocketTest, AFailureGives4)
{
    EXPECT_EQ(statusOf(-1, ECONNRESET), 4);
    EXPECT_EQ(statusOf(-7, EINTR), 4);
    EXPECT_EQ(socket.received, 2) << "it is not repeated";
}

TEST_F(ZTSocketTest, AClosedPeerGives14)
{
    EXPECT_EQ(statusOf(0, 0), 14);
}

TEST_F(ZTSocketTest, AnOldEAGAINIsForgotten)
{
    EXPECT_EQ(statusOf(0, 0, EAGAIN), 14);
    EXPECT_EQ(statusOf(-1, 0, EAGAIN), 4);
}

TEST_F(ZTSocketTest, EAGAINGives17WhateverReceivingReturns)
{
    EXPECT_EQ(statusOf(0, EAGAIN), 17);
}

TEST_F(ZTSocketTest, WhatIsHeldOutlastsAFailure)
{
    EXPECT_EQ(read(A.substr(0, 20)), NOTHING);
    EXPECT_EQ(statusOf(-1, EAGAIN), 17);
    EXPECT_EQ(statusOf(0, 0), 14);
    EXPECT_EQ(socket.held(), A.substr(0, 20));
    EXPECT_EQ(read(A.substr(20)), A);
}

TEST(ZTSocket, AnIdentifierBelow1MeansTheOwnSocket)
{
    class OwnSocket : public ZTSocketLinux {
    public:
        using ZTSocketLinux::receiveSocketData;

        int receiveSocketData(char*& buffer) override
        {
            A.copy(buffer, A.size());
            return static_cast<int>(A.size());
        }

        int receiveSocketData(unsigned int, char*&) override
        {
            ADD_FAILURE();
            return -1;
        }
    } socket;
    for (const int id : {0, -1}) {
        int status = UNCHANGED;
        const std::unique_ptr<char[]> bytes(socket.getNextSocketBuffer(status, id));
        ASSERT_NE(bytes, nullptr);
        EXPECT_EQ(std::string(bytes.get(), 28), A);
        EXPECT_EQ(status, 0);
    }
}

TEST(ZTSocket, AnIdentifierFrom1OnIsReadThroughTheVirtualForm)
{
    class OtherSocket : public ZTSocketLinux {
    public:
        using ZTSocketLinux::receiveSocketData;

        int receiveSocketData(unsigned int id, char*& buffer) override
        {
            EXPECT_EQ(id, 1U);
            EXPECT_EQ(std::string(buffer, 1500), std::string(1500, '\0'));
            A.copy(buffer, A.size());
            return static_cast<int>(A.size());
        }
    } socket;
    int status = UNCHANGED;
    const std::unique_ptr<char[]> bytes(socket.getNextSocketBuffer(status, 1));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes.get(), 28), A);
}

TEST_F(ZTSocketTest, ReceiveSocketDataFillsTheCallersBuffer)
{
    char buffer[1500] = {'?', '?', '?', '?'};
    char* bytes = buffer;
    socket.reads = {"abc"};
    EXPECT_EQ(socket.receiveSocketData(5, bytes), 3);
    EXPECT_EQ(bytes, buffer);
    EXPECT_STREQ(buffer, "abc?");
    EXPECT_EQ(socket.askedID, 5U);
    EXPECT_EQ(socket.askedLength, 1500U);
    for (const int answer : {0, -1, -7}) {
        socket.answer = answer;
        EXPECT_EQ(socket.receiveSocketData(5, bytes), answer);
        EXPECT_STREQ(buffer, "abc?");
    }
}

// The largest part of a record that is held, of one that says it has `length` bytes. It trickles in
// with more than 44000 reads: copying what is held with each would take longer than a test may.
const std::size_t LARGEST_PART = 67108864;

void feedLargestPart(FedSocket& socket, std::uint32_t length)
{
    Diagnostics diagnostics;
    socket.reads = {head(length)};
    EXPECT_EQ(socket.next(), NOTHING);
    std::size_t rest = LARGEST_PART - 19;
    while (rest > 0) {
        const std::size_t size = std::min<std::size_t>(rest, 1500);
        socket.reads = {junk(size)};
        EXPECT_EQ(socket.next(), NOTHING);
        rest -= size;
    }
    EXPECT_EQ(socket.status, UNCHANGED);
    EXPECT_TRUE(socket.held() == head(length) + junk(LARGEST_PART - 19));
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

TEST_F(ZTSocketTest, SixtyFourMebibytesAreHeldAndCanBeCompleted)
{
    EXPECT_EQ(ZTSocket::MAX_PARTIAL_SIZE, LARGEST_PART);
    feedLargestPart(socket, LARGEST_PART + 1);
    Diagnostics diagnostics;
    EXPECT_TRUE(read("!") == head(LARGEST_PART + 1) + junk(LARGEST_PART - 19) + "!");
    EXPECT_EQ(socket.held(), "");
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

TEST_F(ZTSocketTest, BeyondSixtyFourMebibytesWhatIsHeldIsDroppedWithALine)
{
    feedLargestPart(socket, LARGEST_PART + 2);
    Diagnostics diagnostics;
    EXPECT_EQ(read("!"), NOTHING);
    EXPECT_EQ(socket.status, UNCHANGED);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{1, "zt_socket_linux",
                                 "ZTSocket::getNextSocketBuffer partial record dropped, 67108865 "
                                 "bytes held"}));
    EXPECT_EQ(socket.held(), "");
    EXPECT_EQ(nextAfter({A.substr(0, 20), A.substr(20)}), A);
}

TEST_F(ZTSocketTest, WhatIsHeldIsDroppedOnTellingItToIfItIsMore)
{
    EXPECT_FALSE(socket.dropPartialAbove(0)) << "nothing is held";
    EXPECT_EQ(read(A.substr(0, 20)), NOTHING);
    Diagnostics diagnostics;
    EXPECT_FALSE(socket.dropPartialAbove(4294967295U));
    EXPECT_FALSE(socket.dropPartialAbove(20));
    EXPECT_EQ(socket.held(), A.substr(0, 20));
    EXPECT_TRUE(socket.dropPartialAbove(19));
    EXPECT_EQ(socket.held(), "");
    EXPECT_FALSE(socket.dropPartialAbove(0));
    EXPECT_THAT(diagnostics.take(), IsEmpty());
    EXPECT_EQ(nextAfter({B.substr(0, 20), B.substr(20)}), B);
}

TEST_F(ZTSocketTest, APeerCanBeHeldToTheLargestRecordThatIsExpected)
{
    const auto isDropped = [this](const std::string& bytes) {
        bool dropped = false;
        for (std::size_t position = 0; position < bytes.size(); position += 1000) {
            socket.reads = {bytes.substr(position, 1000)};
            socket.next();
            dropped |= socket.dropPartialAbove(5019);
        }
        return dropped;
    };
    EXPECT_FALSE(isDropped(record(junk(5000))));
    EXPECT_EQ(socket.status, 0);
    EXPECT_FALSE(isDropped(head(5021) + junk(5000)));
    EXPECT_EQ(socket.held().size(), 5019U);
    EXPECT_TRUE(isDropped("x"));
    EXPECT_EQ(socket.held(), "");
}

TEST_F(ZTSocketTest, RecordsThatWaitAreNotDropped)
{
    EXPECT_EQ(read(A + B + C.substr(0, 20)), A);
    EXPECT_TRUE(socket.dropPartialAbove(0));
    EXPECT_EQ(socket.next(), B);
    EXPECT_EQ(read(C), C);
}

TEST(ZTSocket, SendingAMessageSendsItsRecordWithOneCall)
{
    SendingSocket socket;
    ZTSocketMessage message;
    SizedMessage larger(32);
    EXPECT_EQ(socket.sendSocketData(9, &message), 11);
    EXPECT_EQ(socket.sendSocketData(9, &larger), 11);
    EXPECT_THAT(socket.sent, ElementsAre(shortRecord(200), head(32) + shortRecord(200).substr(19) +
                                                               std::string(4, '\0')));
}

TEST(ZTSocket, AMessageThatSaysItIsShorterThan28BytesIsSentCutOff)
{
    SendingSocket socket;
    SizedMessage smaller(20);
    EXPECT_EQ(socket.sendSocketData(9, &smaller), 11);
    EXPECT_THAT(socket.sent, ElementsAre(head(20) + shortRecord(200).substr(19, 1)));
}

TEST(ZTSocket, WhatAMessageDoesNotFillIsSentAsZeros)
{
    class Lazy : public ZTSocketMessage {
    public:
        int fillBuffer(char*) override { return 28; }
    } message;
    SendingSocket socket;
    EXPECT_EQ(socket.sendSocketData(9, &message), 11);
    EXPECT_THAT(socket.sent, ElementsAre(std::string(28, '\0')));
}

TEST(ZTSocket, ItsDestructorLeavesWhatWasNotFetched)
{
    class OneRead : public ZTSocketLinux {
    public:
        int receiveSocketData(char*& buffer) override
        {
            const std::string bytes = A + B + C.substr(0, 20);
            bytes.copy(buffer, bytes.size());
            return static_cast<int>(bytes.size());
        }
    };
    auto socket = std::make_unique<OneRead>();
    int status = UNCHANGED;
    delete[] socket->getNextSocketBuffer(status, 0);

    const char* fields = reinterpret_cast<const char*>(socket.get()) + sizeof(void*);
    using Queue = std::deque<char*>;
    const auto& queue = *reinterpret_cast<const Queue*>(fields);
    ASSERT_EQ(queue.size(), 1U);
    const std::unique_ptr<char[]> queued(queue.front());
    const std::unique_ptr<char[]> held(fieldAt<char*>(fields, sizeof(Queue)));
    socket.reset();
    EXPECT_EQ(std::string(queued.get(), 28), B);
    EXPECT_EQ(std::string(held.get(), 20), C.substr(0, 20));
}
