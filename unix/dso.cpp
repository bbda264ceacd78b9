// Shared-object loading over the platform's dynamic loader.
#include <cstring>
#include <dlfcn.h>

#include "TEVRA_DSO.h"
#include "TEVRA_Util.h"

namespace {

constexpr char kFile[] = "unix/dso";
constexpr char kSecondSuffix[] = ".dylib";

// The name in the locale's encoding, from tevra_malloc; NULL when it cannot
// be converted.
char *native_name(const TEVRA_UString *name, long &length) {
    char *charset = tevra_ustring_getdefaultcharset();
    char *converted = nullptr;
    int ok = tevra_ustring_tombs(name, charset != nullptr ? charset : "UTF-8", &converted, &length);
    tevra_free(charset);
    if (ok != 1)
        return nullptr;
    // A zero byte inside the name would make the loader open another file.
    if (std::strlen(converted) != static_cast<size_t>(length)) {
        tevra_free(converted);
        return nullptr;
    }
    return converted;
}

} // namespace

extern "C" {

TEVRA_API TEVRA_DSO tevra_dso_load(const TEVRA_UString *name) {
    if (name == nullptr)
        return nullptr;
    long length = 0;
    char *path = native_name(name, length);
    if (path == nullptr)
        return nullptr;
    void *handle = dlopen(path, RTLD_NOW);
    if (handle == nullptr) {
        size_t n = std::strlen(path);
        auto *second = static_cast<char *>(
            tevra_malloc(static_cast<long>(n + sizeof kSecondSuffix), kFile, __LINE__));
        if (second != nullptr) {
            std::memcpy(second, path, n);
            std::memcpy(second + n, kSecondSuffix, sizeof kSecondSuffix);
            handle = dlopen(second, RTLD_NOW);
            tevra_free(second);
        }
    }
    tevra_free(path);
    return handle;
}

TEVRA_API void *tevra_dso_getfunction(TEVRA_DSO dso, const char *name) {
    if (dso == nullptr || name == nullptr)
        return nullptr;
    return dlsym(dso, name);
}

TEVRA_API void tevra_dso_free(TEVRA_DSO dso) {
    if (dso != nullptr)
        dlclose(dso);
}

} // extern "C"
