// Base64 filter stream (standard and URL-safe alphabets, optional padding,
// four line-ending modes) and the one-shot Base64 codecs built on it.
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>

#include "TEVRA_Alloc.h"
#include "TEVRA_Stream_Internal.h"

namespace {

using tevra::detail::report;

constexpr char kFile[] = "TEVRA_Stream_Base64";

constexpr unsigned int kNoPadding = TEVRA_BASE64_NO_PADDING;
constexpr unsigned int kUrlSafe = TEVRA_BASE64_URL_SAFE;
constexpr unsigned int kOptionBits = kNoPadding | kUrlSafe;

constexpr char g_b64encodetable[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char g_b64urlencodetable[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

// Decoding classes besides the 6-bit values.
constexpr int kPad = 64;   // "="
constexpr int kBreak = 65; // line feed, carriage return
constexpr int kBlank = 66; // tab, space

// Class of every byte value for one alphabet; -1 for invalid bytes, which
// include all bytes of 0x80 and above.
constexpr std::array<int32_t, 256> make_decode_table(const char *alphabet) {
    std::array<int32_t, 256> t{};
    for (int i = 0; i < 256; ++i)
        t[i] = -1;
    for (int i = 0; i < 64; ++i)
        t[static_cast<unsigned char>(alphabet[i])] = i;
    t['='] = kPad;
    t['\n'] = kBreak;
    t['\r'] = kBreak;
    t['\t'] = kBlank;
    t[' '] = kBlank;
    return t;
}

constexpr std::array<int32_t, 256> b64decodetable = make_decode_table(g_b64encodetable);
constexpr std::array<int32_t, 256> b64urldecodetable = make_decode_table(g_b64urlencodetable);

// Tables of the fast paths. Encoding maps 12 input bits to two characters;
// decoding maps each of the four characters of a group to its bits already
// shifted into place, with bit 24 set for anything that is not an alphabet
// character, so one OR over a group tells whether it is plain.
constexpr uint32_t kSlow = 1u << 24;

struct FastTables {
    std::array<std::array<char, 2>, 4096> pairs;
    std::array<uint32_t, 256> dec[4];
};

constexpr FastTables make_fast(const char *alphabet, const std::array<int32_t, 256> &cls) {
    FastTables t{};
    for (int v = 0; v < 4096; ++v) {
        t.pairs[v][0] = alphabet[v >> 6];
        t.pairs[v][1] = alphabet[v & 63];
    }
    for (int c = 0; c < 256; ++c)
        for (int k = 0; k < 4; ++k)
            t.dec[k][c] =
                cls[c] >= 0 && cls[c] < 64 ? static_cast<uint32_t>(cls[c]) << (6 * (3 - k)) : kSlow;
    return t;
}

constexpr FastTables kStdFast = make_fast(g_b64encodetable, b64decodetable);
constexpr FastTables kUrlFast = make_fast(g_b64urlencodetable, b64urldecodetable);

constexpr long kChunk = 1024;

const char *line_ending(unsigned int mode, long *length) {
    switch (mode) {
    case 1:
        *length = 1;
        return "\r";
    case 2:
        *length = 2;
        return "\r\n";
    case 3:
        *length = 1;
        return "\n";
    default:
        *length = 0;
        return "";
    }
}

// ---- Decoding core ----

// Result of decoding one buffer. The significant characters of a final
// incomplete group (at most three) are handed back as the tail, to be put
// in front of the next buffer; skipped characters count as consumed.
struct DecodeOutcome {
    long produced = 0;
    unsigned char tail[4] = {};
    long tail_length = 0;
};

// Decodes length bytes into out, which must hold (length / 4) * 3 + 2 bytes.
// padding: "=" groups end the text; without padding a short final group is
// decoded when *finished is already set on entry (the final call). mode is
// the decode mode (which line-break and blank characters are skipped).
bool decodebase64(bool padding, bool url, unsigned int mode, const unsigned char *input,
                  long length, unsigned char *out, DecodeOutcome &result, int *finished) {
    const std::array<int32_t, 256> &cls = url ? b64urldecodetable : b64decodetable;
    const FastTables &fast = url ? kUrlFast : kStdFast;
    const bool finished_on_entry = *finished != 0;
    long o = 0;
    uint32_t acc = 0;
    int count = 0; // characters of the current group, "=" included
    int pads = 0;
    unsigned char group[4];
    long i = 0;
    while (i < length) {
        if (count == 0 && !(padding && *finished)) {
            // Plain groups of four alphabet characters need no checks. Two
            // groups at a time are stored with one 8-byte write, whose last two
            // bytes the following groups overwrite or the slack absorbs.
            while (length - i >= 8) {
                const unsigned char *q = input + i;
                uint32_t v =
                    fast.dec[0][q[0]] | fast.dec[1][q[1]] | fast.dec[2][q[2]] | fast.dec[3][q[3]];
                uint32_t w =
                    fast.dec[0][q[4]] | fast.dec[1][q[5]] | fast.dec[2][q[6]] | fast.dec[3][q[7]];
                if ((v | w) & kSlow)
                    break;
                uint64_t both = __builtin_bswap64(static_cast<uint64_t>(v) << 40 |
                                                  static_cast<uint64_t>(w) << 16);
                std::memcpy(out + o, &both, 8);
                o += 6;
                i += 8;
            }
            while (length - i >= 4) {
                uint32_t v = fast.dec[0][input[i]] | fast.dec[1][input[i + 1]] |
                             fast.dec[2][input[i + 2]] | fast.dec[3][input[i + 3]];
                if (v & kSlow)
                    break;
                out[o] = static_cast<unsigned char>(v >> 16);
                out[o + 1] = static_cast<unsigned char>(v >> 8);
                out[o + 2] = static_cast<unsigned char>(v);
                o += 3;
                i += 4;
            }
            if (i >= length)
                break;
        }
        unsigned char ch = input[i++];
        int c = cls[ch];
        if (c < 0)
            return false;
        if (c == kBreak) {
            if (mode == 1)
                return false;
            continue;
        }
        if (c == kBlank) {
            if (mode != 3)
                return false;
            continue;
        }
        if (padding && *finished)
            return false;
        if (c == kPad) {
            if (!padding || count < 2)
                return false;
            group[count++] = ch;
            ++pads;
            if (count == 4) {
                if (pads == 1) { // "xxx=": 18 bits, the low 2 must be 0
                    if (acc & 3u)
                        return false;
                    out[o++] = static_cast<unsigned char>(acc >> 10);
                    out[o++] = static_cast<unsigned char>(acc >> 2);
                } else { // "xx==": 12 bits, the low 4 must be 0
                    if (acc & 15u)
                        return false;
                    out[o++] = static_cast<unsigned char>(acc >> 4);
                }
                *finished = 1;
                count = 0;
                pads = 0;
                acc = 0;
            }
            continue;
        }
        if (pads > 0)
            return false; // an alphabet character after "=" in one group
        acc = acc << 6 | static_cast<uint32_t>(c);
        group[count++] = ch;
        if (count == 4) {
            out[o++] = static_cast<unsigned char>(acc >> 16);
            out[o++] = static_cast<unsigned char>(acc >> 8);
            out[o++] = static_cast<unsigned char>(acc);
            count = 0;
            acc = 0;
        }
    }
    result.tail_length = 0;
    if (count > 0) {
        if (!padding && finished_on_entry) {
            if (count == 1)
                return false;
            if (count == 2) {
                if (acc & 15u)
                    return false;
                out[o++] = static_cast<unsigned char>(acc >> 4);
            } else {
                if (acc & 3u)
                    return false;
                out[o++] = static_cast<unsigned char>(acc >> 10);
                out[o++] = static_cast<unsigned char>(acc >> 2);
            }
        } else {
            std::memcpy(result.tail, group, static_cast<size_t>(count));
            result.tail_length = count;
        }
    }
    result.produced = o;
    return true;
}

// ---- Stream ----

struct Base64StreamState {
    unsigned int encode_mode;
    unsigned int decode_mode;
    long line_length;
    long column;
    unsigned char pending[2]; // input bytes not yet forming a 3-byte group
    int pending_count;
    int has_pending;
    unsigned char carry[kChunk]; // undecoded input carried to the next read
    long carry_length;
    int has_carry;
    unsigned char overflow[kChunk]; // decoded bytes not yet delivered
    long overflow_length;
    int has_overflow;
    int finished; // padding seen, or the end reached
    int encode_padding;
    int decode_padding;
    int encode_url;
    int decode_url;
    int failed; // a decoding failure is sticky
};

Base64StreamState *state_of(TEVRA_Stream *stream) {
    return static_cast<Base64StreamState *>(stream->data);
}

// Encodes n complete 3-byte groups; returns the position after the output.
// Pointers are taken by value so that the character stores, which may alias
// anything, do not force them to be reloaded.
char *encode_run(const FastTables &fast, const unsigned char *in, long n, char *p) {
    long g = 0;
    // Two groups per step from one 8-byte load, while a third group keeps
    // the load inside the input.
    for (; g + 2 < n; g += 2) {
        uint64_t x;
        std::memcpy(&x, in, 8);
        x = __builtin_bswap64(x);
        uint32_t a = static_cast<uint32_t>(x >> 40);
        uint32_t b = static_cast<uint32_t>(x >> 16) & 0xFFFFFFu;
        char out[8];
        std::memcpy(out, fast.pairs[a >> 12].data(), 2);
        std::memcpy(out + 2, fast.pairs[a & 0xFFF].data(), 2);
        std::memcpy(out + 4, fast.pairs[b >> 12].data(), 2);
        std::memcpy(out + 6, fast.pairs[b & 0xFFF].data(), 2);
        std::memcpy(p, out, 8);
        p += 8;
        in += 6;
    }
    for (; g < n; ++g) {
        uint32_t v = static_cast<uint32_t>(in[0]) << 16 | static_cast<uint32_t>(in[1]) << 8 | in[2];
        char quad[4];
        std::memcpy(quad, fast.pairs[v >> 12].data(), 2);
        std::memcpy(quad + 2, fast.pairs[v & 0xFFF].data(), 2);
        std::memcpy(p, quad, 4);
        p += 4;
        in += 3;
    }
    return p;
}

// Encodes groups complete 3-byte groups of in into out, breaking lines as
// the state says. Returns the number of characters written; out must hold
// groups * 6 characters.
long encode_groups(Base64StreamState *st, const unsigned char *in, long groups, char *out) {
    const FastTables &fast = st->encode_url ? kUrlFast : kStdFast;
    if (st->encode_mode == 4)
        return encode_run(fast, in, groups, out) - out;
    long eol_length;
    const char *eol = line_ending(st->encode_mode, &eol_length);
    char *p = out;
    long column = st->column;
    const long line_length = st->line_length;
    while (groups > 0) {
        // Groups until the column reaches the line length.
        long room = (line_length - column + 3) / 4;
        if (room < 1)
            room = 1;
        long n = groups < room ? groups : room;
        p = encode_run(fast, in, n, p);
        in += 3 * n;
        groups -= n;
        column += 4 * n;
        if (column >= line_length) {
            std::memcpy(p, eol, static_cast<size_t>(eol_length));
            p += eol_length;
            column = 0;
        }
    }
    st->column = column;
    return p - out;
}

// When the next stream is a plain memory stream with room for the whole
// text, the groups are encoded straight into its buffer, which is what
// writing them through it would leave there, without the intermediate copy.
// Returns the number of input bytes consumed (0 when the case does not apply).
long encode_into_memory(TEVRA_Stream *next, Base64StreamState *st, const unsigned char *in,
                        long n) {
    using namespace tevra::detail;
    MemStreamState *m = mem_state(next);
    if (m == nullptr || m->data == nullptr ||
        (m->flags & (MEM_FLAG_READONLY | MEM_FLAG_RWSPEC)) != 0 || m->write_pos < 0 ||
        m->write_pos > m->capacity || n > std::numeric_limits<long>::max() / 2)
        return 0;
    long groups = n / 3;
    long eol_length;
    line_ending(st->encode_mode, &eol_length);
    long most = 4 * groups + eol_length * ((st->column + 4 * groups) / st->line_length + 1);
    if (groups == 0 || m->capacity - m->write_pos < most)
        return 0;
    long chars = encode_groups(st, in, groups, reinterpret_cast<char *>(m->data + m->write_pos));
    m->write_pos += chars;
    if (m->length < m->write_pos)
        m->length = m->write_pos;
    m->read_pos = m->write_pos;
    return groups * 3;
}

// Writes go on after a decoding failure; reads keep reporting it.
constexpr tevra::detail::FilterChecks kReadChecks =
    tevra::detail::sticky_read_checks<Base64StreamState>(TEVRA_ERR_STREAM_BASE64_DECODE);

int base64_write(TEVRA_Stream *stream, const void *data, long n, long *count, TEVRA_ErrCtx *ctx) {
    int checked = tevra::detail::filter_io_checks(stream, tevra::detail::kFilterWriteChecks, data,
                                                  n, count, ctx, kFile, __LINE__);
    if (checked != tevra::detail::kFilterProceed)
        return checked;
    Base64StreamState *st = state_of(stream);
    const auto *in = static_cast<const unsigned char *>(data);
    long done = 0;
    if (st->pending_count == 0)
        done = encode_into_memory(stream->next, st, in, n);
    unsigned char work[kChunk];
    char text[kChunk / 3 * 6];
    while (done < n) {
        long pc = st->pending_count;
        long take = n - done < kChunk - pc ? n - done : kChunk - pc;
        // The work buffer is only needed to put pending bytes in front.
        const unsigned char *source = in + done;
        if (pc > 0) {
            std::memcpy(work, st->pending, static_cast<size_t>(pc));
            std::memcpy(work + pc, in + done, static_cast<size_t>(take));
            source = work;
        }
        long total = pc + take;
        long groups = total / 3;
        // The column has moved with the encoding even if the write then
        // fails; the pending bytes stay as they were.
        long chars = encode_groups(st, source, groups, text);
        if (chars > 0) {
            int r = tevra_stream_writen(stream->next, text, chars, ctx);
            if (r != 1)
                return r;
        }
        long rest = total - groups * 3;
        std::memmove(st->pending, source + groups * 3, static_cast<size_t>(rest));
        st->pending_count = static_cast<int>(rest);
        st->has_pending = rest > 0;
        done += take;
    }
    if (count != nullptr)
        *count = n;
    return 1;
}

// Writes the final short group, if any, and its line ending.
int flush_pending(TEVRA_Stream *stream, Base64StreamState *st, TEVRA_ErrCtx *ctx) {
    if (st->pending_count == 0)
        return 1;
    const char *alphabet = st->encode_url ? g_b64urlencodetable : g_b64encodetable;
    char text[8];
    long t = 0;
    unsigned int a = st->pending[0];
    unsigned int b = st->pending_count == 2 ? st->pending[1] : 0u;
    text[t++] = alphabet[a >> 2];
    text[t++] = alphabet[(a & 3u) << 4 | b >> 4];
    if (st->pending_count == 2)
        text[t++] = alphabet[(b & 15u) << 2];
    if (st->encode_padding)
        while (t < 4)
            text[t++] = '=';
    long eol_length;
    const char *eol = line_ending(st->encode_mode, &eol_length);
    std::memcpy(text + t, eol, static_cast<size_t>(eol_length));
    t += eol_length;
    int r = tevra_stream_writen(stream->next, text, t, ctx);
    if (r != 1)
        return r;
    st->pending_count = 0;
    st->has_pending = 0;
    st->column = 0;
    return 1;
}

void set_carry(Base64StreamState *st, const DecodeOutcome &d) {
    std::memcpy(st->carry, d.tail, static_cast<size_t>(d.tail_length));
    st->carry_length = d.tail_length;
    st->has_carry = d.tail_length > 0;
}

int base64_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx) {
    int checked = tevra::detail::filter_io_checks(stream, kReadChecks, buffer, n, count, ctx, kFile,
                                                  __LINE__);
    if (checked != tevra::detail::kFilterProceed)
        return checked;
    Base64StreamState *st = state_of(stream);
    auto *out = static_cast<unsigned char *>(buffer);
    long delivered = 0;
    auto finish = [&](long delivered_count, int result) {
        if (count != nullptr)
            *count = delivered_count;
        return result;
    };

    if (st->overflow_length > 0) {
        long need = n;
        if (need <= st->overflow_length) {
            // Taken from the front; the bytes left are not moved up, so the
            // next read starts again at the front of the overflow buffer.
            std::memcpy(out, st->overflow, static_cast<size_t>(need));
            st->overflow_length -= need;
            st->has_overflow = st->overflow_length > 0;
            return finish(n, 1);
        }
        std::memcpy(out, st->overflow, static_cast<size_t>(st->overflow_length));
        delivered = st->overflow_length;
        st->overflow_length = 0;
        st->has_overflow = 0;
    }

    unsigned char input[kChunk];
    unsigned char decoded[kChunk];
    for (;;) {
        long carried = st->carry_length;
        std::memcpy(input, st->carry, static_cast<size_t>(carried));
        long ask = kChunk - carried;
        long got = 0;
        int r = tevra_stream_read(stream->next, input + carried, ask, &got, ctx);
        if (r != 1) {
            if (tevra_stream_ctrl(stream->next, TEVRA_STREAM_CTRL_EOF, nullptr, nullptr) != 1)
                return r;
            if (carried > 0)
                return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_LENGTH);
            st->finished = 1;
            if (delivered == 0) {
                finish(0, 0);
                return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_READ_PAST_END);
            }
            return finish(delivered, 1);
        }
        if (got <= 0)
            return finish(delivered, 1);
        if (got > ask)
            got = ask; // never trust a next stream to overrun our buffer
        long total = carried + got;
        long need = n - delivered;
        // Decode straight into the caller's buffer when everything fits.
        bool direct = need >= total / 4 * 3 + 2;
        unsigned char *target = direct ? out + delivered : decoded;
        DecodeOutcome d;
        if (!decodebase64(st->decode_padding != 0, st->decode_url != 0, st->decode_mode, input,
                          total, target, d, &st->finished)) {
            st->failed = 1;
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BASE64_DECODE);
        }
        set_carry(st, d);
        if (d.produced >= need) {
            if (!direct) {
                std::memcpy(out + delivered, decoded, static_cast<size_t>(need));
                st->overflow_length = d.produced - need;
                std::memcpy(st->overflow, decoded + need, static_cast<size_t>(st->overflow_length));
                st->has_overflow = st->overflow_length > 0;
            }
            return finish(n, 1);
        }
        if (!direct)
            std::memcpy(out + delivered, decoded, static_cast<size_t>(d.produced));
        delivered += d.produced;
        if (got < ask)
            return finish(delivered, 1);
    }
}

