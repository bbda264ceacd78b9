// Test sources for the codec filters: a source that hands out its bytes a
// few at a time, and one whose read fails once it is exhausted (as a file
// stream's does) while reporting that it is at its end. Also a wrapper for
// the one-shot codec calls.
#ifndef TEVRA_CODEC_TEST_SUPPORT_H
#define TEVRA_CODEC_TEST_SUPPORT_H

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"
#include "TEVRA_Util.h"

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
    // When not 0, every read before the end returns this, pushing nothing.
    int fail_with = 0;
};

inline int scripted_read(TEVRA_Stream *s, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx) {
    auto *src = static_cast<ScriptedSource *>(s->data);
    ++src->reads;
    src->last_ask = n;
    size_t left = src->bytes.size() - src->pos;
    if (left > 0 && src->fail_with != 0)
        return src->fail_with;
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

// Unlinks a filter from a scripted stream and releases the filter.
inline void release_filter(TEVRA_Stream *filter) {
    tevra_stream_pop(filter);
    tevra_stream_free(filter);
}

inline const unsigned char *bytes(const std::string &s) {
    return reinterpret_cast<const unsigned char *>(s.data());
}
inline long len(const std::string &s) {
    return static_cast<long>(s.size());
}

// Runs call(&out, &length) for a one-shot codec and returns its new buffer
// as a string (checking the terminator if asked), or "<fail>".
template <class Call> std::string one_shot(Call call, bool terminated = false) {
    unsigned char *out = nullptr;
    long length = -1;
    if (call(&out, &length) != 1) {
        EXPECT_EQ(out, nullptr);
        return "<fail>";
    }
    std::string s(reinterpret_cast<char *>(out), static_cast<size_t>(length));
    if (terminated) {
        EXPECT_EQ(out[length], 0);
    }
    tevra_free(out);
    return s;
}

} // namespace tevra_test

#endif
