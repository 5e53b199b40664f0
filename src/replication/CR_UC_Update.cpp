// Field encoders: each compares m_pEntity with the client's view m_pView, writes a message for
// what differs into m_pPacket and copies the sent value into the view. Also the add messages and
// the per-kind encoders built from them.
#include <cmath>
#include <cstdint>
#include <string>

#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "replication/UpdateMessages.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"

using namespace replication;

namespace {

constexpr float kExtentTolerance = 0.01f;
constexpr float kTimeTolerance = 0.1f;

// A one-byte length: a longer text goes out cut to 255 bytes, so the client's parse stays in step.
void AppendString255(Packet* packet, const std::string& text) {
    size_t n = text.size() < 255 ? text.size() : 255;
    packet->AppendByte(uint8_t(n));
    packet->AppendBytes(text.data(), n);
}

void AppendVector(Packet* packet, const VUKVector& v) {
    packet->AppendFloat(v.x);
    packet->AppendFloat(v.y);
    packet->AppendFloat(v.z);
}

bool DiffersBeyond(const VUKVector& a, const VUKVector& b, float tolerance) {
    return std::fabs(a.x - b.x) > tolerance || std::fabs(a.y - b.y) > tolerance || std::fabs(a.z - b.z) > tolerance;
}

bool IsCubic(const VUKVector& size) { return size.x == size.y && size.y == size.z; }

// Texture numbers and bounce values are 16-bit on the wire's 32-bit field.
int32_t SignExtend16(uint32_t v) { return int32_t(int16_t(uint16_t(v))); }

// A time is worth resending when it ran out or moved by more than a tenth.
bool TimeWorthSending(float value, float sent) {
    return value != sent && (value <= 0.0f || std::fabs(value - sent) > kTimeTolerance);
}

// A goal pad the client may handle alone: a warp without any reward or flying change.
bool IsPlainGoalPad(const Server_Entity* e) {
    const GoalPadStuff* g = e->m_pGoalPad;
    return g && g->m_iCoinReward == 0 && g->m_sType == 0 && g->m_iSolexis == 0 &&
           (e->m_ucSurfaceFlags & (kSurfaceNoFly | kSurfaceFlyAgain)) == 0;
}

} // namespace

// ---- field-delta helpers ----

void Server_Client::UC_Update_UINT(unsigned char type, unsigned int* value, unsigned int* view) {
    if (*value == *view) return;
    m_pPacket->AppendByte(type);
    m_pPacket->AppendU32(*value);
    *view = *value;
}

void Server_Client::UC_Update_SignedShortINT_As_UINT(unsigned char type, short* value, short* view) {
    if (*value == *view) return;
    m_pPacket->AppendByte(type);
    m_pPacket->AppendI32(*value);
    *view = *value;
}

void Server_Client::UC_Update_Float(unsigned char type, float* value, float* view) {
    if (*value == *view) return;
    m_pPacket->AppendByte(type);
    m_pPacket->AppendFloat(*value);
    *view = *value;
}

void Server_Client::UC_Update_Bool(unsigned char type, bool* value, bool* view) {
    if (*value == *view) return;
    m_pPacket->AppendByte(type);
    m_pPacket->AppendBool(*value);
    *view = *value;
}

void Server_Client::UC_Update_Byte(unsigned char type, unsigned char* value, unsigned char* view) {
    if (*value == *view) return;
    m_pPacket->AppendByte(type);
    m_pPacket->AppendByte(*value);
    *view = *value;
}

void Server_Client::UC_Update_String(unsigned char type, const std::string& value, std::string& view) {
    if (value == view) return;
    m_pPacket->AppendByte(type);
    m_pPacket->AppendString(value);
    view = value;
}

void Server_Client::UC_Update_String255(unsigned char type, const std::string& value, std::string& view) {
    if (value == view) return;
    m_pPacket->AppendByte(type);
    AppendString255(m_pPacket, value);
    view = value;
}

