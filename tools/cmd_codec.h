// Helpers shared by the codec subcommands (base64, hex, pem).
#ifndef TEVRA_CMD_CODEC_H
#define TEVRA_CMD_CODEC_H

#include <string>
#include <vector>

#include "TEVRA_Stream.h"

namespace cli::codec {

// A subcommand's arguments split into the operation (first word), the
// options (words starting with "--", with the value that follows those in
// takes_value) and the remaining positional words.
struct Arguments {
    std::string operation;
    std::vector<std::pair<std::string, std::string>> options;
    std::vector<std::string> positional;
};

// False with a message in error for an option missing its value.
bool split(const std::vector<std::string> &args, const std::vector<std::string> &takes_value,
           Arguments &out, std::string &error);

// Runs a codec subcommand: prints usage_text when asked for help, otherwise
// splits args (the options in takes_value take a value) and returns body's
// exit status; a bad split fails with its message.
int run(const std::vector<std::string> &args, const char *usage_text,
        const std::vector<std::string> &takes_value, int (*body)(const Arguments &));

// Sets encode for the operation "encode", clears it for "decode"; false with
// a message in error for a missing or other operation.
bool operation(const Arguments &a, const char *command, bool &encode, std::string &error);

// The file named by the only positional word, "" (standard input) without
// one; false with a message in error when there are more.
bool single_file(const Arguments &a, const char *command, std::string &path, std::string &error);

// The whole input at path ("-" or empty: standard input) as bytes.
bool slurp(const std::string &path, std::string &bytes, std::string &error);

// Writes bytes to standard output through a file stream.
bool emit(const void *bytes, long length, std::string &error);

// Writes everything a memory stream holds, from its start, to standard output.
bool emit_stream(TEVRA_Stream *mem, std::string &error);

} // namespace cli::codec

#endif
