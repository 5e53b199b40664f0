// A pool with the interface of VukHeap whose storage is a temporary file mapped into memory.
// The file "temp_VukEntityDatabase/<name>_<sequence>" is created anew and unlinked as soon as it
// is mapped, so it disappears with the mapping. No page bookkeeping: the whole file is mapped at
// once. No global pool uses it; it exists so that a pool can be switched to file backing.
#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "world/VukHeap_Chain.h"
#include "world/VukHeap_FreeElementStack.h"

class VukHeap_FileMapped : public VukHeapChain<VukHeap_FileMapped> {
public:
    // Errors ("File Mapped Heap Creation Error: ...") are printed, logged under "VukHeap" and
    // raised as a WorldFatalError.
    VukHeap_FileMapped(uint32_t elementSize, uint32_t elementCount, const char* baseName, int sequence = 0);
    virtual ~VukHeap_FileMapped() noexcept(false);
    VukHeap_FileMapped(const VukHeap_FileMapped&) = delete;
    VukHeap_FileMapped& operator=(const VukHeap_FileMapped&) = delete;

    // Allocation, freeing, the tidy pass and the chain queries come from VukHeapChain.

    const std::string& BaseName() const { return m_strBaseName; }
    const std::string& Name() const { return m_strBaseName; }
    const std::string& FilePath() const { return m_strFilePath; }
    int Sequence() const { return m_iSequence; }
    uint8_t* Base() const { return m_pView; }
    uint8_t* Top() const { return m_pTop; }
    uint32_t LiveCount() const { return m_uiLiveCount; }
    VukHeap_FreeElementStack& FreeStack() const { return *m_pFreeStack; }

private:
    friend class VukHeapChain<VukHeap_FileMapped>;
    bool Holds(const void* p) const { return p >= m_pView && p < m_pEnd; }
    uint8_t* AllocateHere();
    void FreeHere(uint8_t* p);
    std::unique_ptr<VukHeap_FileMapped> MakeNext();
    void NextDropped() {}
    void TidyHere() { m_pTop = m_pFreeStack->AbsorbIntoTopAndSort(m_pTop, m_pView); }

    int m_iFile = -1;
    uint8_t* m_pView = nullptr;
    std::string m_strBaseName;
    std::string m_strFilePath;
    int m_iSequence = 0;
    uint32_t m_uiElementSize = 0;
    uint32_t m_uiElementCount = 0;
    std::unique_ptr<VukHeap_FreeElementStack> m_pFreeStack;
    uint8_t* m_pTop = nullptr;
    uint8_t* m_pEnd = nullptr;
    uint32_t m_uiLiveCount = 0;
    size_t m_uiMappedBytes = 0;
};
