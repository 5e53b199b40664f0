// An ordered list of heap objects that owns them: destroying the list deletes every element.
// Copying is not allowed (two owners would delete twice); moving is.
//
// The queue is allocated on the first Append: most lists of the world (an entity's referring
// players, its attribute list) stay empty, and an empty list then costs two pointers.
#pragma once
#include <cstddef>
#include <deque>
#include <memory>
#include <string>

template <typename T> class PointerStringList {
public:
    PointerStringList() = default;
    PointerStringList(const PointerStringList&) = delete;
    PointerStringList& operator=(const PointerStringList&) = delete;
    PointerStringList(PointerStringList&& other) noexcept : m_pItems(std::move(other.m_pItems)) {}
    PointerStringList& operator=(PointerStringList&& other) noexcept {
        if (this != &other) {
            DeleteAll();
            m_pItems = std::move(other.m_pItems);
        }
        return *this;
    }
    virtual ~PointerStringList() { DeleteAll(); }

    size_t Length() const { return m_pItems ? m_pItems->size() : 0; }
    bool Empty() const { return Length() == 0; }
    T* operator[](size_t i) const { return (*m_pItems)[i]; }
    T* Front() const { return m_pItems->front(); }

    void Append(T* item) {
        if (!m_pItems) m_pItems = std::make_unique<std::deque<T*>>();
        m_pItems->push_back(item);
    }
    // Takes an element out without deleting it; ownership passes to the caller.
    T* RemoveAt(size_t i) {
        T* item = (*m_pItems)[i];
        m_pItems->erase(m_pItems->begin() + std::ptrdiff_t(i));
        return item;
    }
    T* RemoveFront() {
        T* item = m_pItems->front();
        m_pItems->pop_front();
        return item;
    }
    // Takes out the first element equal to item without deleting it; false when absent.
    bool RemoveItem(const T* item) {
        for (size_t i = 0; i < Length(); ++i) {
            if ((*m_pItems)[i] == item) {
                RemoveAt(i);
                return true;
            }
        }
        return false;
    }
    void DeleteAt(size_t i) { delete RemoveAt(i); }
    // For compacting in place: overwrite a place, then forget the elements from n on (neither
    // deletes anything).
    void Set(size_t i, T* item) { (*m_pItems)[i] = item; }
    void Truncate(size_t n) {
        if (n < Length()) m_pItems->resize(n);
    }
    // Forgets every element without deleting any.
    void ReleaseAll() { m_pItems.reset(); }
    void DeleteAll() {
        if (!m_pItems) return;
        for (T* item : *m_pItems) delete item;
        m_pItems.reset();
    }

    auto begin() const { return Items().begin(); }
    auto end() const { return Items().end(); }

private:
    const std::deque<T*>& Items() const {
        static const std::deque<T*> kNone;
        return m_pItems ? *m_pItems : kNone;
    }

    std::unique_ptr<std::deque<T*>> m_pItems;
};

// An owning list of strings.
class ArrayOfStrings : public PointerStringList<std::string> {
public:
    ~ArrayOfStrings() override = default;
};
