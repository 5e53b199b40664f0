// Entity: label cache, rotation record and extended attributes.
#include <algorithm>
#include <memory>
#include <vector>

#include "world/Entity.h"

EntityStringCacheEntry Entity::m_sESCE;

namespace {
bool ByteBefore(const std::pair<uint8_t, EntityStringCacheEntry*>& child, uint8_t key) { return child.first < key; }

// The cached texts, in chunks that never move, so that a 32-bit handle names one. Kept to the end
// of the program, like the tree that finds them.
constexpr uint32_t kLabelChunk = 4096;
std::vector<std::unique_ptr<std::string[]>>& LabelChunks() {
    static auto* chunks = new std::vector<std::unique_ptr<std::string[]>>();
    return *chunks;
}
uint32_t g_uiLabelCount = 0;
} // namespace

EntityStringCacheEntry* EntityStringCacheEntry::FindChild(uint8_t c) const {
    if (!m_pChildren) return nullptr;
    auto it = std::lower_bound(m_pChildren->begin(), m_pChildren->end(), c, ByteBefore);
    return it != m_pChildren->end() && it->first == c ? it->second : nullptr;
}

EntityStringCacheEntry* EntityStringCacheEntry::FindOrAddChild(uint8_t c) {
    if (!m_pChildren) m_pChildren = new std::vector<std::pair<uint8_t, EntityStringCacheEntry*>>();
    auto it = std::lower_bound(m_pChildren->begin(), m_pChildren->end(), c, ByteBefore);
    if (it != m_pChildren->end() && it->first == c) return it->second;
    // Nodes live until the program ends, like the strings they hold.
    return m_pChildren->insert(it, {c, new EntityStringCacheEntry()})->second;
}

Entity::~Entity() {
    delete m_pRotation;
    delete m_pEEAList;
}

const std::string* Entity::CacheLabel(std::string_view text) {
    if (text.empty()) return nullptr;
    EntityStringCacheEntry* node = &m_sESCE;
    for (char c : text) node = node->FindOrAddChild(static_cast<uint8_t>(c));
    if (!node->m_pString) {
        auto& chunks = LabelChunks();
        if (g_uiLabelCount % kLabelChunk == 0) chunks.emplace_back(new std::string[kLabelChunk]);
        node->m_pString = &chunks.back()[g_uiLabelCount++ % kLabelChunk];
        node->m_pString->assign(text);
    }
    return node->m_pString;
}

uint32_t Entity::LabelHandle(const std::string* label) {
    if (!label) return 0;
    const auto& chunks = LabelChunks();
    for (size_t i = 0; i < chunks.size(); ++i)
        if (label >= chunks[i].get() && label < chunks[i].get() + kLabelChunk)
            return uint32_t(i * kLabelChunk + size_t(label - chunks[i].get()) + 1);
    return 0;
}

const std::string* Entity::LabelAt(uint32_t handle) {
    return handle ? &LabelChunks()[(handle - 1) / kLabelChunk][(handle - 1) % kLabelChunk] : nullptr;
}

void Entity::SetLabel(std::string_view text) { m_pLabel = CacheLabel(text); }

const std::string& Entity::GetLabel() const {
    static const std::string kNone;
    return m_pLabel ? *m_pLabel : kNone;
}

void Entity::SetRotationComponent(int component, float angle) {
    if (!m_pRotation) m_pRotation = new Rotation();
    m_pRotation->Set(component, angle);
    m_pRotation->RecomputeNonZero();
    TryDeallocRotation();
}

void Entity::SetRotation(float yaw, float pitch, float roll) {
    if (!m_pRotation) m_pRotation = new Rotation();
    m_pRotation->m_fYaw = yaw;
    m_pRotation->m_fPitch = pitch;
    m_pRotation->m_fRoll = roll;
    m_pRotation->RecomputeNonZero();
    TryDeallocRotation();
}

void Entity::ClearRotation() {
    delete m_pRotation;
    m_pRotation = nullptr;
}

void Entity::TryDeallocRotation() {
    if (m_pRotation && !m_pRotation->m_bNonZero) {
        delete m_pRotation;
        m_pRotation = nullptr;
    }
}

void Entity::SetEEA(uint8_t id, uint32_t value) {
    if (value != 0) {
        if (!m_pEEAList) m_pEEAList = new ExtendedEntityAttributeList();
        for (ExtendedEntityAttribute* a : *m_pEEAList) {
            if (a->m_ucId == id) {
                a->m_uiValue = value;
                return;
            }
        }
        m_pEEAList->Append(new ExtendedEntityAttribute{id, value});
        return;
    }
    if (!m_pEEAList) return;
    for (size_t i = 0; i < m_pEEAList->Length(); ++i) {
        if ((*m_pEEAList)[i]->m_ucId == id) {
            m_pEEAList->DeleteAt(i);
            break;
        }
    }
    if (m_pEEAList->Empty()) {
        delete m_pEEAList;
        m_pEEAList = nullptr;
    }
}

uint32_t Entity::GetEEA(uint8_t id) const {
    if (!m_pEEAList) return 0;
    for (const ExtendedEntityAttribute* a : *m_pEEAList)
        if (a->m_ucId == id) return a->m_uiValue;
    return 0;
}
