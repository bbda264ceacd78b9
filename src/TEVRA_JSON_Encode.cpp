// JSON encoding: compact or pretty-printed text into a buffer or a stream.
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "TEVRA_JSON_Internal.h"
#include "TEVRA_Util.h"

using namespace tevra::detail;

namespace {

constexpr unsigned int kSortFlag = TEVRA_JSON_SORT;

// Growable output buffer owned until release(); grows by doubling.
class BufferOut {
  public:
    BufferOut() = default;
    BufferOut(const BufferOut &) = delete;
    BufferOut &operator=(const BufferOut &) = delete;
    ~BufferOut() { tevra_free(data_); }

    bool put(const char *bytes, long n) {
        if (n > capacity_ - size_ && !grow(n))
            return false;
        std::memcpy(data_ + size_, bytes, static_cast<size_t>(n));
        size_ += n;
        return true;
    }
    long size() const { return size_; }
    char *release() {
        char *data = data_;
        data_ = nullptr;
        return data;
    }

  private:
    bool grow(long n) {
        long capacity = capacity_ > 0 ? capacity_ : 256;
        while (capacity - size_ < n) {
            if (capacity > LONG_MAX / 2)
                return false;
            capacity *= 2;
        }
        auto *data = static_cast<char *>(tevra_malloc(capacity, kJsonFile, __LINE__));
        if (data == nullptr)
            return false;
        if (size_ > 0)
            std::memcpy(data, data_, static_cast<size_t>(size_));
        tevra_free(data_);
        data_ = data;
        capacity_ = capacity;
        return true;
    }

    char *data_ = nullptr;
    long size_ = 0;
    long capacity_ = 0;
};

// Writes through tevra_stream_write, finishing short writes; a write that
// fails or takes nothing ends the encoding.
class StreamOut {
  public:
    explicit StreamOut(TEVRA_Stream *stream) : stream_(stream) {}
    bool put(const char *bytes, long n) {
        while (n > 0) {
            long count = 0;
            if (tevra_stream_write(stream_, bytes, n, &count, nullptr) != 1 || count <= 0 ||
                count > n)
                return false;
            bytes += count;
            n -= count;
        }
        return true;
    }

