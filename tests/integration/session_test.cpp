// Login and malformed records over real UDP against the real binary; the answers themselves are
// the session unit tests' business.
#include <gtest/gtest.h>

#include "base/LogChat.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

const std::string kCount = "KRV_HOW_MANY_LOGGED_IN";

TEST(SessionOverUdp, LongestLoginIsWelcomedAndAMalformedRecordWarnsWithoutStoppingTheNext) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto player = server.NewClient();
    // The welcome carries the game tick counter: take it from the answer, check every other byte.
    Bytes welcome = GameServer::Login(*player, NewLogin(std::string(30, 'a'), std::string(50, 'p')));
    ASSERT_GE(welcome.size(), 3u);
    EXPECT_EQ(welcome, Welcome(uint16_t(welcome[1] | (welcome[2] << 8)), std::string(30, 'a')));

    auto other = server.NewClient();
    other->Send(0, Bytes{10, 1, 2, 3});
    other->Send(0, Query(kCount));
    EXPECT_EQ(GameServer::Next(*other), Answer(kCount, 2));
    EXPECT_NE(server.Process().WaitForOutput("bInvalidCommand got set to TRUE in Server::PIC()\n", 5s),
              std::string::npos);
    EXPECT_NE(
        server.Folder().Read(ChatLogFileName()).find("] WARNING: bInvalidCommand got set to TRUE in Server::PIC()\r\n"),
        std::string::npos);
}

bool StartsWith(const Bytes& b, const Bytes& prefix) {
    return b.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), b.begin());
}

// Three players and a stranger that never logged in. Lines of different clients may be taken in
// either order, so each line is followed, in the same message, by "/dil", whose answer tells the
// speaker the line has been dealt with; then the master administrator speaks a mark, which no one
// can ignore. What a client heard before the mark is what the line brought it.
class ChatRoom {
public:
    explicit ChatRoom(GameServer& server) {
        for (const char* name : {"ann", "bob", "ADMIN"}) {
            m_Clients.push_back(server.NewClient());
            m_bLoggedIn &= !GameServer::Login(*m_Clients.back(), NewLogin(name, "pw")).empty();
        }
    }
    bool LoggedIn() const { return m_bLoggedIn; }
    headless::HeadlessClient& operator[](int i) { return *m_Clients[size_t(i)]; }

    // What each of the three heard after `speaker` said the line, up to the mark.
    std::vector<std::vector<Bytes>> Say(int speaker, const std::string& line) {
        std::vector<std::vector<Bytes>> heard(3);
        m_Clients[size_t(speaker)]->Send(0, Concat(Record(8, {line}), Record(8, {"/dil"})));
        const Bytes done = Record(49, {"Your Ignore List"});
        headless::HeadlessClient& client = *m_Clients[size_t(speaker)];
        for (Bytes chat = GameServer::NextChat(client); !StartsWith(chat, done); chat = GameServer::NextChat(client)) {
            if (chat.empty()) return {{Chat("no answer", line)}};
            heard[size_t(speaker)].push_back(chat);
        }
        const std::string mark = "mark " + std::to_string(++m_iMarks);
        m_Clients[kAdminClient]->Send(0, Record(8, {mark}));
        for (size_t i = 0; i < 3; ++i) {
            for (Bytes chat = GameServer::NextChat(*m_Clients[i]); chat != Chat("ADMIN", mark);
                 chat = GameServer::NextChat(*m_Clients[i])) {
                if (chat.empty()) {
                    heard[i].push_back(Chat("no mark", line));
                    break;
                }
                heard[i].push_back(chat);
            }
        }
        return heard;
    }

private:
    static constexpr size_t kAdminClient = 2;
    std::vector<std::unique_ptr<headless::HeadlessClient>> m_Clients;
    bool m_bLoggedIn = true;
    int m_iMarks = 0;
};

enum { kAnn, kBob, kAdmin };
using Heard = std::vector<std::vector<Bytes>>;

