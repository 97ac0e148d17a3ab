// The object model behind every CoreFoundation reference of the Linux layer.
//
// Each opaque CF struct (__CFString, __CFNumber, ...) derives from CFObject, which is its only
// base, so a CFTypeRef points at the CFObject itself. Counts are atomic, as on the Mac.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <atomic>

namespace velmora::cf {

enum TypeID : CFTypeID {
    kStringTypeID = 7,
    kNumberTypeID = 22,
    kDataTypeID = 20,
    kArrayTypeID = 19,
    kUUIDTypeID = 34,
};

class CFObject {
public:
    explicit CFObject(CFTypeID type) : m_type(type) {}
    CFObject(CFObject const&) = delete;
    CFObject& operator=(CFObject const&) = delete;
    virtual ~CFObject() = default;

    CFTypeID Type() const { return m_type; }
    // Same type and same contents; called only with objects of this object's type.
    virtual bool Equals(CFObject const& other) const = 0;
    virtual CFHashCode Hash() const = 0;

    void Retain() const;
    // The last release deletes the object.
    void Release() const;
    CFIndex RetainCount() const;
    // Constant objects live for the whole process: retain and release leave them alone.
    void MakeImmortal() { m_immortal = true; }

private:
    CFTypeID m_type;
    bool m_immortal = false;
    mutable std::atomic<CFIndex> m_count{1};
};

inline CFObject const* toObject(CFTypeRef cf) {
    return static_cast<CFObject const*>(cf);
}

// The object behind cf when it is of type T, else null (a wrong or null reference is
// answered softly rather than crashing the host).
template <typename T>
T const* as(CFTypeRef cf) {
    if (cf == nullptr || toObject(cf)->Type() != T::kTypeID)
        return nullptr;
    return static_cast<T const*>(toObject(cf));
}

} // namespace velmora::cf
