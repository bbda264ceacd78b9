// Splits an input into lines over the chunked reader, carrying an incomplete
// line over to the front of the next chunk.
#include "cli_lines.h"

#include <cstring>

#include "cli_io.h"

namespace cli {

namespace {

std::string without_line_ending(const char *begin, const char *end) {
    if (end > begin && end[-1] == '\r')
        --end;
    return std::string(begin, end);
}

} // namespace

bool for_each_line(const std::string &path, const LineHandler &handle, std::string &error) {
    ChunkReader in;
    if (!in.open(path, error))
        return false;
    long number = 0;
    size_t keep = 0;
    while (in.next(keep)) {
        const char *begin = reinterpret_cast<const char *>(in.data());
        const char *end = begin + in.size();
        while (const char *nl = static_cast<const char *>(std::memchr(begin, '\n', end - begin))) {
            if (!handle(without_line_ending(begin, nl), ++number, error))
                return false;
            begin = nl + 1;
        }
        keep = static_cast<size_t>(end - begin);
        // A chunk that is all one unfinished line: refuse rather than grow.
        if (keep == in.size() && !in.at_end()) {
            error = "line " + std::to_string(number + 1) + " of " + in.name() + " is longer than " +
                    std::to_string(in.size()) + " bytes";
            return false;
        }
    }
    if (in.failed()) {
        error = in.error();
        return false;
    }
    // The input's last line, when it has no line ending.
    const char *rest = reinterpret_cast<const char *>(in.data());
    return in.size() == 0 || handle(without_line_ending(rest, rest + in.size()), ++number, error);
}

} // namespace cli
