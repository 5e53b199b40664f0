#include "world/Server_EntityKinds.h"

#include "world/WorldFatalError.h"

// ---- the kinds ---------------------------------------------------------------------------------

Server_FireBlock::Server_FireBlock() { MakeKind(kKindFireBlock); }

Server_TalvyCube::Server_TalvyCube() {
    MakeKind(kKindTalvyCube);
    m_ucRuleFlags &= uint8_t(~kRuleStanding);
}

Server_OrisetCube::Server_OrisetCube() { MakeKind(kKindOrisetCube); }

void* Server_ZorbinCube::operator new(std::size_t size) {
    if (size > g_VukHeap_ServerZorbinCube.ElementSize()) throw WorldFatalError("Zorbin pool: object too large");
    return g_VukHeap_ServerZorbinCube.AllocateOne();
}

void Server_ZorbinCube::operator delete(void* p) { g_VukHeap_ServerZorbinCube.FreeOne(p); }

Server_ZorbinCube::Server_ZorbinCube() {
    MakeKind(kKindZorbinCube);
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

Server_PalaceCube::Server_PalaceCube() { MakeKind(kKindPalaceCube); }

Server_QuillhobCube::Server_QuillhobCube() { MakeKind(kKindQuillhobCube); }

// ---- players -----------------------------------------------------------------------------------

Server_Player::Server_Player() {
    MakeKind(kKindPlayer);
    m_vSize.Set(16.0f, 16.0f, 16.0f);
    m_ucPlayerFlags[5] = 0x20; // byte 6: bit 5 set
    m_ucPlayerFlags[7] = 0x0E; // byte 8: bits 1 to 3 set
    m_ucPlayerFlags[8] = 64;   // byte 9
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
