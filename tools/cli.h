// The tevra tool's subcommands. Each lives in its own cmd_*.cpp and is listed
// in tevra.cpp; the input/output helpers they share are in cli_io.h.
#ifndef TEVRA_CLI_H
#define TEVRA_CLI_H

#include <string>
#include <vector>

#include "cli_io.h"

namespace cli {

// One subcommand: "tevra NAME ARGS..." runs run(args) where args excludes NAME.
struct Command {
    const char *name;
    const char *summary;
    int (*run)(const std::vector<std::string> &args);
};

// Subcommand entry points.
int cmd_version(const std::vector<std::string> &args);
int cmd_base64(const std::vector<std::string> &args);
int cmd_hex(const std::vector<std::string> &args);
int cmd_pem(const std::vector<std::string> &args);
int cmd_convert(const std::vector<std::string> &args);
int cmd_charset(const std::vector<std::string> &args);
int cmd_bigint(const std::vector<std::string> &args);
int cmd_time(const std::vector<std::string> &args);
int cmd_normalize(const std::vector<std::string> &args);
int cmd_casefold(const std::vector<std::string> &args);
int cmd_json(const std::vector<std::string> &args);
int cmd_idn(const std::vector<std::string> &args);
int cmd_ldapprep(const std::vector<std::string> &args);

} // namespace cli

#endif
