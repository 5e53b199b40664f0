// How the interpreters read a command line.
#include <gtest/gtest.h>

#include <tuple>

#include "session/Server_Commands.h"

namespace {

TEST(CommandLine, WordsAndNumbersAreReadAsTheFormatsReadThemAndLinesOver1024BytesAreNone) {
    struct Case {
        const char* line;
        CommandParse form;
        const char *command, *word1, *word2;
        int num1, num2, num3, num4;
        float flt1;
        const char* rest;
    };
    const Case cases[] = {
        {"/ss 10 20 30", CommandParse::Admin, "/ss", "10", "20", 10, 20, 30, 0, 10.0f, " 10 20 30"},
        {"/spp Bob 1 -2 3", CommandParse::Admin, "/spp", "Bob", "1", 0, 1, -2, 3, 0.0f, " Bob 1 -2 3"},
        // A number that stops early ends the reading of the numbers behind it.
        {"/sp 1x 2 3y 4", CommandParse::Admin, "/sp", "1x", "2", 1, 2, 3, 0, 1.0f, " 1x 2 3y 4"},
        {"/szsph 0.5", CommandParse::Admin, "/szsph", "0.5", "", 0, 0, 0, 0, 0.5f, " 0.5"},
        {"  /usbl", CommandParse::Admin, "/usbl", "", "", 0, 0, 0, 0, 0.0f, ""},
        // Players' lines have no second word: the rest is three unused numbers.
        {"/m Ann hello there", CommandParse::Player, "/m", "Ann", "", 0, 0, 0, 0, 0.0f, " Ann hello there"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        CommandArgs a;
        ASSERT_TRUE(ParseCommandLine(c.line, c.form, &a));
        EXPECT_EQ(std::tuple(a.m_strCommand, a.m_strWord1, a.m_strWord2, a.m_strRest),
                  std::tuple(c.command, c.word1, c.word2, c.rest));
        EXPECT_EQ(std::tuple(a.m_iNum1, a.m_iNum2, a.m_iNum3, a.m_iNum4, a.m_fFlt1),
                  std::tuple(c.num1, c.num2, c.num3, c.num4, c.flt1));
    }
    // A line over 1024 bytes is never a command.
    CommandArgs a;
    EXPECT_TRUE(ParseCommandLine("/m " + std::string(1021, 'x'), CommandParse::Player, &a));
    EXPECT_FALSE(ParseCommandLine("/m " + std::string(1022, 'x'), CommandParse::Admin, &a));
}

} // namespace
