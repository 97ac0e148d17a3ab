/// \file
/// The library's own reference-counted pointers.
///
/// The count is a separately allocated int32 that starts at 1 and changes without atomic
/// operations, so a pointer and all of its copies must stay on one thread.
#pragma once

#include "common/common_types.h"

#include <cstddef>
#include <utility>

/// Implementation details of the smart pointers; not for direct use.
namespace detail {

/// Shared ownership of a pointer and its count; Deleter frees the pointee when the last
/// owner lets go.
///
///     shared_ptr<int> a(new int(7));   // a.use_count() is 1
///     shared_ptr<int> b(a);            // both are 2; *b is 7
///     a.reset();                       // a is null, b.use_count() is 1
template <typename T, typename Deleter>
class counted_ptr {
public:
    /// Null, with a count of its own (1): even a null pointer allocates its count.
    counted_ptr() : m_ptr(nullptr), m_pCount(new int32(1)) {}
    /// Owns p (null is allowed). When the count cannot be allocated, p is freed with Deleter
    /// and the allocation failure propagates.
    explicit counted_ptr(T* p) : m_ptr(p), m_pCount(nullptr) {
        try {
            m_pCount = new int32(1);
        } catch (...) {
            Deleter()(p);
            throw;
        }
    }
    /// Shares other's pointee and count, adding one owner.
    counted_ptr(counted_ptr const& other) : m_ptr(other.m_ptr), m_pCount(other.m_pCount) {
        ++*m_pCount;
    }
    /// Shares other's pointee, letting go of the current one (safe for self-assignment).
    counted_ptr& operator=(counted_ptr const& other) {
        counted_ptr copy(other);
        swap(copy);
        return *this;
    }
    /// Lets go: the last owner frees the pointee with Deleter, null or not, and the count.
    ~counted_ptr() { release(); }

    /// The pointee, or null.
    T* get() const { return m_ptr; }
    /// True when the pointee is not null.
    explicit operator bool() const { return m_ptr != nullptr; }
    /// Number of owners sharing the pointee: 2 after one copy.
    int32 use_count() const { return *m_pCount; }
    /// True when this is the only owner.
    bool unique() const { return *m_pCount == 1; }

    /// Lets go of the pointee and owns p instead, with a new count of 1; other owners keep
    /// the old pointee.
    void reset(T* p = nullptr) {
        counted_ptr fresh(p);
        swap(fresh);
    }
    /// Exchanges pointees and counts with other.
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

/// Frees one object with delete.
template <typename T>
struct delete_one {
    /// `delete p`.
    void operator()(T* p) const { delete p; }
};

/// Frees an array with delete[].
template <typename T>
struct delete_array {
    /// `delete[] p`.
    void operator()(T* p) const { delete[] p; }
};

} // namespace detail

/// A shared pointer to one object, freed with delete; see detail::counted_ptr for sharing.
///
///     shared_ptr<String> p(new String("abc"));
///     p->GetLength()   // 3
template <typename T>
class shared_ptr : public detail::counted_ptr<T, detail::delete_one<T>> {
    using base = detail::counted_ptr<T, detail::delete_one<T>>;

public:
    /// Null.
    shared_ptr() = default;
    /// Owns p.
    explicit shared_ptr(T* p) : base(p) {}

    /// The pointee; must not be null.
    T& operator*() const { return *this->get(); }
    /// The pointee's members; must not be null.
    T* operator->() const { return this->get(); }
};

/// A shared pointer to an array, freed with delete[]; see detail::counted_ptr for sharing.
///
///     shared_array<char> a(new char[4]);
///     a[0] = 'x';
template <typename T>
class shared_array : public detail::counted_ptr<T, detail::delete_array<T>> {
    using base = detail::counted_ptr<T, detail::delete_array<T>>;

public:
    /// Null.
    shared_array() = default;
    /// Owns the array p.
    explicit shared_array(T* p) : base(p) {}

    /// Element i, unchecked.
    T& operator[](std::ptrdiff_t i) const { return this->get()[i]; }
};
