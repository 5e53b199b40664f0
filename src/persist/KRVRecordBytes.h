// The fixed-size fields of one record, gathered on the stack and appended to a packet in one
// copy: a save writes a few million fields, and appending them one by one costs more than the
// write to disk.
#pragma once
#include <cstdint>
#include <cstring>

#include "net/Packet.h"
#include "world/VUKVector.h"

class KRVRecordBytes {
public:
    // Larger than the longest run of fixed fields any record has (an Oriset cube's entity
    // record: 66 bytes).
    static constexpr uint32_t kCapacity = 96;

    KRVRecordBytes& U8(uint8_t v) {
        m_Bytes[m_uiSize++] = v;
        return *this;
    }
    KRVRecordBytes& U32(uint32_t v) { return Raw(&v, 4); }
    KRVRecordBytes& F32(float v) { return Raw(&v, 4); }
    KRVRecordBytes& Vec(const VUKVector& v) { return F32(v.x).F32(v.y).F32(v.z); }

    const uint8_t* Data() const { return m_Bytes; }
    uint32_t Size() const { return m_uiSize; }

    // Appends the gathered bytes and starts over.
    void AppendTo(Packet* out) {
        out->AppendBytes(m_Bytes, m_uiSize);
        m_uiSize = 0;
    }

private:
    KRVRecordBytes& Raw(const void* v, uint32_t n) {
        std::memcpy(m_Bytes + m_uiSize, v, n);
        m_uiSize += n;
        return *this;
    }

    uint8_t m_Bytes[kCapacity];
    uint32_t m_uiSize = 0;
};
