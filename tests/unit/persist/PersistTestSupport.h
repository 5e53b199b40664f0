// Shared by the persistence tests: expected bytes written out by hand, and a fixture that runs
// each test in a fresh folder with the clock pinned and the global settings at their defaults.
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <unistd.h>

#include "base/LogChat.h"
#include "base/Settings.h"
#include "platform/LocalTime.h"
#include "support/FixedLocalTime.h"
#include "support/TempDir.h"
#include "support/WorkingFolder.h"

// Bytes from hex digits; blanks are only for reading.
inline std::string Hex(std::string_view digits) {
    auto nibble = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    std::string bytes;
    int high = -1;
    for (char c : digits) {
        int n = nibble(c);
        if (n < 0) continue;
        if (high < 0) {
            high = n;
        } else {
            bytes += char(high * 16 + n);
            high = -1;
        }
    }
    return bytes;
}

// The fourteen settings records of a world file with every setting at its default.
inline std::string DefaultSettingsRecords() {
    return Hex("18 15000000") + "KRV_POP_PRINCESS_SKIP" + Hex("04000000 00000000") +
           Hex("18 14000000") + "KRV_IRS_BUILD_ENABLE" + Hex("01000000 00") +
           Hex("18 1e000000") + "KRV_UDP_SEND_BUFFER_LIMIT_CODE" + Hex("04000000 06000000") +
           Hex("18 1b000000") + "KRV_TOTAL_SERVER_RATE_LIMIT" + Hex("04000000 00000000") +
           Hex("18 18000000") + "KRV_SET_QUILLHOB_TEXTURE" + Hex("04000000 64000000") +
           Hex("18 1b000000") + "KRV_REWARD_HITTING_QUILLHOB" + Hex("04000000 e8030000") +
           Hex("18 19000000") + "KRV_ZORBIN_SHRINK_PER_HIT" + Hex("04000000 0ad7a33c") +
           Hex("18 1d000000") + "KRV_STONEBLOCK_SHRINK_PER_HIT" + Hex("04000000 4260e53b") +
           Hex("18 20000000") + "KRV_BUILDINGBLOCK_SHRINK_PER_HIT" + Hex("04000000 8fc2753d") +
           Hex("18 1f000000") + "KRV_ZORBIN_COINS_STOLEN_PER_HIT" + Hex("04000000 01000000") +
           Hex("18 1a000000") + "KRV_PROPERTY_MOVING_GROUPS" + Hex("04000000 08000000") +
           Hex("18 1e000000") + "KRV_MAX_PROPERTY_MOVE_PER_TICK" + Hex("04000000 05000000") +
           Hex("18 15000000") + "KRV_COMPACT_SAVE_MODE" + Hex("01000000 00") +
           Hex("18 1e000000") + "KRV_BOOL_IMPROVED_CTS_RESPONSE" + Hex("01000000 01");
}

// A pad with every feature the world file saves: rotation, lift, goal pad with message, coins and
// Solexis, tag pad, bounce, label, alpha, both jail flags, fly flags, princess reward.
inline std::string FullPadRecords() {
    return Hex("01 04 0000803f 00000040 00004040 00000042 00008041 00000042 0000003f"
               "00000043 00000043 00000043 0f000000 02000000 01 01 01 00 07000000") +
           Hex("09 0000803e 00000000") +
           Hex("18 13000000") + "KRV_ENTITY_LIFTINFO" +
           Hex("1d000000 01 00000000 00000000 00000000 00000000 0000c842 00000000 00000040") +
           Hex("03 02 0f 02000000") + "Hi" + Hex("07000000 00008040 0000a040 0000c040") +
           Hex("04 2c010000") +
           Hex("0a 28000000") +
           Hex("0e 04000000") + "Gate" +
           Hex("18 11000000") + "KRV_TAGPAD_AMOUNT" + Hex("04000000 0a000000") +
           Hex("18 14000000") + "KRV_TAGPAD_LOCK_TIME" + Hex("04000000 14000000") +
           Hex("18 1d000000") + "KRV_TAGPAD_STARTING_LOCK_TIME" + Hex("04000000 2c010000") +
           Hex("18 16000000") + "KRV_ALPHA_BLEND_FACTOR" + Hex("01000000 c8") +
           Hex("18 18000000") + "QVS_ENTITY_JAIL_DISALLOW" + Hex("01000000 01") +
           Hex("18 17000000") + "QVS_ENTITY_JAIL_RELEASE" + Hex("01000000 01") +
           Hex("18 0b000000") + "QVS_SOLEXIS" + Hex("04000000 fbffffff");
}

// Player "Bob" with every field the players file saves.
inline std::string BobRecords() {
    return Hex("01 01 00002041 0000a041 0000f041 00008041 00008041 00008041 00000000"
               "00000042 00000042 00000042 01000000 03000000 03000000") + "Bob" +
           Hex("02000000") + "pw" + Hex("d2040000 00 01 01 05000000") + "Hello" +
           Hex("88130000 0000803f 00000040 00004040 00008040 0000a040 0000c040") +
           Hex("09 00000000 00000000") +
           Hex("0d c0270900") +
           Hex("08 08000000") + "Tri-Fire" + Hex("0000c8c2 07000000") +
           Hex("10000000") + "Spirit of Zorbin" + Hex("00000040 03000000") +
           Hex("00000000 00000000 00000000  00000000 00000000 00000000"
               "00000000 00000000 00000000  00000000 00000000 00000000"
               "00000000 00000000 00000000  00000000 00000000 00000000"
               "00000000 00000000 00000000  00000000 00000000 00000000") +
           Hex("0f 32000000") +
           Hex("14 01") +
           Hex("18 1a000000") + "KRV_TICKS_SINCE_LAST_LOGIN" + Hex("04000000 e8030000") +
           Hex("18 13000000") + "KRV_PLAYER_TEAMNAME" + Hex("07000000 03000000") + "Red" +
           Hex("18 15000000") + "KRV_IGNORE_LIST_ENTRY" + Hex("07000000 03000000") + "Eve" +
           Hex("18 15000000") + "KRV_IGNORE_LIST_ENTRY" + Hex("07000000 03000000") + "Mal";
}

class InSaveFolder : public ::testing::Test {
protected:
    // Loading and saving change the process-wide settings: every test starts from the defaults.
    void TearDown() override { ApplySettingDefaults(nullptr); }

    std::string Read(const std::string& name) const { return m_Folder.Dir().Read(name); }
    void Write(const std::string& name, const std::string& bytes) const { m_Folder.Dir().Write(name, bytes); }
    bool Exists(const std::string& name) const { return m_Folder.Exists(name); }
    std::string ChatLog() const { return m_Folder.Log(); }

    WorkingFolder m_Folder;
    FixedLocalTime m_Time;
};
