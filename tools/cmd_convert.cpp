// tevra convert: re-encode text from one character set to another.
#include <algorithm>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"
#include "cli.h"

namespace cli {

namespace {

const char kUsage[] = "usage: tevra convert --from CHARSET --to CHARSET [FILE]\n"
                      "\n"
                      "Converts FILE (or standard input) from one character set to another and\n"
                      "writes the result to standard output. UTF-8, ASCII, UTF-16BE/LE and\n"
                      "UTF-32BE/LE are handled directly, any other name through iconv.\n";

std::string upper(std::string s) {
    for (char &c : s)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return s;
}

// Owns one string.
struct Holder {
    TEVRA_UString *s = nullptr;
    Holder() = default;
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;
    ~Holder() { tevra_ustring_free(s); }
};

// The library's named routes for UTF-16 and UTF-32 read a fixed 8 bytes, so
// whole inputs in those encodings go through the explicit-width constructors.
TEVRA_UString *decode_fixed(const std::string &name, const unsigned char *p, size_t n) {
    bool big = name.find("BE") != std::string::npos;
    if (name.rfind("UTF-16", 0) == 0) {
        if (n % 2 != 0)
            return nullptr;
        std::vector<unsigned short> units(n / 2);
        for (size_t i = 0; i < units.size(); ++i) {
            unsigned hi = p[2 * i + (big ? 0 : 1)], lo = p[2 * i + (big ? 1 : 0)];
            units[i] = static_cast<unsigned short>((hi << 8) | lo);
        }
        return units.empty()
                   ? tevra_ustring_newlength(nullptr, 0)
                   : tevra_ustring_newlength(units.data(), static_cast<long>(units.size()));
    }
    if (n % 4 != 0)
        return nullptr;
    std::vector<unsigned long> cps(n / 4);
    for (size_t i = 0; i < cps.size(); ++i) {
        unsigned long v = 0;
        for (int b = 0; b < 4; ++b)
            v = (v << 8) | p[4 * i + static_cast<size_t>(big ? b : 3 - b)];
        cps[i] = v;
    }
    return cps.empty() ? tevra_ustring_newutf32(nullptr, 0)
                       : tevra_ustring_newutf32(cps.data(), static_cast<long>(cps.size()));
}

bool is_fixed(const std::string &name) {
    return name == "UTF-16BE" || name == "UTF-16LE" || name == "UTF-32BE" || name == "UTF-32LE";
}

TEVRA_UString *decode(const std::string &name, const char *p, size_t n) {
    if (is_fixed(name))
        return decode_fixed(name, reinterpret_cast<const unsigned char *>(p), n);
    return tevra_ustring_newmbs(name.c_str(), p, static_cast<long>(n));
}

// The bytes of s in name, or false. UTF-32LE is produced from the
// big-endian form with every group turned around.
bool encode(const TEVRA_UString *s, const std::string &name, std::string &out) {
    char *buf = nullptr;
    long len = 0;
    bool swap = name == "UTF-32LE";
    if (tevra_ustring_tombs(s, swap ? "UTF-32BE" : name.c_str(), &buf, &len) != 1)
        return false;
    out.assign(buf, static_cast<size_t>(len));
    tevra_free(buf);
    if (swap)
        for (size_t i = 0; i + 4 <= out.size(); i += 4)
            std::reverse(out.begin() + static_cast<long>(i),
                         out.begin() + static_cast<long>(i) + 4);
    return true;
}

// Whether a name is one of the built-in routes or a set the converters
// (iconv or the application's hooks) accept; probed with empty input.
bool known_charset(const std::string &name) {
    if (is_fixed(name) || name == "UTF-8" || name == "ASCII")
        return true;
    unsigned short unit = 0;
    char byte = 0;
    long n = 0;
    return tevra_imbstowcs(name.c_str(), "", 0, &unit, 1, &n) == 1 &&
           tevra_iwcstombs(name.c_str(), &unit, 0, &byte, 1, &n) == 1;
}

// Byte offset of the first piece of input that cannot be converted. Pieces
// that convert are consumed in growing steps; a failing step is halved until
// no piece of one to four bytes at the current offset converts.
size_t locate_failure(const std::string &data,
                      const std::function<bool(const char *, size_t)> &converts) {
    size_t pos = 0, step = 4096;
    while (pos < data.size()) {
        size_t left = data.size() - pos;
        bool advanced = false;
        for (size_t extra = 0; extra < 4 && !advanced; ++extra) {
            size_t len = std::min(step + extra, left);
            if (converts(data.data() + pos, len)) {
                pos += len;
                advanced = true;
            } else if (len == left) {
                break;
            }
        }
        if (advanced) {
            step = std::min<size_t>(step * 2, 1 << 20);
            continue;
        }
        if (step == 1)
            return pos;
        step /= 2;
    }
    return data.size();
}

} // namespace

int cmd_convert(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    std::string error, path;
    if (!opt.parse(args, {{"--from", true}, {"--to", true}}, error) ||
        !single_input(opt, "convert", path, error))
        return fail(error);
    std::string from = opt.value("--from"), to = opt.value("--to");
    if (from.empty() || to.empty())
        return fail("convert needs --from CHARSET and --to CHARSET");
    std::string data;
    if (!read_whole(path, data, error))
        return fail(error);
    std::string src = upper(from), dst = upper(to);
    for (const std::string *name : {&from, &to})
        if (!known_charset(upper(*name)))
            return fail("unknown character set '" + *name + "'");

    Holder text;
    text.s = decode(src, data.data(), data.size());
    if (text.s == nullptr) {
        size_t at = locate_failure(data, [&](const char *p, size_t n) {
            Holder piece;
            piece.s = decode(src, p, n);
            return piece.s != nullptr;
        });
        return fail("cannot convert from " + from + ": invalid input at byte offset " +
                    std::to_string(at));
    }
    std::string out;
    if (!encode(text.s, dst, out)) {
        size_t at = locate_failure(data, [&](const char *p, size_t n) {
            Holder piece;
            piece.s = decode(src, p, n);
            std::string ignored;
            return piece.s != nullptr && encode(piece.s, dst, ignored);
        });
        return fail("cannot convert to " + to +
                    ": no representation for the character at byte offset " + std::to_string(at));
    }
    return write_out(out) ? 0 : output_failed();
}

} // namespace cli
