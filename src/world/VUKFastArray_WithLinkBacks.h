// An array whose elements know where they sit: every element has a link-back cell (a u32 from
// g_VukHeap_PFA_LinkBacks) holding its index, and the element's owner keeps a pointer to that
// cell, so the element leaves the array in constant time by moving the last element into its
// place. Used for the per-client lists of entities and view records.
#pragma once
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "world/VUKHeap.h"

template <typename T> class VUKFastArray_WithLinkBacks {
    static_assert(std::is_trivially_copyable_v<T>, "VUKFastArray_WithLinkBacks holds plain values");

public:
    explicit VUKFastArray_WithLinkBacks(uint32_t capacity = 8)
        : m_uiCapacity(capacity ? capacity : 1), m_pValues(new T[m_uiCapacity]),
          m_ppCells(new uint32_t*[m_uiCapacity]) {}
    // Cells still in the array go back to their pool; owners must have dropped their pointers.
    virtual ~VUKFastArray_WithLinkBacks() {
        for (uint32_t i = 0; i < m_uiCount; ++i) g_VukHeap_PFA_LinkBacks.FreeOne(m_ppCells[i]);
        delete[] m_pValues;
        delete[] m_ppCells;
    }
    VUKFastArray_WithLinkBacks(const VUKFastArray_WithLinkBacks&) = delete;
    VUKFastArray_WithLinkBacks& operator=(const VUKFastArray_WithLinkBacks&) = delete;

    // Appends value and hands back its cell, which the caller keeps with the element's owner.
    uint32_t* Append(T value) {
        ++m_uiCount;
        if (m_uiCount >= m_uiCapacity) Grow();
        uint32_t index = m_uiCount - 1;
        m_pValues[index] = value;
        uint32_t* cell = new (g_VukHeap_PFA_LinkBacks.AllocateOne()) uint32_t(index);
        m_ppCells[index] = cell;
        return cell;
    }
    // Removes the element whose cell this is and returns the cell to its pool.
    void Remove(uint32_t* cell) {
        uint32_t index = *cell;
        uint32_t last = m_uiCount - 1;
        m_pValues[index] = m_pValues[last];
        m_ppCells[index] = m_ppCells[last];
        *m_ppCells[index] = index;
        g_VukHeap_PFA_LinkBacks.FreeOne(cell);
        --m_uiCount;
    }
    void Grow() { Resize(m_uiCapacity * 2); }
    // Makes room for n more elements: when fewer are free, both arrays grow by the shortfall.
    void ReserveEnoughFor(uint32_t n) {
        uint32_t free = m_uiCapacity - m_uiCount;
        if (free < n) Resize(m_uiCapacity + (n - free));
    }

    uint32_t Count() const { return m_uiCount; }
    uint32_t Capacity() const { return m_uiCapacity; }
    T& operator[](uint32_t i) { return m_pValues[i]; }
    const T& operator[](uint32_t i) const { return m_pValues[i]; }
    T Get(uint32_t i) const { return m_pValues[i]; }
    T ValueOf(const uint32_t* cell) const { return m_pValues[*cell]; }
    uint32_t* GetCell(uint32_t i) const { return m_ppCells[i]; }

private:
    void Resize(uint32_t capacity) {
        T* values = new T[capacity];
        uint32_t** cells = new uint32_t*[capacity];
        std::memcpy(static_cast<void*>(values), m_pValues, sizeof(T) * m_uiCapacity);
        std::memcpy(cells, m_ppCells, sizeof(uint32_t*) * m_uiCapacity);
        delete[] m_pValues;
        delete[] m_ppCells;
        m_pValues = values;
        m_ppCells = cells;
        m_uiCapacity = capacity;
    }

    uint32_t m_uiCount = 0;
    uint32_t m_uiCapacity;
    T* m_pValues;
    uint32_t** m_ppCells;
};
