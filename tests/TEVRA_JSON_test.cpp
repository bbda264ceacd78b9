// JSON: value model, encoding, decoding, traversal and the sort order.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "TEVRA_JSON.h"
#include "TEVRA_JSON_Internal.h"
#include "TEVRA_Stream.h"
#include "TEVRA_UString.h"
#include "TEVRA_Util.h"
#include "test_support.h"

using tevra_test::LeakCheck;

namespace {

struct JsonFree {
    void operator()(TEVRA_JSON *j) const { tevra_json_free(j); }
};
using Json = std::unique_ptr<TEVRA_JSON, JsonFree>;

Json parse(const std::string &text) {
    return Json(tevra_json_decode(text.data(), static_cast<int>(text.size())));
}

std::string encode(TEVRA_JSON *value, unsigned int flags = 0) {
    char *out = nullptr;
    int length = -1;
    if (tevra_json_encode(value, static_cast<int>(flags), &out, &length) != 1)
        return "<fail>";
    std::string text(out, static_cast<size_t>(length));
    EXPECT_EQ(out[length], '\0');
    tevra_free(out);
    return text;
}

// The compact encoding of what text decodes to, or "<null>".
std::string reencode(const std::string &text, unsigned int flags = 0) {
    Json value = parse(text);
    return value ? encode(value.get(), flags) : "<null>";
}

std::string nested(int depth) {
    return std::string(static_cast<size_t>(depth), '[') +
           std::string(static_cast<size_t>(depth), ']');
}

int count_members(void *user, const char *, int, TEVRA_JSON *) {
    return ++*static_cast<int *>(user) < 2 ? 1 : 2;
}

} // namespace

using Json_ = LeakCheck;

TEST_F(Json_, StringsAreCheckedAndTerminated) {
    struct Case {
        const char *data;
        int length;
        bool ok;
    } cases[] = {{"abc", 3, true},          {nullptr, 0, true},     {nullptr, 1, false},
                 {"abc", -1, false},        {"\xC3\x28", 2, false}, {"a\0b", 3, true},
                 {"abc", 2147483647, false}};
    for (const Case &c : cases) {
        Json s(tevra_json_newstring(c.data, c.length));
        ASSERT_EQ(s != nullptr, c.ok) << c.length;
        if (s) {
            EXPECT_EQ(tevra_json_getstringlength(s.get()), c.length);
            EXPECT_EQ(
                std::memcmp(tevra_json_getstring(s.get()), c.data ? c.data : "", c.length + 1u), 0);
        }
    }
}

// The string check agrees with the Unicode string constructor on every byte
// pair and on three- and four-byte sequences around each boundary.
TEST_F(Json_, Utf8CheckMatchesTheStringConstructor) {
    std::vector<std::string> samples;
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b)
            samples.push_back({static_cast<char>(a), static_cast<char>(b)});
    const unsigned char tails[] = {0x41, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0};
    for (int lead = 0xE0; lead < 0x100; ++lead)
        for (unsigned char b : tails)
            for (unsigned char c : tails) {
                samples.push_back(
                    {static_cast<char>(lead), static_cast<char>(b), static_cast<char>(c)});
                samples.push_back(
                    {static_cast<char>(lead), static_cast<char>(b), static_cast<char>(c), '\x80'});
            }
    for (const std::string &t : samples) {
        TEVRA_UString *u = tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(t.data()),
                                                 static_cast<long>(t.size()));
        Json s(tevra_json_newstring(t.data(), static_cast<int>(t.size())));
        ASSERT_EQ(s != nullptr, u != nullptr) << std::hex << (t[0] & 0xFF) << " " << (t[1] & 0xFF);
        tevra_ustring_free(u);
    }
}

TEST_F(Json_, GettersGiveTheirFailureValues) {
    Json str(tevra_json_newstring("x", 1)), arr(tevra_json_newarray());
    EXPECT_EQ(tevra_json_gettype(nullptr), -1);
    EXPECT_EQ(tevra_json_getnumber(str.get()), -1.0);
    EXPECT_EQ(tevra_json_istrue(str.get()), 0);
    EXPECT_EQ(tevra_json_getstring(arr.get()), nullptr);
    EXPECT_EQ(tevra_json_getstringlength(arr.get()), -1);
    EXPECT_EQ(tevra_json_getarraysize(str.get()), -1);
    EXPECT_EQ(tevra_json_getarrayitem(arr.get(), 0), nullptr);
    EXPECT_EQ(tevra_json_getobjectvalue(arr.get(), "x", 1), nullptr);
    Json t(tevra_json_newboolean(42));
    EXPECT_EQ(tevra_json_istrue(t.get()), 1);
}

