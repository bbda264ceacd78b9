// tevra ldapprep: prepares each line of the input for LDAP matching.
#include <string>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"
#include "cli.h"
#include "cli_lines.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: tevra ldapprep --type N [FILE]\n\n"
    "Prepares every line of FILE (or standard input), UTF-8, for LDAP matching and prints\n"
    "the results one a line. N is the string type:\n"
    "  0  case-exact string     (spaces collapsed)\n"
    "  1  case-ignore string    (case folded, spaces collapsed)\n"
    "  3  numeric string        (case folded, spaces removed)\n"
    "  4  telephone number      (spaces and hyphens removed)\n"
    "  5  telephone number      (case folded, spaces and hyphens removed)\n";

bool parse_type(const std::string &text, unsigned long &type) {
    if (text.size() != 1 || text[0] < '0' || text[0] > '5' || text[0] == '2')
        return false;
    type = static_cast<unsigned long>(text[0] - '0');
    return true;
}

bool prepare_line(unsigned long type, const std::string &line, long number, std::string &error) {
    const std::string where = "ldapprep: line " + std::to_string(number);
    TEVRA_UString *s = tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(line.data()),
                                             static_cast<long>(line.size()));
    if (s == nullptr) {
        error = "ldapprep: invalid UTF-8 in line " + std::to_string(number);
        return false;
    }
    TEVRA_UString *prepared = tevra_ustring_ldapi18nstringprep(type, s);
    tevra_ustring_free(s);
    unsigned char *bytes = nullptr;
    long n = 0;
    if (prepared == nullptr || tevra_ustring_toutf8(prepared, &bytes, &n) != 1) {
        tevra_ustring_free(prepared);
        error = where + " holds a prohibited or unassigned code point";
        return false;
    }
    tevra_ustring_free(prepared);
    bool written = write_out(bytes, static_cast<size_t>(n)) && write_out("\n", 1);
    tevra_free(bytes);
    if (!written)
        error = "cannot write standard output";
    return written;
}

} // namespace

int cmd_ldapprep(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    std::string error, path;
    if (!opt.parse(args, {{"--type", true}}, error) || !single_input(opt, "ldapprep", path, error))
        return fail(error);
    unsigned long type = 0;
    if (!opt.has("--type"))
        return fail("ldapprep needs --type N");
    if (!parse_type(opt.value("--type"), type))
        return fail("ldapprep: unknown string type '" + opt.value("--type") +
                    "' (0, 1, 3, 4 or 5)");
    bool ok = for_each_line(
        path,
        [&](const std::string &line, long number, std::string &why) {
            return prepare_line(type, line, number, why);
        },
        error);
    return ok ? 0 : fail_run(error);
}

} // namespace cli
