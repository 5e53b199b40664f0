// Expected message bytes written out by hand: little-endian integers, and floats by their
// IEEE 754 bit patterns (so an expectation never runs through the code under test).
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "world/Server_Client_Entity.h"
#include "world/VUKHeap.h"

using Bytes = std::vector<uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline Bytes U16(uint16_t v) { return {uint8_t(v), uint8_t(v >> 8)}; }
inline Bytes U32(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }
// A float given by its bit pattern, e.g. F32(0x3F800000) for 1.0.
inline Bytes F32(uint32_t bits) { return U32(bits); }
inline Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }
// 0x2F: the slot now names the view's object.
inline Bytes Bind(uint8_t slot, const Server_Client_Entity* view) {
    return Bytes{0x2F, slot} + U32(g_VukHeap_ServerClientEntity.HandleOf(view));
}

// Bit patterns used across the tests.
inline constexpr uint32_t kF0 = 0x00000000;        // 0.0
inline constexpr uint32_t kF0_5 = 0x3F000000;      // 0.5
inline constexpr uint32_t kF1 = 0x3F800000;        // 1.0
inline constexpr uint32_t kF2 = 0x40000000;        // 2.0
inline constexpr uint32_t kF3 = 0x40400000;        // 3.0
inline constexpr uint32_t kF10 = 0x41200000;       // 10.0
inline constexpr uint32_t kF20 = 0x41A00000;       // 20.0
inline constexpr uint32_t kF64 = 0x42800000;       // 64.0
inline constexpr uint32_t kF100 = 0x42C80000;      // 100.0
inline constexpr uint32_t kF200 = 0x43480000;      // 200.0
inline constexpr uint32_t kFMinus200 = 0xC3480000; // -200.0
inline constexpr uint32_t kF400 = 0x43C80000;      // 400.0