TEST_F(Json_, DuplicateKeysLookupNewestEditOldest) {
    Json obj(tevra_json_newobject());
    for (double v : {1.0, 2.0}) {
        Json n(tevra_json_newnumber(v));
        ASSERT_EQ(tevra_json_addobjectitem(obj.get(), "a", 1, n.get()), 1);
    }
    Json three(tevra_json_newnumber(3));
    ASSERT_EQ(tevra_json_updateobjectitem(obj.get(), "a", 1, three.get()), 1);
    EXPECT_EQ(encode(obj.get()), R"({"a":3,"a":2})");
    EXPECT_EQ(tevra_json_getnumber(tevra_json_getobjectvalue(obj.get(), "a", 1)), 2.0);
    ASSERT_EQ(tevra_json_deleteobjectitem(obj.get(), "a", 1), 1);
    EXPECT_EQ(encode(obj.get()), R"({"a":2})");
    EXPECT_EQ(tevra_json_deleteobjectitem(obj.get(), "b", 1), 0);
    EXPECT_EQ(tevra_json_updateobjectitem(obj.get(), "b", 1, three.get()), 1);
    EXPECT_EQ(tevra_json_updateobjectitem(obj.get(), nullptr, 1, three.get()), 0);
    EXPECT_EQ(tevra_json_addobjectitem(obj.get(), "\xC3", 1, three.get()), 0);
    EXPECT_EQ(encode(obj.get()), R"({"a":2,"b":3})");
}

TEST_F(Json_, ContainersHoldTheirOwnCopies) {
    Json arr(tevra_json_newarray());
    Json inner = parse(R"({"k":[1,"s"]})");
    ASSERT_EQ(tevra_json_addarrayitem(arr.get(), inner.get()), 1);
    ASSERT_EQ(tevra_json_addarrayitem(arr.get(), inner.get()), 1);
    inner.reset();
    EXPECT_EQ(tevra_json_deletearrayitem(arr.get(), 0), 1);
    EXPECT_EQ(tevra_json_deletearrayitem(arr.get(), 5), 0);
    EXPECT_EQ(encode(arr.get()), R"([{"k":[1,"s"]}])");
    // Decoded containers start full; appending must still grow them.
    Json grown = parse("[0]");
    for (int i = 1; i < 40; ++i) {
        Json n(tevra_json_newnumber(i));
        ASSERT_EQ(tevra_json_addarrayitem(grown.get(), n.get()), 1);
    }
    EXPECT_EQ(tevra_json_getarraysize(grown.get()), 40);
    EXPECT_EQ(tevra_json_getnumber(tevra_json_getarrayitem(grown.get(), 39)), 39.0);
    Json copy(tevra_json_dup(arr.get()));
    EXPECT_EQ(tevra::detail::comparejson(copy.get(), arr.get()), 0);
    EXPECT_EQ(tevra_json_getarrayitem(copy.get(), 0) == tevra_json_getarrayitem(arr.get(), 0),
              false);
}

