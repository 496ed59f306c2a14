#include "zt/ZTEnvironmentVariable.h"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace ZT;

TEST(ZTEnvironmentVariable, IsTheValueOfTheVariable)
{
    setenv("ZT_TEST_VARIABLE", "a value = another", 1);
    EXPECT_STREQ(ZTEnvironmentVariable::getEnvironmentVariable("ZT_TEST_VARIABLE"),
                 "a value = another");
    setenv("ZT_TEST_VARIABLE", "changed", 1);
    EXPECT_STREQ(ZTEnvironmentVariable::getEnvironmentVariable("ZT_TEST_VARIABLE"), "changed");
}

TEST(ZTEnvironmentVariable, IsTheEnvironmentsOwnTextAndNoCopy)
{
    setenv("ZT_TEST_VARIABLE", "a value", 1);
    char* value = ZTEnvironmentVariable::getEnvironmentVariable("ZT_TEST_VARIABLE");
    EXPECT_EQ(value, getenv("ZT_TEST_VARIABLE"));
}

TEST(ZTEnvironmentVariable, OfAVariableThatIsNotSetIsNull)
{
    unsetenv("ZT_TEST_VARIABLE");
    EXPECT_EQ(ZTEnvironmentVariable::getEnvironmentVariable("ZT_TEST_VARIABLE"), nullptr);
    EXPECT_EQ(ZTEnvironmentVariable::getEnvironmentVariable(""), nullptr);
    EXPECT_EQ(ZTEnvironmentVariable::getEnvironmentVariable(std::string("PATH\0x", 6)), nullptr);
}

TEST(ZTEnvironmentVariable, OfAnEmptyVariableIsEmpty)
{
    setenv("ZT_TEST_VARIABLE", "", 1);
    EXPECT_STREQ(ZTEnvironmentVariable::getEnvironmentVariable("ZT_TEST_VARIABLE"), "");
}

TEST(ZTEnvironmentVariable, WorksOnAnObjectToo)
{
    setenv("ZT_TEST_VARIABLE", "a value", 1);
    EXPECT_STREQ(ZTEnvironmentVariable().getEnvironmentVariable("ZT_TEST_VARIABLE"), // NOLINT
                 "a value");
}
