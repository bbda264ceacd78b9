#include "cli_io.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace cli {

namespace {

constexpr long kChunk = 8192;

TEVRA_Stream *open_file(const char *path, unsigned long mode, const std::string &name,
                        std::string &error) {
    TEVRA_ErrCtx ctx{};
    TEVRA_Stream *s = tevra_stream_new_file(path, mode, &ctx);
    if (s == nullptr)
        error = "cannot open " + name + ": " + describe(ctx);
    return s;
}

} // namespace

std::string describe(const TEVRA_ErrCtx &ctx) {
    if (ctx.next == ctx.start)
        return "unknown error";
    int newest = ctx.next == 0 ? TEVRA_ERR_CTX_SLOTS - 1 : ctx.next - 1;
    return ctx.entries[newest].description;
}

TEVRA_Stream *open_input(const std::string &path, std::string &error) {
    if (path.empty() || path == "-")
        return open_file("/dev/stdin", TEVRA_STREAM_FILE_READ, "standard input", error);
    return open_file(path.c_str(), TEVRA_STREAM_FILE_READ, "'" + path + "'", error);
}

void sync_output() {
    struct stat st;
    if (fstat(STDOUT_FILENO, &st) == 0 && S_ISREG(st.st_mode))
        lseek(STDOUT_FILENO, 0, SEEK_END);
}

TEVRA_Stream *open_output(std::string &error) {
    static const bool registered = std::atexit(sync_output) == 0;
    (void)registered;
    // Anything the tool already printed through stdio must come first.
    std::fflush(stdout);
    return open_file("/dev/stdout", TEVRA_STREAM_FILE_APPEND, "standard output", error);
}

bool pump(TEVRA_Stream *from, TEVRA_Stream *to, std::string &error) {
    char buffer[kChunk];
    TEVRA_ErrCtx reads{};
    for (;;) {
        long count = 0;
        if (tevra_stream_read(from, buffer, kChunk, &count, &reads) != 1 || count == 0)
            break;
        TEVRA_ErrCtx writes{};
        if (tevra_stream_writen(to, buffer, count, &writes) != 1) {
            error = describe(writes);
            return false;
        }
    }
    // A source meets its end through an empty or failing read; only a source
    // that is not at its end failed.
    if (tevra_stream_ctrl(from, TEVRA_STREAM_CTRL_EOF, nullptr, nullptr) != 1) {
        error = describe(reads);
        return false;
    }
    TEVRA_ErrCtx flush{};
    if (tevra_stream_ctrl(to, TEVRA_STREAM_CTRL_FLUSH, nullptr, &flush) != 1) {
        error = describe(flush);
        return false;
    }
    return true;
}

bool push_filter(StreamPtr &chain, TEVRA_Stream *filter) {
    if (filter == nullptr || tevra_stream_push(filter, chain.get()) != 1) {
        tevra_stream_free(filter);
        return false;
    }
    chain.release();
    chain.reset(filter);
    return true;
}

TEVRA_Stream *collect_through(TEVRA_Stream *filter, TEVRA_Stream **mem, TEVRA_ErrCtx &ctx) {
    StreamPtr chain(tevra_stream_new_mem(0, &ctx));
    if (!chain) {
        tevra_stream_free(filter);
        return nullptr;
    }
    *mem = chain.get();
    return push_filter(chain, filter) ? chain.release() : nullptr;
}

bool copy_to_output(TEVRA_Stream *from, std::string &error) {
    StreamPtr out(open_output(error));
    bool ok = out && pump(from, out.get(), error);
    out.reset();
    sync_output();
    return ok;
}

TEVRA_Stream *read_all(const std::string &path, std::string &error) {
    StreamPtr in(open_input(path, error));
    if (!in)
        return nullptr;
    TEVRA_ErrCtx ctx{};
    StreamPtr mem(tevra_stream_new_mem(0, &ctx));
    if (!mem) {
        error = describe(ctx);
        return nullptr;
    }
    if (!pump(in.get(), mem.get(), error))
        return nullptr;
    tevra_stream_ctrl(mem.get(), TEVRA_STREAM_CTRL_RESET, nullptr, nullptr);
    return mem.release();
}

} // namespace cli
