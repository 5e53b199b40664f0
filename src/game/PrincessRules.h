// What the princess cube rules share: gravity per turn, the ground, the world's edge, the random
// heading every hop or wander takes, the pass budgets and the rank bonus of a defeat.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/Clock.h"
#include "world/Server_Entity.h"
#include "world/Server_EntityKinds.h"

inline constexpr float kPrincessGravity = 0.4f;    // taken off vy every turn
inline constexpr float kGroundClearance = 0.01f;   // a landed cube is put this far above the ground
inline constexpr float kRestingSpeed = 0.001f;     // |vy| below it: the cube rests
inline constexpr float kWorldEdge = 100'000.0f;    // the outer walls on x and z
inline constexpr float kHeadingStep = 0.09817477f; // pi / 32: headings come in 64 steps

// A time budget of the server pass, in counter counts from its making.
class PassBudget {
public:
    explicit PassBudget(double seconds)
        : m_iStart(platform::QueryCounter()), m_iCounts(int64_t(double(platform::QueryCounterFrequency()) * seconds)) {}
    bool Spent() const { return platform::QueryCounter() - m_iStart >= m_iCounts; }

private:
    int64_t m_iStart;
    int64_t m_iCounts;
};

// A heading drawn from the counter, one of 64 around the circle.
inline float RandomHeading() { return float(platform::CounterModulo(64)) * kHeadingStep; }

// The horizontal vector of the length along the heading (0 points to +z, pi/2 to +x).
inline VUKVector Along(float heading, float length) {
    return VUKVector(std::sin(heading) * length, 0.0f, std::cos(heading) * length);
}

inline bool HasVelocity(const Server_Entity* e) {
    const VUKVector& v = e->m_vVelocity;
    return v.x != 0.0f || v.y != 0.0f || v.z != 0.0f;
}

// A home point read from a file may be anything; a cube sent home must land inside the walls.
inline VUKVector SafeHome(const VUKVector& home) {
    auto inside = [](float c) { return std::isfinite(c) ? std::fmax(-kWorldEdge, std::fmin(c, kWorldEdge)) : 0.0f; };
    return VUKVector(inside(home.x), std::isfinite(home.y) ? home.y : 0.0f, inside(home.z));
}

// Puts a cube that reached the ground on it; true when it had to.
inline bool LandOnGround(Server_Entity* e) {
    const float floor = e->m_vSize.y * 0.5f;
    if (!(e->m_vPosition.y <= floor)) return false;
    e->m_vPosition.y = floor + kGroundClearance;
    return true;
}

// Cubes make their move every (skip + 1)-th turn. Turn counts are 16-bit; the setting is limited to
// 64 but a world file may say more.
inline int16_t MoveInterval(uint32_t skip) { return int16_t(std::min<uint32_t>(skip, 1'000) + 1); }

// A defeat's bonus for a lower ranking: perRank coins a rank below the first, paid into the
// pocket and told in a sentence of its own.
inline void PayRankBonus(Server_Player* player, std::string& text, int64_t perRank) {
    if (player->m_uiRank <= 1) return;
    const int64_t bonus = int64_t(player->m_uiRank) * perRank;
    player->m_i64PocketCoins += bonus;
    char line[128];
    std::snprintf(line, sizeof line,
                  "  You receive a %d coin bonus because of your ranking.  (This bonus lowers as your ranking "
                  "increases.)",
                  int(bonus));
    text.append(line);
}