void base64_destroy(TEVRA_Stream *stream) {
    if (stream == nullptr || stream->type != TEVRA_STREAM_TYPE_BASE64 || stream->data == nullptr)
        return;
    tevra_free(stream->data);
    stream->data = nullptr;
}

// Hands over what the carried input decodes to when it is taken as the end of
// the text (control code 20). Its refusals push no entry; only a failed
// allocation is reported.
int take_pending(Base64StreamState *st, TEVRA_DataBlob **blob_out, TEVRA_ErrCtx *ctx) {
    if (blob_out == nullptr || st->failed)
        return 0;
    unsigned char decoded[kChunk];
    long produced = 0;
    bool final_group = false;
    if (st->carry_length > 0) {
        // With padding, a text may not end inside a group.
        if (st->decode_padding)
            return 0;
        DecodeOutcome d;
        int finished = 1;
        if (!decodebase64(false, st->decode_url != 0, st->decode_mode, st->carry, st->carry_length,
                          decoded, d, &finished)) {
            st->failed = 1;
            return 0;
        }
        if (d.tail_length > 0)
            return 0;
        produced = d.produced;
        final_group = true;
    }
    TEVRA_DataBlob *blob = tevra_data_blob_new(produced > 0 ? decoded : st->carry, produced);
    if (blob == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
    if (final_group) {
        st->finished = 1;
        st->carry_length = 0;
        st->has_carry = 0;
    }
    *blob_out = blob;
    return 1;
}

int base64_ctrl(TEVRA_Stream *stream, long code, void *argument, TEVRA_ErrCtx *ctx) {
    int checked = tevra::detail::filter_ctrl_checks(stream, ctx, kFile, __LINE__);
    if (checked != tevra::detail::kFilterProceed)
        return checked;
    Base64StreamState *st = state_of(stream);
    switch (code) {
    case TEVRA_STREAM_CTRL_GET_LENGTH:
        // The decoded length is not known in advance.
        return 0;
    case TEVRA_STREAM_CTRL_FLUSH: {
        int r = flush_pending(stream, st, ctx);
        if (r != 1)
            return r;
        return tevra_stream_ctrl(stream->next, code, argument, ctx);
    }
    case TEVRA_STREAM_CTRL_EOF:
        if (st->failed || st->carry_length > 0)
            return 0;
        return tevra_stream_ctrl(stream->next, code, argument, ctx);
    case TEVRA_STREAM_CTRL_GET_PENDING:
        return take_pending(st, static_cast<TEVRA_DataBlob **>(argument), ctx);
    default:
        return tevra_stream_ctrl(stream->next, code, argument, ctx);
    }
}

const TEVRA_StreamMethod base64_method = {base64_read, base64_write, base64_destroy, base64_ctrl};

// ---- One-shot helpers ----

// Releases a whole chain when it goes out of scope.
struct Chain {
    TEVRA_Stream *top = nullptr;
    Chain() = default;
    Chain(const Chain &) = delete;
    Chain &operator=(const Chain &) = delete;
    ~Chain() { tevra_stream_freeall(top); }
};

// Puts a new Base64 filter over bottom (a new stream, NULL when making it
// failed) and hands both to chain. The filter, or NULL.
TEVRA_Stream *base64_over(Chain &chain, TEVRA_Stream *bottom, unsigned int encode_flags,
                          unsigned int decode_flags) {
    if (bottom == nullptr)
        return nullptr;
    chain.top = bottom;
    TEVRA_Stream *filter = tevra_stream_new_base64(encode_flags, 64, decode_flags, nullptr);
    if (filter == nullptr)
        return nullptr;
    if (tevra_stream_push(filter, bottom) != 1) {
        tevra_stream_free(filter);
        return nullptr;
    }
    chain.top = filter;
    return filter;
}

} // namespace

