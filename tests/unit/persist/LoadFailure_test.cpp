// Save files the loader must not start a server from: it stops at the first broken record and
// gives its verdict; only the top of the program ends the process.
#include "PersistTestSupport.h"

#include <cstdio>

#include "support/ServerProcess.h"

namespace {

using namespace std::chrono_literals;

using FatalLoad = InSaveFolder;

// What was read before the broken record stays loaded. The text is what the program shows
// before it ends; a fire block ends it without a word.
TEST_F(FatalLoad, BrokenFilesGiveTheirVerdict) {
    struct Case {
        const char* what;
        std::string world, players;
        LoadError verdict;
        uint32_t padsLoaded;
        const char* text;
    };
    const char* badCommand = "Loading World Error: Bad Command Byte In Data File";
    const Case cases[] = {
        {"unknown raw command", Hex("0b") + PadRecord() + Hex("28 00000000"), "", LoadError::BadCommandByte, 1,
         badCommand},
        {"a skip marker covers only the next record",
         Hex("0b") + PadRecord() + Hex("17 04000000 0a 05000000 28 00000000"), "", LoadError::BadCommandByte, 1,
         badCommand},
        {"bad command in the players file", Hex("0b"), Hex("0b 00"), LoadError::BadCommandByte, 0, badCommand},
        {"unknown entity kind", Hex("0b 01 05") + std::string(48, '\0'), "", LoadError::BadEntityType, 0,
         "Loading World Error: Bad Entity Type In Data File"},
        {"fire block", Hex("0b") + PadRecord() + Hex("01 06") + std::string(48, '\0'), "", LoadError::FireBlockEntity,
         1, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        NewServer();
        std::remove(kPlayersFileName);
        EXPECT_EQ(Load(c.world, c.players), c.verdict);
        EXPECT_EQ(server().m_NormalPads.Count(), c.padsLoaded);
        EXPECT_STREQ(LoadErrorText(c.verdict), c.text);
    }
}

// The real program, started in the test's folder: the message box text goes to the error output
// and the program ends with 1 before it runs.
TEST_F(FatalLoad, ServerDoesNotStartFromABrokenWorldFile) {
    if (access(QV_SERVER_BINARY, X_OK) != 0) GTEST_SKIP() << "the server binary is not built";
    Write(kWorldFileName, Hex("0b") + PadRecord() + Hex("28"));
    ServerProcess server(ServerProcess::Unattended(m_Folder.Dir().Path(), FreeUdpPort()));
    EXPECT_EQ(server.WaitForExit(20s), 1);
    EXPECT_NE(server.Output().find("LOADING FROM KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\n"), std::string::npos);
    EXPECT_EQ(server.Output().find("LOADING COMPLETE"), std::string::npos);
    EXPECT_EQ(server.Output().find("THE SERVER IS NOW RUNNING!"), std::string::npos);
    EXPECT_NE(server.ErrorOutput().find("Loading World Error: Loading World Error: Bad Command Byte In Data File\n"),
              std::string::npos);
}

} // namespace
