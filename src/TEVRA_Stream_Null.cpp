// The null stream: a sink that accepts and discards everything written to it.
#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"

namespace {

using namespace tevra::detail;

constexpr char kFile[] = "TEVRA_Stream_Null";

int null_read(TEVRA_Stream *, void *, long, long *, TEVRA_ErrCtx *ctx) {
    return report(ctx, kFile, __LINE__, TEVRA_ERR_NOT_SUPPORT);
}

int null_write(TEVRA_Stream *stream, const void *, long n, long *count, TEVRA_ErrCtx *ctx) {
    if (stream == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    if (n < 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_BAD_LENGTH);
    if (count != nullptr)
        *count = n;
    return 1;
}

void null_destroy(TEVRA_Stream *) {}

int null_ctrl(TEVRA_Stream *, long code, void *, TEVRA_ErrCtx *ctx) {
    if (code == TEVRA_STREAM_CTRL_FLUSH)
        return 1;
    return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_CTRL_CODE);
}

const TEVRA_StreamMethod null_method = {null_read, null_write, null_destroy, null_ctrl};

} // namespace

extern "C" TEVRA_API TEVRA_Stream *tevra_stream_new_null(TEVRA_ErrCtx *ctx) {
    TEVRA_Stream *stream =
        stream_new(&null_method, TEVRA_STREAM_TYPE_NULL, nullptr, kFile, __LINE__);
    if (stream == nullptr)
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
    return stream;
}
