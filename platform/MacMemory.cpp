// This file provides NewPtr and DisposePtr over the C heap.
#include <Carbon/MacMemory.h>

#include <cstdlib>

Ptr NewPtr(Size byteCount) {
    if (byteCount < 0)
        return nullptr;
    // calloc gives the zero fill; a zero-byte request still returns a unique block.
    return static_cast<Ptr>(
        std::calloc(byteCount > 0 ? static_cast<std::size_t>(byteCount) : 1, 1));
}

void DisposePtr(Ptr p) {
    std::free(p);
}
