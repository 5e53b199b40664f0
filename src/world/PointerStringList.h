// An ordered list of heap objects that owns them: destroying the list deletes every element.
// Copying is not allowed (two owners would delete twice); moving is.
#pragma once
#include <cstddef>
#include <deque>
#include <string>

template <typename T>
class PointerStringList {
public:
    PointerStringList() = default;
    PointerStringList(const PointerStringList&) = delete;
    PointerStringList& operator=(const PointerStringList&) = delete;
    PointerStringList(PointerStringList&& other) noexcept : m_Items(std::move(other.m_Items)) {}
    PointerStringList& operator=(PointerStringList&& other) noexcept {
        if (this != &other) {
            DeleteAll();
            m_Items = std::move(other.m_Items);
        }
        return *this;
    }
    virtual ~PointerStringList() { DeleteAll(); }

    size_t Length() const { return m_Items.size(); }
    bool Empty() const { return m_Items.empty(); }
    T* operator[](size_t i) const { return m_Items[i]; }
    T* Front() const { return m_Items.front(); }

    void Append(T* item) { m_Items.push_back(item); }
    // Takes an element out without deleting it; ownership passes to the caller.
    T* RemoveAt(size_t i) {
        T* item = m_Items[i];
        m_Items.erase(m_Items.begin() + std::ptrdiff_t(i));
        return item;
    }
    T* RemoveFront() {
        T* item = m_Items.front();
        m_Items.pop_front();
        return item;
    }
    void DeleteAt(size_t i) { delete RemoveAt(i); }
    // Forgets every element without deleting any.
    void ReleaseAll() { m_Items.clear(); }
    void DeleteAll() {
        for (T* item : m_Items) delete item;
        m_Items.clear();
    }

    auto begin() const { return m_Items.begin(); }
    auto end() const { return m_Items.end(); }

private:
    std::deque<T*> m_Items;
};

// An owning list of strings.
class ArrayOfStrings : public PointerStringList<std::string> {
public:
    ~ArrayOfStrings() override = default;
};
