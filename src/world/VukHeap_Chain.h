// What both pool kinds do along their chain: a full pool hands allocation on to a second pool of
// the same shape behind it, and a chained pool goes again as soon as it and the pools behind it
// are empty. Pool provides Holds, LiveCount, AllocateHere (null when full), FreeHere, MakeNext,
// NextDropped, TidyHere and FreeStack.
#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "world/WorldFatalError.h"

template <typename Pool> class VukHeapChain {
public:
    Pool* Next() const { return m_pNext.get(); }

    bool IsIn(const void* p) const {
        for (const Pool* pool = Self(); pool; pool = pool->Next())
            if (pool->Holds(p)) return true;
        return false;
    }
    bool CanBeFreed() const {
        for (const Pool* pool = Self(); pool; pool = pool->Next())
            if (pool->LiveCount() != 0) return false;
        return true;
    }
    // Entries of the free stacks over the whole chain.
    uint32_t GetHolesInHeap() const {
        uint32_t holes = 0;
        for (const Pool* pool = Self(); pool; pool = pool->Next()) holes += pool->FreeStack().Count();
        return holes;
    }

    // Uninitialised storage for one element; never fails (a full pool chains another).
    uint8_t* AllocateOne() {
        if (uint8_t* p = Self()->AllocateHere()) return p;
        if (!m_pNext) m_pNext = Self()->MakeNext();
        return m_pNext->AllocateOne();
    }
    // Returns storage whose destructor has already run. p must come from this pool's chain.
    void FreeOne(void* p) {
        if (Self()->Holds(p)) {
            Self()->FreeHere(static_cast<uint8_t*>(p));
            return;
        }
        if (!m_pNext) throw WorldFatalError("VukHeap::FreeOne: pointer from no pool of " + Self()->Name());
        m_pNext->FreeOne(p);
        if (m_pNext->CanBeFreed()) {
            m_pNext.reset();
            Self()->NextDropped();
        }
    }
    // The tidy pass, this pool first, then the chain.
    void L2_OptimizeFreeElementStack() {
        for (Pool* pool = Self(); pool; pool = pool->Next()) pool->TidyHere();
    }

protected:
    VukHeapChain() = default;
    ~VukHeapChain() = default;

    std::unique_ptr<Pool> m_pNext;

private:
    Pool* Self() { return static_cast<Pool*>(this); }
    const Pool* Self() const { return static_cast<const Pool*>(this); }
};
