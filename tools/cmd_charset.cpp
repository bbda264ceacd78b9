// tevra charset: the character set the locale environment names.
#include <cstdio>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"
#include "cli.h"

namespace cli {

int cmd_charset(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage("usage: tevra charset\n\n"
                     "Prints the character set named by LC_ALL, LC_CTYPE or LANG.\n");
    if (!args.empty())
        return fail("charset takes no arguments");
    char *name = tevra_ustring_getdefaultcharset();
    if (name == nullptr)
        return fail("the locale environment names no character set");
    std::printf("%s\n", name);
    tevra_free(name);
    return 0;
}

} // namespace cli
