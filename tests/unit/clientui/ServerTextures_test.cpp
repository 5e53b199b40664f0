// Server textures: which files are offered, what the client's answer does, and how a requested
// file is streamed in the update message or on channel 3.

#include "unit/replication/Fixtures.h"

namespace {

using namespace records;

Bytes Named(uint8_t type, const std::string& name) {
    Bytes b{type, uint8_t(name.size())};
    b.insert(b.end(), name.begin(), name.end());
    return b;
}
// The client's answer to an offer: the size and byte sum of its cached copy.
Bytes Answer(const std::string& name, uint32_t size, uint32_t sum) {
    Bytes b = Named(30, name);
    PutU32(b, size);
    PutU32(b, sum);
    return b;
}
// 7.png: bytes 0 to 255, 0 to 255, 0 to 87; their sum is 69108.
const Bytes kSeven = [] {
    Bytes b;
    for (int i = 0; i < 600; ++i) b.push_back(uint8_t(i));
    return b;
}();
// A chunk of 7.png.
Bytes Seven(size_t from, size_t count) {
    return Concat(Concat(Named(0x74, "7.png"), {uint8_t(count)}), Bytes(&kSeven[from], &kSeven[from] + count));
}
const Bytes kStart = Named(0x73, "7.png");
const Bytes kReady = Concat(Named(0x75, "7.png"), {7, 0});

class TextureTest : public ReplicationTest {
protected:
    TextureTest() {
        std::filesystem::create_directory("ServerTextures");
        for (const char* name : {"0.png", "sky.png", "12b.png", "9.txt"})
            m_Folder.Dir().Write(std::string("ServerTextures/") + name, "abc");
        m_Folder.Dir().Write("ServerTextures/7.png", std::string(kSeven.begin(), kSeven.end()));
    }

    // Logged in and ready; the first normal update has made the offers.
    Peer Offered(const std::string& name, bool multiChannel = false) {
        Peer peer = m_Harness.Connect();
        if (multiChannel) peer.Send(0, Declare("KRV_MULTI_UDP_CHANNEL", 1));
        peer.Send(0, Concat(Concat(Version(84), NewLogin(name, "pw")), {6}));
        Messages();
        peer.TakeAll();
        peer.client->UpdateClient_NormalPacket(server().m_uiTickCount);
        return peer;
    }
    // The offers queued on the channel, each checked for its quick resend; everything is taken.
    std::vector<Bytes> Offers(Peer& peer, unsigned channel) {
        std::vector<Bytes> offers;
        for (Packet* p : peer.client->m_Pipe.m_ToClient[channel])
            if (p->m_Data[0] == 0x72) {
                EXPECT_EQ(p->m_fResendRate, 0.5f);
                offers.push_back(p->m_Data);
            }
        peer.TakeAll();
        return offers;
    }
    void Answered(Peer& peer, const Bytes& answer) {
        peer.Send(0, answer);
        Messages();
    }
    // One in-band step into a message that already holds `written` bytes.
    Bytes InBand(Peer& peer, size_t written = 0) {
        Server_Client* c = peer.client;
        c->m_pPacket = new Packet;
        c->m_pPacket->m_Data.resize(written);
        c->SendServerTextures_Part2();
        Bytes out = c->m_pPacket->m_Data;
        delete c->m_pPacket;
        c->m_pPacket = nullptr;
        return out;
    }
};

// Files named by a texture number other than 0 are offered in name order, on channel 0 or on
// channel 3. A matching cache gets the go-ahead on channel 0 at once and nothing is streamed;
// another copy is requested; an answer for a file not offered changes nothing, and one cut short
// takes the rest of its message with it.
TEST_F(TextureTest, OffersAndAnswers) {
    const std::vector<Bytes> offers{Named(0x72, "12b.png"), Named(0x72, "7.png")};
    Peer multi = Offered("multi", true);
    EXPECT_EQ(Offers(multi, 3), offers);
    Peer peer = Offered("single");
    EXPECT_EQ(Offers(peer, 0), offers);

    struct Case {
        const char* what;
        Bytes answer;
        bool readOn, requested;
        std::vector<Bytes> sent;
    };
    const Case cases[] = {
        {"not offered", Answer("8.png", 600, 69108), true, false, {}},
        {"size cut short", Concat(Named(30, "7.png"), {0x58, 2}), false, false, {}},
        {"name cut short", {30, 200, '7'}, false, false, {}},
        {"another sum", Answer("7.png", 600, 69109), true, true, {}},
        {"another size", Answer("7.png", 601, 69108), true, true, {}},
        {"the same copy", Answer("7.png", 600, 69108), true, false, {kReady}},
    };
    ServerTextureFile* seven = peer.client->m_Textures.m_ServerTextures[1];
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        seven->m_bRequested = false;
        peer.client->m_uiClientVersion = 0;
        Answered(peer, Concat(c.answer, Version(42)));
        EXPECT_EQ(peer.client->m_uiClientVersion, c.readOn ? 42u : 0u);
        EXPECT_EQ(peer.TakeAll(), c.sent);
        EXPECT_TRUE(!c.sent.empty() || seven->m_bRequested == c.requested);
    }
    EXPECT_EQ(InBand(peer), Bytes{});
}

