#include "world/VUKHeap_FileMapped.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "base/LogChat.h"
#include "platform/Files.h"
#include "world/WorldFatalError.h"

namespace {
constexpr const char* kFolder = "temp_VukEntityDatabase";
}

VukHeap_FileMapped::VukHeap_FileMapped(uint32_t elementSize, uint32_t elementCount, const char* baseName, int sequence)
    : m_strBaseName(baseName), m_iSequence(sequence), m_uiElementSize(elementSize), m_uiElementCount(elementCount) {
    platform::MakeDirectory(kFolder);
    char path[512];
    snprintf(path, sizeof path, "%s/%s_%d", kFolder, baseName, sequence);
    m_strFilePath = path;
    unlink(path);
    m_iFile = open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    char text[768];
    if (m_iFile < 0) {
        snprintf(text, sizeof text, "File Mapped Heap Creation Error: Could not create file to map from. (%s)", path);
        vukmem::ReportAndThrow(text);
    }
    m_uiMappedBytes = size_t(elementSize) * elementCount;
    void* view = MAP_FAILED;
    if (m_uiMappedBytes > 0 && ftruncate(m_iFile, off_t(m_uiMappedBytes)) == 0)
        view = mmap(nullptr, m_uiMappedBytes, PROT_READ | PROT_WRITE, MAP_SHARED, m_iFile, 0);
    // The name goes at once, so the file vanishes with the mapping whatever ends the process.
    unlink(path);
    if (view == MAP_FAILED) {
        close(m_iFile);
        snprintf(text, sizeof text, "File Mapped Heap Creation Error: MapViewOfFile() didn't work for %s..", baseName);
        vukmem::ReportAndThrow(text);
    }
    m_pView = static_cast<uint8_t*>(view);
    vukmem::RegisterRoot(m_pView, m_uiMappedBytes);
    m_pTop = m_pView;
    m_pEnd = m_pView + m_uiMappedBytes;
    try {
        m_pFreeStack = std::make_unique<VukHeap_FreeElementStack>(elementSize, elementCount);
    } catch (...) {
        vukmem::UnregisterRoot(m_pView, m_uiMappedBytes);
        vukmem::Release(m_pView, m_uiMappedBytes);
        close(m_iFile);
        throw;
    }
}

VukHeap_FileMapped::~VukHeap_FileMapped() noexcept(false) {
    delete m_pNext.release();
    char text[768];
    snprintf(text, sizeof text, "DEBUG INFO: Deleted a file mapped heap for %s objects", m_strBaseName.c_str());
    LogChat("VukHeap", text);
    if (m_uiLiveCount != 0) {
        snprintf(text, sizeof text, "File Mapped Heap Deletion Error: Objects Left Over in %s..",
                 m_strBaseName.c_str());
        vukmem::ReportAndThrow(text);
    }
    vukmem::UnregisterRoot(m_pView, m_uiMappedBytes);
    vukmem::Release(m_pView, m_uiMappedBytes);
    close(m_iFile);
}

uint8_t* VukHeap_FileMapped::AllocateHere() {
    uint8_t* p;
    if (!m_pFreeStack->Pop(&p)) {
        if (m_pTop >= m_pEnd) return nullptr;
        p = m_pTop;
        m_pTop += m_uiElementSize;
    }
    // A slot below the top may have been freed (and poisoned) when the top sank over it.
    vukmem::UnpoisonSlot(p, m_uiElementSize);
    ++m_uiLiveCount;
    return p;
}

std::unique_ptr<VukHeap_FileMapped> VukHeap_FileMapped::MakeNext() {
    auto next =
        std::make_unique<VukHeap_FileMapped>(m_uiElementSize, m_uiElementCount, m_strBaseName.c_str(), m_iSequence + 1);
    char text[768];
    snprintf(text, sizeof text, "DEBUG INFO: Additional file mapped heap created for %s objects.",
             next->m_strFilePath.c_str());
    LogChat("VukHeap", text);
    return next;
}

void VukHeap_FileMapped::FreeHere(uint8_t* p) {
    if (p == m_pTop - m_uiElementSize)
        m_pTop = p;
    else
        m_pFreeStack->Push(p);
    --m_uiLiveCount;
    vukmem::PoisonSlot(p, m_uiElementSize);
}
