// The operator's console, driven through stdin of the real binary.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "platform/Files.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;

std::string StartupText(int port, const std::string& adminLines) {
    return "AUTO SERVER START\nCurrent port: " + std::to_string(port) + "\n\n\n" + adminLines +
           "LOADING FROM KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\nLOADING COMPLETE\n"
           "\nServer active...\nType Q to save, stop the server, and quit.\n"
           "Type S to save the game state to KRV1_DATA.KRV and VUK_PLAYERS.KRV.\n"
           "Type V to view time till next save.\n"
           "Every two hours, the game will automatically save the game state.\n"
           "Every time a save occurs, the game will also save backup files in\n"
           "the backups folder, which will be located in the same folder that you\n"
           "started this program from.  Each backup of KRV1_DATA.KRV and\n"
           "VUK_PLAYERS.KRV will have the date and time as part of their file names.\n\n"
           "**************************\n"
           "THE SERVER IS NOW RUNNING!\n"
           "**************************\n"
           "(S) - Save     (Q) - Save and Quit\n"
           "DO NOT CLICK ON THE X IN THE UPPER-RIGHT CORNER TO QUIT THE SERVER!\nOTHERWISE, THE SAVE WILL NOT "
           "OCCUR!!\n\n";
}

const std::string kActive = "Server active...\nType Q to save, stop the server, and quit.\n"
                            "Type S to save the game state to KRV1_DATA.KRV and VUK_PLAYERS.KRV.\n"
                            "Type V to view time until next save.\n";

std::string ReadChatLog(const TempDir& dir) {
    std::string all;
    for (const std::string& name : platform::ListDirectorySorted(dir.File("chat_logs"), ".log"))
        all += dir.Read("chat_logs/" + name);
    return all;
}

// The startup text, then the view, save and quit keys in one run (keys are read in any case).
TEST(ConsoleKeys, StartupTextThenViewSaveAndQuit) {
    TempDir dir;
    int port = FreeUdpPort();
    ServerProcess server(ServerProcess::Unattended(dir.Path(), port));
    size_t start = server.WaitForOutput("OCCUR!!\n\n", 20s);
    ASSERT_NE(start, std::string::npos);
    EXPECT_EQ(server.Output(),
              StartupText(port, "WARNING!  NO krv_admin.ini FILE PRESENT!\nAdmin powers granted to ADMIN.\n"));
    start += 9;
    server.SendKeys("v");
    size_t viewed = server.WaitForOutput("(S) - Save     (Q) - Save and Quit\n", 10s, start);
    ASSERT_NE(viewed, std::string::npos);
    std::string shown = server.Output().substr(start, viewed - start);
    EXPECT_TRUE(shown == "v\n 2h: 0m: 0s until next autosave. \r\n" ||
                shown == "v\n 1h:59m:59s until next autosave. \r\n")
        << shown;
    start = viewed + 35;
    server.SendKeys("s");
    ASSERT_NE(server.WaitForOutput("Type V to view time until next save.\n", 20s, start), std::string::npos);
    server.SendKeys("xQ");
    EXPECT_EQ(server.WaitForExit(20s), 0);
    EXPECT_EQ(server.Output().substr(start), "s\nSAVING TO KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\nSAVE COMPLETE!\n" +
                                                 kActive +
                                                 "x\nQ\nFINAL SAVE TO KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\n"
                                                 "FINAL SAVE COMPLETE!\n");
    // Two saves, each writing both files and a dated backup of each (saves within one second
    // share their backup names).
    EXPECT_EQ(dir.Read("KRV1_Data.krv").substr(0, 1), "\x0b");
    EXPECT_EQ(dir.Read("VUK_Players.krv"), "\x0b");
    EXPECT_GE(platform::ListDirectorySorted(dir.File("backups"), ".krv").size(), 2u);
    std::string log = ReadChatLog(dir);
    for (const char* line : {"] LOG: Starting Server\r\n", "] LOG: Server is now active.\r\n",
                             "] LOG: Final save complete.  Server stopped.\r\n"})
        EXPECT_NE(log.find(line), std::string::npos) << line;
}