TEST(ChatOverUdp, WhispersChannelsFilterIgnoreTheAdministratorsOverrideAndTheAbsent) {
    GameServer server([](const TempDir& dir) { dir.Write("krv_admin.ini", "Admin\n"); });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    ChatRoom room(server);
    ASSERT_TRUE(room.LoggedIn());
    auto stranger = server.NewClient();
    stranger->Send(0, Record(8, {"not logged in"}));

    EXPECT_EQ(room.Say(kBob, "/m ANN hi there"),
              (Heard{{Chat("bob (whispers to you)", "hi there")}, {Chat("bob (whispers to ANN)", "hi there")}, {}}));
    // A capital letter, an ordinary player's admin command and an overlong line are chat.
    for (const std::string& line : {std::string("/M ann hi"), std::string("/save"), "/m ann " + std::string(1018, 'x')})
        EXPECT_EQ(room.Say(kBob, line), (Heard(3, {Chat("BOB", line)}))) << line.substr(0, 10);

    const Bytes filtered = Chat("ANN", "what the **** is this");
    EXPECT_EQ(room.Say(kAnn, "what the fuck is this"), (Heard{{filtered}, {filtered}, {filtered}}));
    // A channel of its own: bob hears himself there, and the others nothing of it.
    for (auto [line, answer] :
         {std::pair<const char*, Bytes>{"/chatroom 7", Chat("VuK Server", "You are now in chat channel 7.")},
          {"anyone on seven?", Chat("BOB", "anyone on seven?")},
          {"/chatroom 1", Chat("VuK Server", "You are now in chat channel 1.")}}) {
        room[kBob].Send(0, Record(8, {line}));
        EXPECT_EQ(GameServer::NextChat(room[kBob]), answer);
    }
    const Bytes ok = Chat("ANN", "ok");
    EXPECT_EQ(room.Say(kAnn, "ok"), (Heard{{ok}, {ok}, {ok}}));

    // Ignoring: an equal is silenced in chat and in whispers; the administrator is not.
    room.Say(kAnn, "/ignore bob");
    room.Say(kAnn, "/ignore admin");
    EXPECT_EQ(room.Say(kBob, "hello"), (Heard{{}, {Chat("BOB", "hello")}, {Chat("BOB", "hello")}}));
    EXPECT_EQ(
        room.Say(kBob, "/m ANN psst"),
        (Heard{{}, {Chat("INFO", "The whisper could not be delivered because you are on ANN's ignore list.")}, {}}));
    EXPECT_EQ(room.Say(kAdmin, "listen"),
              (Heard{{Chat("ADMIN", "listen")}, {Chat("ADMIN", "listen")}, {Chat("ADMIN", "listen")}}));
    // Whispers are not filtered.
    EXPECT_EQ(room.Say(kAdmin, "/m ann shit happens"), (Heard{{Chat("ADMIN (whispers to you)", "shit happens")},
                                                              {},
                                                              {Chat("ADMIN (whispers to ann)", "shit happens")}}));

    // A hidden administrator and a player who has left count as not online.
    EXPECT_EQ(room.Say(kAdmin, "/hide")[kAdmin].front(),
              Chat("VuK Server", "You now appear OFFLINE to other players."));
    EXPECT_EQ(room.Say(kBob, "/m admin hi")[kBob],
              std::vector<Bytes>{Chat("INFO", "admin is not online at this time.")});
    auto dave = server.NewClient();
    ASSERT_FALSE(GameServer::Login(*dave, NewLogin("dave", "pw")).empty());
    dave->SendLeave();
    bool absent = false;
    for (int tries = 0; tries < 50 && !absent; ++tries)
        absent =
            room.Say(kBob, "/m dave hi")[kBob] == std::vector<Bytes>{Chat("INFO", "dave is not online at this time.")};
    EXPECT_TRUE(absent);
}

} // namespace
