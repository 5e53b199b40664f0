// The chat word filter: masks of the same length, matched in any letter case.
#include <gtest/gtest.h>

#include <utility>

#include "core/Server.h"

namespace {

TEST(WordFilter, WordsAreMaskedWhereverTheyStand) {
    const std::pair<const char*, const char*> cases[] = {
        // The spaced word anywhere in the line, its ends included, but not as the end of a word.
        {"you are an ass", "you are an ***"},
        {"ass first", "*** first"},
        {"a big ass tree", "a big *** tree"},
        {"ass", "***"},
        {"what a class", "what a class"},
        {"grass is green", "grass is green"},
        // The others in any case, inside words too, every occurrence; other characters stay.
        {"ShIt happens", "**** happens"},
        {"Damn SHIT!", "Damn ****!"},
        {"scunthorpe", "s****horpe"},
        {"cocktail", "****tail"},
        {"assholes", "*******s"},
        {"fagging faggots", "***ging ******s"},
        {"dick DICK dIcK", "**** **** ****"},
    };
    for (auto [line, filtered] : cases) {
        std::string text = line;
        Server::ApplyFilteringToString(text);
        EXPECT_EQ(text, filtered);
    }
}

} // namespace