  private:
    TEVRA_Stream *stream_;
};

// Decimal text of a 32-bit integer; returns its length.
int format_int(int value, char *out) {
    char digits[12];
    int n = 0;
    long v = value;
    bool negative = v < 0;
    if (negative)
        v = -v;
    do {
        digits[n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v != 0);
    int length = 0;
    if (negative)
        out[length++] = '-';
    while (n > 0)
        out[length++] = digits[--n];
    out[length] = '\0';
    return length;
}

// Integral values in 32-bit range print as integers; everything else as
// "%lf" with the trailing zeros of the fraction (and a bare point) removed,
// so at most six decimals survive. The buffer holds the widest "%lf" text
// (about 320 characters for the largest doubles).
int format_number(double x, char *out, size_t size) {
    double fraction = x - std::floor(x);
    if (fraction == 0.0 && x >= -2147483648.0 && x <= 2147483647.0)
        return format_int(static_cast<int>(x), out);
    int length = std::snprintf(out, size, "%lf", x);
    if (length < 0 || static_cast<size_t>(length) >= size)
        return -1;
    if (std::memchr(out, '.', static_cast<size_t>(length)) == nullptr)
        return length;
    while (out[length - 1] == '0')
        --length;
    if (out[length - 1] == '.')
        --length;
    if (length == 0 || out[0] == '.') {
        out[0] = '0';
        length = 1;
    }
    out[length] = '\0';
    return length;
}

// Bytes written as \u00XX: control characters. Quote and backslash get a
// backslash before them; everything else, UTF-8 sequences included, is copied.
struct EscapeTable {
    unsigned char kind[256] = {};
    constexpr EscapeTable() {
        for (int i = 0; i < 0x20; ++i)
            kind[i] = 1;
        kind[0x22] = 2; // quote
        kind[0x5C] = 2; // backslash
    }
};
constexpr EscapeTable kEscape;

template <class Out> class Encoder {
  public:
    explicit Encoder(Out &out) : out_(out) {}

    bool value(int flags, int depth, const TEVRA_JSON *value) {
        switch (value->type) {
        case TEVRA_JSON_STRING:
            return string(flags, depth, value);
        case TEVRA_JSON_NUMBER:
            return indent(flags, depth) && number(value->u.number);
        case TEVRA_JSON_BOOLEAN:
            return indent(flags, depth) &&
                   (value->u.boolean != 0 ? put("true", 4) : put("false", 5));
        case TEVRA_JSON_NULL:
            return indent(flags, depth) && put("null", 4);
        case TEVRA_JSON_OBJECT:
        case TEVRA_JSON_ARRAY:
            return container(flags, depth, value);
        default:
            return false;
        }
    }

    bool string(int flags, int depth, const TEVRA_JSON *value) {
        if (!indent(flags, depth) || !put("\"", 1))
            return false;
        const auto *bytes = reinterpret_cast<const unsigned char *>(value->u.string);
        long run = 0;
        for (long i = 0; i < value->length; ++i) {
            unsigned char kind = kEscape.kind[bytes[i]];
            if (kind == 0)
                continue;
            if (!put(value->u.string + run, i - run))
                return false;
            run = i + 1;
            char escaped[7] = {'\\', static_cast<char>(bytes[i])};
            if (kind == 1)
                std::snprintf(escaped, sizeof escaped, "\\u00%02X", bytes[i]);
            if (!put(escaped, kind == 1 ? 6 : 2))
                return false;
        }
        return put(value->u.string + run, value->length - run) && put("\"", 1);
    }

  private:
    static bool pretty(int flags) { return (static_cast<unsigned int>(flags) & 0x80000000u) != 0; }

    bool put(const char *bytes, long n) { return n == 0 || out_.put(bytes, n); }

    // Kept out of line, like number(), so that their buffers do not weigh on
    // every level of the recursion through nested containers.
    [[gnu::noinline]] bool indent(int flags, int depth) {
        if (!pretty(flags) || depth < 1)
            return true;
        unsigned int spaces = static_cast<unsigned int>(flags) & TEVRA_JSON_INDENT_MASK;
        if ((static_cast<unsigned int>(flags) & TEVRA_JSON_INDENT_SPACES) == 0)
            spaces = 0;
        // A unit is the spaces followed by a tab, always ending in the tab.
        char unit[TEVRA_JSON_INDENT_MASK + 1];
        std::memset(unit, ' ', spaces);
        unit[spaces] = '\t';
        for (int d = 0; d < depth; ++d)
            if (!put(unit, spaces + 1))
                return false;
        return true;
    }

    bool line_end(int flags) {
        if (!pretty(flags))
            return true;
        auto bits = static_cast<unsigned int>(flags);
        return ((bits & TEVRA_JSON_LINE_CR) == 0 || put("\r", 1)) &&
               ((bits & TEVRA_JSON_LINE_LF) == 0 || put("\n", 1));
    }

    [[gnu::noinline]] bool number(double x) {
        char text[400];
        int length = format_number(x, text, sizeof text);
        return length > 0 && put(text, length);
    }

    // Array elements keep the caller's flags; an object member's value is
    // written with flags 0, so it is compact whatever the caller asked for.
    bool container(int flags, int depth, const TEVRA_JSON *value) {
        bool object = value->type == TEVRA_JSON_OBJECT;
        if (!indent(flags, depth) || !put(object ? "{" : "[", 1) || !line_end(flags))
            return false;
        int count = tevra_arraylist_count(value->u.list);
        for (int i = 0; i < count; ++i) {
            void *item = tevra_arraylist_getitemref(value->u.list, i);
            if (item == nullptr ||
                !(object ? member(flags, depth + 1, item)
                         : this->value(flags, depth + 1, static_cast<const TEVRA_JSON *>(item))))
                return false;
            if ((i + 1 < count && !put(",", 1)) || !line_end(flags))
                return false;
        }
        if (pretty(flags) && depth >= 1 && !indent(flags, depth))
            return false;
        return put(object ? "}" : "]", 1);
    }

    bool member(int flags, int depth, void *item) {
        const auto *m = static_cast<const JsonObjectMember *>(item);
        return m->key != nullptr && m->value != nullptr && m->key->type == TEVRA_JSON_STRING &&
               string(flags, depth, m->key) && put(":", 1) && value(0, depth, m->value);
    }

    Out &out_;
};

bool sort_top_level(TEVRA_JSON *value) {
    switch (value->type) {
    case TEVRA_JSON_OBJECT:
        itevra_arraylist_sort(value->u.list, comparejsonobjectitem2);
        return true;
    case TEVRA_JSON_ARRAY:
        itevra_arraylist_sort(value->u.list, comparejson2);
        return true;
    default:
        return value->type >= TEVRA_JSON_STRING && value->type <= TEVRA_JSON_NULL;
    }
}

} // namespace

extern "C" {

TEVRA_API int tevra_json_encode(TEVRA_JSON *value, int flags, char **out_text, int *out_length) {
    if (value == nullptr || out_text == nullptr || out_length == nullptr)
        return 0;
    if ((static_cast<unsigned int>(flags) & kSortFlag) != 0 && !sort_top_level(value))
        return 0;
    BufferOut out;
    Encoder<BufferOut> encoder(out);
    // The length is handed out as a 32-bit count, so longer text fails.
    if (!encoder.value(flags, 0, value) || !out.put("", 1) || out.size() - 1 > INT_MAX)
        return 0;
    *out_length = static_cast<int>(out.size() - 1);
    *out_text = out.release();
    return 1;
}

TEVRA_API int tevra_json_encodeinstream(TEVRA_Stream *stream, int flags, int depth,
                                        const TEVRA_JSON *value) {
    if (stream == nullptr || value == nullptr)
        return 0;
    StreamOut out(stream);
    return Encoder<StreamOut>(out).value(flags, depth, value) ? 1 : 0;
}

TEVRA_API int tevra_json_encodestringinstream(TEVRA_Stream *stream, int flags, int depth,
                                              const TEVRA_JSON *value) {
    if (stream == nullptr || !json_is(value, TEVRA_JSON_STRING))
        return 0;
    StreamOut out(stream);
    return Encoder<StreamOut>(out).string(flags, depth, value) ? 1 : 0;
}

} // extern "C"