// The end of input leaves the server running: two queries are answered after the close. (A
// terminate's final save is the port test's.)
TEST(ConsoleStartup, AdminFileNamesTheMasterAdministratorAndEndOfInputIsIgnored) {
    TempDir dir;
    dir.Write("krv_admin.ini", "bob\r\nsomebody else\n");
    int port = FreeUdpPort();
    ServerProcess server(ServerProcess::Unattended(dir.Path(), port));
    ASSERT_NE(server.WaitForOutput("OCCUR!!\n\n", 20s), std::string::npos);
    EXPECT_EQ(server.Output(), StartupText(port, "krv_admin.ini says the master admin is: BOB\n"));
    server.CloseInput();
    headless::HeadlessClient probe;
    ASSERT_TRUE(probe.Connect("127.0.0.1", uint16_t(port)));
    for (int i = 0; i < 2; ++i) {
        probe.Send(0, headless::QueryExtensionRecord("KRV_CSE1"));
        EXPECT_FALSE(GameServer::Next(probe).empty());
    }
    EXPECT_TRUE(server.Running());
}

// Marker files in the folder choose the port; the port option overrides them.
TEST(ConsolePorts, MarkerFilesAndThePortOption) {
    const int port = FreeUdpPort();
    const std::string chosen = std::to_string(port);
    const struct {
        std::vector<std::string> markers;
        bool portOption;
        std::string head;
    } cases[] = {
        {{"test_server_port.txt"}, false, "AUTOMATIC SET TEST SERVER PORT\nAUTO SERVER START\nCurrent port: 1984\n"},
        {{"test_server_port.txt", "test_server_1988.txt", "test_server_1989.txt"},
         false,
         "AUTOMATIC SET TEST SERVER PORT\nSET TEST SERVER PORT: 1988\nSET SERVER PORT: 1989\nAUTO SERVER START\n"
         "Current port: 1989\n"},
        {{"test_server_1989.txt"}, true, "SET SERVER PORT: 1989\nAUTO SERVER START\nCurrent port: " + chosen + "\n"},
    };
    for (const auto& c : cases) {
        TempDir dir;
        for (const std::string& marker : c.markers) dir.Write(marker, "");
        ServerProcess::Options o = ServerProcess::Unattended(dir.Path(), port);
        if (!c.portOption) o.arguments = {"--auto", "--dir", dir.Path()};
        ServerProcess server(o);
        EXPECT_NE(server.WaitForOutput(c.head, 20s), std::string::npos) << c.head;
        EXPECT_EQ(server.Output().rfind(c.head, 0), 0u) << server.Output();
        server.Signal(c.portOption ? SIGINT : SIGTERM); // an interrupt saves like a terminate
        EXPECT_EQ(server.WaitForExit(30s), 0);
        EXPECT_NE(server.Output().find("FINAL SAVE COMPLETE!\n"), std::string::npos);
    }
}

TEST(ConsoleMenu, PortKeyTogglesAndQuitEnds) {
    TempDir dir;
    dir.Write("test_server_1988.txt", "");
    ServerProcess::Options o;
    o.folder = dir.Path();
    o.arguments = {"--dir", dir.Path()};
    ServerProcess server(o);
    const std::string menu = "Type choice:\n(L) - Start Server\n(P) - Port switch (NORMALLY NOT NEEDED)\n(Q) - Quit\n";
    ASSERT_NE(server.WaitForOutput(menu + "Current port: 1988\n", 20s), std::string::npos);
    server.SendKeys("pPzq");
    EXPECT_EQ(server.WaitForExit(20s), 0);
    std::string out = server.Output();
    size_t first = out.find(menu + "Current port: 1988\n");
    EXPECT_EQ(out.substr(first), menu + "Current port: 1988\np\nCurrent port: 1983\n" + menu +
                                     "Current port: 1983\nP\nCurrent port: 1984\n" + menu + "Current port: 1984\nz\n" +
                                     menu + "Current port: 1984\nq\n");
}

