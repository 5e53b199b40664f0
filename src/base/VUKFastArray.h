// A growable array of plain values. The count is raised first; when the new count reaches the
// capacity the storage doubles, so the array never becomes completely full.
#pragma once
#include <cstdint>
#include <cstring>
#include <type_traits>

template <typename T> class VUKFastArray {
    static_assert(std::is_trivially_copyable_v<T>, "VUKFastArray holds plain values");

public:
    explicit VUKFastArray(uint32_t capacity = 8)
        : m_uiCapacity(capacity ? capacity : 1), m_pData(new T[m_uiCapacity]) {}
    virtual ~VUKFastArray() { delete[] m_pData; }
    VUKFastArray(const VUKFastArray&) = delete;
    VUKFastArray& operator=(const VUKFastArray&) = delete;

    void Append(T value) {
        ++m_uiCount;
        if (m_uiCount >= m_uiCapacity) Grow();
        m_pData[m_uiCount - 1] = value;
    }
    T& operator[](uint32_t i) { return m_pData[i]; }
    const T& operator[](uint32_t i) const { return m_pData[i]; }
    T Get(uint32_t i) const { return m_pData[i]; }
    uint32_t Count() const { return m_uiCount; }
    uint32_t Capacity() const { return m_uiCapacity; }
    // Count := 0; the storage is kept.
    void Clear() { m_uiCount = 0; }
    // Moves the last element into slot i.
    void RemoveAt(uint32_t i) {
        m_pData[i] = m_pData[m_uiCount - 1];
        --m_uiCount;
    }

private:
    void Grow() {
        T* bigger = new T[size_t(m_uiCapacity) * 2];
        std::memcpy(static_cast<void*>(bigger), m_pData, sizeof(T) * m_uiCapacity);
        delete[] m_pData;
        m_pData = bigger;
        m_uiCapacity *= 2;
    }

    uint32_t m_uiCount = 0;
    uint32_t m_uiCapacity;
    T* m_pData;
};

// The link lists of entities (VUKFastArray<PFAE_Info*>) are specialised in
// VUKFastArray_Entity.h to keep 32-bit pool handles; declaring the specialisation here makes a
// use without that header a compile error rather than a second, different layout.
struct PFAE_Info;
template <> class VUKFastArray<PFAE_Info*>;
