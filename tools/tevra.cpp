// tevra: try the library's capabilities from the shell.
#include <malloc.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli.h"

namespace {

// Every subcommand, in the order --help lists them.
const cli::Command kCommands[] = {
    {"version", "print the library's version banner", cli::cmd_version},
    {"base64", "encode or decode Base64", cli::cmd_base64},
    {"hex", "encode or decode hexadecimal text", cli::cmd_hex},
    {"pem", "wrap bytes in a PEM block or unwrap one", cli::cmd_pem},
    {"convert", "re-encode text from one character set to another", cli::cmd_convert},
    {"charset", "print the character set of the locale environment", cli::cmd_charset},
    {"bigint", "generate a random prime or evaluate big-integer arithmetic", cli::cmd_bigint},
    {"time", "convert times between UTC and zones, add to them, diff them", cli::cmd_time},
    {"normalize", "bring UTF-8 text into a Unicode normalization form", cli::cmd_normalize},
    {"casefold", "apply full Unicode case folding to UTF-8 text", cli::cmd_casefold},
    {"json", "pretty-print, compact or check a JSON document", cli::cmd_json},
    {"idn", "convert domain names between Unicode and ASCII", cli::cmd_idn},
    {"ldapprep", "prepare strings for LDAP matching", cli::cmd_ldapprep},
};

int print_help(FILE *out) {
    std::fputs("usage: tevra COMMAND [ARGS...]\n\ncommands:\n", out);
    for (const cli::Command &c : kCommands)
        std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
    std::fputs("\nRun 'tevra COMMAND --help' for a command's options.\n", out);
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    // Streaming commands allocate and release buffers of a few hundred
    // kilobytes per chunk; keeping them on the heap instead of mapping and
    // unmapping each one saves a page fault per page touched.
    mallopt(M_MMAP_THRESHOLD, 16 << 20);
    mallopt(M_TRIM_THRESHOLD, 32 << 20);
    if (argc < 2) {
        print_help(stderr);
        return 1;
    }
    std::string name = argv[1];
    if (name == "-h" || name == "--help" || name == "help")
        return cli::finish_output(print_help(stdout));
    std::vector<std::string> args(argv + 2, argv + argc);
    for (const cli::Command &c : kCommands)
        if (name == c.name)
            return cli::finish_output(c.run(args));
    return cli::fail("unknown command '" + name + "' (see 'tevra --help')");
}
