#include "world/Server_Client_Entity.h"

#include "world/VUKHeap.h"
#include "world/WorldFatalError.h"

void* Server_Client_Entity::operator new(std::size_t size) {
    if (size > g_VukHeap_ServerClientEntity.ElementSize()) throw WorldFatalError("view pool: object too large");
    return g_VukHeap_ServerClientEntity.AllocateOne();
}

void Server_Client_Entity::operator delete(void* p) { g_VukHeap_ServerClientEntity.FreeOne(p); }

Server_Client_Entity::~Server_Client_Entity() {
    delete m_pPlayerView;
    delete m_pGoalPadInfo;
}

SCE_Player* Server_Client_Entity::GetOrCreatePlayerView() {
    if (!m_pPlayerView) m_pPlayerView = new SCE_Player();
    return m_pPlayerView;
}

SCE_GoalPadInfo* Server_Client_Entity::GetOrCreateGoalPadInfo() {
    if (!m_pGoalPadInfo) m_pGoalPadInfo = new SCE_GoalPadInfo();
    return m_pGoalPadInfo;
}

void* SCE_Player::operator new(std::size_t size) {
    if (size > g_VukHeap_SCEPlayer.ElementSize()) throw WorldFatalError("player view pool: object too large");
    return g_VukHeap_SCEPlayer.AllocateOne();
}

void SCE_Player::operator delete(void* p) { g_VukHeap_SCEPlayer.FreeOne(p); }
