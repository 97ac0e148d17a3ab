// This file provides CFRetain, CFRelease, CFGetRetainCount, CFEqual, CFHash and CFGetTypeID
// over the object model of cf_object.h.
#include "platform/cf_object.h"

#include <limits>

namespace velmora::cf {

void CFObject::Retain() const {
    if (!m_immortal)
        m_count.fetch_add(1, std::memory_order_relaxed);
}

void CFObject::Release() const {
    if (m_immortal)
        return;
    if (m_count.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

CFIndex CFObject::RetainCount() const {
    return m_immortal ? std::numeric_limits<CFIndex>::max()
                      : m_count.load(std::memory_order_relaxed);
}

} // namespace velmora::cf

using velmora::cf::toObject;

CFTypeRef CFRetain(CFTypeRef cf) {
    if (cf != nullptr)
        toObject(cf)->Retain();
    return cf;
}

void CFRelease(CFTypeRef cf) {
    if (cf != nullptr)
        toObject(cf)->Release();
}

CFIndex CFGetRetainCount(CFTypeRef cf) {
    return cf == nullptr ? 0 : toObject(cf)->RetainCount();
}

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
    if (cf1 == cf2)
        return true;
    if (cf1 == nullptr || cf2 == nullptr)
        return false;
    auto const* a = toObject(cf1);
    auto const* b = toObject(cf2);
    return a->Type() == b->Type() && a->Equals(*b);
}

CFHashCode CFHash(CFTypeRef cf) {
    return cf == nullptr ? 0 : toObject(cf)->Hash();
}

CFTypeID CFGetTypeID(CFTypeRef cf) {
    return cf == nullptr ? 0 : toObject(cf)->Type();
}
