// Save files the loader must not start a server from: it gives its verdict, and the program ends.
#include <gtest/gtest.h>

#include <chrono>
#include <unistd.h>

#include "core/Server.h"
#include "platform/Files.h"
#include "PersistTestSupport.h"
#include "support/ServerProcess.h"

namespace {

using namespace std::chrono_literals;

std::string PadRecord() {
    return Hex("01 04 0000803f 00000040 00004040 00000042 00008041 00000042 00000000"
               "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000");
}

using FatalLoad = InSaveFolder;

// The loader stops at the first broken record and says why; what it read before stays loaded.
TEST_F(FatalLoad, BrokenFilesGiveTheirVerdict) {
    struct Case {
        const char* what;
        std::string world, players;
        LoadError verdict;
        uint32_t padsLoaded;
    };
    const Case cases[] = {
        {"unknown raw command", Hex("0b") + PadRecord() + Hex("28 00000000"), "", LoadError::BadCommandByte, 1},
        {"a skip marker covers only the next record",
         Hex("0b") + PadRecord() + Hex("17 04000000 0a 05000000 28 00000000"), "", LoadError::BadCommandByte, 1},
        {"bad command in the players file", Hex("0b"), Hex("0b 00"), LoadError::BadCommandByte, 0},
        {"unknown entity kind", Hex("0b 01 05") + std::string(48, '\0'), "", LoadError::BadEntityType, 0},
        {"fire block", Hex("0b") + PadRecord() + Hex("01 06") + std::string(48, '\0'), "", LoadError::FireBlockEntity, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Server server;
        Write("KRV1_Data.krv", c.world);
        if (!c.players.empty()) Write("VUK_Players.krv", c.players);
        EXPECT_EQ(server.LoadRoutine(), c.verdict);
        EXPECT_EQ(server.m_NormalPads.Count(), c.padsLoaded);
        unlink("VUK_Players.krv");
    }
}

// Only the top of the program ends it, with the message box text and exit code 1.
TEST_F(FatalLoad, EndingTheProgramShowsTheReasonAndExitsWithOne) {
    EXPECT_EXIT(EndProgramAfterLoadError(LoadError::BadCommandByte), testing::ExitedWithCode(1),
                "^Loading World Error: Loading World Error: Bad Command Byte In Data File\n$");
    EXPECT_EXIT(EndProgramAfterLoadError(LoadError::BadEntityType), testing::ExitedWithCode(1),
                "^Loading World Error: Loading World Error: Bad Entity Type In Data File\n$");
    EXPECT_EXIT(EndProgramAfterLoadError(LoadError::FireBlockEntity), testing::ExitedWithCode(1), "^$");
}

// The real program, started in the test's folder.
class ServerRun : public InSaveFolder {};

TEST_F(ServerRun, DoesNotStartFromABrokenWorldFile) {
    if (access(QV_SERVER_BINARY, X_OK) != 0) GTEST_SKIP() << "the server binary is not built";
    Write("KRV1_Data.krv", Hex("0b") + PadRecord() + Hex("28"));
    ServerProcess server(ServerProcess::Unattended(m_Folder.Dir().Path(), FreeUdpPort()));
    EXPECT_EQ(server.WaitForExit(20s), 1);
    EXPECT_NE(server.Output().find("LOADING FROM KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\n"), std::string::npos);
    EXPECT_EQ(server.Output().find("LOADING COMPLETE"), std::string::npos);
    EXPECT_EQ(server.Output().find("THE SERVER IS NOW RUNNING!"), std::string::npos);
    EXPECT_NE(server.ErrorOutput().find("Loading World Error: Loading World Error: Bad Command Byte In Data File\n"),
              std::string::npos);
    // The program logs under today's real date.
    std::string log;
    for (const std::string& name : platform::ListDirectorySorted("chat_logs", ".log")) log += Read("chat_logs/" + name);
    EXPECT_NE(log.find("] Loading World Error: Loading World Error: Bad Command Byte In Data File\r\n"),
              std::string::npos);
}

TEST_F(ServerRun, SaveKeyWritesWhatTheRunLoaded) {
    if (access(QV_SERVER_BINARY, X_OK) != 0) GTEST_SKIP() << "the server binary is not built";
    Write("KRV1_Data.krv", Hex("0b") + PadRecord() + Hex("0e 04000000") + "Gate" + Hex("07 0000803f 00000041 00004040 07000000"));
    {
        ServerProcess server(ServerProcess::Unattended(m_Folder.Dir().Path(), FreeUdpPort()));
        ASSERT_NE(server.WaitForOutput("THE SERVER IS NOW RUNNING!", 20s), std::string::npos);
        server.SendKeys("s");
        ASSERT_NE(server.WaitForOutput("SAVE COMPLETE!", 20s), std::string::npos);
        server.SendKeys("q");
        EXPECT_EQ(server.WaitForExit(20s), 0);
    }
    // The pad keeps its label and the powerup stays a table entry, not a saved pad.
    std::string expected = Hex("0b") + PadRecord() + Hex("09 00000000 00000000 03 00 00 00000000 00000000"
                                                         "00000000 00000000 00000000 0e 04000000") +
                           "Gate" + Hex("07 0000803f 00000041 00004040 07000000") + DefaultSettingsRecords();
    EXPECT_EQ(Read("KRV1_Data.krv"), expected);
    EXPECT_EQ(Read("VUK_Players.krv"), Hex("0b"));
}

} // namespace
