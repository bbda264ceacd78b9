// Hexadecimal text: one-shot encoding and decoding of whole buffers, and the
// hex filter stream (bytes written become two digits each, digits read become
// bytes).
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>

#include "TEVRA_Alloc.h"
#include "TEVRA_Stream_Internal.h"

namespace {

using tevra::detail::report;

constexpr char kFile[] = "TEVRA_Stream_Hex";

// Digit for value v in case c (0 lower, 1 upper) is entry 2v + c.
constexpr char kDigits[] = "00112233445566778899aAbBcCdDeEfF";

// Two digits per byte value, high nibble first, for each case.
struct PairTable {
    std::array<std::array<char, 2>, 256> pair[2];
};

constexpr PairTable make_pairs() {
    PairTable t{};
    for (int c = 0; c < 2; ++c)
        for (int v = 0; v < 256; ++v) {
            t.pair[c][v][0] = kDigits[2 * (v >> 4) + c];
            t.pair[c][v][1] = kDigits[2 * (v & 15) + c];
        }
    return t;
}

constexpr PairTable kPairs = make_pairs();

// Nibble value of each byte, -1 for anything that is not a hex digit
// (all bytes of 0x80 and above included).
constexpr std::array<int8_t, 256> make_nibbles() {
    std::array<int8_t, 256> t{};
    for (int i = 0; i < 256; ++i)
        t[i] = -1;
    for (int i = 0; i < 10; ++i)
        t['0' + i] = static_cast<int8_t>(i);
    for (int i = 0; i < 6; ++i) {
        t['a' + i] = static_cast<int8_t>(10 + i);
        t['A' + i] = static_cast<int8_t>(10 + i);
    }
    return t;
}

constexpr std::array<int8_t, 256> kNibbles = make_nibbles();

// Writes 2 * n digits for n bytes.
void encode_hex(int upper, const unsigned char *in, long n, char *out) {
    const auto &pairs = kPairs.pair[upper != 0 ? 1 : 0];
    for (long i = 0; i < n; ++i) {
        std::memcpy(out, pairs[in[i]].data(), 2);
        out += 2;
    }
}

// Decodes pairs digits into pairs bytes; false at the first non-digit.
bool decode_hex(const unsigned char *in, long pairs, unsigned char *out) {
    for (long i = 0; i < pairs; ++i) {
        int hi = kNibbles[in[2 * i]];
        int lo = kNibbles[in[2 * i + 1]];
        if ((hi | lo) < 0)
            return false;
        out[i] = static_cast<unsigned char>(hi << 4 | lo);
    }
    return true;
}

struct HexStreamState {
    int upper;             // 1 when writing upper-case digits
    unsigned char pending; // digit left over from an odd read
    int has_pending;
    int failed; // a decoding failure is sticky
};

constexpr long kChunk = 1024;

HexStreamState *state_of(TEVRA_Stream *stream) {
    return static_cast<HexStreamState *>(stream->data);
}

// Writes go on after a decoding failure; reads keep reporting it.
constexpr tevra::detail::FilterChecks kReadChecks =
    tevra::detail::sticky_read_checks<HexStreamState>(TEVRA_ERR_STREAM_HEX_DECODE);

int hex_write(TEVRA_Stream *stream, const void *data, long n, long *count, TEVRA_ErrCtx *ctx) {
    int checked = tevra::detail::filter_io_checks(stream, tevra::detail::kFilterWriteChecks, data,
                                                  n, count, ctx, kFile, __LINE__);
    if (checked != tevra::detail::kFilterProceed)
        return checked;
    HexStreamState *st = state_of(stream);
    const auto *in = static_cast<const unsigned char *>(data);
    char text[2 * kChunk];
    for (long done = 0; done < n;) {
        long piece = n - done < kChunk ? n - done : kChunk;
        encode_hex(st->upper, in + done, piece, text);
        int r = tevra_stream_writen(stream->next, text, 2 * piece, ctx);
        if (r != 1)
            return r;
        done += piece;
    }
    if (count != nullptr)
        *count = n;
    return 1;
}

int hex_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx) {
    int checked = tevra::detail::filter_io_checks(stream, kReadChecks, buffer, n, count, ctx, kFile,
                                                  __LINE__);
    if (checked != tevra::detail::kFilterProceed)
        return checked;
    HexStreamState *st = state_of(stream);
    auto *out = static_cast<unsigned char *>(buffer);
    unsigned char text[kChunk];
    long delivered = 0;
    auto finish = [&](int result) {
        if (count != nullptr)
            *count = delivered;
        return result;
    };
    // The loop ends on a short or empty read, or after a read of fewer than
    // 1024 characters; a request met by full 1024-character reads therefore
    // ends with a read of 0 characters.
    for (;;) {
        long p = st->has_pending ? 1 : 0;
        // Ask for exactly what the request still needs, so that a short
        // request leaves the rest of the text in the next stream.
        long want = 2 * (n - delivered) - p;
        long ask = want < kChunk ? want : kChunk - p;
        if (p != 0)
            text[0] = st->pending;
        long got = 0;
        int r = tevra_stream_read(stream->next, text + p, ask, &got, ctx);
        if (r != 1) {
            // Not at its end: the answer of the end test is the result.
            int at_end = tevra_stream_ctrl(stream->next, TEVRA_STREAM_CTRL_EOF, nullptr, nullptr);
            if (at_end != 1)
                return at_end;
            if (st->has_pending)
                return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_LENGTH);
            st->has_pending = 0;
            if (delivered == 0) {
                finish(0);
                return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_READ_PAST_END);
            }
            return finish(1);
        }
        if (got <= 0)
            return finish(1);
        if (got > ask)
            got = ask; // never trust a next stream to overrun our buffer
        long total = p + got;
        if (total % 2 != 0) {
            st->pending = text[total - 1];
            st->has_pending = 1;
            --total;
        } else {
            st->has_pending = 0;
        }
        if (!decode_hex(text, total / 2, out + delivered)) {
            st->failed = 1;
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_HEX_DECODE);
        }
        delivered += total / 2;
        if (want < kChunk || got < ask)
            return finish(1);
    }
}