TEST_F(Json_, EncodesCompactAndPretty) {
    struct Case {
        const char *text;
        unsigned int flags;
        const char *expected;
    } cases[] = {
        {R"({"a":1,"b":[true,null]})", 0, R"({"a":1,"b":[true,null]})"},
        {R"({"a":1,"b":[true,null]})", 0x90000000, "{\n\t\"a\":1,\n\t\"b\":[true,null]\n}"},
        {"[1,[2]]", 0xD0000002, "[\n  \t1,\n  \t[\n  \t  \t2\n  \t]\n]"},
        {"[1,[2]]", 0xC0000000, "[\t1,\t[\t\t2\t]]"},
        {"[{}]", 0xB0000000, "[\r\n\t{\r\n\t}\r\n]"},
        {"[[]]", 0x00000004, "[[]]"},
        {R"(["\t\"\u00e9\u001f/\\"])", 0, "[\"\\u0009\\\"\xC3\xA9\\u001F/\\\\\"]"},
        {"[2.5,-3.0,1e10,1e-9,-1e-9,0.1234567,3000000000,-2147483648,1e22,"
         "1766847064778384329583297500742918515827483896875618958121606201292619776]",
         0,
         "[2.5,-3,10000000000,0,-0,0.123457,3000000000,-2147483648,10000000000000000000000,"
         "1766847064778384329583297500742918515827483896875618958121606201292619776]"},
        {R"(["b","a",2,true,null,{},[]])", 0x00100000, R"(["a","b",2,true,null,{},[]])"},
        {R"({"b":1,"a":[2,1],"a":[1]})", 0x00100000, R"({"a":[1],"a":[2,1],"b":1})"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(reencode(c.text, c.flags), c.expected) << c.text;
}

TEST_F(Json_, EncodeFailuresLeaveOutputsAlone) {
    char *out = reinterpret_cast<char *>(&out);
    int length = 7;
    Json n(tevra_json_newnull());
    EXPECT_EQ(tevra_json_encode(nullptr, 0, &out, &length), 0);
    EXPECT_EQ(tevra_json_encode(n.get(), 0, nullptr, &length), 0);
    tevra_test::fail_allocations_after(0);
    EXPECT_EQ(tevra_json_encode(n.get(), 0, &out, &length), 0);
    tevra_test::fail_allocations_after(-1);
    EXPECT_EQ(out, reinterpret_cast<char *>(&out));
    EXPECT_EQ(length, 7);
}

TEST_F(Json_, EncodesIntoAStreamAtADepth) {
    Json value = parse(R"([1,{"k":"v"}])");
    TEVRA_Stream *s = tevra_stream_new_mem(4, nullptr);
    ASSERT_EQ(tevra_json_encodeinstream(s, static_cast<int>(0x90000000), 1, value.get()), 1);
    ASSERT_EQ(tevra_json_encodestringinstream(s, 0, 0, value.get()), 0);
    unsigned char *data = nullptr;
    long n = 0;
    ASSERT_EQ(tevra_memstreamdeatch(s, &data, &n), 1);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(data), static_cast<size_t>(n)),
              "\t[\n\t\t1,\n\t\t{\n\t\t\t\"k\":\"v\"\n\t\t}\n\t]");
    tevra_free(data);
    tevra_stream_free(s);
}

TEST_F(Json_, DecodesWithItsLeniencesAndStrictnesses) {
    struct Case {
        std::string text;
        const char *expected;
    } cases[] = {
        {R"(  {"a" : [1, 2.5e1, -0, true]}  )", R"({"a":[1,25,0,true]})"},
        {"5", "5"},
        {" 5", "<null>"},
        {"5 ", "<null>"},
        {"[1] ", "[1]"},
        {"true ", "<null>"},
        {"falsey", "<null>"},
        {"nul", "<null>"},
        {"[ \t\r\n]", "[]"},
        {"{ }", "{}"},
        {R"({xa":1})", R"({"a":1})"},
        {R"({"k":1,"k":2})", R"({"k":1,"k":2})"},
        {R"(["\ud83d\ude00\u00E9\/\b\f\n\r"])",
         "[\"\xF0\x9F\x98\x80\xC3\xA9/\\u0008\\u000C\\u000A\\u000D\"]"},
        {R"(["a\u0000b"])", R"(["a\u0000b"])"},
        {"[-12.5E+2,1e-2,0.5,123456789012345678]", "[-1250,0.01,0.5,123456789012345680]"},
    };
    const char *rejected[] = {"[1,]",
                              "[01]",
                              "[1.]",
                              "[1e]",
                              "[-]",
                              R"({"a":1,})",
                              "[",
                              "[1",
                              "{\"a\"",
                              "{\"a\":",
                              "{\"a\" 1}",
                              "[1 2]",
                              "[\"\\ude00\"]",
                              "[\"\\ud83d\"]",
                              "[\"\\ud83d\\u0041\"]",
                              "[\"\\u12g4\"]",
                              "[\"\\x\"]",
                              "[\"\\",
                              "[\"a\x01\"]",
                              "[\"\xC3\x28\"]",
                              "[\"\xED\xA0\x80\"]",
                              "[\"abc",
                              "x",
                              "",
                              "{1:2}",
                              "[\"\xC3\"]"};
    for (const Case &c : cases)
        EXPECT_EQ(reencode(c.text), c.expected) << c.text;
    for (const char *text : rejected)
        EXPECT_EQ(reencode(text), "<null>") << text;
    EXPECT_EQ(tevra_json_decode(nullptr, 0), nullptr);
    EXPECT_EQ(tevra_json_decode("1", -1), nullptr);
}

TEST_F(Json_, NestingStopsAtTheRecursionLevel) {
    int level = tevra_get_recursive_level();
    EXPECT_NE(parse(nested(level)), nullptr);
    EXPECT_EQ(parse(nested(level + 1)), nullptr);
    std::string deep = std::string(static_cast<size_t>(level - 1), '[') + "{\"k\":1}" +
                       std::string(static_cast<size_t>(level - 1), ']');
    EXPECT_EQ(parse(deep), nullptr);
    int consumed = 0;
    Json inner(tevra_json_decodeex("[[]]", 4, level - 2, &consumed));
    EXPECT_NE(inner, nullptr);
    EXPECT_EQ(tevra_json_decodeex("[[]]", 4, level - 1, &consumed), nullptr);
}