// ---- field encoders ----

void Server_Client::UC_Update_Size() {
    const VUKVector& size = m_pEntity->m_vSize;
    if (!DiffersBeyond(size, m_pView->m_vSize, kExtentTolerance)) return;
    if (IsCubic(size)) {
        m_pPacket->AppendByte(kMsgCubicSize);
        m_pPacket->AppendFloat(size.x);
    } else {
        m_pPacket->AppendByte(kMsgSize);
        AppendVector(m_pPacket, size);
    }
    m_pView->m_vSize = size;
}

void Server_Client::UC_Update_TextureSize() {
    const VUKVector& scale = m_pEntity->m_vTextureScale;
    if (!DiffersBeyond(scale, m_pView->m_vTextureScale, kExtentTolerance)) return;
    m_pPacket->AppendByte(kMsgTextureScale);
    AppendVector(m_pPacket, scale);
    m_pView->m_vTextureScale = scale;
}

void Server_Client::UC_Update_Texture() {
    if (m_pEntity->m_usTexture == m_pView->m_usTexture) return;
    m_pPacket->AppendByte(kMsgTexture);
    m_pPacket->AppendI32(SignExtend16(m_pEntity->m_usTexture));
    m_pView->m_usTexture = m_pEntity->m_usTexture;
}

namespace {

void UpdateTextureFlags(Server_Client& c) {
    uint8_t mode = c.m_pEntity->GetTextureMode();
    if (mode == c.m_pView->GetTextureMode()) return;
    c.m_pPacket->AppendByte(kMsgTextureFlags);
    c.m_pPacket->AppendU32(mode);
    c.m_pView->SetTextureMode(mode);
}

} // namespace

void Server_Client::UC_LabelUpdate() {
    // Labels are interned: the same text is the same string.
    if (m_pEntity->m_pLabel == m_pView->LabelPointer()) return;
    const std::string& label = m_pEntity->GetLabel();
    const std::string& sent = m_pView->GetLabel();
    if (label == sent) return;
    if (!m_bCacheStrings || label.empty()) {
        m_pPacket->AppendByte(kMsgLabel);
        AppendString255(m_pPacket, label);
    } else {
        // One cached label per first character: labels that start alike replace each other.
        uint8_t key = uint8_t(label[0]);
        std::string*& cached = m_LabelCache[key];
        if (!cached || *cached != label) {
            if (!cached) cached = new std::string;
            *cached = label;
            m_pPacket->AppendByte(kMsgCacheLabel);
            m_pPacket->AppendByte(key);
            AppendString255(m_pPacket, label);
        }
        m_pPacket->AppendByte(kMsgCachedLabel);
        m_pPacket->AppendByte(key);
    }
    m_pView->SetLabelPointer(m_pEntity->m_pLabel);
}

// ---- add messages ----

void Server_Client::UC_ProcessAdd2_Generic(uint8_t kind) {
    m_pPacket->AppendByte(kMsgAdd);
    m_pPacket->AppendByte(kind);
}

void Server_Client::UC_ProcessAdd2_FastBox() {
    const Server_Entity* e = m_pEntity;
    if (IsCubic(e->m_vSize)) {
        m_pPacket->AppendByte(kMsgAddCubicBox);
        m_pPacket->AppendFloat(e->m_vSize.x);
    } else {
        m_pPacket->AppendByte(kMsgAddBox);
        AppendVector(m_pPacket, e->m_vSize);
    }
    AppendVector(m_pPacket, e->m_vPosition);
    m_pPacket->AppendU16(uint16_t((e->m_usTexture & 0x3FF) + e->GetTextureMode() * 0x800));
    m_pView->m_vPosition = e->m_vPosition;
    m_pView->m_vSize = e->m_vSize;
    m_pView->m_usTexture = e->m_usTexture;
    m_pView->SetTextureMode(e->GetTextureMode());
    m_pView->SetPredictedStep(VUKVector());
}