extern "C" {

TEVRA_API TEVRA_Stream *tevra_stream_new_base64(unsigned int encode_flags, int line_length,
                                                unsigned int decode_flags, TEVRA_ErrCtx *ctx) {
    unsigned int encode_mode = encode_flags & ~kOptionBits;
    unsigned int decode_mode = decode_flags & ~kOptionBits;
    if (encode_mode < 1 || encode_mode > 4 || decode_mode < 1 || decode_mode > 3) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BASE64_FLAG);
        return nullptr;
    }
    auto *st =
        static_cast<Base64StreamState *>(tevra_malloc(sizeof(Base64StreamState), kFile, __LINE__));
    if (st == nullptr) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    std::memset(st, 0, sizeof *st);
    long line = line_length < 1 ? 64 : line_length;
    st->encode_mode = encode_mode;
    st->decode_mode = decode_mode;
    st->line_length = line + line % 4;
    st->encode_padding = (encode_flags & kNoPadding) == 0;
    st->decode_padding = (decode_flags & kNoPadding) == 0;
    st->encode_url = (encode_flags & kUrlSafe) != 0;
    st->decode_url = (decode_flags & kUrlSafe) != 0;
    TEVRA_Stream *stream =
        tevra::detail::stream_new(&base64_method, TEVRA_STREAM_TYPE_BASE64, st, kFile, __LINE__);
    if (stream == nullptr) {
        tevra_free(st);
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
    }
    return stream;
}

