// Zone tables, lookup by name and local-zone detection over a fake root.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "TEVRA_Time_Zones.h"
#include "test_support.h"

using namespace tevra::detail;
namespace fs = std::filesystem;

namespace {

const TzZone &zone(const char *name) {
    int id = tevra_time_gettimezoneidbyname(name);
    EXPECT_GE(id, 0) << name;
    return g_timezone_table[id < 0 ? 0 : id];
}

std::vector<int> fields(const TzZoneLine &l) {
    return {l.std_offset,     l.rule_kind,  l.fixed_save,   l.until_kind,
            l.until_day_kind, l.until_year, l.until_month,  l.until_day,
            l.until_weekday,  l.until_hour, l.until_minute, l.until_second};
}

} // namespace

TEST(TimeZoneTable, SortedUniqueAndEveryZoneEndsOpen) {
    for (int id = 0; id < kTzZoneCount; ++id) {
        const TzZone &z = g_timezone_table[id];
        if (id > 0) {
            EXPECT_LT(std::strcmp(g_timezone_table[id - 1].name, z.name), 0) << z.name;
        }
        ASSERT_GE(z.line_count, 1) << z.name;
        for (int i = 0; i < z.line_count; ++i) {
            bool last = i == z.line_count - 1;
            EXPECT_EQ(z.lines[i].until_year == kTzMax, last) << z.name << " line " << i;
            EXPECT_EQ(z.lines[i].rules == nullptr, z.lines[i].rule_kind == kTzFixedSave);
        }
    }
}

TEST(TimeZoneTable, LinksShareTheirTargetsLines) {
    const std::vector<std::vector<const char *>> groups = {
        {"Asia/Shanghai", "Asia/Chongqing", "Asia/Chungking", "Asia/Harbin", "PRC"},
        {"Etc/UTC", "Etc/Universal", "Etc/Zulu", "UTC", "Universal", "Zulu"},
        {"Europe/London", "Europe/Belfast", "Europe/Guernsey", "Europe/Isle_of_Man",
         "Europe/Jersey", "GB", "GB-Eire"},
        {"America/Los_Angeles", "US/Pacific", "US/Pacific-New"},
    };
    for (const auto &group : groups)
        for (const char *name : group)
            EXPECT_EQ(zone(name).lines, zone(group[0]).lines) << name;
    EXPECT_NE(zone("Etc/GMT-8").lines, zone("Etc/GMT+8").lines);
}

// Offsets take the sign of their hour alone; until times sit one field early.
TEST(TimeZoneTable, LinesKeepTheTranslationRules) {
    struct Case {
        const char *zone;
        int line;
        std::vector<int> want;
    } cases[] = {
        {"Asia/Shanghai", 0, {29143, 1, 0, 0, 0, 1901, 1, 1, 0, 0, 0, 0}},
        {"Asia/Shanghai", 2, {28800, 0, 0, 0, 0, kTzMax, 0, 0, 0, 0, 0, 0}},
        {"Europe/London", 0, {75, 1, 0, 1, 0, 1847, 12, 1, 0, 0, 0, 0}},
        {"Europe/London", 2, {3600, 1, 0, 2, 0, 1971, 10, 31, 2, 0, 0, 0}},
        {"America/New_York", 0, {-11038, 1, 0, 0, 0, 1883, 11, 18, 12, 3, 58, 0}},
        {"Europe/Dublin", 1, {1521, 1, 0, 0, 0, 1916, 5, 21, 2, 0, 0, 0}},
        {"America/Caracas", 0, {-12736, 1, 0, 0, 0, 1890, 1, 1, 0, 0, 0, 0}},
        {"Etc/GMT-8", 0, {28800, 1, 0, 0, 0, kTzMax, 0, 0, 0, 0, 0, 0}},
        {"Etc/GMT+8", 0, {-28800, 1, 0, 0, 0, kTzMax, 0, 0, 0, 0, 0, 0}},
        // An until on the last Sunday: the weekday is dropped, 2:00 lands in it.
        {"Asia/Tbilisi", 10, {10800, 0, 0, 0, 1, 2005, 3, -1, 2, 0, 0, 0}},
        {"Asia/Tbilisi", 8, {14400, 1, 3600, 0, 1, 1997, 3, -1, 0, 0, 0, 0}},
        {"Asia/Tbilisi", 3, {14400, 0, 0, 1, 0, 1991, 3, 31, 2, 0, 0, 0}},
        {"America/Cayman", 2, {-18000, 1, 0, 0, 0, 2016, 1, 1, 0, 0, 0, 0}},
    };
    for (const Case &c : cases) {
        const TzZone &z = zone(c.zone);
        ASSERT_LT(c.line, z.line_count) << c.zone;
        EXPECT_EQ(fields(z.lines[c.line]), c.want) << c.zone << " line " << c.line;
    }
    EXPECT_STREQ(zone("Europe/London").lines[1].rules->name, "GB-Eire");
    EXPECT_STREQ(zone("Asia/Shanghai").lines[2].rules->name, "PRC");
}

