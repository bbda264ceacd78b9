// tevra hex: hexadecimal encoding and decoding with the one-shot hex codec,
// a chunk at a time.
#include <cstdio>

#include "TEVRA_Stream.h"
#include "TEVRA_Util.h"
#include "cli.h"

namespace cli {

namespace {

const char kUsage[] = "usage: tevra hex encode [--upper] [--] [FILE]\n"
                      "       tevra hex decode [--] [FILE]\n"
                      "\n"
                      "encode writes two hex digits per byte of FILE (or standard input) on one\n"
                      "line. decode turns hex digits of either case back into bytes; line breaks\n"
                      "and blanks may stand between digit pairs (as in 'xxd -p' output).\n"
                      "\n"
                      "options:\n"
                      "  --upper   encode with upper-case digits\n";

bool is_blank(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool is_hex_digit(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// "'G'" for a printable byte, "byte 0x80" for others.
std::string show_byte(unsigned char c) {
    char text[16];
    if (c > ' ' && c < 0x7f)
        std::snprintf(text, sizeof text, "'%c'", c);
    else
        std::snprintf(text, sizeof text, "byte 0x%02x", c);
    return text;
}

// Writes the bytes of an even number of hex digits, known to be valid.
bool emit_decoded(const std::string &digits, std::string &error) {
    if (digits.empty())
        return true;
    unsigned char *bytes = nullptr;
    long length = 0;
    if (tevra_hexdecode(reinterpret_cast<const unsigned char *>(digits.data()),
                        static_cast<long>(digits.size()), &bytes, &length) != 1) {
        error = "out of memory";
        return false;
    }
    bool written = write_out(bytes, static_cast<size_t>(length));
    tevra_free(bytes);
    error = "cannot write standard output";
    return written;
}

int decode(ChunkReader &in) {
    std::string digits, error;
    unsigned long long odd_at = 0; // offset of a digit still waiting for its pair
    while (in.next()) {
        // An odd digit left from the previous chunk comes first.
        digits.erase(0, digits.size() - digits.size() % 2);
        for (size_t i = 0; i < in.size(); ++i) {
            unsigned char c = in.data()[i];
            unsigned long long at = in.offset() + i;
            if (is_hex_digit(c)) {
                if (digits.size() % 2 == 0)
                    odd_at = at;
                digits += static_cast<char>(c);
            } else if (!is_blank(c) || digits.size() % 2 != 0) {
                return fail_run("invalid hex input: " + show_byte(c) + " at byte offset " +
                                std::to_string(at) +
                                (is_blank(c) ? " splits a digit pair" : " is not a hex digit"));
            }
        }
        if (!emit_decoded(digits.substr(0, digits.size() - digits.size() % 2), error))
            return fail_run(error);
    }
    if (in.failed())
        return fail(in.error());
    if (digits.size() % 2 != 0)
        return fail_run("invalid hex input: odd number of digits (the digit at byte offset " +
                        std::to_string(odd_at) + " has no pair)");
    return 0;
}

int encode(ChunkReader &in, bool upper) {
    bool any = false;
    while (in.next()) {
        unsigned char *text = nullptr;
        long length = 0;
        if (tevra_hexencode(upper ? 1 : 0, in.data(), static_cast<long>(in.size()), &text,
                            &length) != 1)
            return fail("out of memory");
        bool written = write_out(text, static_cast<size_t>(length));
        tevra_free(text);
        if (!written)
            return output_failed();
        any = true;
    }
    if (in.failed())
        return fail(in.error());
    return !any || write_out("\n", 1) ? 0 : output_failed();
}

} // namespace

int cmd_hex(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    std::string error, operation, path;
    if (!opt.parse(args, {{"--upper", false}}, error) ||
        !take_operation(opt, "hex", {"encode", "decode"}, operation, error) ||
        (operation == "decode" && !opt.refuse({"--upper"}, "hex decode", error)) ||
        !single_input(opt, "hex", path, error))
        return fail(error);
    ChunkReader in;
    if (!in.open(path, error))
        return fail(error);
    return operation == "encode" ? encode(in, opt.has("--upper")) : decode(in);
}

} // namespace cli
