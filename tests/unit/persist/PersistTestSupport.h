// Shared by the persistence tests: expected bytes written out by hand, and a fixture that runs
// each test in a fresh folder with the clock pinned, a server to load into and save from, and
// the global settings at their defaults.
#pragma once
#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>

#include "base/Settings.h"
#include "core/Server.h"
#include "persist/Server_File.h"
#include "support/FixedLocalTime.h"
#include "support/WorkingFolder.h"
#include "world/Server_EntityKinds.h"

// Bytes from hex digits; blanks are only for reading.
inline std::string Hex(std::string_view digits) {
    std::string bytes, pair;
    for (char c : digits)
        if (std::isxdigit(static_cast<unsigned char>(c)) && (pair += c).size() == 2) {
            bytes += char(std::stoi(pair, nullptr, 16));
            pair.clear();
        }
    return bytes;
}

// A plain pad, 32 x 16 x 32, mode 2, as a hand-made file may hold it: at (1, 2, 3) with texture
// 42 unless the hex of another position or texture is given.
inline std::string PadRecord(const char* position = "0000803f 00000040 00004040", const char* texture = "2a000000") {
    return Hex("01 04") + Hex(position) + Hex("00000042 00008041 00000042 00000000 00000043 00000043 00000043") +
           Hex(texture) + Hex("02000000 00 00 00 00 00000000");
}
// The same pad as the world save writes it: with its rotation and first extension.
inline std::string SavedPad() {
    return PadRecord() + Hex("09 00000000 00000000 03 00 00 00000000 00000000 00000000 00000000 00000000");
}

// The fourteen settings records of a world file with every setting at its default.
inline std::string DefaultSettingsRecords() {
    return Hex("18 15000000") + "KRV_POP_PRINCESS_SKIP" + Hex("04000000 00000000") + Hex("18 14000000") +
           "KRV_IRS_BUILD_ENABLE" + Hex("01000000 00") + Hex("18 1e000000") + "KRV_UDP_SEND_BUFFER_LIMIT_CODE" +
           Hex("04000000 06000000") + Hex("18 1b000000") + "KRV_TOTAL_SERVER_RATE_LIMIT" + Hex("04000000 00000000") +
           Hex("18 18000000") + "KRV_SET_QUILLHOB_TEXTURE" + Hex("04000000 64000000") + Hex("18 1b000000") +
           "KRV_REWARD_HITTING_QUILLHOB" + Hex("04000000 e8030000") + Hex("18 19000000") + "KRV_ZORBIN_SHRINK_PER_HIT" +
           Hex("04000000 0ad7a33c") + Hex("18 1d000000") + "KRV_STONEBLOCK_SHRINK_PER_HIT" + Hex("04000000 4260e53b") +
           Hex("18 20000000") + "KRV_BUILDINGBLOCK_SHRINK_PER_HIT" + Hex("04000000 8fc2753d") + Hex("18 1f000000") +
           "KRV_ZORBIN_COINS_STOLEN_PER_HIT" + Hex("04000000 01000000") + Hex("18 1a000000") +
           "KRV_PROPERTY_MOVING_GROUPS" + Hex("04000000 08000000") + Hex("18 1e000000") +
           "KRV_MAX_PROPERTY_MOVE_PER_TICK" + Hex("04000000 05000000") + Hex("18 15000000") + "KRV_COMPACT_SAVE_MODE" +
           Hex("01000000 00") + Hex("18 1e000000") + "KRV_BOOL_IMPROVED_CTS_RESPONSE" + Hex("01000000 01");
}

// A pad with every feature the world file saves: rotation, lift, goal pad with message, coins and
// Solexis, tag pad, bounce, label, alpha, both jail flags, fly flags, princess reward.
inline std::string FullPadRecords() {
    return Hex("01 04 0000803f 00000040 00004040 00000042 00008041 00000042 0000003f"
               "00000043 00000043 00000043 0f000000 02000000 01 01 01 00 07000000") +
           Hex("09 0000803e 00000000") + Hex("18 13000000") + "KRV_ENTITY_LIFTINFO" +
           Hex("1d000000 01 00000000 00000000 00000000 00000000 0000c842 00000000 00000040") +
           Hex("03 02 0f 02000000") + "Hi" + Hex("07000000 00008040 0000a040 0000c040") +
           Hex("04 2c010000 0a 28000000 0e 04000000") + "Gate" + Hex("18 11000000") + "KRV_TAGPAD_AMOUNT" +
           Hex("04000000 0a000000") + Hex("18 14000000") + "KRV_TAGPAD_LOCK_TIME" + Hex("04000000 14000000") +
           Hex("18 1d000000") + "KRV_TAGPAD_STARTING_LOCK_TIME" + Hex("04000000 2c010000") + Hex("18 16000000") +
           "KRV_ALPHA_BLEND_FACTOR" + Hex("01000000 c8") + Hex("18 18000000") + "QVS_ENTITY_JAIL_DISALLOW" +
           Hex("01000000 01") + Hex("18 17000000") + "QVS_ENTITY_JAIL_RELEASE" + Hex("01000000 01") +
           Hex("18 0b000000") + "QVS_SOLEXIS" + Hex("04000000 fbffffff");
}

