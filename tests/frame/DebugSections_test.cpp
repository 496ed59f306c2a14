#include "RecordingUtility.h"
#include "zt/ZTFileHandling.h"
#include "zt/ZTIPCServer.h"
#include "zt/ZTPipe.h"
#include "zt/ZTPowerManagementInterfaceR7.h"
#include "zt/ZTSocket.h"
#include "zt/ZTSocketMessage.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

// Constructed before main: the class-wide sections must be there already.
const ZT::ZTPipe earlyPipe;

std::vector<std::string> firstFour()
{
    const auto& all = recordedSections();
    EXPECT_GE(all.size(), 4U);
    return {all.begin(), all.begin() + 4};
}

unsigned int keyOf(const std::string& section)
{
    const auto sections = firstFour();
    return static_cast<unsigned int>(
        100 + (std::find(sections.begin(), sections.end(), section) - sections.begin()));
}

} // namespace

TEST(DebugSections, LoadingRegistersTheClassWideSectionsOnceEachBeforeAnyConstructor)
{
    EXPECT_THAT(firstFour(), UnorderedElementsAre("zt_ipc_endpoint", "zt_ipc_server",
                                                  "zt_power_management", "zt_socket_linux"));
    EXPECT_THAT(std::vector<std::string>(recordedSections().begin() + 4, recordedSections().end()),
                ElementsAre("zt_pipe"));
}

TEST(DebugSections, TheClassesKeepTheirKeys)
{
    EXPECT_EQ(ZT::ZTIPCEndPoint::debugSection, keyOf("zt_ipc_endpoint"));
    EXPECT_EQ(ZT::ZTIPCServer::debugSection, keyOf("zt_ipc_server"));
    EXPECT_EQ(ZT::ZTPowerManagement::debugSection, keyOf("zt_power_management"));
    EXPECT_EQ(ZT::ZTSocket::myDebugKey, keyOf("zt_socket_linux"));
}

TEST(DebugSections, EveryPipeRegistersItsSection)
{
    const auto before = recordedSections().size();
    const ZT::ZTPipe first;
    const ZT::ZTPipe second;
    EXPECT_THAT(std::vector<std::string>(recordedSections().end() - 2, recordedSections().end()),
                ElementsAre("zt_pipe", "zt_pipe"));
    EXPECT_EQ(recordedSections().size(), before + 2);
}

TEST(DebugSections, EveryFileHandlingRegistersItsSectionAndKeepsTheKey)
{
    const auto before = recordedSections().size();
    const ZT::ZTFileHandling first;
    const ZT::ZTFileHandling second;
    EXPECT_THAT(std::vector<std::string>(recordedSections().end() - 2, recordedSections().end()),
                ElementsAre("zt_copy_thread", "zt_copy_thread"));
    EXPECT_EQ(first.getDebugSection(), 100 + before);
    EXPECT_EQ(second.getDebugSection(), 100 + before + 1);
}

TEST(DebugSections, OnEndPointReadableReturnsWhatPrintingReturnedAfterAShortRead)
{
    ZT::ZTPowerManagementInterfaceR7 power;
    ZT::ZTPowerManagementEndPoint closedToo;
    EXPECT_EQ(power.onEndPointReadable(&closedToo, nullptr), 77);
    EXPECT_EQ(recordedLines().back(), "%s | Socket was not opened!");
}

TEST(DebugSections, AFixedMessageIsAnArgumentAndNoFormat)
{
    ZT::ZTPowerManagementInterfaceR7 power;
    EXPECT_EQ(power.setPowerState(ZT::STATE_SILENT_ON), 20);
    EXPECT_EQ(recordedLines().back(), "%s | Can't change into silent on mode via API!");
    ZT::ZTPipe().deinit();
    EXPECT_EQ(recordedLines().back(), "%s | pipe already deinitialized");
    ZT::ZTFileHandling().stop();
    EXPECT_EQ(recordedLines().back(), "%s | ZTFileHandling::stop");
}

TEST(DebugSections, EveryCopyOfASocketMessageAsksForTheKeyOfItsTraceAnew)
{
    EXPECT_THAT(recordedLookups(), IsEmpty());
    const ZT::ZTSocketMessage original;
    const ZT::ZTSocketMessage copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(recordedLines().back(), "%s | ZTSocketMessage::ZTSocketMessage CopyCon");
    EXPECT_EQ(recordedKeys().back(), 1000U);
    ZT::ZTSocketMessage assigned;
    assigned = original;
    EXPECT_EQ(recordedLines().back(), "%s | ZTSocketMessage::ZTSocketMessage op=");
    EXPECT_EQ(recordedKeys().back(), 1001U);
    EXPECT_THAT(recordedLookups(), ElementsAre("zt_socket_linux", "zt_socket_linux"));
}
