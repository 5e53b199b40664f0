// The admin editor: an administrator in admin mode selects what it touches, adds and deletes
// pads, and moves, sizes and retextures the selection with the movement keys.
#include "core/Server.h"
#include "game/Game.h"
#include "game/GameActions.h"
#include "game/GameConstants.h"

namespace {

constexpr float kAdminSteps[] = {0.1f, 1.0f, 2.0f, 4.0f, 8.0f, 16.0f, 32.0f, 64.0f};
constexpr uint32_t kAdminEnergy = 9'999;
constexpr uint16_t kAdminPadTexture = 8;
constexpr uint8_t kEditModeCount = 6;

enum EditMode : uint8_t { kEditAdmin, kEditPosition, kEditSize, kEditTextureSize, kEditGrow, kEditShrink };

// The six movement keys: the axis and direction each moves along.
struct AxisKey {
    uint32_t key;
    int axis; // 0 x, 1 y, 2 z
    float sign;
};
constexpr AxisKey kAxisKeys[] = {
    {kKeyUp, 1, 1.0f},     {kKeyDown, 1, -1.0f}, {kKeyMove0, 2, 1.0f},
    {kKeyMove1, 2, -1.0f}, {kKeyMove2, 0, 1.0f}, {kKeyMove3, 0, -1.0f},
};

float& Axis(VUKVector& v, int axis) { return axis == 0 ? v.x : axis == 1 ? v.y : v.z; }

float NextAdminStep(float step) {
    for (size_t i = 0; i + 1 < sizeof kAdminSteps / sizeof kAdminSteps[0]; ++i)
        if (step == kAdminSteps[i]) return kAdminSteps[i + 1];
    return kAdminSteps[0];
}

// At least 4 in size and 2 in texture size on each axis, not below the ground and inside the
// outer walls. True when something had to change.
bool KeepSelectionInShape(Server_Entity* e) {
    bool changed = false;
    auto atLeast = [&](float& v, float floor) {
        if (v < floor) {
            v = floor;
            changed = true;
        }
    };
    for (int a = 0; a < 3; ++a) {
        atLeast(Axis(e->m_vSize, a), 4.0f);
        atLeast(Axis(e->m_vTextureScale, a), 2.0f);
    }
    atLeast(e->m_vPosition.y, e->m_vSize.y / 2.0f);
    e->ClipToOuterInvisibleBoundaries();
    if (e->IsDirty()) {
        e->ClearDirty();
        changed = true;
    }
    return changed;
}

bool TakeKey(Server_Player* player, uint32_t key) {
    if (!player->HasKey(key)) return false;
    player->SetKey(key, false);
    return true;
}

} // namespace

void Game::Admin_GoToNextTexture(Server_Entity* e) {
    int texture = e->m_usTexture >= kNextTextureCount ? 1 : e->m_usTexture;
    Admin_GoToCertainTexture(e, m_usNextTexture[texture]);
}

void Game::Admin_SwitchDrawMode(Server_Entity* e) { e->SetTextureMode(e->GetTextureMode() == 1 ? 2 : 1); }

Server_Entity* Game::Admin_FindConflictObject(Server_Player* player) {
    for (uint32_t i = 0; i < m_AllEntities.Count(); ++i) {
        Server_Entity* e = m_AllEntities.GetEntity(i);
        uint8_t kind = e->GetKind();
        if (e == player || kind == kKindFireBlock || kind == kKindPlayer) continue;
        if (TouchTest(e, player)) return e;
    }
    return nullptr;
}

void Game::Admin_AddNormalPad(Server_Player* player) {
    Server_Entity* pad = World::CreateByType(kKindNormalPad);
    pad->m_vPosition = player->m_vPosition;
    pad->m_vSize.Set(32.0f, 16.0f, 32.0f);
    pad->m_usTexture = kAdminPadTexture;
    pad->SetTextureMode(2);
    AddEntityToZonesAndGroups(pad);
    m_pServer->InformClients_EntityUpdated(pad);
}

