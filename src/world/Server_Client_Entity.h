// A client's view record of an entity: the values as the client has them, so that encoders
// send only differences. Records and their player parts come from pools.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

#include "world/Entity.h"

class IndexLink; // the replication layer's client slot link
class SCE_Player;

// m_ucViewFlags
inline constexpr uint8_t kViewScoreSent = 0x01;       // the score entry (name) was sent
inline constexpr uint8_t kViewVisibilityBit = 0x02;   // last sent visibility bit of a box
inline constexpr uint8_t kViewClientFireBlock = 0x04; // fire block simulated by the client

// Last sent goal-pad data of a box.
struct SCE_GoalPadInfo {
    uint8_t m_ucFlag = 0;
    float m_f[3] = {};
    std::string m_str;
};

class Server_Client_Entity : public Entity {
public:
    Server_Client_Entity() = default;
    // Frees the player part, the goal-pad record, the rotation record and the attribute list;
    // the storage returns to g_VukHeap_ServerClientEntity.
    ~Server_Client_Entity() override;
    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    VUKVector m_vPredictedStep;        // step the client adds on each position message
    IndexLink* m_pIndexLink = nullptr; // slot bound to this record
    SCE_Player* m_pPlayerView = nullptr;
    float m_fPredictedYawStep = 0.0f;
    int16_t m_usStepsSinceResync = 0;
    uint8_t m_ucViewFlags = 0;
    SCE_GoalPadInfo* m_pGoalPadInfo = nullptr;

    SCE_Player* GetOrCreatePlayerView();
    SCE_GoalPadInfo* GetOrCreateGoalPadInfo();
};

inline constexpr int kSCEStrings = 13;
inline constexpr int kSCEModalText = 10;   // string 10
inline constexpr int kSCEMessageText = 11; // string 11
inline constexpr int kSCETeamName = 12;    // string 12

// m_ucSentBits
inline constexpr uint8_t kSCEFlag1B = 0x01;    // the flag sent with 0x1B
inline constexpr uint8_t kSCEAdminFlag = 0x02; // the admin flag sent with 0x43
inline constexpr uint8_t kSCEStatus1 = 0x04;   // the status value sent with 0x22: its 1
inline constexpr uint8_t kSCEStatus2 = 0x08;   // and its 2

// The last sent values of the fields only players have.
class SCE_Player {
public:
    SCE_Player() = default;
    virtual ~SCE_Player() = default;
    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    std::string m_strStrings[kSCEStrings]; // 0..9 effect names, then modal, message, team
    uint32_t m_uiAdminSelection = 0;       // by identity
    float m_fEffectTimes[10] = {};
    float m_fMessageTime = 0.0f;
    float m_fAdminToolValue = 0.0f;
    float m_fSpeedFactor = 1.0f;
    uint32_t m_uiEnergy = 67'890;
    uint32_t m_uiPocketCoins = 0;   // low 32 bits
    uint32_t m_uiPropertyValue = 0; // low 32 bits
    uint8_t m_ucAdminToolByte = 0;
    uint8_t m_ucFlyState = 0;
    uint8_t m_ucChatChannel = 1;
    uint8_t m_ucSentBits = 0;
    uint8_t m_ucClientFireFlag = 0; // player flag byte 5 bit 1
    float m_fFireValue7D = 0.0f;
    uint8_t m_ucFireValue7E = 0;
    float m_fFireValue7F = 0.0f;
    uint8_t m_ucFireValue83 = 0;
};
