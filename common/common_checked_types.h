// checked_value<T>: a value and a flag telling whether it was given.
//
// String operations take it for optional positions and lengths ("unset" means to the end or
// not given) and return it from searches ("unset" means not found).
#pragma once

#include "common/common_types.h"

template <typename T>
class checked_value {
public:
    // Unset, holding 0.
    checked_value() : m_value(0), m_bSet(0) {}
    // Set, holding v.
    checked_value(T v) : m_value(v), m_bSet(1) {}

    bool IsSet() const { return m_bSet == 1; }
    T GetValue() const { return m_value; }

private:
    T m_value;
    int32 m_bSet;
};

// The ordering operators compare the values alone; the set flag takes no part.
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