// In band a chunk takes the room left under the smaller byte limit, at most 255 bytes and never
// less than 64; the go-ahead follows the last chunk in the same message.
TEST_F(TextureTest, StreamedInTheUpdateMessage) {
    Peer peer = Offered("plenty");
    peer.client->m_uiMaxUpdateSize = 10000;
    Answered(peer, Answer("7.png", 0, 0));
    EXPECT_EQ(InBand(peer), Concat(kStart, Seven(0, 255)));
    EXPECT_EQ(InBand(peer), Seven(255, 255));
    EXPECT_EQ(InBand(peer), Concat(Seven(510, 90), kReady));
    EXPECT_EQ(InBand(peer), Bytes{});

    struct Case {
        uint32_t maxSize, rateLimit;
        size_t written, chunk; // the start record's 7 bytes count as written too
    };
    const Case cases[] = {
        {100, 0, 3, 90},       {100, 0, 40, 64},  {100, 0, 150, 64},
        {10000, 200, 13, 180}, {100, 300, 0, 93}, {10000, 50, 0, 64},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.maxSize << " " << c.rateLimit << " " << c.written);
        Peer p = Offered("room" + std::to_string(&c - cases));
        Answered(p, Answer("7.png", 0, 0));
        p.client->m_uiMaxUpdateSize = c.maxSize;
        p.client->m_uiRateLimit = c.rateLimit;
        EXPECT_EQ(InBand(p, c.written), Concat(Concat(Bytes(c.written, 0), kStart), Seven(0, c.chunk)));
    }
}

// On channel 3 the server tick sends a chunk of at most 64 bytes (or the rate limit) while the
// channel holds at most one message queued or unacknowledged.
TEST_F(TextureTest, StreamedOnChannelThree) {
    Peer peer = Offered("multi", true);
    peer.TakeAll();
    Answered(peer, Answer("7.png", 0, 0));
    m_Harness.Pass(3);
    EXPECT_EQ(peer.Take(3), (std::vector<Bytes>{Concat(kStart, Seven(0, 64)), Seven(64, 64)}));
    peer.client->m_Pipe.SetUnackedCount(3, 2);
    m_Harness.Pass();
    EXPECT_TRUE(peer.Take(3).empty());
    peer.client->m_Pipe.SetUnackedCount(3, 0);
    for (size_t from = 128; from < 576; from += 64) {
        m_Harness.Pass();
        EXPECT_EQ(peer.Take(3), std::vector<Bytes>{Seven(from, 64)});
    }
    m_Harness.Pass(2);
    EXPECT_EQ(peer.Take(3), std::vector<Bytes>{Concat(Seven(576, 24), kReady)});

    peer.client->m_uiRateLimit = 2;
    Answered(peer, Answer("12b.png", 3, 0));
    m_Harness.Pass(3);
    EXPECT_EQ(peer.Take(3),
              (std::vector<Bytes>{
                  Concat(Named(0x73, "12b.png"), Concat(Named(0x74, "12b.png"), {2, 'a', 'b'})),
                  Concat(Named(0x74, "12b.png"), {1, 'c', 0x75, 7, '1', '2', 'b', '.', 'p', 'n', 'g', 12, 0})}));
}

} // namespace
