// Pieces shared by the message-digest and HMAC filters.
#ifndef TEVRA_STREAM_DIGEST_H
#define TEVRA_STREAM_DIGEST_H

#include "TEVRA_Stream.h"

namespace tevra::detail {

// True when every operation a digest stream needs is present (update and dup
// may be missing).
bool digest_method_usable(const TEVRA_DigestMethod *method);

// The write of a digest-type filter whose stream and state were checked:
// passes the bytes to the next stream in one call and feeds those it
// accepted to method->update. Entries carry the given file name.
int digest_write(TEVRA_Stream *stream, const TEVRA_DigestMethod *method, void *context,
                 const void *data, long n, long *count, TEVRA_ErrCtx *ctx, const char *file);

// The read of a digest-type filter: passed through undigested.
int digest_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx,
                const char *file);

} // namespace tevra::detail

#endif