TEVRA_API int tevra_base64encode(unsigned int flags, const unsigned char *data, long length,
                                 unsigned char **text, long *text_length) {
    if (data == nullptr || text == nullptr || text_length == nullptr || length < 1 ||
        length > std::numeric_limits<long>::max() / 2)
        return 0;
    // Room for the whole text, its line endings and the terminator, so the
    // buffer never grows, but no more than twice the input: a buffer sized
    // to the text is reused by the system allocator from one call to the
    // next, where one of twice the input is fetched afresh from the kernel
    // once inputs pass a few megabytes.
    long chars = (length + 2) / 3 * 4;
    long capacity = chars + 2 * (chars / 64 + 1) + 8;
    if (capacity > 2 * length)
        capacity = 2 * length;
    Chain chain;
    TEVRA_Stream *mem = tevra_stream_new_mem(capacity, nullptr);
    TEVRA_Stream *filter = base64_over(chain, mem, flags, 2);
    if (filter == nullptr)
        return 0;
    static const unsigned char kZero = 0;
    unsigned char *out = nullptr;
    long out_length = 0;
    if (tevra_stream_writen(filter, data, length, nullptr) != 1 ||
        tevra_stream_ctrl(filter, TEVRA_STREAM_CTRL_FLUSH, nullptr, nullptr) != 1 ||
        tevra_stream_writen(mem, &kZero, 1, nullptr) != 1 ||
        tevra_memstreamdeatch(mem, &out, &out_length) != 1)
        return 0;
    *text = out;
    *text_length = out_length - 1;
    return 1;
}

