// Client messages and server records written out byte by byte, for tests.
#pragma once
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace records {

using Bytes = std::vector<uint8_t>;

inline void PutU16(Bytes& b, uint16_t v) {
    b.push_back(uint8_t(v));
    b.push_back(uint8_t(v >> 8));
}
inline void PutU32(Bytes& b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(uint8_t(v >> (8 * i)));
}
inline void PutFloat(Bytes& b, float f) {
    uint32_t v;
    std::memcpy(&v, &f, 4);
    PutU32(b, v);
}
inline void PutString(Bytes& b, const std::string& s) {
    PutU32(b, uint32_t(s.size()));
    b.insert(b.end(), s.begin(), s.end());
}
inline Bytes Concat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// ---- client to server ----
inline Bytes Version(uint8_t v) { return {9, v}; }
inline Bytes Login(uint8_t type, const std::string& name, const std::string& password) {
    Bytes b{type};
    PutString(b, name);
    PutString(b, password);
    return b;
}
inline Bytes NewLogin(const std::string& name, const std::string& password) { return Login(5, name, password); }
inline Bytes ExistingLogin(const std::string& name, const std::string& password) { return Login(4, name, password); }
inline Bytes Declare(const std::string& name, uint8_t value) {
    Bytes b{13};
    PutString(b, name);
    b.push_back(value);
    return b;
}
inline Bytes Query(const std::string& name) {
    Bytes b{12};
    PutString(b, name);
    return b;
}
inline Bytes Keys(uint16_t mask) {
    Bytes b{1};
    PutU16(b, mask);
    return b;
}

// ---- server to client ----
inline Bytes Chat(const std::string& sender, const std::string& text) {
    Bytes b{49};
    PutString(b, sender);
    PutString(b, text);
    return b;
}
inline Bytes Answer(const std::string& name, uint8_t value) {
    Bytes b{76};
    PutString(b, name);
    b.push_back(value);
    return b;
}
inline Bytes Welcome(uint16_t tick, const std::string& name) {
    Bytes b{100, uint8_t(tick), uint8_t(tick >> 8)};
    for (const char* offer : {"KRV_MSG_COMMAND", "KRV_CSE1", "KRV_MULTI_UDP_CHANNEL"}) {
        b.push_back(76);
        PutString(b, offer);
        b.push_back(1);
    }
    b.push_back(2);
    PutString(b, name);
    b.push_back(74);
    PutU32(b, 84);
    return b;
}

} // namespace records
