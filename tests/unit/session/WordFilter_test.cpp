#include <gtest/gtest.h>

#include "core/Server.h"
#include "world/Server_EntityKinds.h"

namespace {

std::string Filtered(std::string text) {
    Server::ApplyFilteringToString(text);
    return text;
}

TEST(WordFilter, SpacedWordIsMaskedAnywhereInTheLineIncludingItsEnds) {
    EXPECT_EQ(Filtered("you are an ass"), "you are an ***");
    EXPECT_EQ(Filtered("ass first"), "*** first");
    EXPECT_EQ(Filtered("a big ass tree"), "a big *** tree");
    EXPECT_EQ(Filtered("ass"), "***");
}

TEST(WordFilter, LongerWordEndingInTheSpacedWordIsLeftAlone) {
    EXPECT_EQ(Filtered("what a class"), "what a class");
    EXPECT_EQ(Filtered("grass is green"), "grass is green");
}

TEST(WordFilter, MatchingIgnoresLetterCaseAndKeepsTheOtherCharacters) {
    EXPECT_EQ(Filtered("ShIt happens"), "**** happens");
    EXPECT_EQ(Filtered("Damn SHIT!"), "Damn ****!");
}

TEST(WordFilter, WordsInsideWordsAreMaskedToo) {
    EXPECT_EQ(Filtered("scunthorpe"), "s****horpe");
    EXPECT_EQ(Filtered("cocktail"), "****tail");
    EXPECT_EQ(Filtered("assholes"), "*******s");
    EXPECT_EQ(Filtered("fagging faggots"), "***ging ******s");
}

TEST(WordFilter, EveryOccurrenceIsReplaced) {
    EXPECT_EQ(Filtered("dick DICK dIcK"), "**** **** ****");
}

TEST(WordFilter, OnePairReplacesOnlyItsOwnText) {
    std::string text = "Fuck shit";
    Server::SearchAndReplace(text, "SHIT", "****");
    EXPECT_EQ(text, "Fuck ****");
}

TEST(WordFilter, NameFilterSetsTheDisplayName) {
    Server_Player player;
    player.m_strName = "BigDickBob";
    Server::ApplyFilteringToName(&player);
    EXPECT_EQ(player.m_strName, "BigDickBob");
    EXPECT_EQ(player.m_strDisplayName, "Big****Bob");
    EXPECT_TRUE(player.m_bDisplayName);
}

} // namespace
