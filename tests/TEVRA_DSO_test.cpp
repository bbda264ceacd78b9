// Loading a module built by the test suite, by its full name and through the
// ".dylib" second attempt.
#include "TEVRA_DSO.h"
#include "ustring_test_support.h"

namespace {

using tevra_test::from8;
using tevra_test::LocaleEnv;
using tevra_test::Str;

TEVRA_DSO load(const std::string &path) {
    return tevra_dso_load(Str(from8(path)).get());
}

// Loads path and checks the module answers through its symbols.
void expect_loads(const std::string &path) {
    TEVRA_DSO dso = load(path);
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

TEST_F(DSOTest, LoadsByFullPathAndRetriesWithTheDylibSuffix) {
    expect_loads(TEVRA_DSO_FIXTURE);
    expect_loads(TEVRA_DSO_BARE_NAME);
}

TEST_F(DSOTest, WorksWhateverTheLocaleCharset) {
    // The name is converted to the locale's set; ASCII paths survive any.
    for (const char *lang : {"C", "fr_FR", "en_US.UTF-8"}) {
        LocaleEnv env(lang, nullptr, nullptr);
        expect_loads(TEVRA_DSO_FIXTURE);
    }
}

TEST_F(DSOTest, FailuresGiveNull) {
    EXPECT_EQ(tevra_dso_load(nullptr), nullptr);
    EXPECT_EQ(tevra_dso_getfunction(nullptr, "fixture_answer"), nullptr);
    tevra_dso_free(nullptr);
    EXPECT_EQ(load("/nonexistent/libnothing.so"), nullptr);
    // A zero inside the name must not load the file named by its prefix.
    EXPECT_EQ(load(std::string(TEVRA_DSO_FIXTURE) + std::string("\0x", 2)), nullptr);
    // A name the locale's set cannot hold is refused before loading.
    LocaleEnv env("C", nullptr, nullptr);
    EXPECT_EQ(load("/tmp/\xE4\xB8\xAD.so"), nullptr);
}

} // namespace
