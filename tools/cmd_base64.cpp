// tevra base64: Base64 encoding and decoding through the Base64 filter.
#include <cstdlib>

#include "TEVRA_Stream.h"
#include "TEVRA_Util.h"
#include "cli.h"
#include "cli_io.h"
#include "cmd_codec.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: tevra base64 encode|decode [OPTIONS] [FILE]\n"
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
    bool encode = true;
    unsigned int options = 0;
    unsigned int eol = TEVRA_BASE64_LF;
    int line = 64;
    unsigned int decode_mode = TEVRA_BASE64_LF;
    std::string path;
};

bool parse(const codec::Arguments &a, Settings &s, std::string &error) {
    if (!codec::operation(a, "base64", s.encode, error))
        return false;
    for (const auto &[name, value] : a.options) {
        if (name == "--url") {
            s.options |= TEVRA_BASE64_URL_SAFE;
        } else if (name == "--no-padding") {
            s.options |= TEVRA_BASE64_NO_PADDING;
        } else if (name == "--strict") {
            s.decode_mode = TEVRA_BASE64_CRLF;
        } else if (name == "--line") {
            char *end = nullptr;
            long n = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end != '\0' || n < 1 || n > 1000000) {
                error = "bad line length '" + value + "'";
                return false;
            }
            s.line = static_cast<int>(n);
        } else if (name == "--eol") {
            if (value == "cr")
                s.eol = TEVRA_BASE64_CR;
            else if (value == "crlf")
                s.eol = TEVRA_BASE64_CRLF;
            else if (value == "lf")
                s.eol = TEVRA_BASE64_LF;
            else if (value == "none")
                s.eol = TEVRA_BASE64_NO_LINES;
            else {
                error = "bad line ending '" + value + "' (lf, crlf, cr or none)";
                return false;
            }
        } else {
            error = "unknown option '" + name + "'";
            return false;
        }
    }
    return codec::single_file(a, "base64", s.path, error);
}

int encode(const Settings &s) {
    std::string error;
    StreamPtr in(open_input(s.path, error));
    if (!in)
        return fail(error);
    TEVRA_ErrCtx ctx{};
    TEVRA_Stream *mem = nullptr;
    StreamPtr chain(collect_through(
        tevra_stream_new_base64(s.eol | s.options, s.line, TEVRA_BASE64_CRLF, &ctx), &mem, ctx));
    if (!chain)
        return fail(describe(ctx));
    if (!pump(in.get(), chain.get(), error))
        return fail(error);
    unsigned char *text = nullptr;
    long length = 0;
    if (tevra_memstreamdeatch(mem, &text, &length) != 1)
        return fail("cannot collect the output");
    std::string out(reinterpret_cast<char *>(text), static_cast<size_t>(length));
    tevra_free(text);
    // A text whose last line is not full ends without a line ending; the
    // tool always ends its output with one.
    static const char *const kEol[] = {"", "\r", "\r\n", "\n", "\n"};
    std::string eol = kEol[s.eol];
    if (!out.empty() &&
        (out.size() < eol.size() || out.compare(out.size() - eol.size(), eol.size(), eol) != 0))
        out += eol;
    if (!codec::emit(out.data(), static_cast<long>(out.size()), error))
        return fail(error);
    return 0;
}

int decode(const Settings &s) {
    std::string error;
    StreamPtr chain(open_input(s.path, error));
    if (!chain)
        return fail(error);
    TEVRA_ErrCtx ctx{};
    if (!push_filter(
            chain, tevra_stream_new_base64(TEVRA_BASE64_CRLF, 64, s.decode_mode | s.options, &ctx)))
        return fail(describe(ctx));
    TEVRA_Stream *b64 = chain.get();
    // Collected first, so that bad input writes nothing but the error.
    StreamPtr out(tevra_stream_new_mem(0, &ctx));
    if (!out)
        return fail(describe(ctx));
    char buffer[8192];
    for (;;) {
        long count = 0;
        if (tevra_stream_read(b64, buffer, sizeof buffer, &count, &ctx) != 1 || count == 0)
            break;
        if (tevra_stream_writen(out.get(), buffer, count, &ctx) != 1)
            return fail(describe(ctx));
    }
    if (s.options & TEVRA_BASE64_NO_PADDING) {
        TEVRA_DataBlob *rest = nullptr;
        if (tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_PENDING, &rest, &ctx) != 1)
            return fail("invalid Base64 input: " + describe(ctx));
        int r = tevra_stream_writen(out.get(), rest->data, rest->length, &ctx);
        tevra_data_blob_free(rest);
        if (r != 1)
            return fail(describe(ctx));
    }
    if (tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, nullptr) != 1)
        return fail("invalid Base64 input: " + (ctx.next == ctx.start
                                                    ? std::string("incomplete final group")
                                                    : describe(ctx)));
    return codec::emit_stream(out.get(), error) ? 0 : fail(error);
}

int base64(const codec::Arguments &a) {
    Settings s;
    std::string error;
    if (!parse(a, s, error))
        return fail(error);
    return s.encode ? encode(s) : decode(s);
}

} // namespace

int cmd_base64(const std::vector<std::string> &args) {
    return codec::run(args, kUsage, {"--line", "--eol"}, base64);
}

} // namespace cli
