// Administrative actions on the selected entity: goal pads, tag pads and the other pad
// attributes, surface flags, size, position, rotation, texture and label, copies and rooms.
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "core/Server.h"
#include "game/GameConstants.h"
#include "replication/Server_Client.h"
#include "session/Server_Commands.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr float kRoomPadTextureSize = 128.0f;

// Goal and tag pad data belong only to normal pads.
Server_Entity* SelectedPad(const Server_Client* client) {
    Server_Entity* e = Server::AC_SelectionOf(client);
    return e && e->GetKind() == kKindNormalPad ? e : nullptr;
}

bool HasCoinPermission(const Server_Client* client) {
    return client->m_pPlayer && client->m_pPlayer->GetFlag(kPlayerCoinCommands);
}

// A leading decimal integer after optional blanks, 0 when there is none; held to 32 bits.
int32_t LeadingInteger(const std::string& text) {
    long value = std::strtol(text.c_str(), nullptr, 10);
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return int32_t(value);
}

// A coordinate as a whole number for a listing; NaN and what int cannot hold are clamped.
int WholeUnits(float v) {
    if (!(v > float(INT_MIN))) return v != v ? 0 : INT_MIN;
    return v < float(INT_MAX) ? int(v) : INT_MAX;
}

} // namespace

Server_Entity* Server::AC_SelectionOf(const Server_Client* client) {
    return client->m_pPlayer ? client->m_pPlayer->m_pAdminSelection : nullptr;
}

void Server::AC_SendOKMessage(Server_Client* client) { client->SendChatMessage("VuK Server", "OK"); }

// ---- goal pads -------------------------------------------------------------------------------

void Server::AC_GoalPadMessageSetter(Server_Client* client, const std::string& message) {
    if (Server_Entity* pad = SelectedPad(client)) pad->GetOrCreateGoalPad()->m_strMessage = message;
}

void Server::AC_SetGoalPad(Server_Client* client, const std::string& line, size_t commandLength) {
    Server_Entity* pad = SelectedPad(client);
    if (!pad) return;
    std::string rest = RestOfLine(line, commandLength);
    size_t space = rest.find(' ');
    pad->GetOrCreateGoalPad()->m_strMessage = space == std::string::npos ? std::string() : rest.substr(space + 1);
    AC_SetGoalPadAmount(client, LeadingInteger(rest));
    AC_SetGoalPadRespawnPos_RightHere(client);
}

void Server::AC_SetGoalPadAmount(Server_Client* client, int32_t amount) {
    Server_Entity* pad = SelectedPad(client);
    if (!pad) return;
    GoalPadStuff* goal = pad->GetOrCreateGoalPad();
    if (HasCoinPermission(client)) {
        goal->m_iCoinReward = amount;
        CommandReply(client, "GoalPad activated with %d coins.", int(amount));
    } else {
        goal->m_iCoinReward = 0;
        CommandReply(client, "GoalPad activated.  Due to your lack of coin changing permissions, the coins in the "
                             "GoalPad have been set to 0.");
    }
    InformClients_EntityUpdated(pad);
}

void Server::AC_SetGoalPadRespawnPos_RightHere(Server_Client* client) {
    Server_Entity* pad = SelectedPad(client);
    if (pad) pad->GetOrCreateGoalPad()->m_vRespawnPoint = client->m_pPlayer->m_vPosition;
}

void Server::AC_SetSolexis(Server_Client* client, int32_t amount) {
    Server_Entity* pad = SelectedPad(client);
    if (!pad || !HasCoinPermission(client)) return;
    pad->GetOrCreateGoalPad()->m_iSolexis = amount;
    CommandReply(client, "Solexis %s set to %d", amount >= 0 ? "reward" : "cost", int(amount));
}

// ---- pad attributes ----------------------------------------------------------------------------

void Server::AC_SetBouncyAmount(Server_Client* client, int32_t amount) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    e->SetEEA(kEEABounce, uint32_t(amount));
    InformClients_EntityUpdated(e);
}

