// Writing the save files: named records and the name lookup, the order and form of the players
// file, and the order of the world's entities. What a file can hold is checked by reading it back
// and saving it again, and what was not loaded is moved aside, in Load_test.cpp.
#include "PersistTestSupport.h"

#include <vector>

#include "net/Packet.h"

namespace {

using Saving = InSaveFolder;

// A named record copies its payload from the read position on; compact mode writes a known name
// as its code byte and keeps the frame of an unknown one.
TEST_F(Saving, NamedRecordsInNormalAndCompactMode) {
    struct Case {
        bool compact;
        const char* name;
        std::string payload; // its first byte is read before the record is written
        std::string record, console;
    };
    const std::string text(120, 'x');
    const Case cases[] = {
        {false, "KRV_IRS_BUILD_ENABLE", Hex("aa 01"), Hex("18 14000000") + "KRV_IRS_BUILD_ENABLE" + Hex("01000000 01"),
         ""},
        {false, "KRV_NP_LABEL_SAME_AS_LAST", Hex("aa"),
         Hex("18 19000000") + "KRV_NP_LABEL_SAME_AS_LAST" + Hex("00000000"), ""},
        {false, "KRV_PLAYER_TEAMNAME", "a" + text, Hex("18 13000000") + "KRV_PLAYER_TEAMNAME" + Hex("78000000") + text,
         ""},
        {true, "KRV_NP_LABEL_SAME_AS_LAST", Hex("aa"), Hex("3e"), ""},
        {true, "KRV_SOMETHING_NEW", Hex("aa 09"), Hex("18 11000000") + "KRV_SOMETHING_NEW" + Hex("01000000 09"),
         "LoadRoutine: Skipping over unsupported command: KRV_SOMETHING_NEW\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        g_bCompactSaveMode = c.compact;
        Packet out, payload;
        payload.AppendBytes(c.payload.data(), c.payload.size());
        uint8_t skipped = 0;
        payload.ReadByte(skipped);
        testing::internal::CaptureStdout();
        Append_KRV_StringCommand(&out, c.name, &payload);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.console);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.Data()), out.Length()), c.record);
        EXPECT_EQ(payload.Remaining(), 0u);
    }
}

// Names no writer of ours emits still give their codes; other names give 0 and say so.
TEST(RecordNames, NamesOfTheTableGiveTheirCodesAndOthersAreSkipped) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_FILE_ADD_ENTITY"), 1);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_STONEBLOCK_BONUS"), 44);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("krv_file_add_entity"), 0);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand(""), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "LoadRoutine: Skipping over unsupported command: krv_file_add_entity\n"
              "LoadRoutine: Skipping over unsupported command: \n");
}

// Players, Zorbin cubes, palace cubes, player-built blocks, whatever the order they came in. In
// compact mode: raw records, a label shared across the groups, an empty team name still written,
// a zero pad tail for the block; and the modal text only while its window is open, the pocket
// coins in 32 bits.
TEST_F(Saving, PlayersFileGoesInGroupOrder) {
    std::string zorbin = Hex("01 0a 0000c842 00000041 0000c842 00000042 00000042 00000042 00000000"
                             "00008042 00008042 00008042 2c000000 01000000 0c 03000000") +
                         "Bob" + Hex("33 a8610000");
    std::string palace = Hex("01 0b 00004843 00008041 00004843 00000042 00000042 00000042 00000000"
                             "00000043 00000043 00000043 3c000000 01000000 3e 0a 05000000 2e e7030000");
    std::string block = Hex("01 04 00009643 00000041 00009643 00000042 00008041 00000042 00000000"
                            "00000043 00000043 00000043 2a000000 02000000");
    Load(Hex("0b"), Hex("0b") + block + Hex("01 01 00 00 63000000 0b 01 00000000 0e 03000000") + "Bob" +
                        Hex("33 e0930400") + palace + zorbin + PlayerRecord("Z"));
    g_bCompactSaveMode = true;
    Player(0)->m_strModalText = "stale";
    Player(0)->m_i64PocketCoins = 3'000'000'000LL;
    std::string player = PlayerRecord("Z", "00000000", "005ed0b2") + Hex("09 00000000 00000000 0d 00000000 08") +
                         std::string(10 * 12, '\0') + Hex("0f 00000000 14 00 16 00000000 19 00000000");
    EXPECT_EQ(SavePlayers(),
              Hex("0b") + player + zorbin + palace + block + Hex("00000000 00000000 0b 01 00000000 3e 33 e0930400"));
}

TEST_F(Saving, WorldEntitiesGoInAddressOrderOnceTheArrayHasChangedEnough) {
    // Forty pads, then the first twenty gone and twenty more added into the freed pool slots.
    std::vector<Server_Entity*> pads;
    for (int i = 0; i < 60; ++i) {
        if (i == 40)
            for (int j = 0; j < 20; ++j) server().ProperDestroy(pads[size_t(j)]);
        pads.push_back(server().ProperAddByType(kKindNormalPad));
    }
    SaveWorld();
    for (uint32_t i = 1; i < server().m_AllEntities.Count(); ++i)
        EXPECT_LT(reinterpret_cast<uintptr_t>(Entity(i - 1)), reinterpret_cast<uintptr_t>(Entity(i)));
}

} // namespace
