// The game client's side of the update stream, for tests and benchmarks: splits update messages
// into their entity messages and keeps what a client would know from them (slots, objects,
// predicted positions).
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace headless {

using Bytes = std::vector<uint8_t>;

// What the client knows of one object: kind 0 is a player known by its score entry alone.
struct Object {
    uint8_t kind = 0;
    bool scoreEntry = false;
    int adds = 0;
    std::string name;
    uint32_t coins = 0; // pocket coins of a player's score entry
    float pos[3] = {}, step[3] = {};
};

// The payload of every message type the stream carries: fixed byte counts, and texts with a
// 32-bit (kText32) or 8-bit (kText8) length.
inline constexpr int kText32 = -4, kText8 = -1;
inline std::map<uint8_t, std::vector<int>> PayloadShapes() {
    std::map<uint8_t, std::vector<int>> m;
    auto fixed = [&](int n, std::initializer_list<uint8_t> types) {
        for (uint8_t t : types) m[t] = {n};
    };
    fixed(0, {0x0A, 0x25, 0x29, 0x3B, 0x3C});
    fixed(1, {0x0B, 0x1B, 0x22, 0x2A, 0x2E, 0x43, 0x46, 0x56, 0x66, 0x6D, 0x77, 0x7A, 0x7C, 0x7E, 0x80, 0x83, 0x84});
    fixed(2, {0x6B, 100});
    fixed(4, {0x0E, 0x16, 0x1D, 0x2C, 0x42, 0x44, 0x45, 0x50, 0x51, 0x54, 0x57, 0x5D, 0x6C, 0x6E, 0x7D, 0x7F, 74});
    fixed(5, {0x67}); // window highlight
    fixed(12, {0x13, 0x28, 0x32, 0x6F, 0x70, 0x82});
    for (auto [type, n] : {std::pair<uint8_t, int>{0x26, 3},
                           {0x2F, 5},
                           {0x27, 6},
                           {0x4F, 8},
                           {0x79, 18},
                           {0x52, 24},
                           {0x78, 26},
                           {0x5A, 32},
                           {0x58, 40}})
        m[type] = {n};
    for (uint8_t t : {0x09, 0x1C, 0x53, 0x71, 0x81, 2}) m[t] = {kText32};
    m[0x5B] = {kText8};
    m[0x72] = m[0x73] = {kText8}; // texture offer, start of its data
    m[0x74] = {kText8, kText8};   // texture name, chunk
    m[0x75] = {kText8, 2};        // texture name, number it provides
    m[0x5C] = {kText8, 9};
    m[0x76] = {1, kText8};
    m[0x4E] = {4, kText32};
    m[0x65] = {26, kText32};
    m[49] = {kText32, kText32}; // chat, welcome and extension answers share channel 0
    m[76] = {kText32, 1};
    return m;
}

class ClientWorld {
public:
    // Applies one message; false (the rest skipped) at an unknown type or a payload cut short.
    bool Apply(const Bytes& body) {
        static const std::map<uint8_t, std::vector<int>> shapes = PayloadShapes();
        for (size_t at = 0; at < body.size();) {
            const uint8_t type = body[at++];
            auto shape = shapes.find(type);
            if (shape == shapes.end()) return false;
            const size_t start = at;
            for (int n : shape->second) {
                uint32_t length = 0;
                if (n < 0 && at + size_t(-n) <= body.size()) std::memcpy(&length, &body[at], size_t(-n));
                at += n < 0 ? size_t(-n) + length : size_t(n);
                if (at > body.size()) return false;
            }
            ++counts[type];
            On(type, body.data() + start);
        }
        return true;
    }
    Object* Named(const std::string& name) {
        for (auto& entry : objects)
            if (entry.second.name == name) return &entry.second;
        return nullptr;
    }
    int CountKind(uint8_t kind) const {
        return int(std::count_if(objects.begin(), objects.end(), [&](const auto& e) { return e.second.kind == kind; }));
    }

    std::map<uint32_t, Object> objects;                // by handle
    std::map<uint8_t, int> counts;                     // messages by type
    std::vector<std::pair<uint8_t, uint8_t>> switches; // 0x6B: on, sequence
    std::vector<std::string> offeredTextures;          // 0x72, in order
    std::map<std::string, Bytes> textureData;          // 0x73 starts it, 0x74 adds to it
    std::map<std::string, uint16_t> readyTextures;     // 0x75: the texture number

private:
    template <typename T> static T Read(const uint8_t* p) {
        T v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    // The client's prediction: a correction adds to the kept step, and every message moves by it.
    static void Step(Object* o, const float correction[3]) {
        for (int i = 0; i < 3; ++i) o->pos[i] += (o->step[i] += correction[i]);
    }
    void On(uint8_t type, const uint8_t* p) {
        Object* o = objects.count(m_Selected) ? &objects[m_Selected] : nullptr;
        float c[3] = {};
        switch (type) {
        case 0x2F:
            objects[m_Selected = m_Slots[p[0]] = Read<uint32_t>(p + 1)];
            break;
        case 0x2E:
            m_Selected = m_Slots[p[0]];
            break;
        case 0x0A:
            objects.erase(m_Selected);
            break;
        case 0x6B:
            switches.emplace_back(p[0], p[1]);
            break;
        case 0x72:
        case 0x73:
        case 0x74:
        case 0x75: {
            const std::string name(reinterpret_cast<const char*>(p + 1), p[0]);
            const uint8_t* rest = p + 1 + p[0];
            if (type == 0x72) offeredTextures.push_back(name);
            if (type == 0x73) textureData[name].clear();
            if (type == 0x74) textureData[name].insert(textureData[name].end(), rest + 1, rest + 1 + rest[0]);
            if (type == 0x75) readyTextures[name] = Read<uint16_t>(rest);
            return;
        }
        }
        if (!o) return;
        switch (type) {
        case 0x0B:
            o->kind = p[0], ++o->adds;
            break;
        case 0x09:
            o->name.assign(reinterpret_cast<const char*>(p + 4), Read<uint32_t>(p));
            break;
        case 0x5C:
            o->name.assign(reinterpret_cast<const char*>(p + 1), p[0]), o->scoreEntry = true;
            o->coins = Read<uint32_t>(p + 1 + p[0] + 1);
            break;
        case 0x16:
            o->coins = Read<uint32_t>(p);
            break;
        case 0x25:
            Step(o, c);
            break;
        case 0x26:
        case 0x27:
            for (int i = 0; i < 3; ++i)
                c[i] = 0.1f * float(type == 0x26 ? Read<int8_t>(p + i) : Read<int16_t>(p + 2 * i));
            Step(o, c);
            break;
        case 0x28:
            Step(o, static_cast<const float*>(std::memcpy(c, p, 12)));
            break;
        case 0x52:
            std::memset(o->step, 0, sizeof o->step);
            [[fallthrough]];
        case 0x70:
            std::memcpy(o->pos, p, 12);
            break;
        case 0x78:
        case 0x79:
            o->kind = 4, std::memcpy(o->pos, p + (type == 0x78 ? 12 : 4), 12);
            break;
        }
    }
    uint32_t m_Slots[256] = {};
    uint32_t m_Selected = 0;
};

} // namespace headless
