// Private declarations of the platform layer (locale and iconv conversion,
// dynamic loading) that the portable sources call.
#ifndef TEVRA_UNIX_PLATFORM_H
#define TEVRA_UNIX_PLATFORM_H

#include <cstddef>
#include <cstdio>

namespace tevra::detail {

// An upper-case copy of a character-set name (only ASCII a..z change), from
// tevra_malloc; NULL for a NULL name or when memory runs out.
char *charset_upper_copy(const char *name);

// --- local time-zone sources ---

// The lines of a system configuration file root + path, read in pieces of
// at most 255 characters. Lines that begin with '#' are skipped and trailing
// carriage returns and line feeds removed. The file closes with the object.
class ConfigLines {
  public:
    ConfigLines(const char *root, const char *path) noexcept;
    ~ConfigLines();
    ConfigLines(const ConfigLines &) = delete;
    ConfigLines &operator=(const ConfigLines &) = delete;

    bool is_open() const noexcept { return file_ != nullptr; }
    // The next line, valid until the following call; NULL at the end.
    char *next() noexcept;

  private:
    std::FILE *file_;
    char line_[256];
};

// Zone name taken from a symbolic link at root + "/etc/localtime" into the
// system's zoneinfo folder, copied into name[cap]; false when there is none.
bool localtime_link_zone(const char *root, char *name, std::size_t cap) noexcept;

// The value of the TZ environment variable, or NULL.
const char *zone_environment() noexcept;

} // namespace tevra::detail

#endif