void Server::AC_SetEntityTagPad(Server_Client* client, bool on) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    if (!HasCoinPermission(client)) {
        CommandReply(client, "You can't use this command because you don't have coin changing permissions.");
        return;
    }
    if (e->GetKind() != kKindNormalPad) {
        CommandReply(client, "Selected entity is NOT a NormalPad.");
        return;
    }
    if (e->IsPlayerBuilt()) {
        CommandReply(client, "Cannot use on a player created NormalPad.");
        return;
    }
    Server_Entity::SetBit(e->m_ucSurfaceFlags, kSurfaceTagPad, on);
    e->SetEEA(kEEATagLockLeft, 0);
    if (on) {
        e->SetEEA(kEEATagPayout, kTagPadStartingPayout);
        e->SetLabel("T: Free");
        CommandReply(client, "NormalPad is now a TAGPAD (No Zorbin building allowed on it.");
    } else {
        e->SetLabel("");
        CommandReply(client, "NormalPad is NO LONGER a tagpad (but Zorbin building still disallowed on it.");
    }
    // The tag pad rules walk the tag pad array, which only a re-filing joins or leaves.
    UpdateGroupsAndZonesEntityIsIn(e);
    InformClients_EntityUpdated(e);
}

void Server::AC_SetTagPadAmount(Server_Client* client, int32_t amount) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    if (!HasCoinPermission(client)) {
        CommandReply(client, "Can't set TagPad amount due to lack of coin changing permissions.");
    } else if (amount < 0) {
        CommandReply(client, "Can't set TagPads to negative amounts.");
    } else {
        e->SetEEA(kEEATagPayout, uint32_t(amount));
        CommandReply(client, "TagPad now gives %d coins per second.", int(amount));
    }
}

void Server::AC_SetTagPadLockTime(Server_Client* client, int32_t minutes) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    e->SetEEA(kEEATagLockTime, uint32_t(minutes));
    CommandReply(client, "TagPad Starting Lock Time set to %d minutes.", int(minutes));
}

void Server::AC_SetTalvyLandReward(Server_Client* client, int32_t reward) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    e->SetEEA(kEEAPrincessReward, uint32_t(reward));
    Server_Entity::SetBit(e->m_ucRuleFlags, kRulePrincessReward, reward != 0);
}

// ---- surface flags -----------------------------------------------------------------------------

namespace {

struct FlagSwitch {
    uint8_t Server_Entity::*m_pFlags;
    uint8_t m_ucBit;
    const char* m_szOn;
    const char* m_szOff;
};

constexpr FlagSwitch kFlyingDisallow{&Server_Entity::m_ucSurfaceFlags, kSurfaceNoFly,
                                     "Those who land on this entity will get NO FLYING ALLOWED.",
                                     "Flying disallow is DISABLED for this entity."};
constexpr FlagSwitch kFlyingReallow{&Server_Entity::m_ucSurfaceFlags, kSurfaceFlyAgain,
                                    "Those who land on this entity will be allowed to fly again.",
                                    "Flying REALLOW is DISABLED for this entity."};
constexpr FlagSwitch kJailed{&Server_Entity::m_ucSurfaceFlags, kSurfaceJail,
                             "Those who land on this entity will get JAILED.", "JAILED is DISABLED for this entity."};
constexpr FlagSwitch kJailRelease{&Server_Entity::m_ucSurfaceFlags, kSurfaceJailRelease,
                                  "Those who land on this entity will be released.",
                                  "Jailed release is DISABLED for this entity."};
constexpr FlagSwitch kZorbinBuilding{&Server_Entity::m_ucRuleFlags, kRuleZorbinBuildAllowed,
                                     "Zorbin building ALLOWED on selected entity.",
                                     "Zorbin building DISALLOWED on selected entity."};

void SwitchSelectionFlag(Server& server, Server_Client* client, const FlagSwitch& flag, bool on) {
    Server_Entity* e = Server::AC_SelectionOf(client);
    if (!e) return;
    Server_Entity::SetBit(e->*flag.m_pFlags, flag.m_ucBit, on);
    server.InformClients_EntityUpdated(e);
    client->SendChatMessage("VuK Server", on ? flag.m_szOn : flag.m_szOff);
}

} // namespace