TEVRA_API int tevra_base64decode(unsigned int flags, const unsigned char *text, long length,
                                 unsigned char **data, long *data_length) {
    if (text == nullptr || data == nullptr || data_length == nullptr || length < 1)
        return 0;
    Chain chain;
    TEVRA_Stream *filter =
        base64_over(chain, tevra_stream_new_romem(text, length, 0, nullptr), 2, flags);
    if (filter == nullptr)
        return 0;
    Chain output;
    output.top = tevra_stream_new_mem(length / 4 * 3, nullptr);
    if (output.top == nullptr)
        return 0;

    unsigned char piece[8192];
    tevra::detail::MemStreamState *m = tevra::detail::mem_state(output.top);
    for (;;) {
        long got = 0;
        long room = m != nullptr ? m->capacity - m->write_pos : 0;
        if (room >= static_cast<long>(sizeof piece)) {
            // Read straight into the output's free space: the same bytes as
            // reading in pieces and writing them there, without the copy.
            if (tevra_stream_read(filter, m->data + m->write_pos, room, &got, nullptr) != 1 ||
                got <= 0 || got > room)
                break;
            m->write_pos += got;
            if (m->length < m->write_pos)
                m->length = m->write_pos;
            m->read_pos = m->write_pos;
            continue;
        }
        if (tevra_stream_read(filter, piece, sizeof piece, &got, nullptr) != 1 || got == 0)
            break;
        if (tevra_stream_writen(output.top, piece, got, nullptr) != 1)
            return 0;
    }
    if (flags & kNoPadding) {
        TEVRA_DataBlob *rest = nullptr;
        if (tevra_stream_ctrl(filter, TEVRA_STREAM_CTRL_GET_PENDING, &rest, nullptr) != 1)
            return 0;
        int r = tevra_stream_writen(output.top, rest->data, rest->length, nullptr);
        tevra_data_blob_free(rest);
        if (r != 1)
            return 0;
    }
    if (tevra_stream_ctrl(filter, TEVRA_STREAM_CTRL_EOF, nullptr, nullptr) != 1)
        return 0;
    unsigned char *out = nullptr;
    long out_length = 0;
    if (tevra_memstreamdeatch(output.top, &out, &out_length) != 1)
        return 0;
    *data = out;
    *data_length = out_length;
    return 1;
}

} // extern "C"