void Server_Client::UC_ProcessAdd2_FireBlock() {
    const auto* fire = static_cast<const Server_FireBlock*>(m_pEntity);
    if (IsCubic(fire->m_vSize)) {
        m_pPacket->AppendByte(kMsgAddCubicFireBlock);
        m_pPacket->AppendFloat(fire->m_vSize.x);
    } else {
        m_pPacket->AppendByte(kMsgAddFireBlock);
        AppendVector(m_pPacket, fire->m_vSize);
    }
    AppendVector(m_pPacket, fire->m_vPosition);
    AppendVector(m_pPacket, fire->m_vVelocity);
    m_pPacket->AppendI32(fire->m_sLife);
    m_pView->m_vSize = fire->m_vSize;
    m_pView->m_vPosition = fire->m_vPosition;
}

// ---- kind encoders ----

void Server_Client::UC_Update_NormalPad() {
    Server_Entity* e = m_pEntity;
    Server_Client_Entity* view = m_pView;
    if (!e->m_pLift)
        UC_Update_Exact_Position();
    else
        UC_Update_Position();
    UC_Update_Size();
    UC_Update_Texture();
    UpdateTextureFlags(*this);
    UC_Update_TextureSize();

    if (m_bAlphaBlendSupport) {
        uint32_t inverseAlpha = e->GetEEA(kEEAInverseAlpha);
        if (inverseAlpha != view->GetEEA(kEEAInverseAlpha)) {
            m_pPacket->AppendByte(kMsgOpacity);
            m_pPacket->AppendByte(uint8_t(255 - inverseAlpha));
            view->SetEEA(kEEAInverseAlpha, inverseAlpha);
        }
    }

    if (e->GetPitch() != view->GetPitch()) {
        m_pPacket->AppendByte(kMsgPitch);
        m_pPacket->AppendFloat(e->GetPitch());
        view->SetPitch(e->GetPitch());
    }
    UC_Update_Rotation();
    if (e->GetRoll() != view->GetRoll()) {
        m_pPacket->AppendByte(kMsgRoll);
        m_pPacket->AppendFloat(e->GetRoll());
        view->SetRoll(e->GetRoll());
    }

    uint32_t bounce = e->GetEEA(kEEABounce);
    if (bounce != view->GetEEA(kEEABounce)) {
        m_pPacket->AppendByte(kMsgBounce);
        m_pPacket->AppendI32(SignExtend16(bounce));
        view->SetEEA(kEEABounce, bounce);
    }

    UC_LabelUpdate();

    bool flag = (e->m_ucSurfaceFlags & kSurfacePowerup) != 0;
    if (flag != ((view->m_ucViewFlags & kViewVisibilityBit) != 0)) {
        m_pPacket->AppendByte(kMsgBoxFlag);
        m_pPacket->AppendBool(flag);
        Server_Entity::SetBit(view->m_ucViewFlags, kViewVisibilityBit, flag);
    }

    if (m_bCSE1) {
        bool plain = IsPlainGoalPad(e);
        if (plain) {
            SCE_GoalPadInfo* info = view->GetOrCreateGoalPadInfo();
            const GoalPadStuff* g = e->m_pGoalPad;
            if (g->m_strMessage != info->m_str) {
                m_pPacket->AppendByte(kMsgGoalPadMessage);
                m_pPacket->AppendString(g->m_strMessage);
                info->m_str = g->m_strMessage;
            }
            const VUKVector& respawn = g->m_vRespawnPoint;
            if (respawn.x != info->m_f[0] || respawn.y != info->m_f[1] || respawn.z != info->m_f[2]) {
                m_pPacket->AppendByte(kMsgGoalPadRespawn);
                AppendVector(m_pPacket, respawn);
                info->m_f[0] = respawn.x;
                info->m_f[1] = respawn.y;
                info->m_f[2] = respawn.z;
            }
        }
        if (SCE_GoalPadInfo* info = view->GoalPadInfo(); info && (info->m_ucFlag != 0) != plain) {
            m_pPacket->AppendByte(kMsgPlainGoalPad);
            m_pPacket->AppendBool(plain);
            info->m_ucFlag = plain ? 1 : 0;
        }
    }
}

