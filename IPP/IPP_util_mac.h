/// \file
/// IPP: block operations on arrays of samples and bytes.
///
/// Every operation takes the element count first, then the source (if any), then the
/// destination. A count of 0 does nothing and touches no memory, so null pointers are fine
/// then: `Copy(0, nullptr, nullptr)` is harmless.
#pragma once

#include <cstring>

/// Block operations on arrays of samples and bytes: copy, move, clear, fill and convert.
namespace IPP {

/// \name Copy
///@{

/// Copies n elements from src to dst; the blocks must not overlap (use Move when they may).
/// `Copy(3, "abc", buf)` leaves buf holding 'a', 'b', 'c'.
inline void Copy(unsigned int n, unsigned char const* src, unsigned char* dst) {
    if (n != 0)
        std::memcpy(dst, src, n * sizeof *dst);
}
inline void Copy(unsigned int n, char const* src, char* dst) {
    if (n != 0)
        std::memcpy(dst, src, n * sizeof *dst);
}
inline void Copy(unsigned int n, short const* src, short* dst) {
    if (n != 0)
        std::memcpy(dst, src, n * sizeof *dst);
}
inline void Copy(unsigned int n, int const* src, int* dst) {
    if (n != 0)
        std::memcpy(dst, src, n * sizeof *dst);
}
inline void Copy(unsigned int n, unsigned int const* src, unsigned int* dst) {
    if (n != 0)
        std::memcpy(dst, src, n * sizeof *dst);
}
inline void Copy(unsigned int n, float const* src, float* dst) {
    if (n != 0)
        std::memcpy(dst, src, n * sizeof *dst);
}
inline void Copy(unsigned int n, double const* src, double* dst) {
    if (n != 0)
        std::memcpy(dst, src, n * sizeof *dst);
}
///@}

/// \name Move
///@{

/// Copies n elements from src to dst as if through a temporary, so the blocks may overlap:
/// moving {1, 2, 3, 4} by one place to the right (`Move(3, a, a + 1)`) gives {1, 1, 2, 3}.
inline void Move(unsigned int n, unsigned char const* src, unsigned char* dst) {
    if (n != 0)
        std::memmove(dst, src, n * sizeof *dst);
}
inline void Move(unsigned int n, short const* src, short* dst) {
    if (n != 0)
        std::memmove(dst, src, n * sizeof *dst);
}
inline void Move(unsigned int n, float const* src, float* dst) {
    if (n != 0)
        std::memmove(dst, src, n * sizeof *dst);
}
inline void Move(unsigned int n, double const* src, double* dst) {
    if (n != 0)
        std::memmove(dst, src, n * sizeof *dst);
}
///@}

/// \name Zero
///@{

/// Clears n elements to all-zero bits: a float block reads 0.0f (+0.0) afterwards.
inline void Zero(unsigned int n, unsigned char* dst) {
    if (n != 0)
        std::memset(dst, 0, n * sizeof *dst);
}
inline void Zero(unsigned int n, short* dst) {
    if (n != 0)
        std::memset(dst, 0, n * sizeof *dst);
}
inline void Zero(unsigned int n, int* dst) {
    if (n != 0)
        std::memset(dst, 0, n * sizeof *dst);
}
inline void Zero(unsigned int n, unsigned int* dst) {
    if (n != 0)
        std::memset(dst, 0, n * sizeof *dst);
}
inline void Zero(unsigned int n, float* dst) {
    if (n != 0)
        std::memset(dst, 0, n * sizeof *dst);
}
inline void Zero(unsigned int n, double* dst) {
    if (n != 0)
        std::memset(dst, 0, n * sizeof *dst);
}
///@}

/// \name Set
///@{

/// Writes value into n elements. A value that compares equal to zero clears the block to
/// all-zero bits instead, so `Set(n, dst, -0.0f)` stores +0.0f; any other value, NaN
/// included, is stored as it is: `Set(2, dst, 1.5f)` gives {1.5f, 1.5f}.
void Set(unsigned int n, unsigned char* dst, unsigned char value);
void Set(unsigned int n, short* dst, short value);
void Set(unsigned int n, int* dst, int value);
void Set(unsigned int n, unsigned int* dst, unsigned int value);
void Set(unsigned int n, float* dst, float value);
void Set(unsigned int n, double* dst, double value);
///@}

/// \name Convert
/// Scale factors come from a 32-bit shift of the integer 1 whose count is taken modulo 64:
/// counts 0 to 30 give 2^count, 31 gives the most negative 32-bit integer (-2^31) and 32 to 63
/// give 0. The factor is that integer as a single-precision value.
///@{

/// `dst[i] = src[i] * (1.0f / float(1 << scaleBits))`, in single precision. With scaleBits 15
/// the 16-bit range maps onto [-1, 1): -32768 gives -1.0f, 16384 gives 0.5f. ScaleBits 31
/// scales by -2^-31, 32 to 63 by +infinity (0 becoming NaN), 64 by 1. A negative count is
/// taken modulo 64 too: -1 to -32 scale by +infinity, -33 by -2^-31, -64 by 1.
void Convert(unsigned int n, short const* src, float* dst, int scaleBits);

/// `v = src[i] * float(1 << -scaleBits)` (pass a negative scaleBits: -15 for the full 16-bit
/// range), plus 0.5f when rounding; v is truncated toward zero (saturating, NaN giving the
/// most negative value) and clipped to [-32768, 32767]. So with -15 and rounding: 1.0f gives
/// 32767, -1.0f gives -32767, 0.00002f gives 1 (0 without rounding); a scaled -2.5 gives -2
/// and 2.5 gives 3. Any scaleBits from 1 to 32 scales by 0.
void Convert(unsigned int n, float const* src, short* dst, int scaleBits, bool rounding);

/// Exact widening: every float, infinities and NaN included, has its double.
void Convert(unsigned int n, float const* src, double* dst);

/// Rounding to the nearest float: 0.1 gives 0.1f, 1e300 gives +infinity.
void Convert(unsigned int n, double const* src, float* dst);
///@}

/// \name Conversions that do nothing
///@{

/// Declared conversions that deliberately do nothing in this system: the destination is left
/// unchanged whatever the count. Callers must not rely on them.
void Convert(unsigned int n, unsigned char const* src, float* dst);
void Convert(unsigned int n, short const* src, double* dst, int scaleBits);
void Convert(unsigned int n, int const* src, float* dst, int scaleBits);
void Convert(unsigned int n, int const* src, double* dst, int scaleBits);
void Convert(unsigned int n, float const* src, unsigned char* dst, int scaleBits, bool rounding);
void Convert(unsigned int n, float const* src, int* dst, int scaleBits, bool rounding);
void Convert(unsigned int n, double const* src, int* dst, int scaleBits, bool rounding);
///@}

} // namespace IPP
