// tevra convert: re-encode text from one character set to another, a chunk
// at a time, each chunk cut on a character boundary.
#include <algorithm>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"
#include "cli.h"

namespace cli {

namespace {

const char kUsage[] = "usage: tevra convert --from CHARSET --to CHARSET [--] [FILE]\n"
                      "\n"
                      "Converts FILE (or standard input) from one character set to another and\n"
                      "writes the result to standard output. UTF-8, ASCII, UTF-16BE/LE and\n"
                      "UTF-32BE/LE are handled directly, any other name through iconv. Input is\n"
                      "read in pieces, except for character sets whose bytes depend on what came\n"
                      "before (such as ISO-2022-JP or UTF-16 with a byte-order mark), which are\n"
                      "converted in one piece.\n";

using String = cli::Owned<TEVRA_UString, tevra_ustring_free>;

enum class Route { Utf8, Ascii, Utf16Be, Utf16Le, Utf32Be, Utf32Le, Named };

// A character set as the user named it, its route, and for named sets
// whether pieces may be converted separately and cut after a line feed.
struct Charset {
    std::string name, key;
    Route route = Route::Named;
    bool chunk_safe = true;
    bool cut_at_line_feed = false;
};

std::string upper(std::string s) {
    for (char &c : s)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return s;
}

Route route_of(const std::string &key) {
    static const struct {
        const char *name;
        Route route;
    } kRoutes[] = {{"UTF-8", Route::Utf8},       {"ASCII", Route::Ascii},
                   {"UTF-16BE", Route::Utf16Be}, {"UTF-16LE", Route::Utf16Le},
                   {"UTF-32BE", Route::Utf32Be}, {"UTF-32LE", Route::Utf32Le}};
    for (const auto &r : kRoutes)
        if (key == r.name)
            return r.route;
    return Route::Named;
}

// Reads a big- or little-endian integer of width bytes.
unsigned long load(const unsigned char *p, int width, bool big) {
    unsigned long v = 0;
    for (int b = 0; b < width; ++b)
        v = (v << 8) | p[big ? b : width - 1 - b];
    return v;
}

// The library's named UTF-16 and UTF-32 routes read a fixed 8 bytes, so those
// inputs are assembled here and go through the explicit-width constructors.
String decode_fixed(bool wide32, bool big, const unsigned char *p, size_t n) {
    int width = wide32 ? 4 : 2;
    if (n % static_cast<size_t>(width) != 0)
        return nullptr;
    size_t count = n / static_cast<size_t>(width);
    if (wide32) {
        std::vector<unsigned long> cps(count);
        for (size_t i = 0; i < count; ++i)
            cps[i] = load(p + 4 * i, 4, big);
        return String(tevra_ustring_newutf32(cps.data(), static_cast<long>(count)));
    }
    std::vector<unsigned short> units(count);
    for (size_t i = 0; i < count; ++i)
        units[i] = static_cast<unsigned short>(load(p + 2 * i, 2, big));
    return String(tevra_ustring_newlength(units.data(), static_cast<long>(count)));
}

String decode(const Charset &cs, const unsigned char *p, size_t n) {
    auto length = static_cast<long>(n);
    switch (cs.route) {
    case Route::Utf8:
        return String(tevra_ustring_newutf8(p, length));
    case Route::Ascii:
        return String(tevra_ustring_newascii(reinterpret_cast<const char *>(p), length));
    case Route::Utf16Be:
    case Route::Utf16Le:
    case Route::Utf32Be:
    case Route::Utf32Le:
        return decode_fixed(cs.route == Route::Utf32Be || cs.route == Route::Utf32Le,
                            cs.route == Route::Utf16Be || cs.route == Route::Utf32Be, p, n);
    case Route::Named:
        break;
    }
    return String(tevra_ustring_newmbs(cs.key.c_str(), reinterpret_cast<const char *>(p), length));
}

// The bytes of s in cs, or false. UTF-32LE is made from the big-endian form
// with every group turned around (the library's own route turns only every
// fourth group).
bool encode(const TEVRA_UString *s, const Charset &cs, std::string &out) {
    char *buf = nullptr;
    long len = 0;
    bool swap = cs.route == Route::Utf32Le;
    if (tevra_ustring_tombs(s, swap ? "UTF-32BE" : cs.key.c_str(), &buf, &len) != 1)
        return false;
    out.assign(buf, static_cast<size_t>(len));
    tevra_free(buf);
    if (swap)
        for (size_t i = 0; i + 4 <= out.size(); i += 4)
            std::reverse(out.begin() + static_cast<long>(i),
                         out.begin() + static_cast<long>(i) + 4);
    return true;
}

// Whether a named set can be converted piece by piece: a run of each probe
// character must come back from its own bytes, and the bytes of two runs
// must be the bytes of each, one after the other. Sets with a byte-order
// mark, shift sequences or a header fail this. (Runs rather than single
// characters, because the library gives the iconv routes four bytes of room
// per character, too little for a shift sequence and one character.)
bool probe_chunk_safe(const Charset &cs) {
    static const unsigned long kProbe[] = {0x61,   0x0A,   0xE9,   0x416,  0x20AC,
                                           0x3042, 0x4E2D, 0xFEFF, 0x1F600};
    constexpr size_t kRun = 4;
    auto run_of = [](std::initializer_list<unsigned long> cps) {
        std::vector<unsigned long> v;
        for (unsigned long cp : cps)
            v.insert(v.end(), kRun, cp);
        return String(tevra_ustring_newutf32(v.data(), static_cast<long>(v.size())));
    };
    std::vector<std::string> bytes;
    std::vector<unsigned long> encodable;
    for (unsigned long cp : kProbe) {
        String s = run_of({cp});
        std::string b;
        if (!s || !encode(s.get(), cs, b))
            continue;
        String back(decode(cs, reinterpret_cast<const unsigned char *>(b.data()), b.size()));
        if (!back || tevra_ustring_cmp(back.get(), s.get()) != 0)
            return false;
        bytes.push_back(b);
        encodable.push_back(cp);
    }
    for (size_t i = 0; i < encodable.size(); ++i)
        for (size_t j = 0; j < encodable.size(); ++j) {
            String s = run_of({encodable[i], encodable[j]});
            std::string b;
            if (!s || !encode(s.get(), cs, b) || b != bytes[i] + bytes[j])
                return false;
        }
    // A set that encodes too few of the probes cannot be judged.
    return encodable.size() >= 2;
}

// A line feed is a whole character on its own in a set that writes it as the
// single byte 0A; a piece may then end after one.
bool probe_line_feed(const Charset &cs) {
    String s(tevra_ustring_newascii("\n", 1));
    std::string b;
    return s && encode(s.get(), cs, b) && b == "\n";
}

// Whether a name is one of the built-in routes or a set the converters
// (iconv or the application's hooks) accept; probed with empty input.
bool known_charset(const Charset &cs) {
    if (cs.route != Route::Named)
        return true;
    unsigned short unit = 0;
    char byte = 0;
    long n = 0;
    return tevra_imbstowcs(cs.key.c_str(), "", 0, &unit, 1, &n) == 1 &&
           tevra_iwcstombs(cs.key.c_str(), &unit, 0, &byte, 1, &n) == 1;
}

bool make_charset(const std::string &name, Charset &cs, std::string &error) {
    cs.name = name;
    cs.key = upper(name);
    cs.route = route_of(cs.key);
    if (!known_charset(cs)) {
        error = "unknown character set '" + name + "'";
        return false;
    }
    if (cs.route == Route::Named) {
        cs.chunk_safe = probe_chunk_safe(cs);
        cs.cut_at_line_feed = cs.chunk_safe && probe_line_feed(cs);
    }
    return true;
}

// Length of the longest prefix of p[0, n) that holds only whole characters,
// for the built-in routes (more bytes follow).
size_t whole_characters(Route route, const unsigned char *p, size_t n) {
    switch (route) {
    case Route::Utf8: {
        // Back over continuation bytes to the last lead byte; keep its
        // sequence for the next piece when it is not complete yet.
        size_t i = n;
        while (i > 0 && n - i < 4 && (p[i - 1] & 0xC0) == 0x80)
            --i;
        if (i == 0)
            return n; // no lead byte: invalid, which decoding reports
        unsigned char lead = p[i - 1];
        size_t need = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        return n - (i - 1) < need ? i - 1 : n;
    }
    case Route::Utf16Be:
    case Route::Utf16Le: {
        size_t m = n - n % 2;
        bool big = route == Route::Utf16Be;
        // A high surrogate waits for its partner.
        return m >= 2 && (load(p + m - 2, 2, big) & 0xFC00) == 0xD800 ? m - 2 : m;
    }
    case Route::Utf32Be:
    case Route::Utf32Le:
        return n - n % 4;
    default:
        return n;
    }
}

// Byte offset of the first piece of input that cannot be converted. Pieces
// that convert are consumed in growing steps; a failing step is halved until
// no piece of one to four bytes at the current offset converts.
size_t locate_failure(const unsigned char *data, size_t size,
                      const std::function<bool(const unsigned char *, size_t)> &converts) {
    size_t pos = 0, step = 4096;
    while (pos < size) {
        size_t left = size - pos;
        bool advanced = false;
        for (size_t extra = 0; extra < 4 && !advanced; ++extra) {
            size_t len = std::min(step + extra, left);
            if (converts(data + pos, len)) {
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
    return size;
}

class Converter {
  public:
    Converter(const Charset &from, const Charset &to) : from_(from), to_(to) {}

    // How many leading bytes of a piece to convert now; the rest waits for
    // the bytes that follow. last: nothing follows.
    size_t usable(const unsigned char *p, size_t n, bool last) const {
        if (last)
            return n;
        if (!from_.chunk_safe || !to_.chunk_safe)
            return 0;
        if (from_.route != Route::Named)
            return whole_characters(from_.route, p, n);
        if (from_.cut_at_line_feed) {
            auto *end = static_cast<const unsigned char *>(memrchr(p, '\n', n));
            if (end != nullptr)
                return static_cast<size_t>(end - p) + 1;
        }
        return n;
    }

    // Converts p[0, n) and writes the result; with more bytes to come, a named
    // set may leave up to 8 bytes of an unfinished character unconverted.
    // Returns the bytes used, or false with a message.
    bool convert(const unsigned char *p, size_t n, bool last, unsigned long long offset,
                 size_t &used, std::string &error) {
        used = n;
        String text = n > 0 ? decode(from_, p, n) : String(tevra_ustring_newlength(nullptr, 0));
        // A piece ending inside a character leaves up to 8 bytes for later,
        // maybe all of it when it is that short.
        for (size_t back = 1;
             !text && !last && from_.route == Route::Named && back <= 8 && back <= n; ++back) {
            used = n - back;
            if (used == 0)
                return true;
            text = decode(from_, p, used);
        }
        if (!text) {
            size_t at = locate_failure(p, n, [&](const unsigned char *q, size_t m) {
                return decode(from_, q, m) != nullptr;
            });
            error = "cannot convert from " + from_.name + ": invalid input at byte offset " +
                    std::to_string(offset + at);
            return false;
        }
        std::string out;
        if (!encode(text.get(), to_, out)) {
            size_t at = locate_failure(p, used, [&](const unsigned char *q, size_t m) {
                String piece = decode(from_, q, m);
                std::string ignored;
                return piece && encode(piece.get(), to_, ignored);
            });
            error = "cannot convert to " + to_.name +
                    ": no representation for the character at byte offset " +
                    std::to_string(offset + at);
            return false;
        }
        if (!write_out(out)) {
            error = "cannot write standard output";
            return false;
        }
        return true;
    }

  private:
    const Charset &from_, &to_;
};

int run(ChunkReader &in, const Charset &from, const Charset &to) {
    Converter converter(from, to);
    std::string error;
    size_t keep = 0;
    for (bool more = in.next();; more = in.next(keep)) {
        if (in.failed())
            return fail(in.error());
        bool last = in.at_end();
        size_t use = converter.usable(in.data(), in.size(), last), used = 0;
        if (use > 0 && !converter.convert(in.data(), use, last, in.offset(), used, error))
            return fail_run(error);
        keep = in.size() - used;
        if (!more)
            return 0;
    }
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
    if (opt.value("--from").empty() || opt.value("--to").empty())
        return fail("convert needs --from CHARSET and --to CHARSET");
    Charset from, to;
    if (!make_charset(opt.value("--from"), from, error) ||
        !make_charset(opt.value("--to"), to, error))
        return fail(error);
    ChunkReader in;
    if (!in.open(path, error))
        return fail(error);
    return run(in, from, to);
}

} // namespace cli
