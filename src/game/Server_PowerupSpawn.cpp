// Powerup cubes are not saved: they are spawned again from the server's powerup table.
#include <cstdint>

#include "core/Server.h"
#include "game/GameConstants.h"
#include "world/Server_EntityKinds.h"
#include "world/VUK_Zone.h"
#include "world/ZoneGridHolder.h"

namespace {

// The label of each powerup cube type; types without a label show none.
constexpr const char* kPowerupLabels[] = {
    nullptr,                     // 0
    "Jump High Effect",          // 1
    "Old Quillhob Gloves",       // 2
    "Spirit of Zorbin",          // 3
    "Old Hyper Play",            // 4
    "Old Wings of Smiley Bird",  // 5
    "Rock of Smiley Moon",       // 6
    "Tri-Fire",                  // 7
    "Old Spirit of Talvy",       // 8
    "Old Wings of Smiley Eagle", // 9
    "Gloves of Vextor",          // 10
    "Old Penetrating Fire",      // 11
    "Drive the Talvy",           // 12
    "Spirit of Cookie",          // 13
    "Remove Powerups",           // 14
    "Giant FireBlocks",          // 15
    nullptr,                     // 16
    nullptr,                     // 17
    "StoneBlock Destroyer",      // 18
    "Cola of Smiley",            // 19
};

const char* PowerupLabel(int16_t type) {
    if (type < 0 || size_t(type) >= sizeof kPowerupLabels / sizeof kPowerupLabels[0]) return nullptr;
    return kPowerupLabels[type];
}

// A block or pad already standing exactly there, unless it is a plain warp, keeps the powerup
// from spawning a second time.
bool IsSpotTaken(const VUK_Grid& grid, const Server_Entity* pad) {
    VUKVector half = pad->m_vSize * 0.5f;
    ZoneQuery query = ZoneQuery::Box(grid, pad->m_vPosition - half, pad->m_vPosition + half);
    ZoneLooper looper(&grid, &query);
    for (VUK_Zone* zone = looper.GetFirst(); zone; zone = looper.GetNext()) {
        const VUKFastArray_Entity& pads = zone->List(kZoneNormalPads);
        for (uint32_t i = 0; i < pads.Count(); ++i) {
            const Server_Entity* other = pads.GetEntity(i);
            if (other->m_vPosition != pad->m_vPosition) continue;
            if (!other->m_pGoalPad || other->m_pGoalPad->m_sType != 0) return true;
        }
    }
    return false;
}

} // namespace

size_t Server::PowerupTableLength() const {
    size_t entries = m_PowerupTablePositions.Length();
    return m_PowerupTableTypes.size() < entries ? m_PowerupTableTypes.size() : entries;
}

void Server::MakeAllPowerupsSpawn() {
    for (size_t i = 0; i < PowerupTableLength(); ++i) SpawnPowerup(*m_PowerupTablePositions[i], m_PowerupTableTypes[i]);
}

void Server::SpawnPowerup(const VUKVector& position, uint32_t type) {
    Server_Entity* pad = World::CreateByType(kKindNormalPad);
    pad->m_vPosition = position;
    pad->m_vSize.Set(kPowerupCubeSize, kPowerupCubeSize, kPowerupCubeSize);
    pad->m_usTexture = kTexturePowerupPad;
    pad->SetTextureMode(1);
    // A type beyond the goal data's range stays beyond every known type instead of wrapping onto one.
    pad->GetOrCreateGoalPad()->m_sType = int16_t(type > uint32_t(INT16_MAX) ? INT16_MAX : type);
    if (IsSpotTaken(m_Grid, pad)) {
        delete pad;
        return;
    }
    ApplyAttributesToSpawnedPowerup(pad);
}

void Server::ApplyAttributesToSpawnedPowerup(Server_Entity* pad) {
    pad->m_ucSurfaceFlags |= kSurfacePowerup;
    pad->m_ucRuleFlags &= uint8_t(~kRuleZorbinBuildAllowed);
    if (const char* label = PowerupLabel(pad->m_pGoalPad ? pad->m_pGoalPad->m_sType : 0)) pad->SetLabel(label);
    AddEntityToZonesAndGroups(pad);
    InformClients_EntityUpdated(pad);
}
