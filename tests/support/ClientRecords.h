// Client messages and server records written out byte by byte, for tests.
#pragma once
#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

namespace records {

using Bytes = std::vector<uint8_t>;

inline void PutU16(Bytes& b, uint16_t v) { b.insert(b.end(), {uint8_t(v), uint8_t(v >> 8)}); }
inline void PutU32(Bytes& b, uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) b.push_back(uint8_t(v >> shift));
}
inline void PutFloat(Bytes& b, float f) { PutU32(b, std::bit_cast<uint32_t>(f)); }
inline Bytes Concat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
// A u32 length and the bytes.
inline void PutString(Bytes& b, const std::string& s) {
    PutU32(b, uint32_t(s.size()));
    b.insert(b.end(), s.begin(), s.end());
}
// Type, then each text with its length.
inline Bytes Record(uint8_t type, std::initializer_list<std::string> texts) {
    Bytes b{type};
    for (const std::string& s : texts) PutString(b, s);
    return b;
}

// ---- save files ----
// Record 1: the kind, then position, size, yaw and texture scale as ten floats, the texture and
// its mode.
inline Bytes SavedEntity(uint8_t kind, std::initializer_list<float> floats, uint32_t texture, uint32_t mode) {
    Bytes b{1, kind};
    for (float f : floats) PutFloat(b, f);
    PutU32(b, texture);
    PutU32(b, mode);
    return b;
}
// Record 24: a record known by its name, then the length of its payload and the payload.
inline Bytes Named(const std::string& name, const Bytes& payload) {
    Bytes b = Record(24, {name});
    PutU32(b, uint32_t(payload.size()));
    return Concat(b, payload);
}

// ---- client to server ----
inline Bytes Version(uint8_t v) { return {9, v}; }
inline Bytes Login(uint8_t type, const std::string& name, const std::string& pw) { return Record(type, {name, pw}); }
inline Bytes NewLogin(const std::string& name, const std::string& password) { return Login(5, name, password); }
inline Bytes Declare(const std::string& name, uint8_t value) { return Concat(Record(13, {name}), {value}); }
inline Bytes Query(const std::string& name) { return Record(12, {name}); }
inline Bytes Keys(uint16_t mask) { return {1, uint8_t(mask), uint8_t(mask >> 8)}; }

// ---- server to client ----
inline Bytes Chat(const std::string& sender, const std::string& text) { return Record(49, {sender, text}); }
inline Bytes Answer(const std::string& name, uint8_t value) { return Concat(Record(76, {name}), {value}); }
inline Bytes Welcome(uint16_t tick, const std::string& name) {
    Bytes b{100, uint8_t(tick), uint8_t(tick >> 8)};
    for (const char* offer : {"KRV_MSG_COMMAND", "KRV_CSE1", "KRV_MULTI_UDP_CHANNEL"}) b = Concat(b, Answer(offer, 1));
    return Concat(Concat(b, Record(2, {name})), {74, 84, 0, 0, 0});
}

// Window messages: 0x65 open (id, left, top, width, height, four colours, style, text), 0x66
// close, 0x67 highlight.
struct WindowBox {
    uint16_t left, top, width, height;
};
inline Bytes WindowOpen(uint8_t id, WindowBox box, const std::array<uint32_t, 4>& colours, uint8_t style,
                        const std::string& text) {
    Bytes b{0x65, id};
    for (uint16_t v : {box.left, box.top, box.width, box.height}) PutU16(b, v);
    for (uint32_t c : colours) PutU32(b, c);
    b.push_back(style);
    PutString(b, text);
    return b;
}
inline Bytes WindowClose(uint8_t id) { return {0x66, id}; }
inline Bytes WindowLight(uint8_t id, uint32_t colour) {
    Bytes b{0x67, id};
    PutU32(b, colour);
    return b;
}
inline Bytes MenuClick(uint8_t id) { return {22, id}; }

} // namespace records
