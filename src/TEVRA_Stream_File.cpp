// The file stream: a source/sink over a buffered stdio handle, opened in
// binary mode for reading, writing or appending, and able to close, reopen,
// seek, tell, flush and measure itself.
#include <cstdio>
#include <cstring>

#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"
#include "TEVRA_Util.h"

namespace {

using namespace tevra::detail;

constexpr char kFile[] = "TEVRA_Stream_File";
constexpr long kClosedMode = -1;

struct FileStreamState {
    FILE *handle; // NULL once closed
    char *path;   // owned copy, for reopening
    long mode;    // TEVRA_STREAM_FILE_*, or -1 after a successful close
};

int file_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx);
int file_write(TEVRA_Stream *stream, const void *data, long n, long *count, TEVRA_ErrCtx *ctx);
void file_destroy(TEVRA_Stream *stream);
int file_ctrl(TEVRA_Stream *stream, long code, void *argument, TEVRA_ErrCtx *ctx);

const TEVRA_StreamMethod file_method = {file_read, file_write, file_destroy, file_ctrl};

int entry_state(TEVRA_Stream *stream, FileStreamState **out, TEVRA_ErrCtx *ctx, int line) {
    if (stream == nullptr)
        return report(ctx, kFile, line, TEVRA_ERR_NULL_POINT);
    *out = static_cast<FileStreamState *>(stream->data);
    if (*out == nullptr)
        return report(ctx, kFile, line, TEVRA_ERR_STREAM_BAD);
    return 1;
}

const char *open_mode(long mode) {
    switch (mode) {
    case TEVRA_STREAM_FILE_READ:
        return "rb";
    case TEVRA_STREAM_FILE_WRITE:
        return "wb";
    case TEVRA_STREAM_FILE_APPEND:
        return "ab";
    default:
        return nullptr;
    }
}

int file_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx) {
    FileStreamState *f = nullptr;
    if (entry_state(stream, &f, ctx, __LINE__) != 1)
        return 0;
    if (f->handle == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FILE_CLOSED);
    if (f->mode != TEVRA_STREAM_FILE_READ)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_CANNOT_READ);
    if (n < 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_BAD_LENGTH);
    if (buffer == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    // The end flag is looked at before it is cleared: the read that first
    // meets the end fails as an empty read, every later one as a read past
    // the end. The flag stays set for the end-of-stream control code.
    if (std::feof(f->handle)) {
        set_count(count, 0);
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_READ_PAST_END);
    }
    std::clearerr(f->handle);
    size_t got = std::fread(buffer, 1, static_cast<size_t>(n), f->handle);
    // An empty read fails too, so a request for 0 bytes is refused here.
    if (std::ferror(f->handle) || got == 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_READ_FILE);
    set_count(count, static_cast<long>(got));
    return 1;
}

int file_write(TEVRA_Stream *stream, const void *data, long n, long *count, TEVRA_ErrCtx *ctx) {
    FileStreamState *f = nullptr;
    if (entry_state(stream, &f, ctx, __LINE__) != 1)
        return 0;
    if (f->handle == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FILE_CLOSED);
    if (f->mode == TEVRA_STREAM_FILE_READ)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_CANNOT_WRITE);
    if (n < 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_BAD_LENGTH);
    if (n == 0) {
        set_count(count, 0);
        return 1;
    }
    if (data == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    std::clearerr(f->handle);
    size_t put = std::fwrite(data, 1, static_cast<size_t>(n), f->handle);
    // A write that takes nothing is a failure, or tevra_stream_writen would
    // never finish.
    if (std::ferror(f->handle) || put == 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_WRITE_FILE);
    set_count(count, static_cast<long>(put));
    return 1;
}

void file_destroy(TEVRA_Stream *stream) {
    if (stream == nullptr || stream->type != TEVRA_STREAM_TYPE_FILE || stream->data == nullptr)
        return;
    auto *f = static_cast<FileStreamState *>(stream->data);
    if (f->handle != nullptr)
        std::fclose(f->handle);
    tevra_free(f->path);
    tevra_free(f);
    stream->data = nullptr;
}

