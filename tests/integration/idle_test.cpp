// The real binary with one logged-in player who does nothing: the server rests between game
// ticks instead of spinning, yet the player gets every tick mark, and a console key and a
// shutdown signal are still answered at once.
#include <gtest/gtest.h>

#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;
using Clock = std::chrono::steady_clock;

// utime + stime of the process, in seconds (/proc/<pid>/stat fields 14 and 15).
double CpuSeconds(int pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    std::string field;
    double ticks = 0;
    for (int i = 3; i <= 15 && fields >> field; ++i)
        if (i >= 14) ticks += std::stod(field);
    return ticks / double(sysconf(_SC_CLK_TCK));
}

// Tick marks come alone on channel 4 to a client with the multi-channel extension.
int TakeMarks(headless::HeadlessClient& client) {
    int marks = 0;
    for (; !client.m_Inbox.empty(); client.m_Inbox.pop_front())
        marks += client.m_Inbox.front().channel == 4 && client.m_Inbox.front().body == Bytes{0x3B};
    return marks;
}

TEST(IdleServer, RestsBetweenTicksWithAnIdlePlayerAndStillAnswersAtOnce) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto client = server.NewClient();
    client->Send(0, Declare("KRV_MULTI_UDP_CHANNEL", 1));
    Bytes welcome = GameServer::Login(*client, NewLogin("idler", "pw"));
    ASSERT_TRUE(!welcome.empty() && welcome[0] == 100);
    client->Send(0, {6});
    int marks = 0;
    ASSERT_TRUE(client->WaitUntil([&] { return (marks += TakeMarks(*client)) >= 30; }, 20s));

    const int pid = server.Process().Pid();
    const double cpuBefore = CpuSeconds(pid);
    const auto start = Clock::now();
    marks = 0;
    for (const auto end = start + 3s; Clock::now() < end; marks += TakeMarks(*client)) client->PollFor(20ms);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const double share = (CpuSeconds(pid) - cpuBefore) / seconds;
    EXPECT_LT(share, 0.30) << "of one core";
    EXPECT_GE(marks / seconds, 24.0) << marks << " tick marks in " << seconds << " s";

    const size_t from = server.Process().Output().size();
    server.Process().SendKeys("v");
    EXPECT_NE(server.Process().WaitForOutput("until next autosave.", 1s, from), std::string::npos);
    server.Process().Signal(SIGTERM);
    EXPECT_EQ(server.Process().WaitForExit(10s), 0);
    EXPECT_NE(server.Process().Output().find("FINAL SAVE COMPLETE!\n", from), std::string::npos);
}

} // namespace