TEST(TimeZoneLookup, ExactNamesAndTheTwoSubstitutions) {
    struct Case {
        const char *name;
        int id;
    } cases[] = {
        {"Africa/Abidjan", 0}, {"Etc/UTC", 414}, {"UTC", 414},          {"Asia/Shanghai", 303},
        {"PRC", 303},          {"Zulu", 581},    {"asia/shanghai", -1}, {"Asia/Shanghai ", -1},
        {"Asia/Shangha", -1},  {"", -1},         {":Asia/Tokyo", -1},   {"Zulu/", -1},
    };
    for (const Case &c : cases)
        EXPECT_EQ(tevra_time_gettimezoneidbyname(c.name), c.id) << c.name;
    EXPECT_EQ(tevra_time_gettimezoneidbyname(nullptr), -1);
    int chongqing = tevra_time_gettimezoneidbyname("Asia/Chongqing");
    EXPECT_STREQ(g_timezone_table[chongqing].name, "Asia/Chongqing");
    // Every other name finds its own entry.
    for (int id = 0; id < kTzZoneCount; ++id) {
        const char *name = g_timezone_table[id].name;
        if (std::strcmp(name, "UTC") != 0 && std::strcmp(name, "PRC") != 0) {
            EXPECT_EQ(tevra_time_gettimezoneidbyname(name), id) << name;
        }
    }
}

// Each case writes some system files under a fresh root, sets or clears TZ,
// and names the zone detection must settle on.
class LocalZone : public tevra_test::LeakCheck {
  protected:
    void SetUp() override {
        LeakCheck::SetUp();
        char pattern[] = "/tmp/tevra_tz_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        root = pattern;
        const char *tz = std::getenv("TZ");
        saved_tz = tz != nullptr ? std::optional<std::string>(tz) : std::nullopt;
    }
    void TearDown() override {
        fs::remove_all(root);
        if (saved_tz)
            setenv("TZ", saved_tz->c_str(), 1);
        else
            unsetenv("TZ");
        LeakCheck::TearDown();
    }
    void write(const std::string &path, const std::string &text) {
        fs::create_directories(fs::path(root + path).parent_path());
        std::ofstream(root + path, std::ios::binary) << text;
    }

    std::string root;
    std::optional<std::string> saved_tz;
};