void Server_Client::UC_Update_TalvyOrisetCube() {
    UC_Update_Position();
    UC_Update_Size();
    UC_Update_Texture();
    if (m_pEntity->GetKind() == kKindQuillhobCube) UC_Update_Rotation();
}

void Server_Client::UC_Update_ZorbinCube() {
    UC_Update_Exact_Position();
    UC_Update_Size();
    UC_Update_Texture();
    UpdateTextureFlags(*this);
    UC_LabelUpdate();
}

// ---- players ----

void Server_Client::UC_Update_Player() {
    auto* player = static_cast<Server_Player*>(m_pEntity);
    Server_Client_Entity* view = m_pView;
    SCE_Player* sce = view->GetOrCreatePlayerView();
    const bool own = player == m_pPlayer;

    if (!(view->m_ucViewFlags & kViewScoreSent)) {
        const std::string& name = ShownPlayerName(player, own);
        if (name != view->GetLabel()) {
            SendIDChange();
            m_pPacket->AppendByte(kMsgPlayerName);
            m_pPacket->AppendString(name);
            view->SetLabel(name);
        }
        view->m_ucViewFlags |= kViewScoreSent;
    }

    uint8_t status = PlayerStatusValue(player);
    if (status != SentStatus(sce)) {
        SendIDChange();
        m_pPacket->AppendByte(kMsgStatus);
        m_pPacket->AppendByte(status);
        StoreSentStatus(sce, status);
    }

    if (own && m_Movement.m_bClientSideMovement) {
        // The client moves its own player: the view follows without a message.
        view->m_vPosition = player->m_vPosition;
        view->SetRotation(player->GetYaw(), player->GetPitch(), player->GetRoll());
    } else {
        UC_Update_Position();
    }
    if (!own) UC_Update_Rotation();

    uint32_t coins = uint32_t(player->m_i64PocketCoins);
    uint32_t property = uint32_t(player->m_i64PropertyValue);
    bool highWords =
        (uint64_t(player->m_i64PocketCoins) >> 32) != 0 || (uint64_t(player->m_i64PropertyValue) >> 32) != 0;
    if (coins != sce->m_uiPocketCoins || property != sce->m_uiPropertyValue || highWords ||
        player->m_strTeamName != sce->m_strStrings[kSCETeamName])
        SendIDChange();
    if (m_bChatChannels && player->m_ucChatChannel != sce->m_ucChatChannel) {
        SendIDChange();
        UC_Update_Byte(kMsgChatChannel, &player->m_ucChatChannel, &sce->m_ucChatChannel);
    }
    UC_Update_UINT(kMsgPocketCoins, &coins, &sce->m_uiPocketCoins);
    UC_Update_UINT(kMsgPropertyValue, &property, &sce->m_uiPropertyValue);
    UC_Update_String(kMsgTeamName, player->m_strTeamName, sce->m_strStrings[kSCETeamName]);

    if (!own) return;

    float speed = player->GetFlag(kPlayerSpeedBoost) ? 1.5f : 1.0f;
    if (speed != sce->m_fSpeedFactor) {
        SendIDChange();
        UC_Update_Float(kMsgSpeedFactor, &speed, &sce->m_fSpeedFactor);
    }
    UC_Update_Player_FlyStuff();
    if (m_bCSE1) UC_Update_Player_ClientSideFireBlocks();

    bool windowFlag = player->GetFlag(kPlayerMessageWindow);
    bool sentWindowFlag = (sce->m_ucSentBits & kSCEFlag1B) != 0;
    if (player->m_uiEnergy != sce->m_uiEnergy || player->m_strModalText != sce->m_strStrings[kSCEModalText] ||
        windowFlag != sentWindowFlag || player->m_strMessageText != sce->m_strStrings[kSCEMessageText])
        SendIDChange();
    UC_Update_UINT(kMsgEnergy, &player->m_uiEnergy, &sce->m_uiEnergy);
    UC_Update_String(kMsgModalText, player->m_strModalText, sce->m_strStrings[kSCEModalText]);
    if (windowFlag != sentWindowFlag) {
        m_pPacket->AppendByte(kMsgMessageWindowFlag);
        m_pPacket->AppendBool(windowFlag);
        Server_Entity::SetBit(sce->m_ucSentBits, kSCEFlag1B, windowFlag);
    }
    UC_Update_String(kMsgMessageText, player->m_strMessageText, sce->m_strStrings[kSCEMessageText]);

    if (TimeWorthSending(player->m_fMessageTime, sce->m_fMessageTime)) {
        SendIDChange();
        UC_Update_Float(kMsgMessageTime, &player->m_fMessageTime, &sce->m_fMessageTime);
    }

    for (uint32_t i = 0; i < uint32_t(kPlayerEffectSlots); ++i) {
        if (player->m_strEffectNames[i] != sce->m_strStrings[i]) {
            SendIDChange();
            m_pPacket->AppendByte(kMsgEffectName);
            m_pPacket->AppendU32(i);
            m_pPacket->AppendString(player->m_strEffectNames[i]);
            sce->m_strStrings[i] = player->m_strEffectNames[i];
        }
        if (TimeWorthSending(player->m_fEffectTimes[i], sce->m_fEffectTimes[i])) {
            SendIDChange();
            m_pPacket->AppendByte(kMsgEffectTime);
            m_pPacket->AppendU32(i);
            m_pPacket->AppendFloat(player->m_fEffectTimes[i]);
            sce->m_fEffectTimes[i] = player->m_fEffectTimes[i];
        }
    }
}

