// A client's view record of an entity: the values as the client has them, so that encoders
// send only differences. Records and their player parts come from pools.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "world/Entity.h"

class SCE_Player;
struct SCE_GoalPadInfo;

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

// What a view keeps beyond its box: made at the first value that differs from the default, so
// the views of plain pads (nearly all of them) cost only the record itself.
struct SCE_Extras {
    VUKVector m_vPredictedStep;
    float m_fPredictedYawStep = 0.0f;
    float m_fAngles[3] = {}; // yaw, pitch, roll
    uint32_t m_uiInverseAlpha = 0;
    uint32_t m_uiBounce = 0;
    SCE_Player* m_pPlayerView = nullptr;
    SCE_GoalPadInfo* m_pGoalPadInfo = nullptr;
};

// A view record: one per (client, entity the client has been sent), so kept small. Not an
// Entity: a view needs the box and texture as last sent and little else, and a view of each of
// 100,000 entities for each of 128 clients must fit in well under a gigabyte.
class Server_Client_Entity {
public:
    Server_Client_Entity() = default;
    // Frees the extras with their player part and goal-pad record; the storage returns to
    // g_VukHeap_ServerClientEntity.
    ~Server_Client_Entity();
    Server_Client_Entity(const Server_Client_Entity&) = delete;
    Server_Client_Entity& operator=(const Server_Client_Entity&) = delete;
    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    VUKVector m_vPosition;
    VUKVector m_vSize;
    VUKVector m_vTextureScale;
    uint32_t m_uiLabel = 0; // the cached label's handle, read with every update of a labelled box
    SCE_Extras* m_pExtras = nullptr;
    uint16_t m_usTexture = 0;
    uint8_t m_ucTypeAndFlags = 0; // kind and texture mode, as Entity keeps them
    uint8_t m_ucViewFlags = 0;
    int16_t m_usStepsSinceResync = 0;
    uint8_t m_ucLinkSlot = 0; // the client-side reference slot bound to this view, while linked
    bool m_bLinked = false;

    uint8_t GetKind() const { return KindOf(m_ucTypeAndFlags); }
    void SetKind(uint8_t kind) { SetKindIn(m_ucTypeAndFlags, kind); }
    uint8_t GetTextureMode() const { return TextureModeOf(m_ucTypeAndFlags); }
    void SetTextureMode(uint8_t mode) { SetTextureModeIn(m_ucTypeAndFlags, mode); }

    // The label as last sent (empty without one); SetLabel caches the text as entities do.
    const std::string& GetLabel() const;
    const std::string* LabelPointer() const { return Entity::LabelAt(m_uiLabel); }
    void SetLabelPointer(const std::string* label) { m_uiLabel = Entity::LabelHandle(label); }
    void SetLabel(std::string_view text) { SetLabelPointer(Entity::CacheLabel(text)); }

    VUKVector PredictedStep() const { return m_pExtras ? m_pExtras->m_vPredictedStep : VUKVector(); }
    void SetPredictedStep(const VUKVector& step);
    float PredictedYawStep() const { return m_pExtras ? m_pExtras->m_fPredictedYawStep : 0.0f; }
    void SetPredictedYawStep(float step);

    float GetYaw() const { return Angle(0); }
    float GetPitch() const { return Angle(1); }
    float GetRoll() const { return Angle(2); }
    void SetYaw(float angle) { SetAngle(0, angle); }
    void SetPitch(float angle) { SetAngle(1, angle); }
    void SetRoll(float angle) { SetAngle(2, angle); }
    void SetRotation(float yaw, float pitch, float roll) {
        SetAngle(0, yaw);
        SetAngle(1, pitch);
        SetAngle(2, roll);
    }

    // Only the opacity and the bounce are replicated attributes.
    uint32_t GetEEA(uint8_t id) const;
    void SetEEA(uint8_t id, uint32_t value);

    SCE_Player* PlayerView() const { return m_pExtras ? m_pExtras->m_pPlayerView : nullptr; }
    SCE_GoalPadInfo* GoalPadInfo() const { return m_pExtras ? m_pExtras->m_pGoalPadInfo : nullptr; }
    SCE_Player* GetOrCreatePlayerView();
    SCE_GoalPadInfo* GetOrCreateGoalPadInfo();

private:
    float Angle(int i) const { return m_pExtras ? m_pExtras->m_fAngles[i] : 0.0f; }
    void SetAngle(int i, float angle);
    SCE_Extras* Extras();
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