void Game::Admin_DeleteNormalPad(Server_Player*, Server_Entity* e) {
    // Players leave the world only by their own account's rules.
    if (e->GetKind() == kKindPlayer || (e->m_ucRuleFlags & kRuleQueuedForRemoval) != 0) return;
    e->m_ucSurfaceFlags |= kSurfaceDestroyed;
    DeselectEntityFromAllAdmins(e);
    if ((e->m_ucSurfaceFlags & kSurfacePowerup) != 0) {
        // The table would spawn it again at the next restart.
        auto& positions = m_pServer->m_PowerupTablePositions;
        auto& types = m_pServer->m_PowerupTableTypes;
        for (size_t i = positions.Length(); i-- > 0;) {
            if (*positions[i] != e->m_vPosition) continue;
            positions.DeleteAt(i);
            if (i < types.size()) types.erase(types.begin() + std::ptrdiff_t(i));
        }
    }
    if (e->GetKind() == kKindNormalPad && e->m_usTexture == kTextureBuildingBlock && e->m_pOwner) {
        e->m_pOwner->m_i64PropertyValue -= kBuildingBlockPropertyValue;
        m_pServer->InformClients_EntityUpdated(e->m_pOwner);
    }
    QueueEntityForRemoval(e);
}

void Game::Tick_Player_Admin(Server_Player* player) {
    player->ClearRotation();
    player->m_uiEnergy = kAdminEnergy;
    player->m_vVelocity.y = 0.0f;

    if (player->HasKey(kKeyFire)) player->m_pAdminSelection = Admin_FindConflictObject(player);
    if (TakeKey(player, kKeyBuildIRSCube)) player->m_fAdminStep = NextAdminStep(player->m_fAdminStep);
    if (player->m_vPosition.y < player->m_vSize.y / 2.0f) player->m_vPosition.y = player->m_vSize.y / 2.0f;
    if (player->HasKey(kKeyEnter)) player->m_ucEditMode = kEditAdmin;

    Server_Entity* selection = player->m_pAdminSelection;
    // Both keys are taken, whichever was down.
    const bool buildKey = TakeKey(player, kKeyBuildBuildingBlock);
    const bool stepKey = TakeKey(player, kKeyAdminStep) || buildKey;
    bool addPad = TakeKey(player, kKeyAdminAddPad);
    bool deletePad = TakeKey(player, kKeyAdminDeleteSelection);
    bool modeKey = TakeKey(player, kKeyBuildStoneBlock);
    if (!selection) {
        if (stepKey || addPad) Admin_AddNormalPad(player);
    } else {
        bool changed = false;
        if (modeKey) player->m_ucEditMode = uint8_t((player->m_ucEditMode + 1) % kEditModeCount);
        if (addPad) Admin_AddNormalPad(player);
        if (deletePad) {
            Admin_DeleteNormalPad(player, selection);
            selection = player->m_pAdminSelection; // the delete deselects it
        }
        if (selection && stepKey) {
            if (player->m_ucEditMode % 2 == 0)
                Admin_GoToNextTexture(selection);
            else
                Admin_SwitchDrawMode(selection);
            changed = true;
        }
        if (selection && KeepSelectionInShape(selection)) changed = true;
        if (selection && changed) {
            m_pServer->InformClients_EntityUpdated(selection);
            QueueEntityForUpdate(selection);
        }
    }

    for (const AxisKey& k : kAxisKeys)
        if (player->HasKey(k.key)) Admin_MoveByKey(player, k.axis, k.sign * player->m_fAdminStep);
}

void Game::Admin_MoveByKey(Server_Player* player, int axis, float step) {
    Server_Entity* selection = player->m_pAdminSelection;
    if (player->m_ucEditMode == kEditAdmin || !selection) {
        if (player->m_ucEditMode == kEditAdmin) Axis(player->m_vPosition, axis) += step;
        return;
    }
    switch (player->m_ucEditMode) {
    case kEditPosition:
        Axis(selection->m_vPosition, axis) += step;
        break;
    case kEditSize:
        Axis(selection->m_vSize, axis) += step;
        break;
    case kEditTextureSize:
        Axis(selection->m_vTextureScale, axis) += step;
        break;
    default: {
        // Grow or shrink the face on the key's side by the step; the centre follows by half of it,
        // so that the opposite face stays where it is.
        bool grow = player->m_ucEditMode == kEditGrow;
        float magnitude = step < 0.0f ? -step : step;
        VUKVector size = selection->m_vSize;
        Axis(size, axis) += grow ? magnitude : -magnitude;
        if (selection->ShouldSizeBeRejected(size.x, size.y, size.z)) return;
        selection->m_vSize = size;
        Axis(selection->m_vPosition, axis) += (grow ? step : -step) / 2.0f;
        break;
    }
    }
    KeepSelectionInShape(selection);
    m_pServer->InformClients_EntityUpdated(selection);
    QueueEntityForUpdate(selection);
}

void Game::Admin_GoToCertainTexture(Server_Entity* e, int texture) {
    e->m_usTexture = uint16_t(texture);
    m_pServer->InformClients_EntityUpdated(e);
    QueueEntityForUpdate(e);
}