TEST_F(LocalZone, SourcesInOrderAndTheirLineFormats) {
    struct Case {
        std::vector<std::pair<std::string, std::string>> files;
        const char *tz; // NULL: unset
        const char *want;
    } cases[] = {
        {{}, nullptr, "Etc/UTC"},
        {{}, "Asia/Tokyo", "Asia/Tokyo"},
        {{}, ":Asia/Tokyo", "Etc/UTC"},
        {{}, "JST-9", "Etc/UTC"},
        // /etc/timezone: first non-comment line only, quotes, CR LF.
        {{{"/etc/timezone", "# local\nEurope/Berlin\n"}}, "Asia/Tokyo", "Europe/Berlin"},
        {{{"/etc/timezone", "\"Europe/Berlin\"\r\n"}}, nullptr, "Europe/Berlin"},
        {{{"/etc/timezone", "\"Europe/Berlin\n"}}, "Asia/Tokyo", "Asia/Tokyo"},
        {{{"/etc/timezone", "\"\n"}}, nullptr, "Etc/UTC"},
        {{{"/etc/timezone", "\nEurope/Berlin\n"}}, "Asia/Tokyo", "Asia/Tokyo"},
        {{{"/etc/timezone", "Nowhere/City\nEurope/Berlin\n"}}, nullptr, "Etc/UTC"},
        {{{"/etc/timezone", "#" + std::string(300, 'x') + "\nEurope/Berlin\n"}},
         nullptr,
         "Etc/UTC"},
        // TZ= files: the first TZ line decides; blanks around "=".
        {{{"/etc/TIMEZONE", "# x\nTZONE=Asia/Tokyo\nTZ = \t\"America/New_York\"\n"}},
         nullptr,
         "America/New_York"},
        {{{"/etc/TIMEZONE", "TZ=\nTZ=Asia/Tokyo\n"}, {"/etc/default/init", "TZ=Europe/Paris\n"}},
         nullptr,
         "Europe/Paris"},
        {{{"/etc/TIMEZONE", "TZ=\"Asia/Tokyo\n"}}, "Europe/Paris", "Europe/Paris"},
        {{{"/etc/default/init", "TZ=Asia/Tokyo\n"}}, "Europe/Paris", "Asia/Tokyo"},
        // /etc/sysconfig/clock: TIMEZONE= or ZONE=, the first such line decides.
        {{{"/etc/sysconfig/clock", "TIMEZONE = \"Asia/Tokyo\"\n"}}, nullptr, "Asia/Tokyo"},
        {{{"/etc/sysconfig/clock", "TIMEZONEX=Asia/Tokyo\nZONE=Europe/Paris\n"}},
         nullptr,
         "Europe/Paris"},
        {{{"/etc/sysconfig/clock", "ZONE=Bad/Zone\nZONE=Asia/Tokyo\n"}}, nullptr, "Etc/UTC"},
        {{{"/etc/sysconfig/clock", "ZONE=\n"}}, "Asia/Tokyo", "Asia/Tokyo"},
        // Earlier files win over later ones.
        {{{"/etc/timezone", "Europe/Berlin\n"}, {"/etc/TIMEZONE", "TZ=Asia/Tokyo\n"}},
         nullptr,
         "Europe/Berlin"},
        {{{"/etc/TIMEZONE", "TZ=Asia/Tokyo\n"}, {"/etc/sysconfig/clock", "ZONE=Europe/Paris\n"}},
         nullptr,
         "Asia/Tokyo"},
        {{{"/etc/sysconfig/clock", "ZONE=Europe/Paris\n"},
          {"/etc/default/init", "TZ=Asia/Tokyo\n"}},
         nullptr,
         "Europe/Paris"},
        // A regular /etc/localtime names nothing.
        {{{"/etc/localtime", "TZif2"}}, nullptr, "Etc/UTC"},
    };
    for (const Case &c : cases) {
        fs::remove_all(root + "/etc");
        for (const auto &[path, text] : c.files)
            write(path, text);
        if (c.tz != nullptr)
            setenv("TZ", c.tz, 1);
        else
            unsetenv("TZ");
        std::string first = c.files.empty() ? "(no files)" : c.files[0].second;
        EXPECT_STREQ(g_timezone_table[detect_local_zone(root.c_str())].name, c.want) << first;
    }
}
