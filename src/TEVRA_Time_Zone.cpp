// The compiled-in zone table, lookup of a zone by name and detection of the
// machine's local zone.
#include <algorithm>
#include <cstring>

#include "TEVRA_Time_Zones.h"
#include "platform.h"

#include "tz_tables.inc"

namespace tevra::detail {

namespace {

// Id of an exact, case-sensitive name. The table is sorted in byte order and
// its names are unique, so a binary search finds what a scan from the start
// would.
int find_zone(const char *name) {
    const TzZone *end = g_timezone_table + kTzZoneCount;
    const TzZone *hit =
        std::lower_bound(g_timezone_table, end, name, [](const TzZone &zone, const char *key) {
            return std::strcmp(zone.name, key) < 0;
        });
    if (hit == end || std::strcmp(hit->name, name) != 0)
        return -1;
    return static_cast<int>(hit - g_timezone_table);
}

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

const char *skip_blanks(const char *p) {
    while (is_blank(*p))
        ++p;
    return p;
}

// The value of a line "KEY = value" (blanks optional around "="), or NULL
// when the line does not begin with key, is shorter than min_length or has
// something other than "=" after the key and its blanks.
char *assigned_value(char *line, const char *key, std::size_t min_length) {
    std::size_t key_length = std::strlen(key);
    if (std::strncmp(line, key, key_length) != 0 || std::strlen(line) < min_length)
        return nullptr;
    const char *p = skip_blanks(line + key_length);
    if (*p != '=')
        return nullptr;
    return line + (skip_blanks(p + 1) - line);
}

// Looks up a value, removing a pair of enclosing double quotes; -1 when it is
// empty, opens a quote it does not close, or names no known zone.
int lookup_value(char *value) {
    std::size_t length = std::strlen(value);
    if (length == 0)
        return -1;
    if (value[0] == '"') {
        if (length < 2 || value[length - 1] != '"')
            return -1;
        value[length - 1] = '\0';
        ++value;
    }
    return tevra_time_gettimezoneidbyname(value);
}

// The zone of the first "TZ=" line of a configuration file, or -1.
int getidfromfileTZ(const char *root, const char *path) {
    ConfigLines lines(root, path);
    while (char *line = lines.next()) {
        if (char *value = assigned_value(line, "TZ", 3))
            return lookup_value(value);
    }
    return -1;
}

// The first line that is not a comment names the zone, or nothing does.
int zone_from_timezone_file(const char *root) {
    ConfigLines lines(root, "/etc/timezone");
    char *line = lines.next();
    return line != nullptr ? lookup_value(line) : -1;
}

// The first TIMEZONE= or ZONE= line names the zone, or nothing does.
int zone_from_clock_file(const char *root) {
    ConfigLines lines(root, "/etc/sysconfig/clock");
    while (char *line = lines.next()) {
        char *value = assigned_value(line, "TIMEZONE", 9);
        if (value == nullptr)
            value = assigned_value(line, "ZONE", 5);
        if (value != nullptr)
            return lookup_value(value);
    }
    return -1;
}

int zone_from_localtime_link(const char *root) {
    char name[257];
    return localtime_link_zone(root, name, sizeof name) ? tevra_time_gettimezoneidbyname(name) : -1;
}

int zone_from_environment() {
    const char *value = zone_environment();
    return value != nullptr ? tevra_time_gettimezoneidbyname(value) : -1;
}

} // namespace

int detect_local_zone(const char *root) noexcept {
    // The system files come first, in this order; TZ only after all of them.
    int id = zone_from_localtime_link(root);
    if (id < 0)
        id = zone_from_timezone_file(root);
    if (id < 0)
        id = getidfromfileTZ(root, "/etc/TIMEZONE");
    if (id < 0)
        id = zone_from_clock_file(root);
    if (id < 0)
        id = getidfromfileTZ(root, "/etc/default/init");
    if (id < 0)
        id = zone_from_environment();
    return id >= 0 ? id : tevra_time_gettimezoneidbyname("UTC");
}

} // namespace tevra::detail

extern "C" {

TEVRA_API int tevra_time_gettimezoneidbyname(const char *name) {
    if (name == nullptr)
        return -1;
    if (std::strcmp(name, "UTC") == 0)
        name = "Etc/UTC";
    else if (std::strcmp(name, "PRC") == 0)
        name = "Asia/Shanghai";
    return tevra::detail::find_zone(name);
}

TEVRA_API int tevra_time_gettimezoneid(void) {
    return tevra::detail::detect_local_zone("");
}

} // extern "C"
