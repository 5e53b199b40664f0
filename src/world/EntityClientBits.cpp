#include "world/EntityClientBits.h"

#include <algorithm>
#include <cstring>

constinit EntityClientBits g_EntityClientBits;

uint32_t EntityClientBits::AllocateIndex(Server_Entity* e) {
    uint32_t index;
    if (!m_FreeIndices.empty()) {
        index = m_FreeIndices.back();
        m_FreeIndices.pop_back();
    } else {
        index = m_uiIndexLimit++;
        m_Owners.push_back(nullptr);
        size_t need = size_t(m_uiIndexLimit) * m_uiStride;
        if (need > m_Rows.size()) m_Rows.resize(std::max(need, m_Rows.size() * 2));
    }
    std::memset(&m_Rows[size_t(index) * m_uiStride], 0, m_uiStride * sizeof(uint64_t));
    m_Owners[index] = e;
    return index;
}

void EntityClientBits::FreeIndex(uint32_t index) {
    std::memset(&m_Rows[size_t(index) * m_uiStride], 0, m_uiStride * sizeof(uint64_t));
    m_Owners[index] = nullptr;
    m_FreeIndices.push_back(index);
}

void EntityClientBits::EnsureWatchers(uint32_t watchers) {
    uint32_t words = m_uiWords;
    while (words * 64 < watchers) words *= 2;
    if (words == m_uiWords) return;
    const uint32_t stride = StrideFor(words);
    std::vector<uint64_t> rows(std::max<size_t>(size_t(m_uiIndexLimit) * stride, 1));
    for (uint32_t i = 0; i < m_uiIndexLimit; ++i)
        for (uint32_t k = 0; k < kEntityClientBitKinds; ++k)
            std::memcpy(&rows[size_t(i) * stride + k * words], &m_Rows[size_t(i) * m_uiStride + k * m_uiWords],
                        m_uiWords * sizeof(uint64_t));
    m_Rows.swap(rows);
    m_uiWords = words;
    m_uiStride = stride;
}
