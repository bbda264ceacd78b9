#include "cli_base64.h"

#include "cli_io.h"

namespace cli {

namespace {

// Decoded bytes asked of the filter at once. Requests of 1024 bytes or more
// are never served partly from the filter's overflow of decoded bytes, whose
// remainder a smaller request would deliver from its start again.
constexpr long kDecodeRequest = 1 << 16;

std::string describe(const TEVRA_ErrCtx &ctx) {
    if (ctx.next == ctx.start)
        return "out of memory";
    int newest = ctx.next == 0 ? TEVRA_ERR_CTX_SLOTS - 1 : ctx.next - 1;
    return ctx.entries[newest].description;
}

// A chain of filter over a new queue memory stream, which *bottom receives.
// NULL with a message in error.
TEVRA_Stream *filter_over_queue(TEVRA_Stream *filter, TEVRA_Stream **bottom, TEVRA_ErrCtx &ctx,
                                std::string &error) {
    TEVRA_Stream *queue = filter != nullptr ? tevra_stream_new_rwspecmem(0, &ctx) : nullptr;
    if (queue == nullptr || tevra_stream_push(filter, queue) != 1) {
        tevra_stream_free(filter);
        tevra_stream_free(queue);
        error = describe(ctx);
        return nullptr;
    }
    *bottom = queue;
    return filter;
}

} // namespace

bool Base64Encoder::open(unsigned int flags, int line, std::string &error) {
    TEVRA_ErrCtx ctx{};
    chain_.reset(filter_over_queue(tevra_stream_new_base64(flags, line, TEVRA_BASE64_CRLF, &ctx),
                                   &sink_, ctx, error));
    buffer_.resize(1 << 17);
    return chain_ != nullptr;
}

bool Base64Encoder::drain(std::string &error) {
    for (;;) {
        long got = 0;
        TEVRA_ErrCtx ctx{};
        if (tevra_stream_read(sink_, buffer_.data(), static_cast<long>(buffer_.size()), &got,
                              &ctx) != 1) {
            error = describe(ctx);
            return false;
        }
        if (got == 0)
            return true;
        if (!write_out(buffer_.data(), static_cast<size_t>(got))) {
            error = "cannot write standard output";
            return false;
        }
        wrote_ = true;
        tail_.append(reinterpret_cast<const char *>(buffer_.data()), static_cast<size_t>(got));
        if (tail_.size() > 2)
            tail_.erase(0, tail_.size() - 2);
    }
}

bool Base64Encoder::put(const unsigned char *data, size_t length, std::string &error) {
    TEVRA_ErrCtx ctx{};
    if (tevra_stream_writen(chain_.get(), data, static_cast<long>(length), &ctx) != 1) {
        error = describe(ctx);
        return false;
    }
    return drain(error);
}

bool Base64Encoder::finish(const std::string &end_line, std::string &error) {
    TEVRA_ErrCtx ctx{};
    if (tevra_stream_ctrl(chain_.get(), TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx) != 1) {
        error = describe(ctx);
        return false;
    }
    if (!drain(error))
        return false;
    // A last line shorter than a full one has no line ending yet.
    bool ended = tail_.size() >= end_line.size() &&
                 tail_.compare(tail_.size() - end_line.size(), end_line.size(), end_line) == 0;
    if (wrote_ && !ended && !write_out(end_line)) {
        error = "cannot write standard output";
        return false;
    }
    return true;
}

bool Base64Decoder::open(unsigned int flags, std::string &error) {
    TEVRA_ErrCtx ctx{};
    flags_ = flags;
    chain_.reset(filter_over_queue(tevra_stream_new_base64(TEVRA_BASE64_CRLF, 64, flags, &ctx),
                                   &source_, ctx, error));
    buffer_.resize(kDecodeRequest);
    return chain_ != nullptr;
}

bool Base64Decoder::put(const unsigned char *text, size_t length, std::string &error) {
    TEVRA_ErrCtx ctx{};
    if (tevra_stream_writen(source_, text, static_cast<long>(length), &ctx) != 1) {
        error = describe(ctx);
        return false;
    }
    // The filter returns less than asked once the queue beneath it runs dry.
    long got = kDecodeRequest;
    while (got == kDecodeRequest) {
        if (tevra_stream_read(chain_.get(), buffer_.data(), kDecodeRequest, &got, &ctx) != 1) {
            error = "invalid Base64 input: " + describe(ctx);
            return false;
        }
        if (!write_out(buffer_.data(), static_cast<size_t>(got))) {
            error = "cannot write standard output";
            return false;
        }
    }
    return true;
}

bool Base64Decoder::finish(std::string &error) {
    TEVRA_ErrCtx ctx{};
    if (flags_ & TEVRA_BASE64_NO_PADDING) {
        TEVRA_DataBlob *rest = nullptr;
        if (tevra_stream_ctrl(chain_.get(), TEVRA_STREAM_CTRL_GET_PENDING, &rest, &ctx) != 1) {
            error = "invalid Base64 input: the final group is incomplete";
            return false;
        }
        bool written = write_out(rest->data, static_cast<size_t>(rest->length));
        tevra_data_blob_free(rest);
        if (!written) {
            error = "cannot write standard output";
            return false;
        }
    }
    if (tevra_stream_ctrl(chain_.get(), TEVRA_STREAM_CTRL_EOF, nullptr, nullptr) != 1) {
        error = "invalid Base64 input: the text ends inside a group";
        return false;
    }
    return true;
}

} // namespace cli
