#include "world/Server_Entity.h"

#include <cmath>
#include <exception>

#include "base/Settings.h"
#include "world/EntityClientBits.h"
#include "world/Server_EntityKinds.h"
#include "world/VUK_Grid.h"
#include "world/WorldFatalError.h"

uint32_t g_uiAllocatedClientUINs = 32;

// ---- Server_Entity ------------------------------------------------------------------------------

void* Server_Entity::operator new(std::size_t size) {
    if (size > g_VukHeap_ServerEntity.ElementSize()) throw WorldFatalError("Server_Entity pool: object too large");
    return g_VukHeap_ServerEntity.AllocateOne();
}

void Server_Entity::operator delete(void* p) { g_VukHeap_ServerEntity.FreeOne(p); }

Server_Entity::Server_Entity() : m_uiIndex(g_EntityClientBits.AllocateIndex(this)) { MakeKind(kKindNormalPad); }

void Server_Entity::MakeKind(uint8_t kind) {
    // How each kind looks when it is made. A Quillhob cube takes the texture set for them now.
    struct KindLook {
        uint8_t m_ucKind;
        uint16_t m_usTexture;
        float m_fTextureScale;
        uint8_t m_ucTextureMode;
        bool m_bUnrotatedBounds;
    };
    static constexpr KindLook kLooks[] = {
        {kKindPlayer, 1, 32.0f, 3, true},       {kKindNormalPad, 42, 128.0f, 2, false},
        {kKindFireBlock, 3, 32.0f, 1, true},    {kKindTalvyCube, 9, 128.0f, 1, true},
        {kKindOrisetCube, 19, 128.0f, 1, true}, {kKindZorbinCube, kZorbinCubeTexture, 64.0f, 1, true},
        {kKindPalaceCube, 60, 128.0f, 1, true}, {kKindQuillhobCube, 0, 128.0f, 1, true},
    };
    for (const KindLook& look : kLooks) {
        if (look.m_ucKind != kind) continue;
        SetKind(kind);
        m_usTexture = kind == kKindQuillhobCube ? uint16_t(g_uiQuillhobTexture) : look.m_usTexture;
        m_vTextureScale.Set(look.m_fTextureScale, look.m_fTextureScale, look.m_fTextureScale);
        SetTextureMode(look.m_ucTextureMode);
        if (look.m_bUnrotatedBounds) m_ucTypeAndFlags |= kTypeUnrotatedBounds;
    }
}

Server_Entity::~Server_Entity() {
    // Normally the world has removed the entity already; this keeps arrays from holding a
    // dangling entry when an entity is deleted while still filed.
    try {
        for (uint32_t i = 0; i < m_GroupLinks.Count(); ++i) {
            PFAE_Info* info = m_GroupLinks.Get(i);
            if (VUKFastArray_Entity* array = info->GetArray())
                array->RawRemoveItem(info->m_uiIndex);
            else
                delete info; // its array is gone already
        }
        m_GroupLinks.Clear();
        if (m_ZoneLinks.Count() != 0) ZL_RemoveEntityFromZonesOnly(this, &m_ZoneLinks);
    } catch (const std::exception& e) {
        ReportBrokenInvariant(e.what());
    }
    for (Server_Player* player : m_ReferringPlayers) player->m_pPlatform = nullptr;
    m_ReferringPlayers.ReleaseAll();
    delete m_pGoalPad;
    delete m_pLift;
    g_EntityClientBits.FreeIndex(m_uiIndex);
}

GoalPadStuff* Server_Entity::GetOrCreateGoalPad() {
    if (!m_pGoalPad) m_pGoalPad = new GoalPadStuff();
    return m_pGoalPad;
}

void Server_Entity::DeleteGoalPad() {
    delete m_pGoalPad;
    m_pGoalPad = nullptr;
}

LiftStuff* Server_Entity::GetOrCreateLift() {
    if (!m_pLift) m_pLift = new LiftStuff();
    return m_pLift;
}

void Server_Entity::DeleteLift() {
    delete m_pLift;
    m_pLift = nullptr;
}

bool Server_Entity::IsExcessiveSizeForMovement(float x, float y, float z) {
    if (x > 2000.0f && y > 2000.0f && z > 2000.0f) return true;
    int above3000 = (x > 3000.0f) + (y > 3000.0f) + (z > 3000.0f);
    if (above3000 >= 2) return true;
    return x > 5000.0f || y > 5000.0f || z > 5000.0f;
}

bool Server_Entity::ShouldSizeBeRejected(float x, float y, float z) const {
    uint8_t kind = GetKind();
    bool mustStayMovable = (kind >= kKindTalvyCube && kind <= kKindPalaceCube) || m_pLift || IsPlayerBuilt();
    return mustStayMovable && IsExcessiveSizeForMovement(x, y, z);
}

void Server_Entity::ClipToOuterInvisibleBoundaries() {
    // A coordinate that is no number (bad input) has no nearest wall: it starts again from 0.
    for (float* c : {&m_vPosition.x, &m_vPosition.y, &m_vPosition.z}) {
        if (std::isfinite(*c)) continue;
        *c = 0.0f;
        SetDirty();
    }
    if (m_vPosition.y > 10'000.0f) {
        m_vPosition.y = 10'000.0f;
        SetDirty();
    }
    if (m_vPosition.x < -100'000.0f) {
        m_vPosition.x = -100'000.0f;
        SetDirty();
    } else if (m_vPosition.x > 100'000.0f) {
        m_vPosition.x = 100'000.0f;
        SetDirty();
    }
    if (m_vPosition.z < -100'000.0f) {
        m_vPosition.z = -100'000.0f;
        SetDirty();
    } else if (m_vPosition.z > 100'000.0f) {
        m_vPosition.z = 100'000.0f;
        SetDirty();
    }
}
