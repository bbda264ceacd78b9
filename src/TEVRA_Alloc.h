// Routes C++ containers and buffers through tevra_malloc/tevra_free, and
// keeps C++ exceptions inside the library.
#ifndef TEVRA_ALLOC_H
#define TEVRA_ALLOC_H

#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "TEVRA_Util.h"

namespace tevra {

// Standard allocator whose blocks are attributed to the module named File in
// the debug allocator's report. Throws std::bad_alloc when the hook fails.
template <class T, const char *File> struct Allocator {
    using value_type = T;
    template <class U> struct rebind { using other = Allocator<U, File>; };

    Allocator() noexcept = default;
    template <class U> Allocator(const Allocator<U, File> &) noexcept {}

    T *allocate(std::size_t n) {
        if (n > static_cast<std::size_t>(std::numeric_limits<long>::max()) / sizeof(T))
            throw std::bad_alloc();
        void *p = tevra_malloc(static_cast<long>(n * sizeof(T)), File, 0);
        if (p == nullptr)
            throw std::bad_alloc();
        return static_cast<T *>(p);
    }
    void deallocate(T *p, std::size_t) noexcept { tevra_free(p); }

    template <class U> bool operator==(const Allocator<U, File> &) const noexcept { return true; }
};

template <class T, const char *File> using Vector = std::vector<T, Allocator<T, File>>;
template <const char *File>
using String = std::basic_string<char, std::char_traits<char>, Allocator<char, File>>;

// Releases memory obtained from tevra_malloc.
struct FreeDeleter {
    void operator()(void *p) const noexcept { tevra_free(p); }
};

// A tevra_malloc'ed buffer; release() hands it to the caller.
template <class T> using Owned = std::unique_ptr<T, FreeDeleter>;

// Allocates an uninitialised buffer of n trivially constructible elements;
// the holder is empty when the allocation fails or n is out of range.
template <class T> Owned<T> alloc_buffer(long n, const char *file, int line) noexcept {
    if (n < 0 || static_cast<unsigned long>(n) > std::numeric_limits<long>::max() / sizeof(T))
        return Owned<T>();
    return Owned<T>(static_cast<T *>(tevra_malloc(n * static_cast<long>(sizeof(T)), file, line)));
}

// Runs body and turns any exception into the failure result, so that no
// exception crosses the C interface.
template <class R, class F> R guarded(R failure, F &&body) noexcept {
    try {
        return body();
    } catch (...) {
        return failure;
    }
}

} // namespace tevra

#endif
