// Line-by-line reading for commands that treat each line of their input as
// one item (a name, a value), in bounded memory.
#ifndef TEVRA_CLI_LINES_H
#define TEVRA_CLI_LINES_H

#include <functional>
#include <string>

namespace cli {

// Handles one line (line ending removed) with its 1-based number; false with
// a message in error to stop.
using LineHandler = std::function<bool(const std::string &line, long number, std::string &error)>;

// Calls handle for every line of the input at path ("" or "-": standard
// input); a line ends at "\n" or "\r\n", and a last line needs neither.
// False with a message when the input cannot be read, a line is longer than
// the chunk size, or handle refuses a line.
bool for_each_line(const std::string &path, const LineHandler &handle, std::string &error);

} // namespace cli

#endif