int get_length(FileStreamState *f, long *value, TEVRA_ErrCtx *ctx) {
    if (f->handle == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FILE_CLOSED);
    std::clearerr(f->handle);
    long position = std::ftell(f->handle);
    if (value == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    if (std::fseek(f->handle, 0, SEEK_END) != 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_RESET);
    *value = std::ftell(f->handle);
    std::fseek(f->handle, position, SEEK_SET);
    return 1;
}

int reopen(FileStreamState *f, const long *value, TEVRA_ErrCtx *ctx) {
    if (value == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    long mode = *value;
    // Switching a read stream to writing updates the file in place instead of
    // truncating it.
    bool update = mode == TEVRA_STREAM_FILE_WRITE && f->mode == TEVRA_STREAM_FILE_READ;
    const char *how = update ? "rb+" : open_mode(mode);
    if (how == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FILE_MODE);
    if (f->handle != nullptr) {
        std::fclose(f->handle);
        f->handle = nullptr;
    }
    f->handle = std::fopen(f->path, how);
    if (f->handle == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_OPEN_FILE);
    if (update) {
        if (std::fgetc(f->handle) == EOF)
            std::clearerr(f->handle);
        std::rewind(f->handle);
        std::clearerr(f->handle);
    }
    f->mode = mode;
    return 1;
}

int file_ctrl(TEVRA_Stream *stream, long code, void *argument, TEVRA_ErrCtx *ctx) {
    FileStreamState *f = nullptr;
    if (entry_state(stream, &f, ctx, __LINE__) != 1)
        return 0;
    auto *value = static_cast<long *>(argument);
    switch (code) {
    case TEVRA_STREAM_CTRL_RESET:
        if (f->handle == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FILE_CLOSED);
        std::clearerr(f->handle);
        if (std::fseek(f->handle, 0, SEEK_SET) != 0)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_RESET);
        return 1;
    case TEVRA_STREAM_CTRL_GET_LENGTH:
        return get_length(f, value, ctx);
    case TEVRA_STREAM_CTRL_FLUSH:
        // A closed file has nothing buffered left to push out.
        if (f->handle == nullptr)
            return 1;
        std::clearerr(f->handle);
        if (std::fflush(f->handle) != 0)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FLUSH_FILE);
        return 1;
    case TEVRA_STREAM_CTRL_GET_POS: {
        if (f->handle == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FILE_CLOSED);
        std::clearerr(f->handle);
        if (value == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        long position = std::ftell(f->handle);
        // Reported with the general table's text for this code, which is empty.
        if (position == -1)
            return report_text(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_POS,
                               tevra_igetGeneralError(TEVRA_ERR_STREAM_BAD_POS));
        *value = position;
        return 1;
    }
    case TEVRA_STREAM_CTRL_SET_POS:
        if (value == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        if (*value < 0)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_POS);
        if (f->handle == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FILE_CLOSED);
        std::clearerr(f->handle);
        if (std::fseek(f->handle, *value, SEEK_SET) != 0)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_POS);
        return 1;
    case TEVRA_STREAM_CTRL_CLOSE: {
        if (f->handle == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FILE_CLOSED);
        int rc = std::fclose(f->handle);
        f->handle = nullptr;
        if (rc != 0)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_CLOSE_FILE);
        f->mode = kClosedMode;
        return 1;
    }
    case TEVRA_STREAM_CTRL_REOPEN:
        return reopen(f, value, ctx);
    case TEVRA_STREAM_CTRL_EOF:
        return f->handle != nullptr && std::feof(f->handle) ? 1 : 0;
    default:
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_CTRL_CODE);
    }
}

} // namespace

extern "C" TEVRA_API TEVRA_Stream *tevra_stream_new_file(const char *path, unsigned long mode,
                                                         TEVRA_ErrCtx *ctx) {
    if (path == nullptr) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        return nullptr;
    }
    const char *how = mode <= 3 ? open_mode(static_cast<long>(mode)) : nullptr;
    if (how == nullptr) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_FILE_MODE);
        return nullptr;
    }
    FILE *handle = std::fopen(path, how);
    if (handle == nullptr) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_OPEN_FILE);
        return nullptr;
    }
    size_t path_size = std::strlen(path) + 1;
    auto *f =
        static_cast<FileStreamState *>(tevra_malloc(sizeof(FileStreamState), kFile, __LINE__));
    char *path_copy =
        f != nullptr
            ? static_cast<char *>(tevra_malloc(static_cast<long>(path_size), kFile, __LINE__))
            : nullptr;
    TEVRA_Stream *stream =
        path_copy != nullptr ? stream_new(&file_method, TEVRA_STREAM_TYPE_FILE, f, kFile, __LINE__)
                             : nullptr;
    if (stream == nullptr) {
        tevra_free(path_copy);
        tevra_free(f);
        std::fclose(handle);
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    std::memcpy(path_copy, path, path_size);
    f->handle = handle;
    f->path = path_copy;
    f->mode = static_cast<long>(mode);
    return stream;
}
