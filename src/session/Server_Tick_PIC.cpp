// Incoming client messages: the fair choice of the next message, the record table, and the
// small handlers for keys, steering, client-side movement and client settings.
#include <cstdio>

#include "base/LogChat.h"
#include "core/Server.h"
#include "game/GameConstants.h"
#include "net/Packet.h"
#include "platform/Console.h"
#include "replication/Server_Client.h"
#include "world/Server_EntityKinds.h"

namespace {

enum RecordType : uint8_t {
    kRecordKeys = 1,
    kRecordExistingLogin = 4,
    kRecordNewLogin = 5,
    kRecordReady = 6,
    kRecordChat = 8,
    kRecordClientVersion = 9,
    kRecordMaxUpdateSize = 10,
    kRecordMoreKeys = 11,
    kRecordQueryExtension = 12,
    kRecordExtensionResponse = 13,
    kRecordMenuButton = 22,
    kRecordSteering = 23,
    kRecordClientSideMove = 24,
    kRecordClientFlag = 25,
    kRecordClientSidePosition = 26,
    kRecordClientSideYaw = 27,
    kRecordClientSideVelocity = 28,
    kRecordMovementSequence = 29,
    kRecordServerFileInfo = 30,
};

constexpr uint8_t kSteeringEcho = 99; // 'c'
constexpr uint16_t kResetPositionMask = 0x1000;
constexpr const char* kServerName = "VuK Server";

// Bits of the key record: keys whose flag follows the bit, and keys a 1 only sets.
struct KeyBit {
    uint16_t bit;
    uint32_t flag;
    bool setOnly;
};
constexpr KeyBit kKeyMask[] = {
    {1u << 0, kKeyMove0, false},       {1u << 1, kKeyMove1, false},      {1u << 2, kKeyMove2, false},
    {1u << 3, kKeyMove3, false},       {1u << 4, kKeyJump, false},       {1u << 5, kKeyEnter, false},
    {1u << 6, kKeyAdminToggle, false}, {1u << 7, kKeyFire, false},       {1u << 8, kKeyBuildBuildingBlock, true},
    {1u << 9, kKeyBuildIRSCube, true}, {1u << 10, kKeyAdminStep, false}, {1u << 11, kKeyBuildFlatStone, true},
    {1u << 13, kKeyUp, false},         {1u << 14, kKeyDown, false},
};
// The second key record: bits 0 and 1 follow the bit, the rest only set.
constexpr KeyBit kMoreKeysMask[] = {
    {1u << 0, kKeyAdminAddPad, false},    {1u << 1, kKeyAdminDeleteSelection, false},
    {1u << 2, kKeyBuildZorbinCube, true}, {1u << 3, kKeyBuildStoneBlock, true},
    {1u << 4, kKeyBuildFlatStone, true},
};

template <size_t N> void ApplyKeyMask(Server_Player* player, uint32_t mask, const KeyBit (&table)[N]) {
    for (const KeyBit& key : table) {
        bool pressed = (mask & key.bit) != 0;
        if (pressed)
            player->m_uiKeyFlags |= key.flag;
        else if (!key.setOnly)
            player->m_uiKeyFlags &= ~key.flag;
    }
}

void CancelResetRequest(Server_Client* client) {
    client->m_bResetPositionActive = false;
    client->SendChatMessage(kServerName, "Request to reset position CANCELLED due to KEYPRESS.");
}

} // namespace

