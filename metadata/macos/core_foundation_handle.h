#ifndef CORE_FOUNDATION_HANDLE_H
#define CORE_FOUNDATION_HANDLE_H

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

// Releases one CoreFoundation object that a Create or Copy call handed over.
struct CFReleaser
{
    void operator()(CFTypeRef ref) const { CFRelease(ref); }
};

// Owns one CoreFoundation object and releases it exactly once; an empty
// handle releases nothing.
template <typename Ref>
using CFHandle = std::unique_ptr<std::remove_pointer_t<Ref>, CFReleaser>;

#endif // CORE_FOUNDATION_HANDLE_H
