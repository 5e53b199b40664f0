// Garbage from many ports must neither crash the server nor keep it from answering.
#include <gtest/gtest.h>

#include <random>

#include "support/TransportServer.h"

namespace {

using namespace std::chrono_literals;

TEST(TransportFuzz, RandomDatagramsFromManyPortsLeaveTheServerAnswering) {
    TransportServer server({"--peer-timeout", "2"});
    ASSERT_TRUE(server.Ready());
    std::mt19937 random(20240607);
    std::vector<std::unique_ptr<headless::HeadlessClient>> senders;
    for (int i = 0; i < 48; ++i) {
        senders.push_back(std::make_unique<headless::HeadlessClient>());
        ASSERT_TRUE(senders.back()->Connect("127.0.0.1", uint16_t(server.Port())));
    }
    Bytes datagram;
    for (int round = 0; round < 3000; ++round) {
        // Mostly short datagrams of every kind, now and then one of any length up to the maximum.
        const uint32_t pick = random() % 100;
        size_t length = pick < 80 ? random() % 16 : pick < 97 ? random() % 1500 : random() % 65508;
        datagram.resize(length);
        for (uint8_t& b : datagram) b = uint8_t(random());
        if (length && random() % 2) datagram[0] = uint8_t(random() % 40); // the kinds that mean something
        senders[random() % senders.size()]->SendRaw(datagram);
        if (round % 200 == 0) {
            senders.push_back(std::make_unique<headless::HeadlessClient>());
            senders.back()->Connect("127.0.0.1", uint16_t(server.Port()));
        }
    }
    auto c = server.NewClient();
    c->SendRaw(QueryDatagram(1, "STILL_THERE"));
    headless::Message answer;
    ASSERT_TRUE(c->NextMessage(&answer, 10s));
    EXPECT_EQ(answer.body, (Bytes{76, 11, 0, 0, 0, 'S', 'T', 'I', 'L', 'L', '_', 'T', 'H', 'E', 'R', 'E', 0}));
    EXPECT_TRUE(server.Process().Running());
}

} // namespace
