// tevra normalize: brings UTF-8 text into a Unicode normalization form.
#include "TEVRA_UString.h"
#include "cli.h"
#include "cli_unicode.h"

namespace cli {

namespace {

const char kUsage[] = "usage: tevra normalize --form nfc|nfd|nfkc|nfkd [--] [FILE]\n"
                      "\n"
                      "Writes FILE (or standard input), UTF-8 text, in the normalization form\n"
                      "chosen. Each line is normalized on its own.\n"
                      "\n"
                      "options:\n"
                      "  --form F   nfd, nfc, nfkd or nfkc (required)\n";

// The library's number for a form name; 0 for an unknown name.
int form_number(const std::string &name) {
    static const char *const kForms[] = {"nfd", "nfc", "nfkd", "nfkc"};
    for (int k = 0; k < 4; ++k)
        if (name == kForms[k])
            return k + 1;
    return 0;
}

} // namespace

int cmd_normalize(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    std::string error, path;
    if (!opt.parse(args, {{"--form", true}}, error))
        return fail(error);
    if (!opt.has("--form"))
        return fail("normalize needs --form nfc, nfd, nfkc or nfkd");
    int form = form_number(opt.value("--form"));
    if (form == 0)
        return fail("unknown normalization form '" + opt.value("--form") +
                    "' (nfc, nfd, nfkc or nfkd)");
    if (!single_input(opt, "normalize", path, error))
        return fail(error);
    return transform_lines(
        path, [form](const TEVRA_UString *s) { return tevra_ustring_normalize(s, form); });
}

} // namespace cli
