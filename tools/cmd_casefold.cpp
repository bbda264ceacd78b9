// tevra casefold: full Unicode case folding of UTF-8 text.
#include "TEVRA_UString.h"
#include "cli.h"
#include "cli_unicode.h"

namespace cli {

namespace {

const char kUsage[] = "usage: tevra casefold [--closure] [--] [FILE]\n"
                      "\n"
                      "Writes FILE (or standard input), UTF-8 text, with full case folding\n"
                      "applied. The result is not normalized.\n"
                      "\n"
                      "options:\n"
                      "  --closure   also apply the FC_NFKC closure, for text that will be\n"
                      "              brought to NFKC afterwards\n";

} // namespace

int cmd_casefold(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    std::string error, path;
    if (!opt.parse(args, {{"--closure", false}}, error))
        return fail(error);
    if (!single_input(opt, "casefold", path, error))
        return fail(error);
    int mode = opt.has("--closure") ? 2 : 1;
    return transform_lines(
        path, [mode](const TEVRA_UString *s) { return tevra_ustring_tocasefold(s, mode); });
}

} // namespace cli
