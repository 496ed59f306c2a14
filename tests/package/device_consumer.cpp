// A test of a project that knows the test kit only as it is installed.

#include "ztsim/Device.h"

#include <gtest/gtest.h>

namespace {

TEST(InstalledDevice, IsInTheStateOfTheOptions)
{
    EXPECT_EQ(ztsim::Device().powerState(), 2U);
}

} // namespace
