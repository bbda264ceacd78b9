// tevra version: the library's banner and version numbers.
#include <cstdio>

#include "TEVRA_Util.h"
#include "cli.h"

namespace cli {

int cmd_version(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage("usage: tevra version\n\nPrints the library's version banner.\n");
    if (!args.empty())
        return fail("version takes no arguments");
    std::printf("%s\n", tevra_util_version());
    std::printf("version %d.%d.%d\n", TEVRA_VERSION_MAJOR, TEVRA_VERSION_MINOR,
                TEVRA_VERSION_PATCH);
    return 0;
}

} // namespace cli
