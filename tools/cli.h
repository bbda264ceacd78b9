// Shared plumbing of the tevra command-line tool.
#ifndef TEVRA_CLI_H
#define TEVRA_CLI_H

#include <string>
#include <vector>

namespace cli {

// One subcommand: "tevra NAME ARGS..." runs run(args) where args excludes NAME.
struct Command {
    const char *name;
    const char *summary;
    int (*run)(const std::vector<std::string> &args);
};

// Prints "tevra: MESSAGE" on standard error and returns exit status 1.
int fail(const std::string &message);

// True when the arguments ask for help (-h or --help anywhere).
bool wants_help(const std::vector<std::string> &args);

// Prints text on standard output and returns 0.
int usage(const char *text);

// Reads a whole file ("-" or empty for standard input). False with a message in
// error on failure.
bool read_input(const std::string &path, std::string &data, std::string &error);

// Writes bytes to standard output; false on a write error.
bool write_output(const void *data, size_t length);

// Subcommand entry points.
int cmd_version(const std::vector<std::string> &args);
int cmd_base64(const std::vector<std::string> &args);
int cmd_hex(const std::vector<std::string> &args);
int cmd_pem(const std::vector<std::string> &args);
int cmd_convert(const std::vector<std::string> &args);
int cmd_charset(const std::vector<std::string> &args);
int cmd_bigint(const std::vector<std::string> &args);

} // namespace cli

#endif
