// This file provides CFArray and kCFTypeArrayCallBacks.
#include "platform/cf_types.h"

using velmora::cf::as;

namespace {

const void* retainValue(CFAllocatorRef, const void* value) {
    return CFRetain(value);
}
void releaseValue(CFAllocatorRef, const void* value) {
    CFRelease(value);
}
Boolean equalValues(const void* a, const void* b) {
    return CFEqual(a, b);
}

} // namespace

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, retainValue, releaseValue, nullptr, equalValues};

__CFArray::~__CFArray() {
    if (callBacks.release != nullptr)
        for (void const* v : values)
            callBacks.release(nullptr, v);
}

bool __CFArray::Equals(CFObject const& other) const {
    auto const& o = static_cast<__CFArray const&>(other);
    if (values.size() != o.values.size())
        return false;
    for (std::size_t i = 0; i < values.size(); ++i) {
        bool const same = callBacks.equal != nullptr ? callBacks.equal(values[i], o.values[i])
                                                     : values[i] == o.values[i];
        if (!same)
            return false;
    }
    return true;
}

CFHashCode __CFArray::Hash() const {
    return values.size();
}

CFTypeID CFArrayGetTypeID(void) {
    return __CFArray::kTypeID;
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks) {
    if (numValues < 0 || (values == nullptr && numValues > 0))
        return nullptr;
    auto* a = new __CFArray;
    if (callBacks != nullptr)
        a->callBacks = *callBacks;
    a->values.reserve(static_cast<std::size_t>(numValues));
    for (CFIndex i = 0; i < numValues; ++i)
        a->values.push_back(a->callBacks.retain != nullptr ? a->callBacks.retain(nullptr, values[i])
                                                           : values[i]);
    return a;
}

CFIndex CFArrayGetCount(CFArrayRef theArray) {
    auto const* a = as<__CFArray>(theArray);
    return a != nullptr ? static_cast<CFIndex>(a->values.size()) : 0;
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
    auto const* a = as<__CFArray>(theArray);
    if (a == nullptr || idx < 0 || static_cast<std::size_t>(idx) >= a->values.size())
        return nullptr;
    return a->values[static_cast<std::size_t>(idx)];
}