void Server::AC_SetEntity_FlyingDisallow(Server_Client* client, bool on) {
    SwitchSelectionFlag(*this, client, kFlyingDisallow, on);
}

void Server::AC_SetEntity_FlyingReallow(Server_Client* client, bool on) {
    SwitchSelectionFlag(*this, client, kFlyingReallow, on);
}

void Server::AC_SetEntity_JailedDisallow(Server_Client* client, bool on) {
    SwitchSelectionFlag(*this, client, kJailed, on);
}

void Server::AC_SetEntity_JailedRelease(Server_Client* client, bool on) {
    SwitchSelectionFlag(*this, client, kJailRelease, on);
}

void Server::AC_SetEntityZorbinPermission(Server_Client* client, bool on) {
    SwitchSelectionFlag(*this, client, kZorbinBuilding, on);
}

void Server::AC_SetEntity_AlphaBlendFactor(Server_Client* client, int32_t alpha) {
    if (uint32_t(alpha) > 255) {
        CommandReply(client, "Alpha Blend Factor must be between 0-255");
        return;
    }
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    e->SetEEA(kEEAInverseAlpha, 255 - uint32_t(alpha));
    InformClients_EntityUpdated(e);
    CommandReply(client, "Alpha blend factor is now set.");
}

// ---- shape, place, rotation, texture, label ------------------------------------------------------

void Server::AC_SetEntitySize(Server_Client* client, int32_t x, int32_t y, int32_t z) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    if (x <= 0 || y <= 0 || z <= 0) {
        CommandReply(client, "Sorry, negative or zero sizes aren't allowed.");
        return;
    }
    if (e->ShouldSizeBeRejected(float(x), float(y), float(z))) {
        CommandReply(client, "Sorry, you cannot make a moving object this big.");
        return;
    }
    e->m_vSize.Set(float(x), float(y), float(z));
    UpdateZonesEntityIsIn(e);
    InformClients_EntityUpdated(e);
}

void Server::AC_SetEntityPos(Server_Client* client, int32_t x, int32_t y, int32_t z) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    e->m_vPosition.Set(float(x), float(y), float(z));
    e->ClipToOuterInvisibleBoundaries();
    UpdateZonesEntityIsIn(e);
    InformClients_EntityUpdated(e);
}

void Server::AC_SetPosTop(Server_Client* client, int32_t top) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    float bottom = e->m_vPosition.y - e->m_vSize.y / 2.0f;
    e->m_vSize.y = float(top) - bottom;
    e->m_vPosition.y = (bottom + float(top)) / 2.0f;
    UpdateZonesEntityIsIn(e);
    InformClients_EntityUpdated(e);
}

namespace {

// Component 0 is the yaw, 1 the pitch, 2 the roll. The rotated box may reach other zones.
void RotateSelection(Server& server, Server_Client* client, int component, int32_t angle) {
    Server_Entity* e = Server::AC_SelectionOf(client);
    if (!e) return;
    e->SetRotationComponent(component, float(angle) * kAngleUnit);
    server.UpdateZonesEntityIsIn(e);
    server.InformClients_EntityUpdated(e);
}

} // namespace

void Server::AC_SetYaw(Server_Client* client, int32_t angle) { RotateSelection(*this, client, 0, angle); }

void Server::AC_SetPitch(Server_Client* client, int32_t angle) { RotateSelection(*this, client, 1, angle); }

void Server::AC_SetRoll(Server_Client* client, int32_t angle) { RotateSelection(*this, client, 2, angle); }

