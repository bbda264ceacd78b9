#include "cmd_codec.h"

#include <algorithm>

#include "TEVRA_Util.h"
#include "cli.h"
#include "cli_io.h"

namespace cli::codec {

bool split(const std::vector<std::string> &args, const std::vector<std::string> &takes_value,
           Arguments &out, std::string &error) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        if (a.size() > 2 && a.compare(0, 2, "--") == 0) {
            std::string name = a, value;
            size_t eq = a.find('=');
            if (eq != std::string::npos) {
                name = a.substr(0, eq);
                value = a.substr(eq + 1);
            } else if (std::find(takes_value.begin(), takes_value.end(), a) != takes_value.end()) {
                if (i + 1 >= args.size()) {
                    error = "option " + a + " needs a value";
                    return false;
                }
                value = args[++i];
            }
            out.options.emplace_back(name, value);
        } else if (out.operation.empty()) {
            out.operation = a;
        } else {
            out.positional.push_back(a);
        }
    }
    return true;
}

int run(const std::vector<std::string> &args, const char *usage_text,
        const std::vector<std::string> &takes_value, int (*body)(const Arguments &)) {
    if (wants_help(args))
        return usage(usage_text);
    Arguments a;
    std::string error;
    if (!split(args, takes_value, a, error))
        return fail(error);
    return body(a);
}

bool operation(const Arguments &a, const char *command, bool &encode, std::string &error) {
    if (a.operation == "encode" || a.operation == "decode") {
        encode = a.operation == "encode";
        return true;
    }
    error = a.operation.empty()
                ? std::string(command) + " needs 'encode' or 'decode'"
                : "unknown " + std::string(command) + " operation '" + a.operation + "'";
    return false;
}

bool single_file(const Arguments &a, const char *command, std::string &path, std::string &error) {
    if (a.positional.size() > 1) {
        error = std::string(command) + " takes at most one file";
        return false;
    }
    path = a.positional.empty() ? std::string() : a.positional[0];
    return true;
}

bool slurp(const std::string &path, std::string &bytes, std::string &error) {
    StreamPtr mem(read_all(path, error));
    if (!mem)
        return false;
    unsigned char *data = nullptr;
    long length = 0;
    if (tevra_memstreamdeatch(mem.get(), &data, &length) != 1) {
        error = "cannot read input";
        return false;
    }
    bytes.assign(reinterpret_cast<char *>(data), static_cast<size_t>(length));
    tevra_free(data);
    return true;
}

bool emit(const void *bytes, long length, std::string &error) {
    TEVRA_ErrCtx ctx{};
    StreamPtr in(tevra_stream_new_romem(bytes, length, 0, &ctx));
    if (!in) {
        error = describe(ctx);
        return false;
    }
    return copy_to_output(in.get(), error);
}

bool emit_stream(TEVRA_Stream *mem, std::string &error) {
    tevra_stream_ctrl(mem, TEVRA_STREAM_CTRL_RESET, nullptr, nullptr);
    return copy_to_output(mem, error);
}

} // namespace cli::codec
