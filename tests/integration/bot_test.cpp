// quorvane-bot against the real server: a short clean run, and a server that vanishes under it.
#include <gtest/gtest.h>

#include "base/LogChat.h"
#include "support/Command.h"
#include "support/GameServer.h"

namespace {

std::string Bot(int port, const std::string& arguments) {
    return std::string(QV_BOT_BINARY) + " --port " + std::to_string(port) + " " + arguments;
}

TEST(Bot, PlaysAgainstTheRealServerWithoutLoss) {
    GameServer server;
    ASSERT_TRUE(server.Ready());
    CommandResult run = RunCommand(Bot(server.Port(), "--clients 4 --duration 3"));
    EXPECT_EQ(run.code, 0) << run.output;
    for (const char* part : {"logged in 4/4", "bots 4, ", "steering echo round trip: median ", ", losses 0\n"})
        EXPECT_NE(run.output.find(part), std::string::npos) << part << "\n" << run.output;
    EXPECT_EQ(run.output.find("(0 echoes)"), std::string::npos) << run.output;
    // The bots played by the rules: their chat lines are in the day's chat log.
    const std::string log = server.Folder().Read(ChatLogFileName());
    EXPECT_NE(log.find("load test line from bot 3"), std::string::npos) << log;
}

TEST(Bot, SaysSoWhenTheServerVanishes) {
    GameServer server;
    ASSERT_TRUE(server.Ready());
    ServerProcess::Options options;
    options.program = QV_BOT_BINARY;
    options.arguments = {"--port", std::to_string(server.Port()), "--clients", "2", "--duration", "60"};
    ServerProcess bot(options);
    // Progress goes to the error output, the verdict to the output.
    EXPECT_TRUE(PollUntil([&] { return bot.ErrorOutput().find("logged in 2/2") != std::string::npos; },
                          std::chrono::seconds(20)))
        << bot.ErrorOutput();
    server.Process().Signal(SIGKILL);
    EXPECT_EQ(bot.WaitForExit(std::chrono::seconds(20)), 1) << bot.Output();
    EXPECT_NE(bot.Output().find("FAILED: the server stopped answering\n"), std::string::npos) << bot.Output();
}

} // namespace
