// Compact entity indices, and per entity one bit per watching client for each question a
// change or removal notice asks: is the entity pending for that client, filed in its pending
// grid, waiting to be filed, or seen (the client has a view of it). A notice reads one row to
// answer for every client at once, instead of visiting each client's own storage.
//
// Watching clients are numbered densely from 0 (the replication layer hands the numbers out);
// a row holds as many 64-bit words per question as the highest number needs, padded to whole
// cache lines (one line for up to 128 clients). A freed index is handed out again before a new
// one, so indices stay below the high-water mark of live entities and per-client arrays indexed
// by them stay dense.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

class Server_Entity;

enum EntityClientBit : uint32_t {
    kBitPending = 0, // on the client's pending list
    kBitFiled = 1,   // filed in at least one zone of the client's pending grid
    kBitWaiting = 2, // waiting to be filed there
    kBitViewed = 3,  // the client has a view record of it
    kEntityClientBitKinds = 4
};

class EntityClientBits {
public:
    constexpr EntityClientBits() = default;
    EntityClientBits(const EntityClientBits&) = delete;
    EntityClientBits& operator=(const EntityClientBits&) = delete;

    // A fresh index with a cleared row, owned by e.
    uint32_t AllocateIndex(Server_Entity* e);
    void FreeIndex(uint32_t index);
    // One past the highest index handed out so far.
    uint32_t IndexLimit() const { return m_uiIndexLimit; }
    // The entity holding an index (null for a free one).
    Server_Entity* EntityAt(uint32_t index) const { return m_Owners[index]; }

    // Widens the rows when a watcher number does not fit yet (all rows are copied once).
    void EnsureWatchers(uint32_t watchers);
    uint32_t WordsPerKind() const { return m_uiWords; }

    bool Test(uint32_t index, EntityClientBit kind, uint32_t watcher) const {
        return (Word(index, kind, watcher >> 6) >> (watcher & 63)) & 1u;
    }
    void Set(uint32_t index, EntityClientBit kind, uint32_t watcher) {
        WordRef(index, kind, watcher >> 6) |= uint64_t(1) << (watcher & 63);
    }
    void Clear(uint32_t index, EntityClientBit kind, uint32_t watcher) {
        WordRef(index, kind, watcher >> 6) &= ~(uint64_t(1) << (watcher & 63));
    }
    uint64_t Word(uint32_t index, EntityClientBit kind, uint32_t word) const {
        return m_Rows[size_t(index) * m_uiStride + kind * m_uiWords + word];
    }
    const uint64_t* Row(uint32_t index) const { return &m_Rows[size_t(index) * m_uiStride]; }
    // Starts fetching the index's table entry and row.
    void Prefetch(uint32_t index) const {
        if (index >= m_uiIndexLimit) return;
        __builtin_prefetch(m_Owners.data() + index);
        __builtin_prefetch(m_Rows.data() + size_t(index) * m_uiStride);
    }
    size_t Bytes() const { return m_Rows.capacity() * sizeof(uint64_t); }

private:
    uint64_t& WordRef(uint32_t index, EntityClientBit kind, uint32_t word) {
        return m_Rows[size_t(index) * m_uiStride + kind * m_uiWords + word];
    }
    // Whole cache lines, so that a notice reads one line per row at up to 128 watchers.
    static constexpr uint32_t StrideFor(uint32_t words) { return (words * kEntityClientBitKinds + 7) / 8 * 8; }

    uint32_t m_uiWords = 2; // 128 watchers before the first widening
    uint32_t m_uiStride = StrideFor(2);
    uint32_t m_uiIndexLimit = 0;
    std::vector<uint32_t> m_FreeIndices;
    std::vector<Server_Entity*> m_Owners;
    std::vector<uint64_t> m_Rows;
};

// The world's table; every Server_Entity takes its index from it. Constant-initialised, so it
// is ready before any other static object is made.
extern EntityClientBits g_EntityClientBits;
