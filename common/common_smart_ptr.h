// The library's own reference-counted pointers.
//
// The count is a separately allocated int32 that starts at 1 and changes without atomic
// operations, so a pointer and all of its copies must stay on one thread.
#pragma once

#include "common/common_types.h"

#include <cstddef>
#include <utility>

namespace detail {

// Shared ownership of a pointer and its count; Deleter frees the pointee when the last
// owner lets go.
template <typename T, typename Deleter>
class counted_ptr {
public:
    counted_ptr() : m_ptr(nullptr), m_pCount(new int32(1)) {}
    explicit counted_ptr(T* p) : m_ptr(p), m_pCount(nullptr) {
        try {
            m_pCount = new int32(1);
        } catch (...) {
            Deleter()(p);
            throw;
        }
    }
    counted_ptr(counted_ptr const& other) : m_ptr(other.m_ptr), m_pCount(other.m_pCount) {
        ++*m_pCount;
    }
    counted_ptr& operator=(counted_ptr const& other) {
        counted_ptr copy(other);
        swap(copy);
        return *this;
    }
    ~counted_ptr() { release(); }

    T* get() const { return m_ptr; }
    explicit operator bool() const { return m_ptr != nullptr; }
    // Number of owners sharing the pointee.
    int32 use_count() const { return *m_pCount; }
    bool unique() const { return *m_pCount == 1; }

    void reset(T* p = nullptr) {
        counted_ptr fresh(p);
        swap(fresh);
    }
    void swap(counted_ptr& other) noexcept {
        std::swap(m_ptr, other.m_ptr);
        std::swap(m_pCount, other.m_pCount);
    }

private:
    void release() {
        if (--*m_pCount == 0) {
            Deleter()(m_ptr);
            delete m_pCount;
        }
    }

    T* m_ptr;
    int32* m_pCount;
};

template <typename T>
struct delete_one {
    void operator()(T* p) const { delete p; }
};

template <typename T>
struct delete_array {
    void operator()(T* p) const { delete[] p; }
};

} // namespace detail

// A shared pointer to one object, freed with delete.
template <typename T>
class shared_ptr : public detail::counted_ptr<T, detail::delete_one<T>> {
    using base = detail::counted_ptr<T, detail::delete_one<T>>;

public:
    shared_ptr() = default;
    explicit shared_ptr(T* p) : base(p) {}

    T& operator*() const { return *this->get(); }
    T* operator->() const { return this->get(); }
};

// A shared pointer to an array, freed with delete[].
template <typename T>
class shared_array : public detail::counted_ptr<T, detail::delete_array<T>> {
    using base = detail::counted_ptr<T, detail::delete_array<T>>;

public:
    shared_array() = default;
    explicit shared_array(T* p) : base(p) {}

    T& operator[](std::ptrdiff_t i) const { return this->get()[i]; }
};
