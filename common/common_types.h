/// \file
/// Fixed-width integer names and the noncopyable marker shared by the whole library.
#pragma once

#include <cstdint>

typedef std::int8_t int8;     ///< Signed 8 bits.
typedef std::uint8_t uint8;   ///< Unsigned 8 bits.
typedef std::int16_t int16;   ///< Signed 16 bits.
typedef std::uint16_t uint16; ///< Unsigned 16 bits.
typedef std::int32_t int32;   ///< Signed 32 bits.
typedef std::uint32_t uint32; ///< Unsigned 32 bits.
typedef std::int64_t int64;   ///< Signed 64 bits: `long` on 64-bit Linux, else `long long`.
typedef std::uint64_t uint64; ///< Unsigned 64 bits: `unsigned long` on 64-bit Linux, else
                              ///< `unsigned long long`.

/// Derive from this to forbid copying and assignment (streams, files, preference stores).
///
///     class Store : public noncopyable { ... };
///     Store a;
///     Store b(a); // does not compile
class noncopyable {
protected:
    /// Only a derived class can be made.
    noncopyable() = default;
    /// Not virtual: nothing is deleted through a noncopyable pointer.
    ~noncopyable() = default;

public:
    /// Deleted: a noncopyable cannot be copied.
    noncopyable(noncopyable const&) = delete;
    /// Deleted: a noncopyable cannot be assigned.
    noncopyable& operator=(noncopyable const&) = delete;
};