void hex_destroy(TEVRA_Stream *stream) {
    if (stream == nullptr || stream->type != TEVRA_STREAM_TYPE_HEX || stream->data == nullptr)
        return;
    tevra_free(stream->data);
    stream->data = nullptr;
}

int hex_ctrl(TEVRA_Stream *stream, long code, void *argument, TEVRA_ErrCtx *ctx) {
    int checked = tevra::detail::filter_ctrl_checks(stream, ctx, kFile, __LINE__);
    if (checked != tevra::detail::kFilterProceed)
        return checked;
    if (state_of(stream)->failed)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_HEX_DECODE);
    return tevra_stream_ctrl(stream->next, code, argument, ctx);
}

const TEVRA_StreamMethod hex_method = {hex_read, hex_write, hex_destroy, hex_ctrl};

} // namespace

extern "C" {

TEVRA_API int tevra_hexencode(int upper, const unsigned char *data, long length,
                              unsigned char **text, long *text_length) {
    if (data == nullptr || text == nullptr || text_length == nullptr || length < 1 ||
        length > (std::numeric_limits<long>::max() - 1) / 2)
        return 0;
    *text_length = 2 * length;
    auto *out = static_cast<unsigned char *>(tevra_malloc(2 * length + 1, kFile, __LINE__));
    *text = out;
    if (out == nullptr)
        return 0;
    encode_hex(upper, data, length, reinterpret_cast<char *>(out));
    out[2 * length] = 0;
    return 1;
}

TEVRA_API int tevra_hexdecode(const unsigned char *text, long length, unsigned char **data,
                              long *data_length) {
    if (text == nullptr || data == nullptr || data_length == nullptr || length < 1 ||
        length % 2 != 0)
        return 0;
    *data_length = length / 2;
    auto *out = static_cast<unsigned char *>(tevra_malloc(length / 2, kFile, __LINE__));
    if (out == nullptr) {
        *data = nullptr;
        return 0;
    }
    if (!decode_hex(text, length / 2, out)) {
        tevra_free(out);
        // Never leave the caller holding a released block.
        *data = nullptr;
        return 0;
    }
    *data = out;
    return 1;
}

TEVRA_API TEVRA_Stream *tevra_stream_new_hex(int upper, TEVRA_ErrCtx *ctx) {
    auto *st = static_cast<HexStreamState *>(tevra_malloc(sizeof(HexStreamState), kFile, __LINE__));
    if (st == nullptr) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    st->upper = upper != 0 ? 1 : 0;
    st->pending = 0;
    st->has_pending = 0;
    st->failed = 0;
    TEVRA_Stream *stream =
        tevra::detail::stream_new(&hex_method, TEVRA_STREAM_TYPE_HEX, st, kFile, __LINE__);
    if (stream == nullptr) {
        tevra_free(st);
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
    }
    return stream;
}

} // extern "C"
