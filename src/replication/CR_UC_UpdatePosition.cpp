// Positions and yaw. The client keeps moving an object by the last step it was given, so the
// server sends corrections to that step in tenths where they fit, and mirrors the client's
// arithmetic in the view so that view and client stay equal.
#include <cmath>
#include <cstdint>

#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "replication/UpdateMessages.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"

using namespace replication;

namespace {

constexpr int16_t kStepsBetweenResyncs = 1000;
constexpr float kPositionDeadband = 0.1f;
constexpr float kSteadyStepSquared = 0.01f;
constexpr float kTenthsLimit = 12.0f;        // below this on every axis a correction fits in i8 tenths
constexpr float kShortTenthsLimit = 3000.0f; // below this on every axis it fits in i16 tenths
constexpr float kYawDeadband = 0.0001f;

// A coordinate that is not a number counts as too large for tenths: it goes out as a float.
bool AnyAxisAtLeast(const VUKVector& v, float limit) {
    return !(std::fabs(v.x) < limit) || !(std::fabs(v.y) < limit) || !(std::fabs(v.z) < limit);
}

} // namespace

void Server_Client::UC_Update_Exact_Position() {
    if (m_pEntity->m_vPosition == m_pView->m_vPosition) return;
    const VUKVector& p = m_pEntity->m_vPosition;
    m_pPacket->AppendByte(kMsgExactPosition);
    m_pPacket->AppendFloat(p.x);
    m_pPacket->AppendFloat(p.y);
    m_pPacket->AppendFloat(p.z);
    m_pView->m_vPosition = p;
}

void Server_Client::UC_Update_Position() {
    Server_Client_Entity* view = m_pView;
    const VUKVector& position = m_pEntity->m_vPosition;
    // Fire blocks never get position messages after their add, so they never drift.
    if (view->GetKind() != kKindFireBlock && ++view->m_usStepsSinceResync > kStepsBetweenResyncs) {
        view->m_usStepsSinceResync = 0;
        SendIDChange();
        m_pPacket->AppendByte(kMsgResync);
        m_pPacket->AppendFloat(position.x);
        m_pPacket->AppendFloat(position.y);
        m_pPacket->AppendFloat(position.z);
        m_pPacket->AppendFloat(m_pEntity->GetYaw());
        m_pPacket->AppendFloat(m_pEntity->GetPitch());
        m_pPacket->AppendFloat(m_pEntity->GetRoll());
        view->m_vPosition = position;
        view->SetRotation(m_pEntity->GetYaw(), m_pEntity->GetPitch(), m_pEntity->GetRoll());
        view->SetPredictedStep(VUKVector());
        return;
    }

    VUKVector d = position - view->m_vPosition;
    if (std::fabs(d.x) < kPositionDeadband && std::fabs(d.y) < kPositionDeadband && std::fabs(d.z) < kPositionDeadband)
        return;
    VUKVector step = view->PredictedStep();
    VUKVector a = d - step;
    SendIDChange();
    if (a.x * a.x + a.y * a.y + a.z * a.z < kSteadyStepSquared) {
        m_pPacket->AppendByte(kMsgStepAgain);
    } else if (AnyAxisAtLeast(a, kTenthsLimit)) {
        if (!AnyAxisAtLeast(a, kShortTenthsLimit)) {
            // Truncated toward zero, as the client applies them.
            int16_t sx = int16_t(a.x * 10.0f), sy = int16_t(a.y * 10.0f), sz = int16_t(a.z * 10.0f);
            m_pPacket->AppendByte(kMsgStepTenths16);
            m_pPacket->AppendI16(sx);
            m_pPacket->AppendI16(sy);
            m_pPacket->AppendI16(sz);
            step += VUKVector(float(sx), float(sy), float(sz)) * 0.1f;
        } else {
            m_pPacket->AppendByte(kMsgStepFloat);
            m_pPacket->AppendFloat(a.x);
            m_pPacket->AppendFloat(a.y);
            m_pPacket->AppendFloat(a.z);
            step += a;
        }
    } else {
        int8_t sx = int8_t(a.x * 10.0f), sy = int8_t(a.y * 10.0f), sz = int8_t(a.z * 10.0f);
        m_pPacket->AppendByte(kMsgStepTenths8);
        m_pPacket->AppendByte(uint8_t(sx));
        m_pPacket->AppendByte(uint8_t(sy));
        m_pPacket->AppendByte(uint8_t(sz));
        step += VUKVector(float(sx), float(sy), float(sz)) * 0.1f;
    }
    view->SetPredictedStep(step);
    view->m_vPosition += step;
}

void Server_Client::UC_Update_Rotation() {
    Server_Client_Entity* view = m_pView;
    float r = m_pEntity->GetYaw();
    float v = view->GetYaw();
    if (std::fabs(r - v) < kYawDeadband) return;
    float step = view->PredictedYawStep();
    float a = (r - v) - step;
    SendIDChange();
    if (std::fabs(a) < kYawDeadband) {
        m_pPacket->AppendByte(kMsgYawStepAgain);
    } else {
        // Tenths only below 12.0, where a × 10 fits in i8 (and never for a value that is no number).
        int8_t b = std::fabs(a) < kTenthsLimit ? int8_t(a * 10.0f) : 0;
        if (b == 0) {
            m_pPacket->AppendByte(kMsgYawFloat);
            m_pPacket->AppendFloat(a);
            step += a;
        } else {
            m_pPacket->AppendByte(kMsgYawTenths);
            m_pPacket->AppendByte(uint8_t(b));
            step += float(b) * 0.1f;
        }
    }
    view->SetPredictedYawStep(step);
    view->SetYaw(v + step);
}
