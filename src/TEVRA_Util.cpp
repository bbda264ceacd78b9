// Default allocation hooks, the hook freeze, the version banner, the nesting
// limit and the library's load-time initialiser.
#include <cstdlib>
#include <cstring>

#include "TEVRA_BigInteger.h"
#include "TEVRA_Util.h"
#include "TEVRA_Util_Internal.h"

namespace tevra::detail {
namespace {

void *my_malloc(long size, const char *, int) {
    return std::malloc(static_cast<size_t>(size));
}
void my_free(void *p) {
    std::free(p);
}

} // namespace

std::atomic<TEVRA_MallocFunc> g_malloc_func{my_malloc};
std::atomic<TEVRA_FreeFunc> g_free_func{my_free};
std::atomic<int> g_allocinit{0};

} // namespace tevra::detail

namespace {

constexpr char kFile[] = "TEVRA_Util";
constexpr int kDefaultRecursiveLevel = 200;
constexpr int kMinRecursiveLevel = 8;

int g_recursive_level = 0;

int recursive_level_from_env() {
    const char *value = std::getenv("TEVRA_RECURSIVE_LEVEL");
    if (value == nullptr)
        return kDefaultRecursiveLevel;
    int level = std::atoi(value);
    return level < kMinRecursiveLevel ? kMinRecursiveLevel : level;
}

// Runs once when the library is loaded, before any exported function.
__attribute__((constructor)) void so_load() {
    g_recursive_level = recursive_level_from_env();
    tevra_biginteger_init();
}

} // namespace

using namespace tevra::detail;

extern "C" {

TEVRA_API void *tevra_malloc(long size, const char *file, int line) {
    if (size < 0)
        return nullptr;
    // Checking before storing keeps the shared flag's cache line clean.
    if (g_allocinit.load(std::memory_order_relaxed) == 0)
        g_allocinit.store(1, std::memory_order_relaxed);
    return g_malloc_func.load(std::memory_order_relaxed)(size, file, line);
}

TEVRA_API void tevra_free(void *p) {
    if (p != nullptr)
        g_free_func.load(std::memory_order_relaxed)(p);
}

TEVRA_API int tevra_setallocfunc(TEVRA_MallocFunc malloc_func, TEVRA_FreeFunc free_func) {
    if (g_allocinit.load() != 0 || malloc_func == nullptr || free_func == nullptr)
        return 0;
    g_malloc_func.store(malloc_func);
    g_free_func.store(free_func);
    return 1;
}

TEVRA_API TEVRA_MallocFunc tevra_getmallocfunc(void) {
    return g_malloc_func.load();
}

TEVRA_API TEVRA_FreeFunc tevra_getfreefunc(void) {
    return g_free_func.load();
}

TEVRA_API const char *tevra_util_version(void) {
    return "TEVRA Utility Library 2.6,Build on 2019";
}

TEVRA_API int tevra_get_recursive_level(void) {
    return g_recursive_level;
}

TEVRA_API TEVRA_DataBlob *tevra_data_blob_new(const unsigned char *data, long length) {
    if (data == nullptr || length < 0)
        return nullptr;
    auto *blob =
        static_cast<TEVRA_DataBlob *>(tevra_malloc(sizeof(TEVRA_DataBlob), kFile, __LINE__));
    if (blob == nullptr)
        return nullptr;
    blob->data = static_cast<unsigned char *>(tevra_malloc(length, kFile, __LINE__));
    if (blob->data == nullptr) {
        tevra_free(blob);
        return nullptr;
    }
    if (length > 0)
        std::memcpy(blob->data, data, static_cast<size_t>(length));
    blob->length = length;
    return blob;
}

TEVRA_API void tevra_data_blob_free(TEVRA_DataBlob *blob) {
    if (blob == nullptr)
        return;
    tevra_free(blob->data);
    blob->data = nullptr;
    tevra_free(blob);
}

} // extern "C"
