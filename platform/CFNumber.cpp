// This file provides CFNumber. A number keeps either a 64-bit integer or a double, and
// converts on the way out, reporting whether the conversion kept the value exactly.
#include "platform/cf_types.h"

#include <cmath>
#include <cstring>
#include <limits>

using velmora::cf::as;

namespace {

enum class Kind { Int8, Int16, Int32, Int64, Float32, Float64, Unknown };

Kind kindOf(CFNumberType type) {
    switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
        return Kind::Int8;
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
        return Kind::Int16;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return Kind::Int32;
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
        return Kind::Int64;
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
        return Kind::Float32;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
        return Kind::Float64;
    default:
        return Kind::Unknown;
    }
}

template <typename T>
T load(void const* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

template <typename T>
void store(void* p, T v) {
    std::memcpy(p, &v, sizeof v);
}

// Writes an integer narrowed to T; true when it fits.
template <typename T>
bool storeInteger(void* p, std::int64_t v) {
    store(p, static_cast<T>(v));
    return v >= std::numeric_limits<T>::min() && v <= std::numeric_limits<T>::max();
}

// The integer part of a real, saturated; exact when the real was a whole number in range.
std::int64_t truncateReal(double v, bool& exact) {
    if (std::isnan(v)) {
        exact = false;
        return 0;
    }
    if (v >= 9223372036854775808.0 || v < -9223372036854775808.0) {
        exact = false;
        return v < 0 ? std::numeric_limits<std::int64_t>::min()
                     : std::numeric_limits<std::int64_t>::max();
    }
    auto const i = static_cast<std::int64_t>(v);
    exact = static_cast<double>(i) == v;
    return i;
}

} // namespace

bool __CFNumber::Equals(CFObject const& other) const {
    auto const& o = static_cast<__CFNumber const&>(other);
    if (!isFloat && !o.isFloat)
        return integer == o.integer;
    double const a = isFloat ? real : static_cast<double>(integer);
    double const b = o.isFloat ? o.real : static_cast<double>(o.integer);
    return a == b;
}

CFHashCode __CFNumber::Hash() const {
    return isFloat ? static_cast<CFHashCode>(real) : static_cast<CFHashCode>(integer);
}

CFTypeID CFNumberGetTypeID(void) {
    return __CFNumber::kTypeID;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void* valuePtr) {
    if (valuePtr == nullptr)
        return nullptr;
    auto* n = new __CFNumber;
    switch (kindOf(theType)) {
    case Kind::Int8:
        n->integer = load<std::int8_t>(valuePtr);
        break;
    case Kind::Int16:
        n->integer = load<std::int16_t>(valuePtr);
        break;
    case Kind::Int32:
        n->integer = load<std::int32_t>(valuePtr);
        break;
    case Kind::Int64:
        n->integer = load<std::int64_t>(valuePtr);
        break;
    case Kind::Float32:
        n->isFloat = true;
        n->real = load<float>(valuePtr);
        break;
    case Kind::Float64:
        n->isFloat = true;
        n->real = load<double>(valuePtr);
        break;
    case Kind::Unknown:
        delete n;
        return nullptr;
    }
    return n;
}

CFNumberType CFNumberGetType(CFNumberRef number) {
    auto const* n = as<__CFNumber>(number);
    return n != nullptr && n->isFloat ? kCFNumberFloat64Type : kCFNumberSInt64Type;
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
    auto const* n = as<__CFNumber>(number);
    return n != nullptr && n->isFloat;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr) {
    auto const* n = as<__CFNumber>(number);
    Kind const kind = kindOf(theType);
    if (n == nullptr || valuePtr == nullptr || kind == Kind::Unknown)
        return false;
    if (kind == Kind::Float32 || kind == Kind::Float64) {
        double const v = n->isFloat ? n->real : static_cast<double>(n->integer);
        bool exact = n->isFloat || static_cast<std::int64_t>(v) == n->integer;
        if (kind == Kind::Float64) {
            store(valuePtr, v);
            return exact;
        }
        auto const f = static_cast<float>(v);
        store(valuePtr, f);
        return exact && (std::isnan(v) || static_cast<double>(f) == v);
    }
    bool exact = true;
    std::int64_t const v = n->isFloat ? truncateReal(n->real, exact) : n->integer;
    bool fits = false;
    switch (kind) {
    case Kind::Int8:
        fits = storeInteger<std::int8_t>(valuePtr, v);
        break;
    case Kind::Int16:
        fits = storeInteger<std::int16_t>(valuePtr, v);
        break;
    case Kind::Int32:
        fits = storeInteger<std::int32_t>(valuePtr, v);
        break;
    default:
        fits = storeInteger<std::int64_t>(valuePtr, v);
        break;
    }
    return exact && fits;
}
