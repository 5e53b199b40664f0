// The one buffer for messages and files: a byte body, a read position and the rate at which
// the reliable transport resends it while unacknowledged. Fields are little-endian; a string
// is a u32 byte count followed by its bytes.
#pragma once
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

class Packet {
public:
    Packet() { m_Data.reserve(512); }

    uint32_t Length() const { return uint32_t(m_Data.size()); }
    uint32_t Remaining() const { return Length() - m_uiReadPos; }
    const uint8_t* Data() const { return m_Data.data(); }
    bool Empty() const { return m_Data.empty(); }

    void AppendByte(uint8_t v) { m_Data.push_back(v); }
    void AppendBool(bool v) { m_Data.push_back(v ? 1 : 0); }
    void AppendU16(uint16_t v) { AppendRaw(&v, 2); }
    void AppendI16(int16_t v) { AppendRaw(&v, 2); }
    void AppendU32(uint32_t v) { AppendRaw(&v, 4); }
    void AppendI32(int32_t v) { AppendRaw(&v, 4); }
    void AppendFloat(float v) { AppendRaw(&v, 4); }
    void AppendString(std::string_view text) {
        AppendU32(uint32_t(text.size()));
        AppendRaw(text.data(), text.size());
    }
    void AppendString(const char* text) { AppendString(std::string_view(text ? text : "")); }
    void AppendString(const std::string& text) { AppendString(std::string_view(text)); }
    void AppendBytes(const void* data, size_t count) { AppendRaw(data, count); }

    // A short read copies what remains into the low bytes and leaves the rest of the
    // destination as it was.
    void ReadByte(uint8_t& v) { ReadRaw(&v, 1); }
    void ReadBool(bool& v) {
        uint8_t b = v ? 1 : 0;
        ReadRaw(&b, 1);
        v = b != 0;
    }
    void ReadU16(uint16_t& v) { ReadRaw(&v, 2); }
    void ReadI16(int16_t& v) { ReadRaw(&v, 2); }
    void ReadU32(uint32_t& v) { ReadRaw(&v, 4); }
    void ReadI32(int32_t& v) { ReadRaw(&v, 4); }
    void ReadFloat(float& v) { ReadRaw(&v, 4); }
    // A count larger than what remains takes only what remains: the text never comes from
    // beyond the body and the read position stays within it.
    void ReadString(std::string& text) {
        uint32_t count = 0;
        ReadU32(count);
        if (count > Remaining()) count = Remaining();
        text.assign(reinterpret_cast<const char*>(m_Data.data()) + m_uiReadPos, count);
        m_uiReadPos += count;
    }
    void ReadBytes(void* destination, uint32_t count) { ReadRaw(destination, count); }
    void Skip(uint32_t count) { m_uiReadPos += count < Remaining() ? count : Remaining(); }

    void Reserve(size_t bytes) { m_Data.reserve(bytes); }
    size_t Capacity() const { return m_Data.capacity(); }
    void Clear() {
        m_Data.clear();
        m_uiReadPos = 0;
    }

    float m_fResendRate = 2.0f;
    std::vector<uint8_t> m_Data;
    uint32_t m_uiReadPos = 0;

private:
    // Grow, then copy: a range insert of a few bytes trips a false array-bounds warning in
    // optimised builds of the standard library.
    void AppendRaw(const void* data, size_t count) {
        if (count == 0) return;
        size_t at = m_Data.size();
        m_Data.resize(at + count);
        std::memcpy(m_Data.data() + at, data, count);
    }
    uint32_t ReadRaw(void* destination, uint32_t width) {
        uint32_t n = width < Remaining() ? width : Remaining();
        if (n) std::memcpy(destination, m_Data.data() + m_uiReadPos, n);
        m_uiReadPos += n;
        return n;
    }
};

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the wire and the save files are little-endian");
