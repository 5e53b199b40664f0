// Administrative actions on lifts: straight and spline lifts on the selected entity, and the
// warp to a lift.
#include "core/Server.h"
#include "replication/Server_Client.h"
#include "session/Server_Commands.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr float kLiftRise = 20.0f;
constexpr float kLiftStartSpeed = 1.0f;
constexpr int32_t kMaxLiftSpeed = 2500;

bool IsTooBigToMove(const Server_Entity* e) {
    return Server_Entity::IsExcessiveSizeForMovement(e->m_vSize.x, e->m_vSize.y, e->m_vSize.z);
}

// A spline lift's points make segments of three plus the shared first point: 4, 7, 10, ...
bool CompletesSegments(size_t points) { return points % 3 == 1; }

// The spline actions answer for an entity that is no spline lift, or not yet one; null then.
LiftStuff* SplineLiftOf(Server_Client* client, Server_Entity* e) {
    if (!e->m_pLift) {
        client->SendChatMessage("VuK Server", "This entity is not a lift.");
        return nullptr;
    }
    if (!e->m_pLift->m_bSpline) {
        client->SendChatMessage("VuK Server", "This entity is not a spline lift.");
        return nullptr;
    }
    return e->m_pLift;
}

} // namespace

void Server::AC_SetEntityLift(Server_Client* client, bool on) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    if (on) {
        if (IsTooBigToMove(e)) {
            CommandReply(client, "You cannot make this a lift because it is too big.  Making this a lift would slow "
                                 "down the server.");
            return;
        }
        LiftStuff* lift = e->GetOrCreateLift();
        lift->m_vStart = e->m_vPosition;
        lift->m_vEnd = lift->m_vStart;
        lift->m_vEnd.y += kLiftRise;
        lift->m_fSpeed = kLiftStartSpeed;
        CommandReply(client, "Selected entity is a lift (speed and end point reset).");
    } else {
        e->DeleteLift();
        CommandReply(client, "Selected entity is no longer a lift.");
    }
    // Filing puts a lift that is not moving property into the lift array, or takes it out.
    e->SetMoving(false);
    e->m_ucMoveState = 0;
    UpdateGroupsAndZonesEntityIsIn(e);
}

void Server::AC_SetLiftEndHere(Server_Client* client) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    e->GetOrCreateLift()->m_vEnd = client->m_pPlayer->m_vPosition;
    CommandReply(client, "End lift point of selected entity changed.");
}

void Server::AC_SetLiftSpeed(Server_Client* client, int32_t speed) {
    if (speed <= 0) speed = 1;
    if (speed > kMaxLiftSpeed) {
        CommandReply(client, "Sorry, this speed is too fast.");
        CommandReply(client, "Maximum speed on this server is 2500.");
        return;
    }
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    e->GetOrCreateLift()->m_fSpeed = float(speed);
    CommandReply(client, "Lift speed of selected entity changed.");
}

void Server::AC_MakeSplineLift(Server_Client* client) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    if (IsTooBigToMove(e)) {
        CommandReply(
            client,
            "You cannot make this a lift because it is too big. Making this a lift would slow down the server.");
        return;
    }
    LiftStuff* lift = e->GetOrCreateLift();
    lift->m_bSpline = true;
    lift->m_fSpeed = kLiftStartSpeed;
    UpdateGroupsAndZonesEntityIsIn(e);
    CommandReply(client, "The selected entity is now a spline lift. Next, please add three or more control points "
                         "using the /asp command.");
}

void Server::AC_AddSplinePoint(Server_Client* client) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    LiftStuff* lift = SplineLiftOf(client, e);
    if (!lift) return;
    if (lift->m_bFinalized) {
        CommandReply(client,
                     "This spline lift has already been finalized. Type /dl first to delete its lift information.");
        return;
    }
    lift->m_ControlPoints.Append(new VUKVector(client->m_pPlayer->m_vPosition));
    size_t points = lift->m_ControlPoints.Length();
    if (points >= 2 && CompletesSegments(points))
        CommandReply(client,
                     "Control point added. Type /fsl to finalize the lift, or add three more points with /asp.");
    else
        CommandReply(client, "Control point added.");
}

void Server::AC_FinalizeSplineLift(Server_Client* client) {
    Server_Entity* e = AC_SelectionOf(client);
    if (!e) return;
    LiftStuff* lift = SplineLiftOf(client, e);
    if (!lift) return;
    size_t points = lift->m_ControlPoints.Length();
    if (!CompletesSegments(points)) {
        CommandReply(client,
                     "This lift has only %d control points. The number of control points must be one more than a "
                     "multiple of three.",
                     int(points));
        return;
    }
    if (points == 1) {
        CommandReply(client, "This lift has only 1 control point. The number of control points must be one more "
                             "than a multiple of three.");
        return;
    }
    lift->m_bFinalized = true;
    e->m_ucMoveState = 0;
    UpdateGroupsAndZonesEntityIsIn(e);
    CommandReply(client, "Lift finalized.");
}

void Server::AC_WarpToLift(Server_Client* client, int32_t index) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    int32_t count = 0;
    for (uint32_t i = 0; index >= 0 && i < m_AllEntities.Count(); ++i) {
        Server_Entity* e = m_AllEntities.GetEntity(i);
        if (!e->m_pLift || count++ != index) continue;
        player->m_vPosition = e->m_vPosition;
        AC_PlacePlayer(player);
        return;
    }
    client->SendChatMessage("VuK Server", "LIFT NOT FOUND");
}
