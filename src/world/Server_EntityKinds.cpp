#include "world/Server_EntityKinds.h"

#include "base/Settings.h"
#include "world/WorldFatalError.h"

// ---- the kinds ---------------------------------------------------------------------------------

Server_FireBlock::Server_FireBlock() {
    SetKind(kKindFireBlock);
    m_usTexture = 3;
    m_vTextureScale.Set(32.0f, 32.0f, 32.0f);
    SetTextureMode(1);
    m_ucTypeAndFlags |= kTypeUnrotatedBounds;
}

Server_TalvyCube::Server_TalvyCube() {
    SetKind(kKindTalvyCube);
    m_usTexture = 9;
    SetTextureMode(1);
    m_ucTypeAndFlags |= kTypeUnrotatedBounds;
    m_ucRuleFlags &= uint8_t(~kRuleBit4);
}

Server_OrisetCube::Server_OrisetCube() {
    SetKind(kKindOrisetCube);
    m_usTexture = 19;
    SetTextureMode(1);
    m_ucTypeAndFlags |= kTypeUnrotatedBounds;
}

void* Server_ZorbinCube::operator new(std::size_t size) {
    if (size > g_VukHeap_ServerZorbinCube.ElementSize()) throw WorldFatalError("Zorbin pool: object too large");
    return g_VukHeap_ServerZorbinCube.AllocateOne();
}

void Server_ZorbinCube::operator delete(void* p) { g_VukHeap_ServerZorbinCube.FreeOne(p); }

Server_ZorbinCube::Server_ZorbinCube() {
    SetKind(kKindZorbinCube);
    m_usTexture = kZorbinCubeTexture;
    m_vTextureScale.Set(64.0f, 64.0f, 64.0f);
    SetTextureMode(1);
    m_ucTypeAndFlags |= kTypeUnrotatedBounds;
    SetMoving(true);
    m_uiStoredCoins = kZorbinCubeWorth;
}

Server_ZorbinCube::~Server_ZorbinCube() {
    for (Link<Server_Player*>* link = m_NearPlayers.Head(); link; link = link->m_pNext)
        link->m_Value->m_NearZorbins.RemoveValue(this);
    m_NearPlayers.RemoveAll();
}

void* Server_PalaceCube::operator new(std::size_t size) {
    if (size > g_VukHeap_ServerPalaceCube.ElementSize()) throw WorldFatalError("palace pool: object too large");
    return g_VukHeap_ServerPalaceCube.AllocateOne();
}

void Server_PalaceCube::operator delete(void* p) { g_VukHeap_ServerPalaceCube.FreeOne(p); }

Server_PalaceCube::Server_PalaceCube() {
    SetKind(kKindPalaceCube);
    m_usTexture = 60;
    SetTextureMode(1);
    m_ucTypeAndFlags |= kTypeUnrotatedBounds;
}

Server_QuillhobCube::Server_QuillhobCube() {
    SetKind(kKindQuillhobCube);
    m_usTexture = uint16_t(g_uiQuillhobTexture);
    SetTextureMode(1);
    m_ucTypeAndFlags |= kTypeUnrotatedBounds;
}

// ---- players -----------------------------------------------------------------------------------

Server_Player::Server_Player() {
    SetKind(kKindPlayer);
    m_usTexture = 1;
    m_vTextureScale.Set(32.0f, 32.0f, 32.0f);
    SetTextureMode(3);
    m_ucTypeAndFlags |= kTypeUnrotatedBounds;
    m_vSize.Set(16.0f, 16.0f, 16.0f);
    m_ucPlayerFlags[5] = 0x20;  // byte 6: bit 5 set
    m_ucPlayerFlags[7] = 0x0E;  // byte 8: bits 1 to 3 set
    m_ucPlayerFlags[8] = 64;    // byte 9
}

Server_Player::~Server_Player() {
    for (Link<Server_ZorbinCube*>* link = m_NearZorbins.Head(); link; link = link->m_pNext)
        link->m_Value->m_NearPlayers.RemoveValue(this);
    m_NearZorbins.RemoveAll();
    SetPlatform(nullptr);
}

void Server_Player::SetPlatform(Server_Entity* e) {
    if (m_pPlatform == e) return;
    if (m_pPlatform) m_pPlatform->m_ReferringPlayers.RemoveItem(this);
    m_pPlatform = e;
    if (e) e->m_ReferringPlayers.Append(this);
}
