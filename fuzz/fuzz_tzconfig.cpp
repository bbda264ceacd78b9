// Local-zone detection over system files made of the input, and lookup of the
// input as a zone name. The first byte picks the file the rest is written to;
// detection must settle on a valid id whatever the files hold, and a name
// lookup must give -1 or an entry of that very name.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "TEVRA_Time_Zones.h"

namespace {

constexpr const char *kFiles[] = {"/etc/timezone", "/etc/TIMEZONE", "/etc/sysconfig/clock",
                                  "/etc/default/init"};

// A private root with the folders the files live in, removed at exit.
struct FakeRoot {
    std::string dir;
    FakeRoot() {
        char pattern[] = "/tmp/tevra_fuzz_tz_XXXXXX";
        dir = mkdtemp(pattern) != nullptr ? pattern : "/nonexistent";
        for (const char *sub : {"/etc", "/etc/sysconfig", "/etc/default"})
            mkdir((dir + sub).c_str(), 0700);
    }
    ~FakeRoot() { std::filesystem::remove_all(dir); }
};

void check_lookup(const uint8_t *data, size_t size) {
    std::string name(reinterpret_cast<const char *>(data), size);
    int id = tevra_time_gettimezoneidbyname(name.c_str());
    if (id < -1 || id >= tevra::detail::kTzZoneCount)
        std::abort();
    bool substituted =
        std::strcmp(name.c_str(), "UTC") == 0 || std::strcmp(name.c_str(), "PRC") == 0;
    if (id >= 0 && !substituted &&
        std::strcmp(tevra::detail::g_timezone_table[id].name, name.c_str()) != 0)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    check_lookup(data + 1, size - 1);
    static FakeRoot fake;
    const std::string &root = fake.dir;
    for (const char *file : kFiles)
        unlink((root + file).c_str());
    std::string path = root + kFiles[data[0] % 4];
    if (FILE *f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data + 1, 1, size - 1, f);
        std::fclose(f);
    }
    int id = tevra::detail::detect_local_zone(root.c_str());
    if (id < 0 || id >= tevra::detail::kTzZoneCount)
        std::abort();
    return 0;
}
