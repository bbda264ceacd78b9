// Error contexts, the description tables and the per-thread last error.
#include <cstdio>
#include <cstring>

#include "TEVRA_Error.h"
#include "TEVRA_Error_Internal.h"
#include "TEVRA_Stream.h"
#include "TEVRA_Util.h"

namespace {

constexpr char kFile[] = "TEVRA_Error";

struct ErrorText {
    int code;
    const char *text;
};

#define TEVRA_ERR_ROW_(name, value, text) {value, text},
constexpr ErrorText kGeneralErrors[] = {TEVRA_GENERAL_ERRORS(TEVRA_ERR_ROW_)};
constexpr ErrorText kStreamErrors[] = {TEVRA_STREAM_ERRORS(TEVRA_ERR_ROW_)};
#undef TEVRA_ERR_ROW_

// Lookups index a table by the distance from its first code.
template <size_t N> constexpr bool consecutive(const ErrorText (&table)[N]) {
    for (size_t i = 0; i < N; ++i)
        if (table[i].code != table[0].code + static_cast<int>(i))
            return false;
    return true;
}
static_assert(consecutive(kGeneralErrors) && consecutive(kStreamErrors));

template <size_t N> const char *table_text(const ErrorText (&table)[N], int code) {
    int base = table[0].code;
    return code >= base && code < base + static_cast<int>(N) ? table[code - base].text : "";
}

thread_local unsigned int t_last_error = 0;

} // namespace

namespace tevra::detail {

int err_ctx_newest(const TEVRA_ErrCtx *ctx) {
    return ctx->next == 0 ? TEVRA_ERR_CTX_SLOTS - 1 : ctx->next - 1;
}

int err_ctx_for_each(const TEVRA_ErrCtx *ctx, int (*emit)(void *user, const char *text), void *user,
                     bool wide) {
    if (ctx->next == ctx->start)
        return emit(user, "No Error\n");
    // Once the ring has wrapped (newest slot below the oldest) nothing is listed.
    int last = err_ctx_newest(ctx);
    for (int i = last; i >= ctx->start; --i) {
        const TEVRA_ErrEntry &e = ctx->entries[i];
        char line[1024];
        if (wide)
            std::snprintf(line, sizeof line, "0X%08X %512s %64s(%d)\n", e.code, e.description,
                          e.file, e.line);
        else
            std::snprintf(line, sizeof line, "0X%08X %s %s(%d)\n", e.code, e.description, e.file,
                          e.line);
        int rc = emit(user, line);
        if (rc != 1)
            return rc;
    }
    return 1;
}

} // namespace tevra::detail

using namespace tevra::detail;

extern "C" {

TEVRA_API TEVRA_ErrCtx *tevra_err_ctx_new(void) {
    auto *ctx = static_cast<TEVRA_ErrCtx *>(tevra_malloc(sizeof(TEVRA_ErrCtx), kFile, __LINE__));
    if (ctx != nullptr)
        std::memset(ctx, 0, sizeof *ctx);
    return ctx;
}

TEVRA_API void tevra_err_ctx_free(TEVRA_ErrCtx *ctx) {
    tevra_free(ctx);
}

TEVRA_API int tevra_err_ctx_put(TEVRA_ErrCtx *ctx, const char *file, int line, unsigned int code,
                                const char *description) {
    if (ctx == nullptr || file == nullptr || line < 0)
        return 0;
    int i = ctx->next;
    int n = (i + 1) % TEVRA_ERR_CTX_SLOTS;
    if (n == ctx->start)
        ctx->start = (n + 1) % TEVRA_ERR_CTX_SLOTS;
    TEVRA_ErrEntry &e = ctx->entries[i];
    e.file = file;
    e.line = line;
    e.code = code;
    std::memset(e.description, 0, sizeof e.description);
    if (description != nullptr)
        std::strncpy(e.description, description, sizeof e.description - 1);
    ctx->next = n;
    return 1;
}

TEVRA_API int tevra_err_ctx_print(TEVRA_ErrCtx *ctx) {
    if (ctx == nullptr)
        return 0;
    auto to_stderr = [](void *, const char *text) {
        std::fputs(text, stderr);
        return 1;
    };
    err_ctx_for_each(ctx, to_stderr, nullptr, false);
    return 1;
}

TEVRA_API int tevra_err_ctx_output(struct TEVRA_Stream *stream, TEVRA_ErrCtx *ctx,
                                   unsigned int *code) {
    if (code != nullptr && stream == nullptr) {
        *code = TEVRA_ERR_STREAM_BAD;
        return 0;
    }
    if (code != nullptr && ctx == nullptr) {
        *code = TEVRA_ERR_NULL_POINT;
        return 0;
    }
    if (ctx == nullptr)
        return 0;
    // The writes report into a private context, so the listing does not
    // change the context it lists; its newest code is the failure's code.
    struct Sink {
        TEVRA_Stream *stream;
        TEVRA_ErrCtx writes;
    } sink{stream, {}};
    auto to_stream = [](void *user, const char *text) {
        auto *s = static_cast<Sink *>(user);
        return tevra_stream_writen(s->stream, text, static_cast<long>(std::strlen(text)),
                                   &s->writes);
    };
    int rc = err_ctx_for_each(ctx, to_stream, &sink, true);
    if (rc != 1) {
        if (code != nullptr)
            tevra_err_ctx_geterrcode(&sink.writes, code);
        return rc;
    }
    return 1;
}

TEVRA_API int tevra_err_ctx_clean(TEVRA_ErrCtx *ctx) {
    if (ctx == nullptr)
        return 0;
    std::memset(ctx, 0, sizeof *ctx);
    return 1;
}

TEVRA_API int tevra_err_ctx_geterrcode(TEVRA_ErrCtx *ctx, unsigned int *code) {
    if (ctx == nullptr || code == nullptr)
        return 0;
    *code = ctx->next == ctx->start ? 1u : ctx->entries[err_ctx_newest(ctx)].code;
    return 1;
}

TEVRA_API int tevra_err_ctx_geterrdesc(TEVRA_ErrCtx *ctx, char *buffer, int length,
                                       unsigned int *length_out) {
    if (ctx == nullptr || length_out == nullptr)
        return 0;
    if (ctx->next == ctx->start) {
        *length_out = 1;
        if (buffer != nullptr) {
            if (length < 1)
                return 0;
            buffer[0] = '\0';
        }
        return 1;
    }
    char *description = ctx->entries[err_ctx_newest(ctx)].description;
    size_t text_length = std::strlen(description);
    *length_out = static_cast<unsigned int>(text_length + 1);
    if (buffer == nullptr)
        return 1;
    if (static_cast<long>(text_length) >= length)
        return 0;
    // The copy deliberately runs from the caller's buffer into the entry.
    std::memcpy(description, buffer, text_length + 1);
    return 1;
}

TEVRA_API int tevra_err_ctx_copy(const TEVRA_ErrCtx *src, TEVRA_ErrCtx *dst) {
    if (src == nullptr || dst == nullptr)
        return 0;
    std::memcpy(dst, src, sizeof *dst);
    return 1;
}

TEVRA_API const char *tevra_igetGeneralError(int code) {
    return table_text(kGeneralErrors, code);
}

TEVRA_API const char *tevra_igetStreamError(int code) {
    return table_text(kStreamErrors, code);
}

TEVRA_API int tevra_setlasterror(unsigned int code) {
    t_last_error = code;
    return 1;
}

TEVRA_API unsigned int tevra_getlasterror(void) {
    return t_last_error;
}

} // extern "C"
