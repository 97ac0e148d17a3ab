/// \file
/// `checked_value<T>`: a value and a flag telling whether it was given.
#pragma once

#include "common/common_types.h"

/// A value and a flag telling whether it was given.
///
/// String operations take it for optional positions and lengths ("unset" means to the end or
/// not given) and return it from searches ("unset" means not found):
///
///     String("abc").Find('c')           // set, 2
///     String("abc").Find('x').IsSet()   // false
///     String("abc").Mid(1)              // the count is unset: "bc"
template <typename T>
class checked_value {
public:
    /// Unset, holding 0: `checked_value<int>().GetValue()` is 0.
    checked_value() : m_value(0), m_bSet(0) {}
    /// Set, holding v. Not explicit, so a plain value passes where one is optional:
    /// ``String("abc").Mid(1, 1)`` is "b".
    checked_value(T v) : m_value(v), m_bSet(1) {}

    /// Whether a value was given.
    bool IsSet() const { return m_bSet == 1; }
    /// The value; 0 when unset.
    T GetValue() const { return m_value; }

private:
    T m_value;
    int32 m_bSet;
};

/// \name Ordering
/// Comparisons of a checked_value with another or with a plain value.
///@{

/// Compares the values alone; the set flag takes no part, so an unset value compares as the 0
/// it holds: `checked_value<int>() >= 0` is true, `checked_value<int>(5) > 4` is true.
template <typename T>
bool operator>(checked_value<T> const& a, checked_value<T> const& b) {
    return a.GetValue() > b.GetValue();
}
template <typename T>
bool operator>(checked_value<T> const& a, T b) {
    return a.GetValue() > b;
}
template <typename T>
bool operator>(T a, checked_value<T> const& b) {
    return a > b.GetValue();
}
template <typename T>
bool operator>=(checked_value<T> const& a, checked_value<T> const& b) {
    return a.GetValue() >= b.GetValue();
}
template <typename T>
bool operator>=(checked_value<T> const& a, T b) {
    return a.GetValue() >= b;
}
template <typename T>
bool operator>=(T a, checked_value<T> const& b) {
    return a >= b.GetValue();
}
///@}
