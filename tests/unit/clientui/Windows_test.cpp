// The windows a client is shown and what its clicks do, byte for byte.

#include "unit/session/SessionFixture.h"
#include "world/Server_EntityKinds.h"

namespace {

Bytes operator+(Bytes a, const Bytes& b) { return Concat(std::move(a), b); }
const auto Open = WindowOpen;
const auto Close = WindowClose;
const auto Light = WindowLight;

constexpr std::array<uint32_t, 4> kWhite{0xFFFFFF, 0, 0xFFFFFF, 0xFFFFFFFF};
constexpr std::array<uint32_t, 4> kC0{0xFFFFFF, 0, 0xFFFFFF, 0xC0FFFFFF};
constexpr std::array<uint32_t, 4> kD0{0xFFFFFF, 0, 0xFFFFFF, 0xD0FFFFFF};

Bytes MenuEntry(uint8_t id, uint16_t top, uint16_t height, const std::string& text,
                std::array<uint32_t, 4> colours = kWhite) {
    return Open(id, {226, top, 300, height}, colours, 4, text);
}

const std::vector<Bytes> kMenuOpened = {
    Light(0, 0xFF0000),
    MenuEntry(6, 400, 32,
              "Locate Nearest Enemy BuildingBlock (Costs 10,000 Pocket Coins (only if BuildingBlock found))"),
    MenuEntry(8, 384, 16, "Toggle away from keyboard status"),
    MenuEntry(9, 368, 16, "Locate Nearest Own BuildingBlock (FREE!)"),
    MenuEntry(30, 352, 16, "ReDisplay Login Message Window"),
    MenuEntry(3, 320, 32, "Buy 30 time units of SHIELD OF TALVY (Costs 100,000 pocket coins)"),
    MenuEntry(5, 288, 32, "Buy 30 time units of SPIRIT OF ICE CREAM (Costs 250,000 pocket coins)"),
    MenuEntry(31, 256, 32, "Kicking/Destroying your own property is ON.  Click here to TURN OFF.",
              {0xFFFFFF, 0x004000, 0xFFFFFF, 0xFFFFFFFF}),
    MenuEntry(35, 224, 32,
              "Locate Highest Ranked Enemy BuildingBlock (Costs 50,000 Pocket Coins (only if BuildingBlock found))"),
    MenuEntry(39, 208, 16, "Buy 10 Solexis for 10,000 coins"),
    MenuEntry(10, 192, 16, "Client Side Movement is ON.  Click here to turn off.",
              {0xFF0000, 0x800000, 0xFFFF00, 0xFFFFFFFF}),
};
const Bytes kMenuClosed = Light(0, 0) + Close(3) + Close(4) + Close(5) + Close(6) + Close(8) + Close(9) + Close(10) +
                          Close(30) + Close(31) + Close(35) + Close(39);

class Windows : public SessionTest {
protected:
    std::vector<Bytes> ClickOn(ServerHarness::Peer& peer, uint8_t id, unsigned channel = 0) {
        return Exchange(peer, MenuClick(id), channel);
    }
};

TEST_F(Windows, MenuButtonOpensAndClosesTheMenuAndEachEntryClosesItAsItActs) {
    ServerHarness::Peer ann = LoggedIn("ann");
    Server_Player* player = ann.client->m_pPlayer;
    std::vector<Bytes> opened = kMenuOpened;
    opened.insert(opened.begin(), Close(29)); // the button first takes the message window away
    EXPECT_EQ(ClickOn(ann, 0), opened);
    EXPECT_EQ(ClickOn(ann, 0), (std::vector<Bytes>{Close(29), kMenuClosed}));

    // Each request entry closes the menu and leaves its request for the player rules.
    struct Request {
        uint8_t id;
        PlayerFlag flag;
    };
    for (Request r : {Request{6, kPlayerMenuLocateEnemy}, Request{8, kPlayerMenuToggleAFK},
                      Request{9, kPlayerMenuLocateOwn}, Request{35, kPlayerMenuLocateTopEnemy}}) {
        SCOPED_TRACE(int(r.id));
        ClickOn(ann, 0);
        EXPECT_EQ(ClickOn(ann, r.id), (std::vector<Bytes>{kMenuClosed}));
        EXPECT_TRUE(player->GetFlag(r.flag));
    }
    // Without the menu open an entry acts and sends nothing.
    EXPECT_TRUE(ClickOn(ann, 31).empty());
    EXPECT_TRUE(player->GetFlag(kPlayerNoKickOwnProperty));
    EXPECT_TRUE(ClickOn(ann, 10).empty());
    EXPECT_FALSE(ann.client->m_Movement.m_bClientSideMovementAllowed);
    // The two switches now show their other texts and colours.
    std::vector<Bytes> got = ClickOn(ann, 0);
    ASSERT_EQ(got.size(), 12u);
    EXPECT_EQ(got[8], MenuEntry(31, 256, 32, "Kicking/Destroying your own property is OFF.  Click here to TURN ON.",
                                {0xFFFFFF, 0x008000, 0xFFFFFF, 0xFFFFFFFF}));
    EXPECT_EQ(got[11], MenuEntry(10, 192, 16, "Client Side Movement is OFF.  Click here to turn on.",
                                 {0x808080, 0x404040, 0xFFFFFF, 0xFFFFFFFF}));
    EXPECT_EQ(ClickOn(ann, 1), (std::vector<Bytes>{kMenuClosed}));
    // Unknown ids, and a click before any login, do nothing.
    for (uint8_t id : {13, 27, 40, 255}) EXPECT_TRUE(ClickOn(ann, id).empty()) << int(id);
    ServerHarness::Peer stranger = m_Harness->Connect();
    EXPECT_TRUE(ClickOn(stranger, 3).empty());
    EXPECT_TRUE(ClickOn(stranger, 200).empty());
}

TEST_F(Windows, MessageOfTheDayAsItsBytesAndOnlyWhenTheFileIsThere) {
    ServerHarness::Peer ann = LoggedIn("ann");
    EXPECT_EQ(ClickOn(ann, 30), (std::vector<Bytes>{Close(29)}));
    m_Folder.Dir().Write("server_motd.txt", "Welcome!\r\nBe nice.");
    EXPECT_EQ(ClickOn(ann, 30),
              (std::vector<Bytes>{Close(29), Open(29, {120, 90, 400, 300}, kD0, 0, "Welcome!\r\nBe nice.")}));
    EXPECT_EQ(ClickOn(ann, 29), (std::vector<Bytes>{Close(29)}));
}

TEST_F(Windows, NewsBrowserListsTheFolderMovesTheHighlightAndCloses) {
    ServerHarness::Peer ann = LoggedIn("ann");
    // An empty folder shows one title from a file that is not there.
    const Bytes emptyTitles = Open(12, {64, 120, 128, 16}, kC0, 4, "teststuff");
    EXPECT_EQ(ClickOn(ann, 11), (std::vector<Bytes>{Close(29), Light(11, 0xFF0000), emptyTitles, Light(12, 0xFF0000),
                                                    Open(27, {196, 120, 376, 240}, kC0, 0, "File not found"),
                                                    Open(28, {64, 100, 508, 16}, kC0, 4,
                                                         "GAME UPDATE INFO - Click here to close this.")}));
    EXPECT_EQ(ClickOn(ann, 11),
              (std::vector<Bytes>{Close(29), Light(11, 0x004040) + Close(12) + Close(27) + Close(28)}));

    std::filesystem::create_directory("updatenews");
    m_Folder.Dir().Write("updatenews/b_rules.txt", "B");
    m_Folder.Dir().Write("updatenews/a_update.txt", "A");
    m_Folder.Dir().Write("updatenews/c_fix.txt", "C");
    m_Folder.Dir().Write("updatenews/notes.md", "not listed");
    std::vector<Bytes> got = ClickOn(ann, 11);
    ASSERT_EQ(got.size(), 6u);
    EXPECT_EQ(got[2], Open(12, {64, 120, 128, 16}, kC0, 4, "a_update") +
                          Open(13, {64, 136, 128, 16}, kC0, 4, "b_rules") +
                          Open(14, {64, 152, 128, 16}, kC0, 4, "c_fix"));
    EXPECT_EQ(got[4], Open(27, {196, 120, 376, 240}, kC0, 0, "A"));
    // Title 2 after title 0: the highlight moves and the text is replaced.
    EXPECT_EQ(ClickOn(ann, 14),
              (std::vector<Bytes>{Light(12, 0) + Light(14, 0xFF0000), Open(27, {196, 120, 376, 240}, kC0, 0, "C")}));
    EXPECT_TRUE(ClickOn(ann, 15).empty()); // no fourth file
    EXPECT_EQ(ClickOn(ann, 28),
              (std::vector<Bytes>{Light(11, 0x004040) + Close(12) + Close(13) + Close(14) + Close(27) + Close(28)}));
    EXPECT_TRUE(ClickOn(ann, 28).empty());
}

TEST_F(Windows, ScrollViewerStopsAtBothEndsAndTravelsOnChannelZero) {
    // A client with several channels: the menu goes on channel 2, the viewer still on 0.
    ServerHarness::Peer ann = m_Harness->Connect();
    ann.Send(0, Concat(Declare("KRV_MULTI_UDP_CHANNEL", 1), Concat(Version(84), NewLogin("ann", "pw"))));
    m_Harness->Pass();
    ann.TakeAll();
    ClickOn(ann, 0);
    EXPECT_EQ(ann.Take(2).size(), 12u);

    auto& lines = ann.client->m_Windows.m_ScrollLines;
    for (int i = 0; i < 30; ++i) lines.Append(new std::string("line " + std::to_string(i)));
    auto shown = [](int top, uint8_t style) {
        std::string text;
        for (int i = top; i < top + 24; ++i) text += "line " + std::to_string(i) + "\n";
        return Open(36, {120, 90, 400, 300}, kD0, style, text);
    };
    ann.client->SendScrollableButton();
    EXPECT_EQ(ann.Take(0), (std::vector<Bytes>{Open(37, {520, 90, 60, 40}, kD0, 12, "\nUp") +
                                               Open(38, {520, 350, 60, 40}, kD0, 12, "\nDn") + shown(0, 8)}));
    EXPECT_TRUE(ClickOn(ann, 37).empty()); // already at the top
    for (int top = 1; top <= 6; ++top) EXPECT_EQ(ClickOn(ann, 38), (std::vector<Bytes>{shown(top, 0)})) << top;
    EXPECT_TRUE(ClickOn(ann, 38).empty()); // the seventh goes nowhere
    EXPECT_EQ(ClickOn(ann, 37), (std::vector<Bytes>{shown(5, 0)}));
    EXPECT_EQ(ClickOn(ann, 36), (std::vector<Bytes>{Close(36) + Close(37) + Close(38)}));
    EXPECT_TRUE(ClickOn(ann, 38).empty()); // not shown any more
}

} // namespace
