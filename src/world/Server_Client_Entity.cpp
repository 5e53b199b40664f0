#include "world/Server_Client_Entity.h"

#include "world/VUKHeap.h"
#include "world/WorldFatalError.h"

void* Server_Client_Entity::operator new(std::size_t size) {
    if (size > g_VukHeap_ServerClientEntity.ElementSize()) throw WorldFatalError("view pool: object too large");
    return g_VukHeap_ServerClientEntity.AllocateOne();
}

void Server_Client_Entity::operator delete(void* p) { g_VukHeap_ServerClientEntity.FreeOne(p); }

Server_Client_Entity::~Server_Client_Entity() {
    if (!m_pExtras) return;
    delete m_pExtras->m_pPlayerView;
    delete m_pExtras->m_pGoalPadInfo;
    delete m_pExtras;
}

SCE_Extras* Server_Client_Entity::Extras() {
    if (!m_pExtras) m_pExtras = new SCE_Extras();
    return m_pExtras;
}

const std::string& Server_Client_Entity::GetLabel() const {
    static const std::string kEmpty;
    const std::string* label = LabelPointer();
    return label ? *label : kEmpty;
}

void Server_Client_Entity::SetPredictedStep(const VUKVector& step) {
    if (m_pExtras || step != VUKVector()) Extras()->m_vPredictedStep = step;
}

void Server_Client_Entity::SetPredictedYawStep(float step) {
    if (m_pExtras || step != 0.0f) Extras()->m_fPredictedYawStep = step;
}

void Server_Client_Entity::SetAngle(int i, float angle) {
    if (m_pExtras || angle != 0.0f) Extras()->m_fAngles[i] = angle;
}

uint32_t Server_Client_Entity::GetEEA(uint8_t id) const {
    if (!m_pExtras) return 0;
    return id == kEEAInverseAlpha ? m_pExtras->m_uiInverseAlpha : id == kEEABounce ? m_pExtras->m_uiBounce : 0;
}

void Server_Client_Entity::SetEEA(uint8_t id, uint32_t value) {
    if (!m_pExtras && value == 0) return;
    if (id == kEEAInverseAlpha) Extras()->m_uiInverseAlpha = value;
    if (id == kEEABounce) Extras()->m_uiBounce = value;
}

SCE_Player* Server_Client_Entity::GetOrCreatePlayerView() {
    SCE_Extras* extras = Extras();
    if (!extras->m_pPlayerView) extras->m_pPlayerView = new SCE_Player();
    return extras->m_pPlayerView;
}

SCE_GoalPadInfo* Server_Client_Entity::GetOrCreateGoalPadInfo() {
    SCE_Extras* extras = Extras();
    if (!extras->m_pGoalPadInfo) extras->m_pGoalPadInfo = new SCE_GoalPadInfo();
    return extras->m_pGoalPadInfo;
}

void* SCE_Player::operator new(std::size_t size) {
    if (size > g_VukHeap_SCEPlayer.ElementSize()) throw WorldFatalError("player view pool: object too large");
    return g_VukHeap_SCEPlayer.AllocateOne();
}

void SCE_Player::operator delete(void* p) { g_VukHeap_SCEPlayer.FreeOne(p); }

// One per (client, entity sent): a few bytes more here are gigabytes at full scale.
static_assert(sizeof(Server_Client_Entity) <= 56, "a view record must stay small");