void Server::AC_SetTexture(Server_Client* client, int32_t texture) {
    if (Server_Entity* e = AC_SelectionOf(client)) Admin_GoToCertainTexture(e, texture);
}

void Server::AC_SetNormalPadLabel(Server_Client* client, const std::string& line, size_t commandLength) {
    Server_Entity* pad = SelectedPad(client);
    if (!pad) return;
    pad->SetLabel(RestOfLine(line, commandLength));
    InformClients_EntityUpdated(pad);
}

// ---- copies and rooms ----------------------------------------------------------------------------

Server_Entity* Server::AC_ConvertToRoomHelper(const Server_Entity* selection) {
    Server_Entity* pad = World::CreateByType(kKindNormalPad);
    pad->m_vPosition = selection->m_vPosition;
    pad->m_vSize = selection->m_vSize;
    pad->m_usTexture = selection->m_usTexture;
    pad->SetTextureMode(selection->GetTextureMode());
    pad->m_vTextureScale.Set(kRoomPadTextureSize, kRoomPadTextureSize, kRoomPadTextureSize);
    return pad;
}

void Server::AC_CopyAndPaste(Server_Client* client) {
    Server_Entity* selection = AC_SelectionOf(client);
    if (!selection) return;
    Server_Entity* pad = AC_ConvertToRoomHelper(selection);
    AddEntityToZonesAndGroups(pad);
    InformClients_EntityUpdated(pad);
    AC_SendOKMessage(client);
}

void Server::AC_ConvertToRoom(Server_Client* client) {
    Server_Entity* selection = AC_SelectionOf(client);
    if (!selection) return;
    // Ceiling 120 thick, floor 10; the walls stand between them, 120 thick, the z walls fitted
    // between the x walls.
    const VUKVector p = selection->m_vPosition;
    const VUKVector s = selection->m_vSize;
    const float wallHeight = s.y - 130.0f, wallY = p.y - 55.0f;
    const float xWall = s.x / 2.0f - 60.0f, zWall = s.z / 2.0f - 60.0f;
    const struct {
        VUKVector m_vPosition, m_vSize;
    } shell[] = {
        {{p.x, p.y + s.y / 2.0f - 60.0f, p.z}, {s.x, 120.0f, s.z}},
        {{p.x, p.y - s.y / 2.0f + 5.0f, p.z}, {s.x, 10.0f, s.z}},
        {{p.x + xWall, wallY, p.z}, {120.0f, wallHeight, s.z}},
        {{p.x - xWall, wallY, p.z}, {120.0f, wallHeight, s.z}},
        {{p.x, wallY, p.z + zWall}, {s.x - 240.0f, wallHeight, 120.0f}},
        {{p.x, wallY, p.z - zWall}, {s.x - 240.0f, wallHeight, 120.0f}},
    };
    for (const auto& box : shell) {
        Server_Entity* pad = AC_ConvertToRoomHelper(selection);
        pad->m_vPosition = box.m_vPosition;
        pad->m_vSize = box.m_vSize;
        AddEntityToZonesAndGroups(pad);
        InformClients_EntityUpdated(pad);
    }
    AC_SendOKMessage(client);
}

// ---- index --------------------------------------------------------------------------------------

void Server::AC_IndexTagpads(Server_Client* client) {
    ArrayOfStrings& lines = client->m_Windows.m_ScrollLines;
    lines.DeleteAll();
    char text[256];
    snprintf(text, sizeof text, "%d Tagpads found", int(m_TagPads.Count()));
    lines.Append(new std::string(text));
    for (uint32_t i = 0; i < m_TagPads.Count(); ++i) {
        const VUKVector& v = m_TagPads.GetEntity(i)->m_vPosition;
        snprintf(text, sizeof text, "%d. Tagpad at %d %d %d", int(i), WholeUnits(v.x), WholeUnits(v.y),
                 WholeUnits(v.z));
        lines.Append(new std::string(text));
    }
    client->SendScrollableButton();
}
