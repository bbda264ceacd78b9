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
    StreamPtr chain(tevra_stream_new_mem(0, &ctx));
    if (!chain)
        return fail(describe(ctx));
    TEVRA_Stream *mem = chain.get();
    TEVRA_Stream *hex = tevra_stream_new_hex(upper ? 1 : 0, &ctx);
    if (hex == nullptr || tevra_stream_push(hex, mem) != 1) {
        tevra_stream_free(hex);
        return fail(describe(ctx));
    }
    chain.release();
    chain.reset(hex);
    if (tevra_stream_writen(hex, data.data(), static_cast<long>(data.size()), &ctx) != 1 ||
        (!data.empty() && tevra_stream_writen(mem, "\n", 1, &ctx) != 1))
        return fail(describe(ctx));
    tevra_stream_ctrl(mem, TEVRA_STREAM_CTRL_RESET, nullptr, nullptr);
    if (!copy_to_output(mem, error))
        return fail(error);
    return 0;
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
    TEVRA_Stream *hex = tevra_stream_new_hex(0, &ctx);
    if (hex == nullptr || tevra_stream_push(hex, chain.get()) != 1) {
        tevra_stream_free(hex);
        return fail(describe(ctx));
    }
    chain.release();
    chain.reset(hex);
    // Decoded in full first, so that bad input writes nothing but the error.
    StreamPtr out(tevra_stream_new_mem(static_cast<long>(text.size() / 2), &ctx));
    if (!out)
        return fail(describe(ctx));
    if (!pump(hex, out.get(), error))
        return fail("invalid hex input: " + error);
    tevra_stream_ctrl(out.get(), TEVRA_STREAM_CTRL_RESET, nullptr, nullptr);
    if (!copy_to_output(out.get(), error))
        return fail(error);
    return 0;
}

} // namespace

int cmd_hex(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    codec::Arguments a;
    std::string error;
    if (!codec::split(args, {}, a, error))
        return fail(error);
    bool upper = false;
    for (const auto &option : a.options) {
        if (option.first != "--upper")
            return fail("unknown option '" + option.first + "'");
        upper = true;
    }
    if (a.positional.size() > 1)
        return fail("hex takes at most one file");
    std::string path = a.positional.empty() ? std::string() : a.positional[0];
    if (a.operation == "encode")
        return encode(path, upper);
    if (a.operation == "decode")
        return decode(path);
    return fail(a.operation.empty() ? "hex needs 'encode' or 'decode'"
                                    : "unknown hex operation '" + a.operation + "'");
}

} // namespace cli
