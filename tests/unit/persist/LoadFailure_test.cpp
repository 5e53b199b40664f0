// A save file the server must not start from: only the top of the program ends the process, after
// the loader gave its verdict (the verdicts are the load test's).
#include "PersistTestSupport.h"

#include "support/ServerProcess.h"

namespace {

using namespace std::chrono_literals;

using FatalLoad = InSaveFolder;

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
