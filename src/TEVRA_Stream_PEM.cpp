// One-shot PEM codecs: a labelled frame around the one-shot Base64 text.
#include <cstring>
#include <limits>

#include "TEVRA_Alloc.h"
#include "TEVRA_Stream.h"

namespace {

// PEM blocks are reported under the Base64 codec they are built on.
constexpr char kFile[] = "TEVRA_Stream_Base64";

// Position of the first occurrence of needle in text[from, length), or -1.
long find(const unsigned char *text, long length, long from, const char *needle) {
    long k = static_cast<long>(std::strlen(needle));
    for (long i = from; i + k <= length; ++i)
        if (std::memcmp(text + i, needle, static_cast<size_t>(k)) == 0)
            return i;
    return -1;
}

// Skips at least five dashes from i; -1 when there are fewer.
long skip_dashes(const unsigned char *text, long length, long i) {
    long start = i;
    while (i < length && text[i] == '-')
        ++i;
    return i - start >= 5 ? i : -1;
}

bool is_line_break(unsigned char c) {
    return c == '\r' || c == '\n';
}

} // namespace

extern "C" {

TEVRA_API int tevra_pemencode(const char *label, const unsigned char *data, long length,
                              unsigned char **text, long *text_length) {
    if (label == nullptr || label[0] == '\0' || data == nullptr || text == nullptr ||
        text_length == nullptr || length < 1 || length > std::numeric_limits<long>::max() / 4)
        return 0;
    long label_length = static_cast<long>(std::strlen(label));
    if (label_length > std::numeric_limits<long>::max() / 8)
        return 0;
    unsigned char *body = nullptr;
    long body_length = 0;
    if (tevra_base64encode(2, data, length, &body, &body_length) != 1)
        return 0;
    tevra::Owned<unsigned char> body_holder(body);

    long e = 2 * length / 3;
    e -= e % 2;
    long size = 2 * (length / 32 + label_length + e) + 90;
    // "-----BEGIN " label "-----\r\n" body "\r\n" "-----END " label "-----\r\n" and a zero.
    long needed = 2 * label_length + 34 + body_length + 2 + 1;
    if (size < needed)
        size = needed;
    tevra::Owned<unsigned char> out = tevra::alloc_buffer<unsigned char>(size, kFile, __LINE__);
    if (!out)
        return 0;
    std::memset(out.get(), 0, static_cast<size_t>(size));
    unsigned char *p = out.get();
    auto put = [&p](const void *bytes, long n) {
        std::memcpy(p, bytes, static_cast<size_t>(n));
        p += n;
    };
    put("-----BEGIN ", 11);
    put(label, label_length);
    put("-----\r\n", 7);
    put(body, body_length);
    if (body_length < 2 || body[body_length - 2] != '\r' || body[body_length - 1] != '\n')
        put("\r\n", 2);
    put("-----END ", 9);
    put(label, label_length);
    put("-----\r\n", 7);
    *text_length = p - out.get();
    *text = out.release();
    return 1;
}

TEVRA_API int tevra_pemdecode(const char *label, const unsigned char *text, long length,
                              unsigned char **data, long *data_length) {
    if (label == nullptr || text == nullptr || data == nullptr || data_length == nullptr ||
        label[0] == '\0')
        return 0;
    long label_length = static_cast<long>(std::strlen(label));
    if (label_length > (std::numeric_limits<long>::max() - 34) / 2 ||
        length < 2 * label_length + 34)
        return 0;
    // The text ends with a dash or a line break, optionally followed by a zero.
    unsigned char last = text[length - 1];
    if (last == '\0')
        last = text[length - 2];
    if (last != '-' && !is_line_break(last))
        return 0;

    long begin = find(text, length, 0, "-----BEGIN ");
    if (begin < 0)
        return 0;
    for (long i = 0; i < begin; ++i)
        if (text[i] != '-')
            return 0;
    long i = begin + 11;
    if (length - i < label_length || std::memcmp(text + i, label, label_length) != 0)
        return 0;
    i = skip_dashes(text, length, i + label_length);
    if (i < 0 || i >= length || !is_line_break(text[i]))
        return 0;
    ++i;
    if (i < length && is_line_break(text[i]))
        ++i;
    long body = i;

    long end = find(text, length, 0, "-----END ");
    if (end < 0)
        return 0;
    long body_end = end;
    while (body_end > body && text[body_end - 1] == '-')
        --body_end;
    if (body_end <= body)
        return 0;
    i = end + 9;
    if (length - i < label_length || std::memcmp(text + i, label, label_length) != 0)
        return 0;
    i = skip_dashes(text, length, i + label_length);
    if (i < 0 || length - i > 2)
        return 0;
    return tevra_base64decode(2, text + body, body_end - body, data, data_length);
}

} // extern "C"
