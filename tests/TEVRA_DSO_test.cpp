// Loading a module built by the test suite, by its full name and through the
// ".dylib" second attempt.
#include <cstdlib>
#include <string>

#include "TEVRA_DSO.h"
#include "TEVRA_UString.h"
#include "TEVRA_Util.h"
#include "test_support.h"

namespace {

TEVRA_UString *name_of(const std::string &path) {
    return tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(path.data()),
                                 static_cast<long>(path.size()));
}

// Loads path and checks the module answers through its symbols.
void expect_loads(const std::string &path) {
    TEVRA_UString *name = name_of(path);
    ASSERT_NE(name, nullptr);
    TEVRA_DSO dso = tevra_dso_load(name);
    tevra_ustring_free(name);
    ASSERT_NE(dso, nullptr) << path;
    auto answer = reinterpret_cast<int (*)(void)>(tevra_dso_getfunction(dso, "fixture_answer"));
    auto add = reinterpret_cast<int (*)(int, int)>(tevra_dso_getfunction(dso, "fixture_add"));
    ASSERT_NE(answer, nullptr);
    ASSERT_NE(add, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(add(2, 3), 5);
    EXPECT_EQ(tevra_dso_getfunction(dso, "no_such_symbol"), nullptr);
    EXPECT_EQ(tevra_dso_getfunction(dso, nullptr), nullptr);
    tevra_dso_free(dso);
}

class DSOTest : public tevra_test::LeakCheck {};

TEST_F(DSOTest, LoadsByFullPath) {
    expect_loads(TEVRA_DSO_FIXTURE);
}

TEST_F(DSOTest, RetriesWithTheDylibSuffix) {
    expect_loads(TEVRA_DSO_BARE_NAME);
}

TEST_F(DSOTest, WorksWhateverTheLocaleCharset) {
    // The name is converted to the locale's set; ASCII paths survive any.
    for (const char *lang : {"C", "fr_FR", "en_US.UTF-8"}) {
        const char *saved = std::getenv("LC_ALL");
        std::string keep = saved != nullptr ? saved : "";
        setenv("LC_ALL", lang, 1);
        expect_loads(TEVRA_DSO_FIXTURE);
        if (saved != nullptr)
            setenv("LC_ALL", keep.c_str(), 1);
        else
            unsetenv("LC_ALL");
    }
}

TEST_F(DSOTest, FailuresGiveNull) {
    EXPECT_EQ(tevra_dso_load(nullptr), nullptr);
    EXPECT_EQ(tevra_dso_getfunction(nullptr, "fixture_answer"), nullptr);
    tevra_dso_free(nullptr);
    TEVRA_UString *missing = name_of("/nonexistent/libnothing.so");
    EXPECT_EQ(tevra_dso_load(missing), nullptr);
    tevra_ustring_free(missing);
    // A zero inside the name must not load the file named by its prefix.
    std::string cut = std::string(TEVRA_DSO_FIXTURE) + std::string("\0x", 2);
    TEVRA_UString *zero = name_of(cut);
    EXPECT_EQ(tevra_dso_load(zero), nullptr);
    tevra_ustring_free(zero);
    // A name the locale's set cannot hold is refused before loading.
    const char *saved = std::getenv("LC_ALL");
    std::string keep = saved != nullptr ? saved : "";
    setenv("LC_ALL", "C", 1);
    TEVRA_UString *wide = name_of("/tmp/\xE4\xB8\xAD.so");
    EXPECT_EQ(tevra_dso_load(wide), nullptr);
    tevra_ustring_free(wide);
    if (saved != nullptr)
        setenv("LC_ALL", keep.c_str(), 1);
    else
        unsetenv("LC_ALL");
}

} // namespace
