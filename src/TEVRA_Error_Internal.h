// Helpers shared by the error-context listing and the stream output of it.
#ifndef TEVRA_ERROR_INTERNAL_H
#define TEVRA_ERROR_INTERNAL_H

#include "TEVRA_Error.h"

namespace tevra::detail {

// Index of the newest entry of a non-empty context.
int err_ctx_newest(const TEVRA_ErrCtx *ctx);

// Formats the listing line by line (newest first, "No Error\n" when empty)
// and hands each line to emit; stops at the first result other than 1 and
// returns it. wide selects the padded stream format.
int err_ctx_for_each(const TEVRA_ErrCtx *ctx, int (*emit)(void *user, const char *text), void *user,
                     bool wide);

} // namespace tevra::detail

#endif
