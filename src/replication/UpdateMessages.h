// Type bytes of the client-bound update messages, and the few player values that more than one
// encoder derives.
#pragma once
#include <cstdint>
#include <string>

#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"

namespace replication {

enum Message : uint8_t {
    kMsgPlayerName = 0x09,
    kMsgRemove = 0x0A,
    kMsgAdd = 0x0B,
    kMsgEnergy = 0x0E,
    kMsgSize = 0x13,
    kMsgPocketCoins = 0x16,
    kMsgMessageWindowFlag = 0x1B,
    kMsgModalText = 0x1C,
    kMsgTexture = 0x1D,
    kMsgStatus = 0x22,
    kMsgStepAgain = 0x25,
    kMsgStepTenths8 = 0x26,
    kMsgStepTenths16 = 0x27,
    kMsgStepFloat = 0x28,
    kMsgYawStepAgain = 0x29,
    kMsgYawTenths = 0x2A,
    kMsgYawFloat = 0x2C,
    kMsgTextureScale = 0x32,
    kMsgTickMark = 0x3B,
    kMsgFirstPassComplete = 0x3C,
    kMsgTextureFlags = 0x42,
    kMsgAdminMode = 0x43,
    kMsgAdminToolValue = 0x44,
    kMsgAdminSelection = 0x45,
    kMsgAdminToolByte = 0x46,
    kMsgEffectName = 0x4E,
    kMsgEffectTime = 0x4F,
    kMsgPitch = 0x50,
    kMsgRoll = 0x51,
    kMsgResync = 0x52,
    kMsgMessageText = 0x53,
    kMsgMessageTime = 0x54,
    kMsgBoxFlag = 0x56,
    kMsgPropertyValue = 0x57,
    kMsgAddFireBlock = 0x58,
    kMsgAddCubicFireBlock = 0x5A,
    kMsgLabel = 0x5B,
    kMsgScoreEntry = 0x5C,
    kMsgCubicSize = 0x5D,
    kMsgClientSideMovement = 0x6B,
    kMsgBounce = 0x6C,
    kMsgFlyState = 0x6D,
    kMsgSpeedFactor = 0x6E,
    kMsgClientSideVelocity = 0x6F,
    kMsgExactPosition = 0x70,
    kMsgTeamName = 0x71,
    kMsgTextureOffer = 0x72,
    kMsgTextureStart = 0x73,
    kMsgTextureChunk = 0x74,
    kMsgTextureReady = 0x75,
    kMsgCacheLabel = 0x76,
    kMsgCachedLabel = 0x77,
    kMsgAddBox = 0x78,
    kMsgAddCubicBox = 0x79,
    kMsgOpacity = 0x7A,
    kMsgClientFireFlag = 0x7C,
    kMsgFireValue7D = 0x7D,
    kMsgFireValue7E = 0x7E,
    kMsgFireValue7F = 0x7F,
    kMsgPlainGoalPad = 0x80,
    kMsgGoalPadMessage = 0x81,
    kMsgGoalPadRespawn = 0x82,
    kMsgFireValue83 = 0x83,
    kMsgChatChannel = 0x84,
};

// What other clients see of a player: logged in and not hidden gives 1, the AFK bit adds 2.
inline uint8_t PlayerStatusValue(const Server_Player* p) {
    uint8_t status = p->IsLoggedIn() && !p->IsHidden() ? 1 : 0;
    if (p->GetFlag(kPlayerAFK)) status = uint8_t(status + 2);
    return status;
}

// The name a client lists for a player: an alias replaces it for everybody but its own client.
inline const std::string& ShownPlayerName(const Server_Player* p, bool ownPlayer) {
    return p->GetFlag(kPlayerShowFurtherString) && !ownPlayer ? p->m_strFurtherString : p->m_strName;
}

// The status value a player view last sent, kept in two bits of the player part.
inline uint8_t SentStatus(const SCE_Player* sce) {
    return uint8_t(((sce->m_ucSentBits & kSCEStatus1) ? 1 : 0) + ((sce->m_ucSentBits & kSCEStatus2) ? 2 : 0));
}
inline void StoreSentStatus(SCE_Player* sce, uint8_t status) {
    Server_Entity::SetBit(sce->m_ucSentBits, kSCEStatus1, (status & 1) != 0);
    Server_Entity::SetBit(sce->m_ucSentBits, kSCEStatus2, (status & 2) != 0);
}

} // namespace replication
