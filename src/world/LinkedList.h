// A doubly linked list with pooled links for the rules' deferred lists. New elements go to the
// head, so walking from head to tail visits the newest first. A link is destroyed when its
// reference count reaches 0.
#pragma once
#include <cstddef>
#include <cstdint>

#include "world/VUKHeap.h"

template <typename T> class Link {
public:
    Link() = default;
    virtual ~Link() = default;
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    static void* operator new(std::size_t size);
    static void operator delete(void* p) { g_VukHeap_Links.FreeOne(p); }

    Link* m_pPrevious = nullptr; // toward the head
    Link* m_pNext = nullptr;     // toward the tail
    T m_Value{};
    uint32_t m_uiReferenceCount = 1;
};

// Every Link<T> the world uses has the size of Link<void*>: the pool's element size.
inline constexpr std::size_t kLinkElementSize = sizeof(Link<void*>);

template <typename T> void* Link<T>::operator new(std::size_t size) {
    static_assert(sizeof(Link<T>) <= kLinkElementSize, "Link<T> must fit the links pool");
    (void)size;
    return g_VukHeap_Links.AllocateOne();
}

template <typename T> class LinkedList {
public:
    LinkedList() = default;
    virtual ~LinkedList() { RemoveAll(); }
    LinkedList(const LinkedList&) = delete;
    LinkedList& operator=(const LinkedList&) = delete;

    Link<T>* Add(T value) {
        Link<T>* link = new Link<T>();
        link->m_pNext = m_pHead;
        if (m_pHead) m_pHead->m_pPrevious = link;
        link->m_Value = value;
        m_pHead = link;
        if (!m_pTail) m_pTail = link;
        return link;
    }
    void Remove(Link<T>* link) {
        if (link->m_pPrevious)
            link->m_pPrevious->m_pNext = link->m_pNext;
        else
            m_pHead = link->m_pNext;
        if (link->m_pNext)
            link->m_pNext->m_pPrevious = link->m_pPrevious;
        else
            m_pTail = link->m_pPrevious;
        link->m_pPrevious = link->m_pNext = nullptr;
        if (--link->m_uiReferenceCount == 0) delete link;
    }
    // Removes the link of the first (newest) occurrence of value; false when absent.
    bool RemoveValue(T value) {
        for (Link<T>* link = m_pHead; link; link = link->m_pNext) {
            if (link->m_Value == value) {
                Remove(link);
                return true;
            }
        }
        return false;
    }
    bool Contains(T value) const {
        for (Link<T>* link = m_pHead; link; link = link->m_pNext)
            if (link->m_Value == value) return true;
        return false;
    }
    void RemoveAll() {
        while (m_pHead) Remove(m_pHead);
    }

    Link<T>* Head() const { return m_pHead; }
    Link<T>* Tail() const { return m_pTail; }
    bool Empty() const { return m_pHead == nullptr; }
    uint32_t Length() const {
        uint32_t n = 0;
        for (Link<T>* link = m_pHead; link; link = link->m_pNext) ++n;
        return n;
    }

private:
    Link<T>* m_pHead = nullptr;
    Link<T>* m_pTail = nullptr;
};