bool Server::PIC() {
    size_t count = m_Clients.Length();
    if (count == 0) return false;
    if (++m_uiIncomingCursor >= count) m_uiIncomingCursor = 0;

    Server_Client* client = nullptr;
    Packet* packet = nullptr;
    for (size_t tried = 0; tried < count && !packet; ++tried) {
        Server_Client* candidate = m_Clients[m_uiIncomingCursor];
        if (++candidate->m_uiIncomingChannelCursor >= kChannelCount) candidate->m_uiIncomingChannelCursor = 0;
        // Trying all sixteen empty channels would bring the cursor back to where it is now.
        for (unsigned c = 0; c < kChannelCount && candidate->m_Pipe.AnyInboundWaiting(); ++c) {
            packet = candidate->m_Pipe.TakeToServer(candidate->m_uiIncomingChannelCursor);
            if (packet) break;
            if (++candidate->m_uiIncomingChannelCursor >= kChannelCount) candidate->m_uiIncomingChannelCursor = 0;
        }
        if (packet)
            client = candidate;
        else if (++m_uiIncomingCursor >= count)
            m_uiIncomingCursor = 0;
    }
    if (!packet) return false;

    if (client->m_bKicked) {
        delete packet;
        client->m_Pipe.SetStopSending();
        return true;
    }

    bool valid = true;
    while (valid && packet->Remaining() > 0) {
        uint8_t type = 0;
        packet->ReadByte(type);
        switch (type) {
        case kRecordKeys:
            valid = PIC_Keys(client, packet);
            break;
        case kRecordExistingLogin:
            PIC_ExistingLogin(client, packet);
            break;
        case kRecordNewLogin:
            PIC_NewLogin(client, packet);
            break;
        case kRecordReady:
            client->m_bReadyForUpdates = true;
            break;
        case kRecordChat:
            PIC_Chat(client, packet);
            break;
        case kRecordClientVersion:
            if (packet->Remaining() >= 1) {
                uint8_t version = 0;
                packet->ReadByte(version);
                client->m_uiClientVersion = version;
            }
            break;
        case kRecordMaxUpdateSize:
            if (packet->Remaining() < 4) {
                valid = false;
                break;
            }
            packet->ReadU32(client->m_uiMaxUpdateSize);
            break;
        case kRecordMoreKeys:
            valid = PIC_Keys_2(client, packet);
            break;
        case kRecordQueryExtension:
            client->HandleQueryExtension(packet, static_cast<unsigned char>(CountVisibleLoggedInClients()));
            break;
        case kRecordExtensionResponse:
            client->HandleQueryExtensionResponse(packet);
            break;
        case kRecordMenuButton:
            // A click without its button byte names no button and is ignored.
            if (packet->Remaining() >= 1) {
                uint8_t button = 0;
                packet->ReadByte(button);
                client->HandleServerButtonClick(button);
            }
            break;
        case kRecordSteering:
            valid = PIC_Keys_V79Move(client, packet);
            break;
        case kRecordClientSideMove:
            valid = PIC_ClientSideMove(client, packet);
            break;
        case kRecordClientFlag:
            if (packet->Remaining() >= 1) {
                uint8_t flag = 0;
                packet->ReadByte(flag);
                if (client->m_pPlayer) client->m_pPlayer->SetFlag(kPlayerClientFlag, (flag & 1) != 0);
            }
            break;
        case kRecordClientSidePosition:
            valid = PIC_ClientSideMove_Pos(client, packet);
            break;
        case kRecordClientSideYaw:
            valid = PIC_ClientSideMove_Yaw(client, packet);
            break;
        case kRecordClientSideVelocity:
            valid = PIC_ClientSideMove_Vel(client, packet);
            break;
        case kRecordMovementSequence:
            if (packet->Remaining() >= 1) packet->ReadByte(client->m_Movement.m_ucMovementSeqEcho);
            break;
        case kRecordServerFileInfo:
            client->HandleReceivedSFileInfo(packet);
            break;
        default:
            valid = false;
            break;
        }
    }
    if (!valid) {
        LogChat("WARNING", "bInvalidCommand got set to TRUE in Server::PIC()");
        platform::ConsolePrintf("bInvalidCommand got set to TRUE in Server::PIC()\n");
    }
    delete packet;
    return true;
}

bool Server::PIC_Keys(Server_Client* client, Packet* packet) {
    if (packet->Remaining() < 2) return false;
    uint16_t mask = 0;
    packet->ReadU16(mask);
    Server_Player* player = client->m_pPlayer;
    if (!player) return true;
    ApplyKeyMask(player, mask, kKeyMask);
    if (mask == kResetPositionMask) {
        if (player->AlreadyHavePowerup(kPowerupJailed)) {
            client->SendChatMessage(kServerName, "You are jailed: 5 won't get you out!");
        } else if (!client->m_bResetPositionActive) {
            client->m_bResetPositionActive = true;
            client->m_ResetPositionTimer.Restart();
            client->SendChatMessage(kServerName, "Wait 7 seconds WITHOUT PRESSING ANY KEYS to reset position.");
        }
    } else if (mask != 0 && client->m_bResetPositionActive) {
        CancelResetRequest(client);
    }
    return true;
}

bool Server::PIC_Keys_2(Server_Client* client, Packet* packet) {
    if (packet->Remaining() < 1) return false;
    uint8_t mask = 0;
    packet->ReadByte(mask);
    if (mask != 0 && client->m_bResetPositionActive) CancelResetRequest(client);
    if (client->m_pPlayer) ApplyKeyMask(client->m_pPlayer, mask, kMoreKeysMask);
    return true;
}

void Server::PIC_IfResetPositionTimerActive(Server_Client* client) {
    if (!client->m_ResetPositionTimer.HasElapsed()) return;
    client->SendChatMessage(kServerName, "The position of your character has been reset.");
    client->m_pPlayer->m_uiKeyFlags |= kKeyResetPosition;
    client->m_bResetPositionActive = false;
}