TEST(ConsoleOptions, BadOptionPrintsUsageAndExitsTwo) {
    ServerProcess::Options o;
    o.arguments = {"--bogus"};
    ServerProcess server(o);
    EXPECT_EQ(server.WaitForExit(10s), 2);
    EXPECT_EQ(server.ErrorOutput(), "usage: quorvane [--port N] [--auto] [--dir PATH] [--peer-timeout SECONDS]\n"
                                    "                [--status-port N] [--status-bind ADDRESS] [--agones]\n");
}

TEST(ConsoleSwitch, EmptySwitchFileIsKeptAndANamedProgramTakesOver) {
    TempDir dir;
    dir.Write("vuk_exe_switch.txt", "");
    dir.Write("next.sh", "#!/bin/sh\necho taken-over > \"$(dirname \"$0\")/handed_over\"\n");
    chmod(dir.File("next.sh").c_str(), 0755);
    ServerProcess server(ServerProcess::Unattended(dir.Path(), FreeUdpPort()));
    ASSERT_NE(server.WaitForOutput("OCCUR!!\n\n", 20s), std::string::npos);
    // Past one look, an empty file must still be there.
    ASSERT_NE(server.WaitForOutput("(test hook) empty vuk_exe_switch.txt left\n", 20s), std::string::npos);
    EXPECT_TRUE(dir.Exists("vuk_exe_switch.txt"));
    EXPECT_EQ(server.Output().find("GOING INTO SWITCH MODE"), std::string::npos);

    dir.Write("vuk_exe_switch.txt", dir.File("next.sh") + "\r\nignored second line\n");
    EXPECT_EQ(server.WaitForExit(20s), 0);
    std::string out = server.Output();
    EXPECT_NE(out.find("GOING INTO SWITCH MODE...\nSAVE TO KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\nSAVE COMPLETE!\n"),
              std::string::npos);
    EXPECT_FALSE(dir.Exists("vuk_exe_switch.txt"));
    for (int i = 0; i < 100 && !dir.Exists("handed_over"); ++i) std::this_thread::sleep_for(50ms);
    EXPECT_EQ(dir.Read("handed_over"), "taken-over\n");
    EXPECT_NE(ReadChatLog(dir).find("] LOG: VUK Server Switching To: " + dir.File("next.sh") + "\r\n"),
              std::string::npos);
}

// A crash saves and runs the same process again from the start, with the same arguments; a
// program to switch to that cannot start leaves the server running.
TEST(ConsoleRecovery, CrashRestartsAndAProgramThatCannotStartKeepsTheServerRunning) {
    TempDir dir;
    ServerProcess server(ServerProcess::Unattended(dir.Path(), FreeUdpPort()));
    size_t start = server.WaitForOutput("OCCUR!!\n\n", 20s);
    ASSERT_NE(start, std::string::npos);
    server.SendKeys("!");
    size_t crash = server.WaitForOutput("SERVER CRASH DETECTED!!!  RESTARTING!\n", 20s, start);
    ASSERT_NE(crash, std::string::npos);
    EXPECT_NE(server.Output().find("!\n*********************************\nSERVER CRASH DETECTED!!!  SAVING!\n"
                                   "*********************************\nSave complete!\n"
                                   "*************************************\nSERVER CRASH DETECTED!!!  RESTARTING!\n"
                                   "*************************************\n",
                                   start),
              std::string::npos);
    ASSERT_NE(server.WaitForOutput("OCCUR!!\n\n", 20s, crash), std::string::npos);
    std::string log = ReadChatLog(dir);
    EXPECT_NE(log.find("] CRASH ALERT: CRASH!!!\r\n"), std::string::npos);
    EXPECT_NE(log.find("] CRASH ALERT: Saved files after crash\r\n"), std::string::npos);

    dir.Write("vuk_exe_switch.txt", dir.File("does-not-exist"));
    ASSERT_NE(server.WaitForOutput("NEW EXE COULD NOT START!!!\nTHIS SERVER WILL STAY RUNNING.\n", 20s, crash),
              std::string::npos);
    EXPECT_TRUE(server.Running());
    server.SendKeys("q");
    EXPECT_EQ(server.WaitForExit(20s), 0);
}

} // namespace
