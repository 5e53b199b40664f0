// The status port of the real server: figures after known events, the health check, and a game
// tick that keeps its rate while the port is abused.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>

#include "support/GameServer.h"

using records::NewLogin;

namespace {

using Clock = std::chrono::steady_clock;

class StatusServer {
public:
    StatusServer() : m_Port(FreeTcpPort()), m_Game({}, {"--status-port", std::to_string(m_Port)}) {}

    GameServer& Game() { return m_Game; }
    int Port() const { return m_Port; }

    // Status and body of a GET; status -1 when no answer came.
    std::pair<int, std::string> Get(const std::string& path) {
        httplib::Client client("127.0.0.1", m_Port);
        client.set_connection_timeout(2, 0);
        client.set_read_timeout(5, 0);
        auto result = client.Get(path);
        if (!result) return {-1, ""};
        return {result->status, result->body};
    }
    // The value of an unlabelled metric, or -1.
    double Metric(const std::string& name) {
        std::string body = Get("/metrics").second;
        std::string key = "\n" + name + " ";
        size_t at = body.find(key);
        return at == std::string::npos ? -1.0 : std::strtod(body.c_str() + at + key.size(), nullptr);
    }
    // Polls the metric (serving the client meanwhile) until it satisfies ok, for up to 10 s.
    bool WaitForMetric(const std::string& name, const std::function<bool(double)>& ok,
                       headless::HeadlessClient* client = nullptr) {
        auto done = [&] { return ok(Metric(name)); };
        return client ? client->WaitUntil(done, std::chrono::seconds(10)) : PollUntil(done, std::chrono::seconds(10));
    }

private:
    int m_Port;
    GameServer m_Game;
};

TEST(StatusPort, FiguresFollowLoginAndSave) {
    StatusServer server;
    ASSERT_TRUE(server.Game().Ready());

    EXPECT_EQ(server.Get("/healthz"), std::pair(200, std::string("ok\n")));
    EXPECT_EQ(
        std::pair(server.Metric("quorvane_players_online"), server.Metric("quorvane_last_save_timestamp_seconds")),
        std::pair(0.0, 0.0));

    auto ann = server.Game().NewClient();
    ASSERT_FALSE(GameServer::Login(*ann, NewLogin("ann", "pw")).empty());
    EXPECT_TRUE(server.WaitForMetric(
        "quorvane_players_online", [](double v) { return v == 1.0; }, ann.get()));
    EXPECT_GE(server.Metric("quorvane_udp_received_datagrams_total"), 2.0);

    double before = double(
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count());
    server.Game().Process().SendKeys("s");
    ASSERT_NE(server.Game().Process().WaitForOutput("SAVE COMPLETE!", std::chrono::seconds(30)), std::string::npos);
    EXPECT_TRUE(server.WaitForMetric(
        "quorvane_last_save_timestamp_seconds", [&](double v) { return v >= before && v < before + 60; }, ann.get()));

    std::string json = server.Get("/status.json").second;
    EXPECT_NE(json.find("\"players_online\":1,"), std::string::npos) << json.substr(0, 200);
    EXPECT_NE(json.find("\"entities\":{\"player\":1,"), std::string::npos);
    EXPECT_NE(json.find("\"history\":{\"interval_seconds\":1,\"time\":["), std::string::npos);
    auto [page, html] = server.Get("/");
    EXPECT_EQ(page, 200);
    EXPECT_NE(html.find("<canvas id=\"tick\">"), std::string::npos);
    EXPECT_EQ(server.Get("/nothing-here").first, 404);

    ann->SendLeave();
    EXPECT_TRUE(server.WaitForMetric("quorvane_players_online", [](double v) { return v == 0.0; }));
}

// Garbage, slow half-sent requests and a flood of a thousand requests a second at once: the game
// keeps ticking at its full rate for the logged-in player.
TEST(StatusPort, AbuseLeavesTheGameTickAlone) {
    StatusServer server;
    ASSERT_TRUE(server.Game().Ready());
    auto ann = server.Game().NewClient();
    ASSERT_FALSE(GameServer::Login(*ann, NewLogin("ann", "pw")).empty());
    ASSERT_TRUE(server.WaitForMetric(
        "quorvane_game_tick_rate", [](double v) { return v == 30.0; }, ann.get()));

    std::atomic<bool> stop{false};
    std::atomic<uint64_t> served{0};
    auto open = [&] {
        int s = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(uint16_t(server.Port()));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::connect(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
        return s;
    };
    std::vector<std::thread> abusers;
    // Slow requests: a header byte every 200 ms on more connections than the port has threads.
    abusers.emplace_back([&] {
        std::vector<int> sockets;
        for (int i = 0; i < 16; ++i) sockets.push_back(open());
        while (!stop) {
            for (int s : sockets) (void)!send(s, "G", 1, MSG_NOSIGNAL);
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
        for (int s : sockets) close(s);
    });
    // Garbage.
    abusers.emplace_back([&] {
        unsigned seed = 7;
        while (!stop) {
            int s = open();
            char junk[512];
            for (char& c : junk) c = char(rand_r(&seed));
            (void)!send(s, junk, sizeof junk, MSG_NOSIGNAL);
            close(s);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    // A flood: four clients, 250 requests a second each.
    for (int i = 0; i < 4; ++i) {
        abusers.emplace_back([&] {
            httplib::Client client("127.0.0.1", server.Port());
            client.set_read_timeout(5, 0);
            auto next = Clock::now();
            while (!stop) {
                if (client.Get("/metrics")) ++served;
                next += std::chrono::milliseconds(4);
                std::this_thread::sleep_until(next);
            }
        });
    }

    // The game tick counter as the welcome of a login tells it (its low 16 bits), before and
    // after five seconds of abuse, while ann is served all along.
    auto tickOfLogin = [&](const std::string& name) {
        auto client = server.Game().NewClient();
        records::Bytes welcome = GameServer::Login(*client, NewLogin(name, "pw"));
        client->SendLeave();
        return welcome.size() >= 3 && welcome[0] == 100 ? int(welcome[1] | (welcome[2] << 8)) : -1;
    };
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the abusers get going
    auto start = Clock::now();
    int ticksBefore = tickOfLogin("bea");
    while (Clock::now() < start + std::chrono::seconds(5)) ann->PollFor(std::chrono::milliseconds(50));
    int ticksAfter = tickOfLogin("cid");
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    uint64_t servedDuringAbuse = served;
    stop = true;
    for (std::thread& t : abusers) t.join();

    ASSERT_GE(ticksBefore, 0);
    ASSERT_GE(ticksAfter, 0);
    double rate = double((ticksAfter - ticksBefore + 65536) % 65536) / seconds;
    EXPECT_GE(rate, 27.0) << ticksAfter - ticksBefore << " game ticks in " << seconds << " s";
    // The port kept answering the flood beside the slow and garbage connections.
    EXPECT_GT(servedDuringAbuse, 1000u);
    EXPECT_EQ(server.Get("/healthz").first, 200);
}

} // namespace
