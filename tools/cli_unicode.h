// Shared by the Unicode text subcommands (normalize, casefold): UTF-8 input
// transformed a line at a time, so memory stays bounded.
#ifndef TEVRA_CLI_UNICODE_H
#define TEVRA_CLI_UNICODE_H

#include <functional>
#include <string>

#include "TEVRA_UString.h"

namespace cli {

// Makes the new string for one piece of text; NULL when it cannot.
using TextTransform = std::function<TEVRA_UString *(const TEVRA_UString *)>;

// Reads UTF-8 from path ("" for standard input) and writes transform's
// result for each line, line end included. A line longer than 1 MiB is cut
// between two ASCII characters. Returns the exit status; invalid UTF-8 is
// reported with its line number.
int transform_lines(const std::string &path, const TextTransform &transform);

} // namespace cli

#endif
