// tevra idn: domain names between Unicode and their ASCII form.
#include <string>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"
#include "cli.h"
#include "cli_lines.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: tevra idn to-ascii|to-unicode [--allow-unassigned] [--std3] [--allow-asterisk]\n"
    "                 [--file FILE | NAME...]\n\n"
    "Converts each NAME (UTF-8) between Unicode and its ASCII (\"xn--\") form and prints one\n"
    "line per name. Without NAME, converts every line of FILE or of standard input.\n"
    "  --allow-unassigned  accept code points unassigned in Unicode 5.0\n"
    "  --std3              allow only letters, digits and inner hyphens in labels\n"
    "  --allow-asterisk    with --std3, let \"*\" through (wildcard labels)\n";

struct IdnRun {
    bool to_ascii;
    unsigned allow_unassigned, use_std3, allow_asterisk;
};

// The converted name, or false with the reason in error.
bool convert(const IdnRun &run, const std::string &name, std::string &out, std::string &error) {
    TEVRA_UString *s = tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(name.data()),
                                             static_cast<long>(name.size()));
    if (s == nullptr) {
        error = "is not valid UTF-8";
        return false;
    }
    bool ok = false;
    if (run.to_ascii) {
        char *ascii = nullptr;
        long n = 0;
        ok = tevra_ustring_idn_toascii(s, run.allow_unassigned, run.use_std3, run.allow_asterisk,
                                       &ascii, &n) == 1;
        if (ok) {
            out.assign(ascii, static_cast<size_t>(n));
            tevra_free(ascii);
        } else {
            error = "is not a valid domain name (empty label, prohibited or unassigned code "
                    "point, mixed direction, or a label of more than 63 characters)";
        }
    } else {
        TEVRA_UString *u =
            tevra_ustring_idn_tounicode(s, run.allow_unassigned, run.use_std3, run.allow_asterisk);
        unsigned char *bytes = nullptr;
        long n = 0;
        ok = tevra_ustring_toutf8(u, &bytes, &n) == 1;
        if (ok) {
            out.assign(reinterpret_cast<char *>(bytes), static_cast<size_t>(n));
            tevra_free(bytes);
        } else {
            error = "could not be converted: out of memory";
        }
        tevra_ustring_free(u);
    }
    tevra_ustring_free(s);
    return ok;
}

bool convert_and_print(const IdnRun &run, const std::string &name, const std::string &where,
                       std::string &error) {
    std::string out;
    if (!convert(run, name, out, error)) {
        error = where + " " + error;
        return false;
    }
    out += '\n';
    if (!write_out(out)) {
        error = "cannot write standard output";
        return false;
    }
    return true;
}

} // namespace

int cmd_idn(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    std::string error, operation;
    if (!opt.parse(args,
                   {{"--allow-unassigned", false},
                    {"--std3", false},
                    {"--allow-asterisk", false},
                    {"--file", true}},
                   error) ||
        !take_operation(opt, "idn", {"to-ascii", "to-unicode"}, operation, error))
        return fail(error);
    if (opt.has("--file") && !opt.operands.empty())
        return fail("idn: give names or --file, not both");
    const IdnRun run{operation == "to-ascii", opt.has("--allow-unassigned") ? 1u : 0u,
                     opt.has("--std3") ? 1u : 0u, opt.has("--allow-asterisk") ? 1u : 0u};
    for (const std::string &name : opt.operands)
        if (!convert_and_print(run, name, "idn " + operation + ": '" + name + "'", error))
            return fail_run(error);
    if (!opt.operands.empty())
        return 0;
    bool ok = for_each_line(
        opt.value("--file"),
        [&](const std::string &line, long number, std::string &why) {
            return convert_and_print(run, line,
                                     "idn " + operation + ": line " + std::to_string(number), why);
        },
        error);
    return ok ? 0 : fail_run(error);
}

} // namespace cli
