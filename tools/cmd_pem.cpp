// tevra pem: PEM wrapping and unwrapping with the one-shot PEM codec.
#include "TEVRA_Stream.h"
#include "TEVRA_Util.h"
#include "cli.h"
#include "cli_io.h"
#include "cmd_codec.h"

namespace cli {

namespace {

const char kUsage[] = "usage: tevra pem encode|decode LABEL [FILE]\n"
                      "\n"
                      "encode wraps the bytes of FILE (or standard input) in a PEM block\n"
                      "\"-----BEGIN LABEL-----\" ... \"-----END LABEL-----\"; decode checks the\n"
                      "block's label and writes the decoded bytes.\n";

int pem(const codec::Arguments &a) {
    if (!a.options.empty())
        return fail("unknown option '" + a.options[0].first + "'");
    std::string error;
    bool encode = true;
    if (!codec::operation(a, "pem", encode, error))
        return fail(error);
    if (a.positional.empty() || a.positional[0].empty())
        return fail("pem needs a LABEL");
    if (a.positional.size() > 2)
        return fail("pem takes a label and at most one file");
    const std::string &label = a.positional[0];
    std::string input;
    if (!codec::slurp(a.positional.size() > 1 ? a.positional[1] : std::string(), input, error))
        return fail(error);
    const auto *in = reinterpret_cast<const unsigned char *>(input.data());
    long length = static_cast<long>(input.size());
    unsigned char *out = nullptr;
    long out_length = 0;
    if (encode) {
        if (length == 0)
            return fail("nothing to encode");
        if (tevra_pemencode(label.c_str(), in, length, &out, &out_length) != 1)
            return fail("cannot encode the input");
    } else if (tevra_pemdecode(label.c_str(), in, length, &out, &out_length) != 1) {
        return fail("invalid PEM input for label '" + label + "'");
    }
    bool ok = codec::emit(out, out_length, error);
    tevra_free(out);
    return ok ? 0 : fail(error);
}

} // namespace

int cmd_pem(const std::vector<std::string> &args) {
    return codec::run(args, kUsage, {}, pem);
}

} // namespace cli
