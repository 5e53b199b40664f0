// The client's side of the update stream, for tests: splits update messages into their entity
// messages and keeps what a game client would know from them (slots, objects, predicted
// positions), so that a test can compare it with what the server's players really did.
#pragma once
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace replication_stream {

using Bytes = std::vector<uint8_t>;

struct Object {
    uint8_t kind = 0;          // from 0x0B; 0 for a player known by its score entry
    bool scoreEntry = false;   // a 0x5C made it
    int adds = 0;              // 0x0B messages received for it
    std::string name;          // 0x09 or 0x5C
    float pos[3] = {};
    float step[3] = {};
    int positionMessages = 0;  // 0x25 to 0x28, 0x52, 0x70
};

class ClientWorld {
public:
    // Applies one message body; false (and the rest skipped) at a type it does not know or a
    // payload cut short.
    bool Apply(const Bytes& body) {
        m_pData = body.data();
        m_uiSize = body.size();
        m_uiPos = 0;
        while (m_uiPos < m_uiSize) {
            uint8_t type = m_pData[m_uiPos++];
            ++counts[type];
            if (!ApplyOne(type)) return false;
        }
        return true;
    }

    Object* Selected() {
        auto it = objects.find(selected);
        return it == objects.end() ? nullptr : &it->second;
    }
    // The object that carries this name, or null.
    Object* Named(const std::string& name) {
        for (auto& [handle, object] : objects)
            if (object.name == name) return &object;
        return nullptr;
    }
    int CountKind(uint8_t kind) const {
        int n = 0;
        for (const auto& entry : objects)
            if (entry.second.kind == kind) ++n;
        return n;
    }

    std::map<uint32_t, Object> objects;  // by handle
    uint32_t slots[256] = {};
    uint32_t selected = 0;
    std::map<uint8_t, int> counts;       // messages seen by type
    std::vector<std::pair<uint8_t, uint8_t>> movementSwitches;  // 0x6B: on, sequence
    bool windowOpen = false;

private:
    bool Need(size_t n) const { return m_uiPos + n <= m_uiSize; }
    uint8_t U8() { return m_pData[m_uiPos++]; }
    uint32_t U32() {
        uint32_t v;
        std::memcpy(&v, m_pData + m_uiPos, 4);
        m_uiPos += 4;
        return v;
    }
    int16_t I16() {
        int16_t v;
        std::memcpy(&v, m_pData + m_uiPos, 2);
        m_uiPos += 2;
        return v;
    }
    float F32() {
        float v;
        std::memcpy(&v, m_pData + m_uiPos, 4);
        m_uiPos += 4;
        return v;
    }
    bool Skip(size_t n) {
        if (!Need(n)) return false;
        m_uiPos += n;
        return true;
    }
    bool Text32(std::string* out = nullptr) {
        if (!Need(4)) return false;
        uint32_t n = U32();
        if (!Need(n)) return false;
        if (out) out->assign(reinterpret_cast<const char*>(m_pData + m_uiPos), n);
        m_uiPos += n;
        return true;
    }
    bool Text8(std::string* out = nullptr) {
        if (!Need(1)) return false;
        uint8_t n = U8();
        if (!Need(n)) return false;
        if (out) out->assign(reinterpret_cast<const char*>(m_pData + m_uiPos), n);
        m_uiPos += n;
        return true;
    }
    // The client's prediction: corrections add to the kept step, and each message moves by it.
    void Step(Object* o, const float correction[3]) {
        for (int i = 0; i < 3; ++i) {
            o->step[i] += correction[i];
            o->pos[i] += o->step[i];
        }
        ++o->positionMessages;
    }
    bool Tenths(int width) {
        if (!Need(size_t(3 * width))) return false;
        float c[3];
        for (float& v : c) v = float(width == 1 ? int8_t(U8()) : I16()) * 0.1f;
        if (Object* o = Selected()) Step(o, c);
        return true;
    }
    bool Exact(bool resync) {
        if (!Need(resync ? 24 : 12)) return false;
        float p[3] = {F32(), F32(), F32()};
        if (resync) m_uiPos += 12;
        if (Object* o = Selected()) {
            std::memcpy(o->pos, p, sizeof p);
            if (resync) std::memset(o->step, 0, sizeof o->step);
            ++o->positionMessages;
        }
        return true;
    }

    bool ApplyOne(uint8_t type) {
        switch (type) {
        case 0x2F: {
            if (!Need(5)) return false;
            uint8_t slot = U8();
            uint32_t handle = U32();
            slots[slot] = handle;
            selected = handle;
            objects[handle];
            return true;
        }
        case 0x2E:
            if (!Need(1)) return false;
            selected = slots[U8()];
            return true;
        case 0x0B:
            if (!Need(1)) return false;
            if (Object* o = Selected()) {
                o->kind = U8();
                ++o->adds;
            } else {
                U8();
            }
            return true;
        case 0x0A: objects.erase(selected); return true;
        case 0x09: {
            std::string name;
            if (!Text32(&name)) return false;
            if (Object* o = Selected()) o->name = name;
            return true;
        }
        case 0x5C: {
            std::string name;
            if (!Text8(&name) || !Need(9)) return false;
            m_uiPos += 9;
            if (Object* o = Selected()) {
                o->name = name;
                o->scoreEntry = true;
            }
            return true;
        }
        case 0x25: {
            float none[3] = {};
            if (Object* o = Selected()) Step(o, none);
            return true;
        }
        case 0x26: return Tenths(1);
        case 0x27: return Tenths(2);
        case 0x28: {
            if (!Need(12)) return false;
            float c[3] = {F32(), F32(), F32()};
            if (Object* o = Selected()) Step(o, c);
            return true;
        }
        case 0x70: return Exact(false);
        case 0x52: return Exact(true);
        case 0x78:
        case 0x79: {
            size_t sizes = type == 0x78 ? 12 : 4;
            if (!Need(sizes + 14)) return false;
            m_uiPos += sizes;
            float p[3] = {F32(), F32(), F32()};
            m_uiPos += 2;
            if (Object* o = Selected()) {
                o->kind = 4;
                std::memcpy(o->pos, p, sizeof p);
            }
            return true;
        }
        case 0x58: return Skip(40);
        case 0x5A: return Skip(32);
        case 0x6B: {
            if (!Need(2)) return false;
            uint8_t on = U8();
            movementSwitches.emplace_back(on, U8());
            return true;
        }
        case 0x65: {
            if (!Skip(26) || !Text32()) return false;
            windowOpen = true;
            return true;
        }
        case 0x66:
            windowOpen = false;
            return Skip(1);
        case 0x3B:
        case 0x3C:
        case 0x29: return true;
        // Fixed-size fields the tests do not follow.
        case 0x22: case 0x1B: case 0x2A: case 0x56: case 0x6D: case 0x77: case 0x7A: case 0x7C:
        case 0x7E: case 0x80: case 0x83: case 0x84: return Skip(1);
        case 0x0E: case 0x16: case 0x1D: case 0x2C: case 0x42: case 0x50: case 0x51: case 0x54:
        case 0x57: case 0x5D: case 0x6C: case 0x6E: case 0x7D: case 0x7F: return Skip(4);
        case 0x4F: return Skip(8);
        case 0x13: case 0x32: case 0x6F: case 0x82: return Skip(12);
        case 0x1C: case 0x53: case 0x71: case 0x81: return Text32();
        case 0x4E: return Skip(4) && Text32();
        case 0x5B: return Text8();
        case 0x76: return Skip(1) && Text8();
        // Records of other subsystems that share channel 0: chat, extension answers, welcome.
        case 49: return Text32() && Text32();
        case 76: return Text32() && Skip(1);
        case 100: return Skip(2);
        case 2: return Text32();
        case 74: return Skip(4);
        default: return false;
        }
    }

    const uint8_t* m_pData = nullptr;
    size_t m_uiSize = 0;
    size_t m_uiPos = 0;
};

} // namespace replication_stream