bool Server::PIC_Keys_V79Move(Server_Client* client, Packet* packet) {
    if (packet->Remaining() < 13) return false;
    uint16_t echo = 0, ignored = 0;
    float yaw = 0, heading = 0;
    uint8_t throttle = 0;
    packet->ReadU16(echo);
    packet->ReadU16(ignored);
    packet->ReadFloat(yaw);
    packet->ReadFloat(heading);
    packet->ReadByte(throttle);
    client->FigureClientSideMovement();
    if (Server_Player* player = client->m_pPlayer; player && !client->m_Movement.m_bClientSideMovement) {
        player->SetYaw(yaw);
        player->m_fSteeringHeading = heading;
        player->m_fThrottle = float(throttle) / 255.0f;
    }
    Packet* answer = new Packet;
    answer->AppendByte(kSteeringEcho);
    answer->AppendU16(echo);
    answer->AppendU16(0);
    answer->AppendU16(0);
    client->Send(client->ChannelFor(kChannelSteering), answer);
    return true;
}

namespace {

struct ClientMoveRecord {
    bool hasPosition = false, hasYaw = false, hasVelocity = false;
    bool yawRefiles = false; // the yaw-only record re-files like a position
    float x = 0, y = 0, z = 0, yaw = 0, vx = 0, vy = 0, vz = 0;
};

// Client-side movement is applied only while it is in force and the client has answered the
// latest switch with its sequence number; otherwise a well-formed record is dropped silently.
bool AcceptsClientMove(Server_Client* client) {
    client->FigureClientSideMovement();
    return client->m_pPlayer && client->m_Movement.m_bClientSideMovement &&
           client->m_Movement.m_ucMovementSeqEcho == client->m_Movement.m_ucClientSideMovementSeq;
}

void ApplyClientMove(Server& server, Server_Client* client, const ClientMoveRecord& move) {
    Server_Player* player = client->m_pPlayer;
    bool refile = false;
    if (move.hasPosition) {
        player->m_vPosition.Set(move.x, move.y, move.z);
        player->m_vClientPosition.Set(move.x, move.y, move.z);
        refile = true;
    }
    if (move.hasYaw) {
        player->SetYaw(move.yaw);
        player->m_fClientYaw = player->GetYaw();
        player->m_bClientRotation = player->m_pRotation != nullptr;
        refile = refile || move.yawRefiles;
    }
    if (move.hasVelocity) {
        player->m_vVelocity.Set(move.vx, 0.0f, move.vz);
        player->m_fVerticalVelocity = move.vy;
        player->m_vClientVelocity.Set(move.vx, move.vy, move.vz);
    }
    if (refile) {
        server.UpdateZonesEntityIsIn(player);
        server.InformClients_EntityUpdated(player);
    }
}

} // namespace

bool Server::PIC_ClientSideMove(Server_Client* client, Packet* packet) {
    if (packet->Remaining() < 29) return false;
    ClientMoveRecord move;
    packet->ReadByte(client->m_Movement.m_ucMovementSeqEcho);
    packet->ReadFloat(move.x);
    packet->ReadFloat(move.y);
    packet->ReadFloat(move.z);
    packet->ReadFloat(move.yaw);
    packet->ReadFloat(move.vx);
    packet->ReadFloat(move.vy);
    packet->ReadFloat(move.vz);
    move.hasPosition = move.hasYaw = move.hasVelocity = true;
    if (AcceptsClientMove(client)) ApplyClientMove(*this, client, move);
    return true;
}

bool Server::PIC_ClientSideMove_Pos(Server_Client* client, Packet* packet) {
    if (packet->Remaining() < 12) return false;
    ClientMoveRecord move;
    packet->ReadFloat(move.x);
    packet->ReadFloat(move.y);
    packet->ReadFloat(move.z);
    move.hasPosition = true;
    if (AcceptsClientMove(client)) {
        ApplyClientMove(*this, client, move);
        client->m_pPlayer->SetFlag(kPlayerAwaitClientPosition, false);
    }
    return true;
}

bool Server::PIC_ClientSideMove_Yaw(Server_Client* client, Packet* packet) {
    if (packet->Remaining() < 4) return false;
    ClientMoveRecord move;
    packet->ReadFloat(move.yaw);
    move.hasYaw = true;
    move.yawRefiles = true;
    if (AcceptsClientMove(client)) {
        ApplyClientMove(*this, client, move);
        client->m_pPlayer->SetFlag(kPlayerAwaitClientYaw, false);
    }
    return true;
}

bool Server::PIC_ClientSideMove_Vel(Server_Client* client, Packet* packet) {
    if (packet->Remaining() < 12) return false;
    ClientMoveRecord move;
    packet->ReadFloat(move.vx);
    packet->ReadFloat(move.vy);
    packet->ReadFloat(move.vz);
    move.hasVelocity = true;
    if (AcceptsClientMove(client)) {
        ApplyClientMove(*this, client, move);
        client->m_pPlayer->SetFlag(kPlayerAwaitClientVelocity, false);
    }
    return true;
}

uint32_t Server::CountVisibleLoggedInClients() const {
    uint32_t n = 0;
    for (Server_Client* client : m_Clients)
        if (client->m_pPlayer && client->m_pPlayer->IsLoggedIn() && !client->m_pPlayer->IsHidden()) ++n;
    return n;
}
