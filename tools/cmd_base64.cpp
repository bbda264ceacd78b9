// tevra base64: Base64 encoding and decoding through the Base64 filter.
#include <cstdlib>

#include "cli.h"
#include "cli_base64.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: tevra base64 encode|decode [OPTIONS] [--] [FILE]\n"
    "\n"
    "Encodes FILE (or standard input) as Base64, or decodes Base64 text back\n"
    "to bytes, and writes the result to standard output.\n"
    "\n"
    "options:\n"
    "  --url            use the URL-safe alphabet ('-' and '_')\n"
    "  --no-padding     write no '=' padding; when decoding, expect none\n"
    "  --line N         encode: characters per line (default 64)\n"
    "  --eol MODE       encode: line ending, one of lf (default), crlf, cr, none\n"
    "  --strict         decode: allow line breaks only, not blanks\n";

struct Settings {
    unsigned int options = 0;
    unsigned int eol = TEVRA_BASE64_LF;
    int line = 64;
    unsigned int decode_mode = TEVRA_BASE64_LF;
};

bool parse_line(const std::string &value, int &line, std::string &error) {
    char *end = nullptr;
    long n = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || n < 1 || n > 1000000) {
        error = "bad line length '" + value + "'";
        return false;
    }
    line = static_cast<int>(n);
    return true;
}

bool parse_eol(const std::string &value, unsigned int &eol, std::string &error) {
    static const struct {
        const char *name;
        unsigned int mode;
    } kModes[] = {{"cr", TEVRA_BASE64_CR},
                  {"crlf", TEVRA_BASE64_CRLF},
                  {"lf", TEVRA_BASE64_LF},
                  {"none", TEVRA_BASE64_NO_LINES}};
    for (const auto &m : kModes)
        if (value == m.name) {
            eol = m.mode;
            return true;
        }
    error = "bad line ending '" + value + "' (lf, crlf, cr or none)";
    return false;
}

bool parse(const Options &opt, bool encoding, Settings &s, std::string &error) {
    if (!opt.refuse(encoding ? std::initializer_list<const char *>{"--strict"}
                             : std::initializer_list<const char *>{"--line", "--eol"},
                    encoding ? "base64 encode" : "base64 decode", error))
        return false;
    if (opt.has("--url"))
        s.options |= TEVRA_BASE64_URL_SAFE;
    if (opt.has("--no-padding"))
        s.options |= TEVRA_BASE64_NO_PADDING;
    if (opt.has("--strict"))
        s.decode_mode = TEVRA_BASE64_CRLF;
    return (!opt.has("--line") || parse_line(opt.value("--line"), s.line, error)) &&
           (!opt.has("--eol") || parse_eol(opt.value("--eol"), s.eol, error));
}

int encode(ChunkReader &in, const Settings &s) {
    // The tool always ends a non-empty text with a line ending.
    static const char *const kEol[] = {"", "\r", "\r\n", "\n", "\n"};
    std::string error;
    Base64Encoder encoder;
    if (!encoder.open(s.eol | s.options, s.line, error))
        return fail(error);
    if (int status = feed(in, encoder))
        return status;
    return encoder.finish(kEol[s.eol], error) ? 0 : fail_run(error);
}

int decode(ChunkReader &in, const Settings &s) {
    std::string error;
    Base64Decoder decoder;
    if (!decoder.open(s.decode_mode | s.options, error))
        return fail(error);
    if (int status = feed(in, decoder))
        return status;
    return decoder.finish(error) ? 0 : fail_run(error);
}

} // namespace

int cmd_base64(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    Settings s;
    std::string error, operation, path;
    if (!opt.parse(args,
                   {{"--url", false},
                    {"--no-padding", false},
                    {"--strict", false},
                    {"--line", true},
                    {"--eol", true}},
                   error) ||
        !take_operation(opt, "base64", {"encode", "decode"}, operation, error) ||
        !parse(opt, operation == "encode", s, error) || !single_input(opt, "base64", path, error))
        return fail(error);
    ChunkReader in;
    if (!in.open(path, error))
        return fail(error);
    return operation == "encode" ? encode(in, s) : decode(in, s);
}

} // namespace cli