// Player "Bob" with every field the players file saves.
inline std::string BobRecords() {
    return Hex("01 01 00002041 0000a041 0000f041 00008041 00008041 00008041 00000000"
               "00000042 00000042 00000042 01000000 03000000 03000000") +
           "Bob" + Hex("02000000") + "pw" + Hex("d2040000 00 01 01 05000000") + "Hello" +
           Hex("88130000 0000803f 00000040 00004040 00008040 0000a040 0000c040 09 00000000 00000000"
               "0d c0270900 08 08000000") +
           "Tri-Fire" + Hex("0000c8c2 07000000 10000000") + "Spirit of Zorbin" + Hex("00000040 03000000") +
           std::string(8 * 12, '\0') + Hex("0f 32000000 14 01") + Hex("18 1a000000") + "KRV_TICKS_SINCE_LAST_LOGIN" +
           Hex("04000000 e8030000") + Hex("18 13000000") + "KRV_PLAYER_TEAMNAME" + Hex("07000000 03000000") + "Red" +
           Hex("18 15000000") + "KRV_IGNORE_LIST_ENTRY" + Hex("07000000 03000000") + "Eve" + Hex("18 15000000") +
           "KRV_IGNORE_LIST_ENTRY" + Hex("07000000 03000000") + "Mal";
}

// A player record named name with everything else zero but the energy and pocket coins given.
// The middle runs from the ignored byte to the modal text.
inline std::string PlayerRecord(const std::string& name, const char* energy = "00000000",
                                const char* coins = "00000000", const std::string& middle = Hex("00 00 00 00000000")) {
    return Hex("01 01 00000000 00000000 00000000 00008041 00008041 00008041 00000000"
               "00000042 00000042 00000042 01000000 03000000") +
           char(name.size()) + Hex("000000") + name + Hex("00000000") + Hex(energy) + middle + Hex(coins) +
           std::string(24, '\0');
}

class InSaveFolder : public ::testing::Test {
protected:
    // Loading and saving change the process-wide settings: every test starts from the defaults.
    void TearDown() override { ApplySettingDefaults(nullptr); }

    Server& server() { return *m_pServer; }
    // A new, empty server, for tables whose cases each load a world of their own.
    void NewServer() { m_pServer = std::make_unique<Server>(); }

    // Writes the files given (an empty text writes no file) and loads them.
    LoadError Load(const std::string& world, const std::string& players = "") {
        if (!world.empty()) Write(kWorldFileName, world);
        if (!players.empty()) Write(kPlayersFileName, players);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        LoadError verdict = server().LoadRoutine();
        m_strConsole = testing::internal::GetCapturedStdout();
        m_strErrors = testing::internal::GetCapturedStderr();
        return verdict;
    }
    std::string SaveWorld() {
        testing::internal::CaptureStdout();
        server().SaveRoutine_WorldWithoutPlayers();
        m_strConsole = testing::internal::GetCapturedStdout();
        return Read(kWorldFileName);
    }
    std::string SavePlayers() {
        server().SaveRoutine_Players();
        return Read(kPlayersFileName);
    }

    Server_Entity* Entity(uint32_t i) { return server().m_AllEntities.GetEntity(i); }
    Server_Player* Player(uint32_t i) { return static_cast<Server_Player*>(server().m_Players.GetEntity(i)); }
    std::string Read(const std::string& name) const { return m_Folder.Dir().Read(name); }
    void Write(const std::string& name, const std::string& bytes) const { m_Folder.Dir().Write(name, bytes); }
    std::string ChatLog() const { return m_Folder.Log(); }

    WorkingFolder m_Folder;
    FixedLocalTime m_Time;
    std::unique_ptr<Server> m_pServer = std::make_unique<Server>();
    std::string m_strConsole;
    std::string m_strErrors;
};