void Server_Client::UC_Update_Player_FlyStuff() {
    auto* player = static_cast<Server_Player*>(m_pEntity);
    SCE_Player* sce = m_pView->GetOrCreatePlayerView();
    uint8_t fly = player->GetFlag(kPlayerFlying) ? 1 : player->GetFlag(kPlayerGlide) ? 2 : 0;
    if (fly == sce->m_ucFlyState) return;
    SendIDChange();
    UC_Update_Byte(kMsgFlyState, &fly, &sce->m_ucFlyState);
}

void Server_Client::UC_Update_Player_ClientSideFireBlocks() {
    auto* player = static_cast<Server_Player*>(m_pEntity);
    SCE_Player* sce = m_pView->GetOrCreatePlayerView();
    const bool giant = player->GetFlag(kPlayerGiantFireBlocks);
    uint8_t flag = player->GetFlag(kPlayerClientFireFlag) ? 1 : 0;
    float reach = giant ? 80.0f : 8.0f;
    uint8_t count = giant ? 4 : 2;
    float pace = giant ? 0.5f : 1.0f;
    uint8_t size = giant ? 25 : 15;
    if (flag != sce->m_ucClientFireFlag || reach != sce->m_fFireValue7D || count != sce->m_ucFireValue7E ||
        pace != sce->m_fFireValue7F || size != sce->m_ucFireValue83)
        SendIDChange();
    UC_Update_Byte(kMsgClientFireFlag, &flag, &sce->m_ucClientFireFlag);
    UC_Update_Float(kMsgFireValue7D, &reach, &sce->m_fFireValue7D);
    UC_Update_Byte(kMsgFireValue7E, &count, &sce->m_ucFireValue7E);
    UC_Update_Float(kMsgFireValue7F, &pace, &sce->m_fFireValue7F);
    UC_Update_Byte(kMsgFireValue83, &size, &sce->m_ucFireValue83);
}
