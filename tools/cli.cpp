#include "cli.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>

namespace cli {

int fail(const std::string &message) {
    std::fprintf(stderr, "tevra: %s\n", message.c_str());
    return 1;
}

bool wants_help(const std::vector<std::string> &args) {
    for (const std::string &arg : args)
        if (arg == "-h" || arg == "--help")
            return true;
    return false;
}

int usage(const char *text) {
    std::fputs(text, stdout);
    return 0;
}

bool read_input(const std::string &path, std::string &data, std::string &error) {
    if (path.empty() || path == "-") {
        data.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
        return true;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open '" + path + "'";
        return false;
    }
    data.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

bool write_output(const void *data, size_t length) {
    return std::fwrite(data, 1, length, stdout) == length && std::fflush(stdout) == 0;
}

} // namespace cli
