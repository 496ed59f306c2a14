#include "ztutil/ZTStringTokenizer.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using ZT::ZTStringTokenizer;

TEST(ZTStringTokenizer, ThePiecesComeInOrder)
{
    EXPECT_THAT(ZTStringTokenizer::tokenize("usb,can,wifi", ","),
                ElementsAre("usb", "can", "wifi"));
}

TEST(ZTStringTokenizer, ADelimiterMaySpanCharactersAndCountsAsAWhole)
{
    EXPECT_THAT(ZTStringTokenizer::tokenize("a:b::c:::d", "::"), ElementsAre("a:b", "c", ":d"));
}

TEST(ZTStringTokenizer, ARunOfDelimitersYieldsEmptyPieces)
{
    EXPECT_THAT(ZTStringTokenizer::tokenize("a,,,b", ","), ElementsAre("a", "", "", "b"));
}

TEST(ZTStringTokenizer, ALeadingAndATrailingDelimiterYieldEmptyPieces)
{
    EXPECT_THAT(ZTStringTokenizer::tokenize(",a,", ","), ElementsAre("", "a", ""));
    EXPECT_THAT(ZTStringTokenizer::tokenize(",", ","), ElementsAre("", ""));
}

TEST(ZTStringTokenizer, TextWithoutTheDelimiterIsOnePiece)
{
    EXPECT_THAT(ZTStringTokenizer::tokenize("a,b", ";"), ElementsAre("a,b"));
    EXPECT_THAT(ZTStringTokenizer::tokenize("a", "ab"), ElementsAre("a"));
}

TEST(ZTStringTokenizer, AnEmptyDelimiterSplitsNothing)
{
    EXPECT_THAT(ZTStringTokenizer::tokenize("a,b", ""), ElementsAre("a,b"));
}

TEST(ZTStringTokenizer, AnEmptyTextIsOneEmptyPiece)
{
    EXPECT_THAT(ZTStringTokenizer::tokenize("", ","), ElementsAre(""));
    EXPECT_THAT(ZTStringTokenizer::tokenize("", ""), ElementsAre(""));
}
