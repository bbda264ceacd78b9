// tevra json: pretty-print, compact or check a JSON document.
#include <algorithm>
#include <climits>
#include <memory>
#include <string>

#include "TEVRA_JSON.h"
#include "TEVRA_Util.h"
#include "cli.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: tevra json format [--indent N] [--crlf] [--sort] [FILE]\n"
    "       tevra json compact [FILE]\n"
    "       tevra json check [FILE]\n"
    "\n"
    "Reads one JSON document from FILE or standard input.\n"
    "\n"
    "  format   one line per array element and object member, each level indented\n"
    "           by a tab, or by N spaces and a tab with --indent N (0 to 255); the\n"
    "           value of an object member stays on its member's line\n"
    "           --crlf   end lines with CR LF instead of LF\n"
    "           --sort   sort the top-level object's members by key (or the\n"
    "                    top-level array's elements)\n"
    "  compact  the document without any whitespace\n"
    "  check    exit status 0 if the input is one JSON document, else 1 with the\n"
    "           reason\n";

using JsonHolder = cli::Owned<TEVRA_JSON, tevra_json_free>;

// Deepest bracket nesting outside strings, for explaining a refused document.
long nesting_depth(const std::string &text) {
    long depth = 0, deepest = 0;
    bool in_string = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (in_string) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                in_string = false;
        } else if (c == '"') {
            in_string = true;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return deepest;
}

// The document in text, or NULL with a one-line reason.
JsonHolder decode(const std::string &text, std::string &error) {
    if (text.empty()) {
        error = "the input is empty";
        return nullptr;
    }
    if (text.size() > static_cast<size_t>(INT_MAX)) {
        error = "the input is larger than 2 GiB";
        return nullptr;
    }
    int length = static_cast<int>(text.size()), consumed = 0;
    JsonHolder value(tevra_json_decodeex(text.data(), length, 0, &consumed));
    if (value && consumed == length)
        return value;
    int level = std::min(tevra_get_recursive_level(), TEVRA_JSON_MAX_NESTING);
    if (value)
        error =
            "unexpected data at byte offset " + std::to_string(consumed) + " after the document";
    else if (nesting_depth(text) > level)
        error = "nesting deeper than " + std::to_string(level) + " levels";
    else
        error = "not a well-formed JSON document (or not UTF-8)";
    return nullptr;
}

// Parses "--indent N"; false with a message when N is not 0 to 255.
bool indent_flags(const Options &opt, unsigned int &flags, std::string &error) {
    if (!opt.has("--indent"))
        return true;
    const std::string text = opt.value("--indent");
    size_t used = 0;
    unsigned long n = 256;
    try {
        n = std::stoul(text, &used);
    } catch (...) {
    }
    if (text.empty() || used != text.size() || n > 255 || text[0] == '-') {
        error = "bad --indent '" + text + "': expected 0 to 255";
        return false;
    }
    if (n > 0)
        flags |= TEVRA_JSON_INDENT_SPACES | static_cast<unsigned int>(n);
    return true;
}

int write_encoded(TEVRA_JSON *value, unsigned int flags, const char *line_end) {
    char *text = nullptr;
    int length = 0;
    if (tevra_json_encode(value, static_cast<int>(flags), &text, &length) != 1)
        return fail("cannot encode the document: out of memory");
    bool ok = write_out(text, static_cast<size_t>(length)) && write_out(line_end);
    tevra_free(text);
    return ok ? 0 : output_failed();
}

} // namespace

int cmd_json(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    std::string error, operation, path, text;
    if (!opt.parse(args, {{"--indent", true}, {"--crlf", false}, {"--sort", false}}, error) ||
        !take_operation(opt, "json", {"format", "compact", "check"}, operation, error) ||
        (operation != "format" &&
         !opt.refuse({"--indent", "--crlf", "--sort"}, "json " + operation, error)) ||
        !single_input(opt, "json", path, error))
        return fail(error);
    unsigned int flags = TEVRA_JSON_PRETTY | TEVRA_JSON_LINE_LF;
    if (operation == "format" && !indent_flags(opt, flags, error))
        return fail(error);
    if (!read_whole(path, text, error))
        return fail(error);
    JsonHolder value = decode(text, error);
    if (!value)
        return fail("invalid JSON: " + error);
    if (operation == "check")
        return 0;
    if (operation == "compact")
        return write_encoded(value.get(), 0, "\n");
    bool crlf = opt.has("--crlf");
    if (crlf)
        flags |= TEVRA_JSON_LINE_CR;
    if (opt.has("--sort"))
        flags |= TEVRA_JSON_SORT;
    return write_encoded(value.get(), flags, crlf ? "\r\n" : "\n");
}

} // namespace cli
