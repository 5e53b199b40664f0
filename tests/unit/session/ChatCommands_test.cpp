// Whispers, ignore lists and chat channels, as three players see them.
#include "SessionFixture.h"

namespace {

class ChatCommands : public SessionTest {
protected:
    // Each line is said by one player; then every player's chat records are compared.
    struct Step {
        int speaker;
        std::string line;
        std::vector<Bytes> heard[3];
    };

    void Run(const std::vector<Step>& steps, const char* third = "Carol") {
        ServerHarness::Peer peers[3] = {LoggedIn("Ann"), LoggedIn("Bob"), LoggedIn(third)};
        for (ServerHarness::Peer& p : peers) p.TakeAll();
        for (const Step& step : steps) {
            SCOPED_TRACE(step.line);
            peers[step.speaker].Send(0, Say(step.line));
            m_Harness->Pass();
            for (int i = 0; i < 3; ++i) {
                std::vector<Bytes> chats;
                for (Bytes& m : peers[i].TakeAll())
                    if (!m.empty() && m[0] == 49) chats.push_back(std::move(m));
                EXPECT_EQ(chats, step.heard[i]) << "player " << i;
            }
        }
    }
};

enum { kAnn, kBob, kCarol, kAdmin = kCarol };

TEST_F(ChatCommands, WhispersIgnoreListsAndChannels) {
    Run({
        {kBob,
         "/m ann hi  there",
         {{Chat("Bob (whispers to you)", "hi  there")}, {Chat("Bob (whispers to ann)", "hi  there")}, {}}},
        {kBob, "/msg nobody x", {{}, {Chat("INFO", "nobody is not online at this time.")}, {}}},
        // A capital letter makes it no command: the line is chat, filtered, to the whole channel.
        {kBob,
         "/M ann shit",
         {{Chat("BOB", "/M ann ****")}, {Chat("BOB", "/M ann ****")}, {Chat("BOB", "/M ann ****")}}},
        {kAnn,
         "/ignore bob",
         {{Chat("Info", "BOB is now on your ignore list (1 people now on your ignore list).")}, {}, {}}},
        {kAnn, "/ignore Bob", {{Chat("Info", "BOB is already on your ignore list.")}, {}, {}}},
        {kBob,
         "/m Ann yo",
         {{}, {Chat("INFO", "The whisper could not be delivered because you are on Ann's ignore list.")}, {}}},
        {kBob, "hello", {{}, {Chat("BOB", "hello")}, {Chat("BOB", "hello")}}},
        {kAnn, "/dil", {{Chat("Your Ignore List", "BOB (1 total)")}, {}, {}}},
        {kAnn,
         "/unignore bob",
         {{Chat("Info", "BOB is no longer on your ignore list (0 people now on your ignore list).")}, {}, {}}},
        {kAnn, "/unignore bob", {{Chat("Info", "You weren't ignoring BOB to begin with.")}, {}, {}}},
        {kCarol, "/chatroom 300", {{}, {}, {Chat("VuK Server", "You are now in chat channel 255.")}}},
        {kAnn, "hi", {{Chat("ANN", "hi")}, {Chat("ANN", "hi")}, {}}},
        {kCarol, "/chatchannel x", {{}, {}, {Chat("VuK Server", "You are now in chat channel 1.")}}},
        {kCarol, "/nochat", {{}, {}, {Chat("VuK Server", "You are no longer in any VUK chat room.")}}},
        {kCarol, "anyone?", {{}, {}, {Chat("Error", "You are not in a VUK chat room.")}}},
    });
}

TEST_F(ChatCommands, TeamsAreJoinedWithACleanNameAndLeftNearTheStart) {
    auto error = [](const char* text) { return std::vector<Bytes>{Chat("Error", text)}; };
    Run({
        {kAnn, "/jt abc", {error("Team names must be at least four characters long."), {}, {}}},
        {kAnn, "/jointeam abcdefghijklm", {error("Team names cannot exceed 12 characters."), {}, {}}},
        {kAnn, "/jt ab-cd", {error("Team names can only have letters and numbers in them."), {}, {}}},
        {kAnn, "/jt fuckers", {error("Team names cannot contain offensive language."), {}, {}}},
        {kAnn, "/lt", {error("You are not a member of any team."), {}, {}}},
        {kAnn, "/jt red12345678", {{Chat("Info", "You have joined team red12345678.")}, {}, {}}},
        {kAnn, "/jt RED12345678", {error("You are already a member of this team."), {}, {}}},
        {kAnn, "/leaveteam", {{Chat("Info", "You no longer belong to a team.")}, {}, {}}},
    });
}

// The administrator is heard through an ignore list and its whispers are not filtered; hidden, it
// is not online, no more than a player who has left. A line too long for a command is chat.
TEST_F(ChatCommands, AdministratorsAreHeardByAllAndTheHiddenOrAbsentAreNotOnline) {
    LoggedIn("Dave").Disconnect();
    m_Harness->Pass();
    const std::string overlong = "/m ann " + std::string(1018, 'x');
    const Bytes listen = Chat("ADMIN", "listen"), chat = Chat("BOB", overlong);
    Run(
        {
            {kAnn,
             "/ignore admin",
             {{Chat("Info", "ADMIN is now on your ignore list (1 people now on your ignore list).")}, {}, {}}},
            {kAdmin, "listen", {{listen}, {listen}, {listen}}},
            {kAdmin,
             "/m ann shit happens",
             {{Chat("ADMIN (whispers to you)", "shit happens")},
              {},
              {Chat("ADMIN (whispers to ann)", "shit happens")}}},
            {kAdmin, "/hide", {{}, {}, {Chat("VuK Server", "You now appear OFFLINE to other players.")}}},
            {kBob, "/m admin hi", {{}, {Chat("INFO", "admin is not online at this time.")}, {}}},
            {kBob, "/m dave hi", {{}, {Chat("INFO", "dave is not online at this time.")}, {}}},
            {kBob, overlong, {{chat}, {chat}, {chat}}},
        },
        "ADMIN");
}

} // namespace
