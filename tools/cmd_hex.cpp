// tevra hex: hexadecimal encoding and decoding through the hex filter.
#include "TEVRA_Stream.h"
#include "cli.h"
#include "cli_io.h"
#include "cmd_codec.h"

namespace cli {

namespace {

const char kUsage[] = "usage: tevra hex encode|decode [--upper] [FILE]\n"
                      "\n"
                      "Encodes FILE (or standard input) as two hex digits per byte, followed by\n"
                      "a line feed, or decodes hex digits of either case back to bytes (line\n"
                      "breaks and blanks at the end of the text are ignored).\n"
                      "\n"
                      "options:\n"
                      "  --upper   encode with upper-case digits\n";

int encode(const std::string &path, bool upper) {
    std::string error, data;
    if (!codec::slurp(path, data, error))
        return fail(error);
    TEVRA_ErrCtx ctx{};
    TEVRA_Stream *mem = nullptr;
    StreamPtr chain(collect_through(tevra_stream_new_hex(upper ? 1 : 0, &ctx), &mem, ctx));
    if (!chain)
        return fail(describe(ctx));
    if (tevra_stream_writen(chain.get(), data.data(), static_cast<long>(data.size()), &ctx) != 1 ||
        (!data.empty() && tevra_stream_writen(mem, "\n", 1, &ctx) != 1))
        return fail(describe(ctx));
    return codec::emit_stream(mem, error) ? 0 : fail(error);
}

int decode(const std::string &path) {
    std::string error, text;
    if (!codec::slurp(path, text, error))
        return fail(error);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ' ||
                             text.back() == '\t'))
        text.pop_back();
    if (text.size() % 2 != 0)
        return fail("invalid hex input: odd number of digits");
    TEVRA_ErrCtx ctx{};
    StreamPtr chain(tevra_stream_new_romem(text.data(), static_cast<long>(text.size()), 0, &ctx));
    if (!chain)
        return fail(describe(ctx));
    if (!push_filter(chain, tevra_stream_new_hex(0, &ctx)))
        return fail(describe(ctx));
    // Decoded in full first, so that bad input writes nothing but the error.
    StreamPtr out(tevra_stream_new_mem(static_cast<long>(text.size() / 2), &ctx));
    if (!out)
        return fail(describe(ctx));
    if (!pump(chain.get(), out.get(), error))
        return fail("invalid hex input: " + error);
    return codec::emit_stream(out.get(), error) ? 0 : fail(error);
}

int hex(const codec::Arguments &a) {
    bool upper = false;
    for (const auto &option : a.options) {
        if (option.first != "--upper")
            return fail("unknown option '" + option.first + "'");
        upper = true;
    }
    std::string path, error;
    bool encoding = true;
    if (!codec::single_file(a, "hex", path, error) || !codec::operation(a, "hex", encoding, error))
        return fail(error);
    return encoding ? encode(path, upper) : decode(path);
}

} // namespace

int cmd_hex(const std::vector<std::string> &args) {
    return codec::run(args, kUsage, {}, hex);
}

} // namespace cli
