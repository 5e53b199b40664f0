// The fleet sidecar's lifecycle calls, checked against a stub sidecar on loopback that starts
// after the server (the server keeps asking until it is there).
#include <gtest/gtest.h>
#include <httplib.h>

#include "support/GameServer.h"

using records::NewLogin;

namespace {

class StubSidecar {
public:
    explicit StubSidecar(int port) {
        auto record = [this](const httplib::Request& req, httplib::Response& res) {
            std::lock_guard<std::mutex> guard(m_Lock);
            m_Calls.push_back(req.method + " " + req.path + " " + req.body);
            res.set_content("{}", "application/json");
        };
        for (const char* path : {"/ready", "/health", "/shutdown"}) m_Http.Post(path, record);
        m_Http.Put("/metadata/label", record);
        m_Http.bind_to_port("127.0.0.1", port);
        m_Thread = std::thread([this] { m_Http.listen_after_bind(); });
    }
    ~StubSidecar() {
        m_Http.stop();
        m_Thread.join();
    }
    std::vector<std::string> Calls() {
        std::lock_guard<std::mutex> guard(m_Lock);
        return m_Calls;
    }
    size_t Count(const std::string& call) {
        size_t n = 0;
        for (const std::string& c : Calls()) n += c == call;
        return n;
    }
    bool WaitFor(const std::function<bool()>& done, headless::HeadlessClient* client = nullptr) {
        return client ? client->WaitUntil(done, std::chrono::seconds(15)) : PollUntil(done, std::chrono::seconds(15));
    }

private:
    httplib::Server m_Http;
    std::thread m_Thread;
    std::mutex m_Lock;
    std::vector<std::string> m_Calls;
};

TEST(Agones, LifecycleCallsReachTheSidecar) {
    int sidecarPort = FreeTcpPort();
    setenv("AGONES_SDK_HTTP_PORT", std::to_string(sidecarPort).c_str(), 1);
    auto server =
        std::make_unique<GameServer>(std::function<void(const TempDir&)>{}, std::vector<std::string>{"--agones"});
    ASSERT_TRUE(server->Ready());

    StubSidecar sidecar(sidecarPort);
    EXPECT_TRUE(sidecar.WaitFor([&] { return sidecar.Count("POST /ready {}") == 1; }));
    auto ann = server->NewClient();
    ASSERT_FALSE(GameServer::Login(*ann, NewLogin("ann", "pw")).empty());
    EXPECT_TRUE(sidecar.WaitFor(
        [&] { return sidecar.Count("PUT /metadata/label {\"key\":\"players\",\"value\":\"1\"}") == 1; }, ann.get()));
    EXPECT_TRUE(sidecar.WaitFor([&] { return sidecar.Count("POST /health {}") >= 2; }, ann.get()));

    server->Process().Signal(SIGTERM);
    EXPECT_EQ(server->Process().WaitForExit(std::chrono::seconds(30)), 0);
    std::string output = server->Process().Output();
    std::vector<std::string> calls = sidecar.Calls();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.front(), "POST /ready {}");
    EXPECT_EQ(calls.back(), "POST /shutdown {}");
    EXPECT_EQ(sidecar.Count("POST /shutdown {}"), 1u);
    EXPECT_NE(output.find("FINAL SAVE COMPLETE!"), std::string::npos);
    server.reset();
}

} // namespace
