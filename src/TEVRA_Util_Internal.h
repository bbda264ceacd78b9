// State shared by the default allocator and the debug allocator.
#ifndef TEVRA_UTIL_INTERNAL_H
#define TEVRA_UTIL_INTERNAL_H

#include <atomic>

#include "TEVRA_Util.h"

namespace tevra::detail {

// Current hooks. They are set during a single-threaded set-up phase; the
// atomics only keep concurrent readers well defined.
extern std::atomic<TEVRA_MallocFunc> g_malloc_func;
extern std::atomic<TEVRA_FreeFunc> g_free_func;
// Set by the first tevra_malloc of non-negative size; freezes the hooks.
extern std::atomic<int> g_allocinit;

void *debug_malloc(long size, const char *file, int line);
void debug_free(void *p);

} // namespace tevra::detail

#endif