TEST_F(Json_, ReportsTheBytesConsumed) {
    struct Case {
        const char *text;
        int consumed;
    } cases[] = {{"01", 1}, {"falsey", 5}, {"[ 1 ] x", 6}, {R"("a\"b" rest)", 6}, {"-1.5e3,", 6}};
    for (const Case &c : cases) {
        int consumed = -1;
        Json v(tevra_json_decodeex(c.text, static_cast<int>(std::strlen(c.text)), 0, &consumed));
        EXPECT_NE(v, nullptr) << c.text;
        EXPECT_EQ(consumed, c.consumed) << c.text;
    }
    int consumed = -1;
    Json key(tevra_json_decodestring("'ab\"", 4, &consumed));
    EXPECT_EQ(tevra_json_getstringlength(key.get()), 2);
    EXPECT_EQ(consumed, 4);
    EXPECT_EQ(tevra_json_decodestring("\"", 1, &consumed), nullptr);
    EXPECT_EQ(tevra_json_decodeex("1", 1, 0, nullptr), nullptr);
}

TEST_F(Json_, ComparesKindsThenContents) {
    struct Case {
        const char *a, *b;
        int sign;
    } cases[] = {
        {R"("abc")", R"("ab")", 1},
        {R"("ab")", R"("abc")", 0},
        {R"("")", R"("x")", 0},
        {R"("x")", R"("")", 1},
        {R"("")", R"("")", 0},
        {R"("b")", R"("a")", 1},
        {R"("a")", "1", -1},
        {"2", "1", 1},
        {"false", "true", -1},
        {"null", "null", 0},
        {"{}", "[]", -1},
        {"[1]", "[0,0]", -1},
        {"[1,2]", "[1,3]", -1},
        {R"({"a":1,"b":2})", R"({"b":2,"a":1})", -1},
        {R"({"a":2})", R"({"a":1})", 1},
    };
    auto sign = [](int r) { return (r > 0) - (r < 0); };
    for (const Case &c : cases) {
        Json a = parse(c.a), b = parse(c.b);
        EXPECT_EQ(sign(tevra::detail::comparejson(a.get(), b.get())), c.sign) << c.a << " " << c.b;
    }
    Json x = parse("1");
    EXPECT_EQ(tevra::detail::comparejson(nullptr, x.get()), -1);
    EXPECT_EQ(tevra::detail::comparejson(nullptr, nullptr), 0);
}

TEST_F(Json_, TraversesOneObjectLevel) {
    Json obj = parse(R"({"a":{"x":1},"b":2,"c":3})"), arr = parse("[1]"), empty = parse("{}");
    int calls = 0;
    EXPECT_EQ(tevra_json_traverse(arr.get(), count_members, &calls), 0);
    EXPECT_EQ(tevra_json_traverse(empty.get(), count_members, &calls), 1);
    EXPECT_EQ(tevra_json_traverse(obj.get(), nullptr, &calls), 0);
    EXPECT_EQ(calls, 0);
    // The callback answers 2 on its second call, which stops the walk.
    EXPECT_EQ(tevra_json_traverse(obj.get(), count_members, &calls), 0);
    EXPECT_EQ(calls, 2);
}

TEST_F(Json_, AllocationFailuresLeaveNothingBehind) {
    const std::string text = R"(  {"k":[1,2.5,"\u00e9x",{"n":null,"t":[true,false]}],"s":")" +
                             std::string(300, 'y') + "\",\"z\":[[]]}";
    tevra_test::until_allocations_suffice([&] { return Json(parse(text)) != nullptr; });
    Json tree = parse(text);
    ASSERT_NE(tree, nullptr);
    tevra_test::until_allocations_suffice(
        [&] { return Json(tevra_json_dup(tree.get())) != nullptr; });
    tevra_test::until_allocations_suffice(
        [&] { return encode(tree.get(), 0x90100000) != "<fail>"; });
    tevra_test::until_allocations_suffice([&] {
        Json n(tevra_json_newnumber(1));
        return n && tevra_json_updateobjectitem(tree.get(), "k", 1, n.get()) == 1;
    });
    EXPECT_EQ(encode(tevra_json_getobjectvalue(tree.get(), "k", 1)), "1");
}
