// Test sources for the codec filters: a source that hands out its bytes a
// few at a time, and one whose read fails once it is exhausted (as a file
// stream's does) while reporting that it is at its end.
#ifndef TEVRA_CODEC_TEST_SUPPORT_H
#define TEVRA_CODEC_TEST_SUPPORT_H

#include <cstring>
#include <string>

#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"

namespace tevra_test {

// Private state of a scripted source: its bytes, the read position, the
// largest piece one read hands out, and whether an exhausted read fails.
struct ScriptedSource {
    std::string bytes;
    size_t pos = 0;
    long piece = 1L << 30;
    bool fail_at_end = false;
    long reads = 0;
    long last_ask = -1;
};

inline int scripted_read(TEVRA_Stream *s, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx) {
    auto *src = static_cast<ScriptedSource *>(s->data);
    ++src->reads;
    src->last_ask = n;
    size_t left = src->bytes.size() - src->pos;
    if (left == 0 && src->fail_at_end) {
        tevra_err_ctx_put(ctx, "TEVRA_Test", 1, TEVRA_ERR_STREAM_READ_PAST_END, "end");
        return 0;
    }
    size_t take = static_cast<size_t>(n < src->piece ? n : src->piece);
    if (take > left)
        take = left;
    std::memcpy(buffer, src->bytes.data() + src->pos, take);
    src->pos += take;
    *count = static_cast<long>(take);
    return 1;
}

inline int scripted_ctrl(TEVRA_Stream *s, long code, void *, TEVRA_ErrCtx *) {
    auto *src = static_cast<ScriptedSource *>(s->data);
    if (code == TEVRA_STREAM_CTRL_EOF)
        return src->pos == src->bytes.size() ? 1 : 0;
    return 0;
}

inline const TEVRA_StreamMethod scripted_method = {scripted_read, nullptr, nullptr, scripted_ctrl};

// A source/sink record over src, on the stack of the test; not released by
// tevra_stream_free (pop the filter off it instead).
struct ScriptedStream {
    ScriptedSource src;
    TEVRA_Stream stream{&scripted_method, TEVRA_STREAM_SOURCE_SINK | 0x42, &src, nullptr, nullptr};
    explicit ScriptedStream(std::string bytes, long piece = 1L << 30, bool fail_at_end = false) {
        src.bytes = std::move(bytes);
        src.piece = piece;
        src.fail_at_end = fail_at_end;
    }
};

} // namespace tevra_test

#endif
