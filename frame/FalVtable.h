// Reading virtual slots out of pointers to member functions (Itanium C++ ABI and its ARM
// variant), so that tools can tell which operations a family class overrides and tests can check
// the slot order of the interfaces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace falabi {

struct MemberFnRep {
    uintptr_t ptr;
    ptrdiff_t adj;
};

// vtable index of a virtual member function, or -1 for a non-virtual one.
template <typename C, typename F>
long virtualSlot(F C::*pmf)
{
    static_assert(sizeof(pmf) == sizeof(MemberFnRep), "unexpected member function pointer layout");
    MemberFnRep rep;
    memcpy(&rep, &pmf, sizeof rep);
#if defined(__arm__) || defined(__aarch64__)
    if (!(rep.adj & 1))
        return -1;
    return static_cast<long>(rep.ptr / sizeof(void*));
#else
    if (!(rep.ptr & 1))
        return -1;
    return static_cast<long>((rep.ptr - 1) / sizeof(void*));
#endif
}

// The function that a virtual call through pmf on obj reaches.
template <typename C, typename F>
const void* virtualTarget(const C* obj, F C::*pmf)
{
    long slot = virtualSlot(pmf);
    if (slot < 0)
        return nullptr;
    const void* const* vtable = *reinterpret_cast<const void* const* const*>(obj);
    return vtable[slot];
}

}  // namespace falabi
