#include "zt/ZTSignal.h"

#include <gtest/gtest.h>

using ZT::ZTEvent;
using ZT::ZTSignal;
using ZT::ZTTrigger;

TEST(ZTSignal, StartsWithAllFieldsZero)
{
    const ZTSignal signal;
    EXPECT_EQ(signal.getCategory(), 0U);
    EXPECT_EQ(signal.getEventID(), 0U);
    EXPECT_EQ(signal.getTimestamp(), 0U);
    EXPECT_EQ(signal.getData1(), 0U);
    EXPECT_EQ(signal.getData2(), 0U);
    EXPECT_EQ(signal.getValue(), 0U);
    EXPECT_EQ(signal.getState(), 0);
    EXPECT_EQ(signal.getTriggerData(), 0U);
    EXPECT_EQ(signal.getSignalData1(), 0U);
    EXPECT_EQ(signal.getSignalData2(), 0U);
}

TEST(ZTSignal, KeepsEveryFieldAndCopies)
{
    ZTSignal signal;
    signal.setCategory(1);
    signal.setEventID(2);
    signal.setTimestamp(4294967295U);
    signal.setData1(0x100000003);
    signal.setData2(0x100000004);
    signal.setValue(4294967294U);
    signal.setState(-5);
    signal.setTriggerData(6);
    signal.setSignalData1(0x100000007);
    signal.setSignalData2(0x100000008);
    const ZTSignal copy(signal);
    EXPECT_EQ(copy.getCategory(), 1U);
    EXPECT_EQ(copy.getEventID(), 2U);
    EXPECT_EQ(copy.getTimestamp(), 4294967295U);
    EXPECT_EQ(copy.getData1(), 0x100000003U);
    EXPECT_EQ(copy.getData2(), 0x100000004U);
    EXPECT_EQ(copy.getValue(), 4294967294U);
    EXPECT_EQ(copy.getState(), -5);
    EXPECT_EQ(copy.getTriggerData(), 6U);
    EXPECT_EQ(copy.getSignalData1(), 0x100000007U);
    EXPECT_EQ(copy.getSignalData2(), 0x100000008U);
}

TEST(ZTSignal, HasOneTriggerAndOneEventHoweverItIsDerivedFrom)
{
    struct Left : virtual ZTSignal {};
    struct Right : virtual ZTTrigger {};
    struct Both : Left, Right {};
    Both both;
    static_cast<Right&>(both).setTimestamp(9);
    EXPECT_EQ(static_cast<Left&>(both).getTimestamp(), 9U);
    EXPECT_EQ(static_cast<ZTEvent&>(both).getTimestamp(), 9U);
}

TEST(ZTSignal, ItsConstantsAreTheSystemsNumbers)
{
    EXPECT_EQ(ZT::CATEGORY_POWER_MANAGEMENT, 6U);
    EXPECT_EQ(ZT::EVENT_TIMEOUT, 800U);
    EXPECT_EQ(ZT::EVENT_DEVICE_STATE, 801U);
    EXPECT_EQ(ZT::EVENT_POWER_STATE_1, 802U);
    EXPECT_EQ(ZT::EVENT_POWER_STATE_2, 803U);
    EXPECT_EQ(ZT::EVENT_PROPAGATION_TIME_1, 804U);
    EXPECT_EQ(ZT::EVENT_PROPAGATION_TIME_2, 805U);
}

TEST(ZTSignal, HasOneEventHoweverItsTriggerIsDerivedFrom)
{
    struct Left : virtual ZTTrigger {};
    struct Right : virtual ZTEvent {};
    struct Both : Left, Right {};
    Both both;
    static_cast<Right&>(both).setTimestamp(9);
    EXPECT_EQ(static_cast<Left&>(both).getTimestamp(), 9U);
}
