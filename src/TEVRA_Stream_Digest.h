// Pieces shared by the message-digest and HMAC filters. Both kinds describe
// themselves to the templates below with a traits type Kind:
//   Kind::State   their state, which holds the digest method table they copied
//                 (`method`) and the running digest context (`context`);
//   Kind::type    their stream type;
//   Kind::release releases a state and all it holds;
//   Kind::file    the file name their entries carry;
//   Kind::result  the ctrl code that fetches their result, which
//                 Kind::finish(state, out, ctx) writes (digest-length bytes).
#ifndef TEVRA_STREAM_DIGEST_H
#define TEVRA_STREAM_DIGEST_H

#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"

namespace tevra::detail {

// True when every operation a digest stream needs is present (update and dup
// may be missing).
bool digest_method_usable(const TEVRA_DigestMethod *method);

// Passes n bytes (n > 0, data not NULL) to next in one call and feeds those
// it accepted to method->update. Entries carry the given file name.
int digest_through(TEVRA_Stream *next, const TEVRA_DigestMethod *method, void *context,
                   const void *data, long n, long *count, TEVRA_ErrCtx *ctx, const char *file);

// Digest filters never fail for good; a NULL read buffer is left to the
// next stream, which reads into it.
inline constexpr FilterChecks kDigestReadChecks = {0, nullptr, false};

// Writes pass the bytes on and digest those the next stream accepted.
template <class Kind>
int digest_write(TEVRA_Stream *stream, const void *data, long n, long *count, TEVRA_ErrCtx *ctx) {
    int checked =
        filter_io_checks(stream, kFilterWriteChecks, data, n, count, ctx, Kind::file, __LINE__);
    if (checked != kFilterProceed)
        return checked;
    auto *st = static_cast<typename Kind::State *>(stream->data);
    return digest_through(stream->next, &st->method, st->context, data, n, count, ctx, Kind::file);
}

// Reads pass through undigested.
template <class Kind>
int digest_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx) {
    int checked =
        filter_io_checks(stream, kDigestReadChecks, buffer, n, count, ctx, Kind::file, __LINE__);
    if (checked != kFilterProceed)
        return checked;
    return tevra_stream_read(stream->next, buffer, n, count, ctx);
}

// Answers the digest length, the algorithm and the kind's result; passes
// every other code on to the next stream.
template <class Kind>
int digest_ctrl(TEVRA_Stream *stream, long code, void *argument, TEVRA_ErrCtx *ctx) {
    int checked = filter_ctrl_checks(stream, ctx, Kind::file, __LINE__);
    if (checked != kFilterProceed)
        return checked;
    if (code != TEVRA_STREAM_CTRL_GET_MD_LENGTH && code != TEVRA_STREAM_CTRL_GET_MD_ALGORITHM &&
        code != Kind::result)
        return tevra_stream_ctrl(stream->next, code, argument, ctx);
    if (argument == nullptr)
        return report(ctx, Kind::file, __LINE__, TEVRA_ERR_NULL_POINT);
    auto *st = static_cast<typename Kind::State *>(stream->data);
    if (code == TEVRA_STREAM_CTRL_GET_MD_LENGTH)
        *static_cast<long *>(argument) = st->method.mdlen();
    else if (code == TEVRA_STREAM_CTRL_GET_MD_ALGORITHM)
        *static_cast<unsigned int *>(argument) = st->method.algorithm();
    else
        return Kind::finish(st, static_cast<unsigned char *>(argument), ctx);
    return 1;
}

template <class Kind> void digest_destroy(TEVRA_Stream *stream) {
    if (stream == nullptr || stream->type != Kind::type || stream->data == nullptr)
        return;
    Kind::release(static_cast<typename Kind::State *>(stream->data));
    stream->data = nullptr;
}

// The method table of a digest-type kind.
template <class Kind>
inline constexpr TEVRA_StreamMethod digest_stream_method = {
    digest_read<Kind>, digest_write<Kind>, digest_destroy<Kind>, digest_ctrl<Kind>};

} // namespace tevra::detail

#endif
