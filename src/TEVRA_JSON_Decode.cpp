// JSON decoding: text with an explicit length into a value tree.
//
// Containers are parsed with an explicit stack instead of recursion, and each
// parsed value is moved into its container without being copied, so decoding
// is linear in the text whatever the nesting or the width, and deep nesting
// cannot exhaust the call stack.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "TEVRA_Alloc.h"
#include "TEVRA_JSON_Internal.h"
#include "TEVRA_Util.h"

using namespace tevra::detail;

namespace {

bool is_space(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool is_digit(unsigned char c) {
    return c >= '0' && c <= '9';
}

int hex_value(unsigned char c) {
    if (is_digit(c))
        return c - '0';
    c |= 0x20;
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// The value of four hex digits at text, or -1.
long hex4(const unsigned char *text) {
    long value = 0;
    for (int i = 0; i < 4; ++i) {
        int digit = hex_value(text[i]);
        if (digit < 0)
            return -1;
        value = value * 16 + digit;
    }
    return value;
}

int put_utf8(unsigned long cp, unsigned char *out) {
    if (cp < 0x80) {
        out[0] = static_cast<unsigned char>(cp);
        return 1;
    }
    if (cp < 0x800) {
        out[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
        out[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        return 2;
    }
    if (cp < 0x10000) {
        out[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
        out[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        out[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        return 3;
    }
    out[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
    out[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
    out[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    out[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 4;
}

// Decodes the \u escape at text[i] (the backslash) into out; returns the
// index behind it, or -1. A high surrogate must be followed at once by an
// escaped low one; a lone low surrogate fails.
long unicode_escape(const unsigned char *text, long length, long i, unsigned char *out,
                    int *written) {
    if (i + 6 > length)
        return -1;
    long cp = hex4(text + i + 2);
    if (cp < 0 || (cp >= 0xDC00 && cp <= 0xDFFF))
        return -1;
    i += 6;
    if (cp >= 0xD800 && cp <= 0xDBFF) {
        if (i + 6 > length || text[i] != '\\' || text[i + 1] != 'u')
            return -1;
        long low = hex4(text + i + 2);
        if (low < 0xDC00 || low > 0xDFFF)
            return -1;
        cp = 0x10000 + ((cp & 0x3FF) << 10) + (low & 0x3FF);
        i += 6;
    }
    *written = put_utf8(static_cast<unsigned long>(cp), out);
    return i;
}

unsigned char simple_escape(unsigned char letter) {
    switch (letter) {
    case '"':
        return '"';
    case '\\':
        return '\\';
    case '/':
        return '/';
    case 'b':
        return 0x08;
    case 'f':
        return 0x0C;
    case 'n':
        return 0x0A;
    case 'r':
        return 0x0D;
    case 't':
        return 0x09;
    default:
        return 0;
    }
}

constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

std::uint64_t load8(const unsigned char *p) {
    std::uint64_t word;
    std::memcpy(&word, p, 8);
    return word;
}

// Whether any of eight bytes is a quote, a backslash or a control byte: the
// bytes a string token must look at one by one.
bool needs_attention(std::uint64_t word) {
    std::uint64_t quote = word ^ (kOnes * '"'), backslash = word ^ (kOnes * '\\');
    std::uint64_t hits = ((quote - kOnes) & ~quote) | ((backslash - kOnes) & ~backslash) |
                         ((word - kOnes * 0x20) & ~word);
    return (hits & kHighBits) != 0;
}

struct TokenScan {
    long end = -1;        // index of the closing quote, -1 when there is none
    bool escaped = false; // a backslash was seen
    bool control = false; // a byte below 0x20 was seen
    bool high = false;    // a byte above 0x7F was seen
};

// Finds the quote that would end the token starting at text[0], skipping the
// byte after each backslash. Escapes never produce more bytes than they
// occupy, so the distance bounds the decoded length.
TokenScan scan_token(const unsigned char *text, long length) {
    TokenScan scan;
    std::uint64_t high = 0;
    for (long i = 1; i < length;) {
        if (i + 8 <= length && !needs_attention(load8(text + i))) {
            high |= load8(text + i);
            i += 8;
            continue;
        }
        unsigned char c = text[i];
        if (c == '"') {
            scan.end = i;
            break;
        }
        if (c == '\\') {
            scan.escaped = true;
            i += 2;
            continue;
        }
        scan.control |= c < 0x20;
        high |= c;
        ++i;
    }
    scan.high = (high & kHighBits) != 0;
    return scan;
}

// Decodes the token's bytes between index 1 and end into out; the decoded
// length, or -1 for a control byte or a bad escape.
long unescape(const unsigned char *text, long end, unsigned char *out) {
    long n = 0;
    for (long i = 1; i < end;) {
        if (i + 8 <= end && !needs_attention(load8(text + i))) {
            std::memcpy(out + n, text + i, 8);
            n += 8;
            i += 8;
            continue;
        }
        unsigned char c = text[i];
        if (c < 0x20)
            return -1;
        if (c != '\\') {
            out[n++] = c;
            ++i;
            continue;
        }
        if (text[i + 1] == 'u') {
            int written = 0;
            i = unicode_escape(text, end, i, out + n, &written);
            if (i < 0)
                return -1;
            n += written;
            continue;
        }
        unsigned char byte = simple_escape(text[i + 1]);
        if (byte == 0)
            return -1;
        out[n++] = byte;
        i += 2;
    }
    return n;
}

// The string inside what a token becomes: a string value or a member's key.
TEVRA_JSON *string_of(TEVRA_JSON *value) {
    return value;
}
TEVRA_JSON *string_of(JsonObjectMember *member) {
    return member->key;
}
void discard(TEVRA_JSON *value) {
    tevra_json_free(value);
}
void discard(JsonObjectMember *member) {
    json_member_free(member);
}

// Parses one string token into what make(bytes, length) builds (a string
// value or a member), or NULL on any error. A token without escapes is
// copied from the text; one with escapes is decoded straight into the new
// object, sized for the token, which escapes never outgrow.
template <class Make>
auto decode_string(const unsigned char *text, long length, long *consumed, Make make)
    -> decltype(make(nullptr, 0)) {
    if (length < 2)
        return nullptr;
    TokenScan scan = scan_token(text, length);
    long end = scan.end;
    if (end < 0 || scan.control)
        return nullptr;
    const char *raw = reinterpret_cast<const char *>(text + 1);
    // Escapes always yield well-formed UTF-8; raw bytes above 0x7F need the check.
    if (!scan.escaped && scan.high && !json_valid_utf8(raw, end - 1))
        return nullptr;
    auto result = make(scan.escaped ? nullptr : raw, static_cast<int>(end - 1));
    if (result == nullptr)
        return nullptr;
    if (scan.escaped) {
        TEVRA_JSON *string = string_of(result);
        long n = unescape(text, end, reinterpret_cast<unsigned char *>(string->u.string));
        if (n < 0 || (scan.high && !json_valid_utf8(string->u.string, n))) {
            discard(result);
            return nullptr;
        }
        string->length = static_cast<int>(n);
        string->u.string[n] = '\0';
    }
    *consumed = end + 1;
    return result;
}

TEVRA_JSON *make_string(const char *bytes, int length) {
    return json_string_unchecked(bytes, length);
}

JsonObjectMember *make_pending_member(const char *bytes, int length) {
    return json_member(bytes, length, nullptr);
}

// Length of the number at text by the JSON grammar, or -1.
long number_length(const unsigned char *text, long length) {
    long i = 0;
    if (text[i] == '-')
        ++i;
    if (i >= length || !is_digit(text[i]))
        return -1;
    if (text[i++] != '0')
        while (i < length && is_digit(text[i]))
            ++i;
    if (i < length && text[i] == '.') {
        if (++i >= length || !is_digit(text[i]))
            return -1;
        while (i < length && is_digit(text[i]))
            ++i;
    }
    if (i < length && (text[i] == 'e' || text[i] == 'E')) {
        if (++i < length && (text[i] == '+' || text[i] == '-'))
            ++i;
        if (i >= length || !is_digit(text[i]))
            return -1;
        while (i < length && is_digit(text[i]))
            ++i;
    }
    return i;
}

// Integers of up to 15 digits are exact in a double, and so is their
// quotient by a power of ten up to 1e22 correctly rounded: the same result
// as the C library's conversion, without its cost. Anything else goes to it.
bool fast_number(const unsigned char *text, long n, double *value) {
    static constexpr double kPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                        1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    long i = text[0] == '-' ? 1 : 0;
    long long mantissa = 0;
    int digits = 0, decimals = 0;
    bool in_fraction = false;
    for (; i < n; ++i) {
        unsigned char c = text[i];
        if (c == '.') {
            in_fraction = true;
            continue;
        }
        if (!is_digit(c))
            return false;
        if (++digits > 15)
            return false;
        mantissa = mantissa * 10 + (c - '0');
        decimals += in_fraction ? 1 : 0;
    }
    double result = static_cast<double>(mantissa);
    if (decimals > 0)
        result /= kPow10[decimals];
    *value = text[0] == '-' ? -result : result;
    return true;
}

TEVRA_JSON *decode_number(const unsigned char *text, long length, long *consumed) {
    long n = number_length(text, length);
    if (n < 0)
        return nullptr;
    double value = 0;
    if (!fast_number(text, n, &value)) {
        tevra::Owned<char> copy = tevra::alloc_buffer<char>(n + 1, kJsonFile, __LINE__);
        if (!copy)
            return nullptr;
        std::memcpy(copy.get(), text, static_cast<size_t>(n));
        copy.get()[n] = '\0';
        value = std::atof(copy.get());
    }
    TEVRA_JSON *result = tevra_json_newnumber(value);
    if (result != nullptr)
        *consumed = n;
    return result;
}

// A literal is recognised by its bytes alone; what follows is left to the caller.
TEVRA_JSON *decode_literal(const unsigned char *text, long length, long *consumed) {
    static const struct {
        const char *word;
        long length;
        int kind;
    } kLiterals[] = {{"false", 5, 0}, {"true", 4, 1}, {"null", 4, 2}};
    for (const auto &literal : kLiterals) {
        if (text[0] != literal.word[0])
            continue;
        if (length < literal.length || std::memcmp(text, literal.word, literal.length) != 0)
            return nullptr;
        TEVRA_JSON *value =
            literal.kind == 2 ? tevra_json_newnull() : tevra_json_newboolean(literal.kind);
        if (value != nullptr)
            *consumed = literal.length;
        return value;
    }
    return nullptr;
}

// The parse of one document. Items of the open containers wait in one shared
// list; a container is made when it closes, with its items moved in at once,
// and only then attached to its parent. Owns everything until run() returns.
class Parser {
  public:
    Parser(const unsigned char *text, long length, int depth)
        : text_(text), length_(length), base_depth_(depth),
          limit_(std::min(tevra_get_recursive_level(), TEVRA_JSON_MAX_NESTING)) {}
    Parser(const Parser &) = delete;
    Parser &operator=(const Parser &) = delete;
    ~Parser() {
        while (!frames_.empty()) {
            Frame frame = frames_.back();
            for (size_t i = frame.first; i < items_.size(); ++i)
                free_item(frame.type, items_[i]);
            items_.resize(frame.first);
            frames_.pop_back();
        }
        tevra_json_free(root_);
    }

    // Parses the value at the start; the bytes taken go to *consumed.
    TEVRA_JSON *run(long *consumed) {
        if (!parse())
            return nullptr;
        *consumed = pos_;
        TEVRA_JSON *root = root_;
        root_ = nullptr;
        return root;
    }

  private:
    struct Frame {
        unsigned int type;
        size_t first; // index of the container's first item in items_
    };

    static void free_item(unsigned int type, void *item) {
        if (type == TEVRA_JSON_OBJECT)
            json_member_free(item);
        else
            tevra_json_free(static_cast<TEVRA_JSON *>(item));
    }

    bool at_end() const { return pos_ >= length_; }
    unsigned char peek() const { return text_[pos_]; }
    void skip_space() {
        while (pos_ < length_ && is_space(text_[pos_]))
            ++pos_;
    }
    bool in_object() const { return frames_.back().type == TEVRA_JSON_OBJECT; }

    bool parse() {
        for (;;) {
            bool opened = false;
            if (!value(&opened))
                return false;
            // A new non-empty container goes on to its first item; anything
            // complete is followed by a separator or closes containers.
            while (!opened) {
                if (frames_.empty())
                    return true;
                int after = after_item();
                if (after < 0)
                    return false;
                if (after == 1)
                    break;
            }
            if (in_object() && !member_key())
                return false;
        }
    }

    // Parses one value at the current depth and attaches it; *opened tells
    // whether it is a container whose items follow.
    bool value(bool *opened) {
        long depth = base_depth_ + static_cast<long>(frames_.size());
        if (limit_ <= depth || at_end())
            return false;
        unsigned char c = peek();
        TEVRA_JSON *scalar = nullptr;
        long taken = 0;
        if (c == '"')
            scalar = decode_string(text_ + pos_, length_ - pos_, &taken, make_string);
        else if (c == '-' || is_digit(c))
            scalar = decode_number(text_ + pos_, length_ - pos_, &taken);
        else if (c == 'f' || c == 't' || c == 'n')
            scalar = decode_literal(text_ + pos_, length_ - pos_, &taken);
        else
            return open_container(opened);
        if (scalar == nullptr)
            return false;
        pos_ += taken;
        return attach(scalar);
    }

    // Only containers may be preceded by whitespace.
    bool open_container(bool *opened) {
        skip_space();
        if (at_end() || (peek() != '{' && peek() != '['))
            return false;
        unsigned int type = peek() == '{' ? TEVRA_JSON_OBJECT : TEVRA_JSON_ARRAY;
        ++pos_;
        skip_space();
        if (at_end())
            return false;
        if (frames_.capacity() == 0) {
            // Room for typical documents at once instead of growing step by step.
            frames_.reserve(32);
            items_.reserve(64);
        }
        frames_.push_back(Frame{type, items_.size()});
        if (peek() == (type == TEVRA_JSON_OBJECT ? '}' : ']'))
            return close_container();
        *opened = true;
        return true;
    }

    // Makes the top container from its waiting items and attaches it; the
    // closing byte and the whitespace behind it are consumed.
    bool close_container() {
        Frame frame = frames_.back();
        long count = static_cast<long>(items_.size() - frame.first);
        TEVRA_JSON *container = json_container(frame.type, static_cast<int>(count));
        if (container == nullptr)
            return false;
        if (count > 0)
            std::memcpy(container->u.list->items, items_.data() + frame.first,
                        sizeof(void *) * static_cast<size_t>(count));
        container->u.list->count = static_cast<int>(count);
        items_.resize(frame.first);
        frames_.pop_back();
        ++pos_;
        skip_space();
        return attach(container);
    }

    // Hands a complete value to its container (or makes it the root); on
    // failure it is freed.
    bool attach(TEVRA_JSON *value) {
        if (frames_.empty()) {
            root_ = value;
            return true;
        }
        if (in_object()) {
            static_cast<JsonObjectMember *>(items_.back())->value = value;
            return true;
        }
        return push_item(TEVRA_JSON_ARRAY, value);
    }

    bool push_item(unsigned int type, void *item) {
        try {
            items_.push_back(item);
        } catch (...) {
            free_item(type, item);
            throw;
        }
        return true;
    }

    // After an item of the top container: 1 when another item follows, 0
    // when the container closed, -1 on an error.
    int after_item() {
        if (at_end())
            return -1;
        skip_space();
        if (at_end())
            return -1;
        if (peek() == (in_object() ? '}' : ']'))
            return close_container() ? 0 : -1;
        if (peek() != ',')
            return -1;
        ++pos_;
        skip_space();
        return at_end() ? -1 : 1;
    }

    // The key and colon in front of a member's value; the member waits with
    // no value until it is parsed. The key's first byte is taken as its
    // opening quote without being looked at.
    bool member_key() {
        long taken = 0;
        JsonObjectMember *member =
            decode_string(text_ + pos_, length_ - pos_, &taken, make_pending_member);
        if (member == nullptr || !push_item(TEVRA_JSON_OBJECT, member))
            return false;
        pos_ += taken;
        if (at_end())
            return false;
        skip_space();
        if (at_end() || peek() != ':')
            return false;
        ++pos_;
        skip_space();
        return !at_end();
    }

    const unsigned char *text_;
    long length_;
    long pos_ = 0;
    long base_depth_;
    long limit_;
    TEVRA_JSON *root_ = nullptr;
    tevra::Vector<Frame, kJsonFile> frames_;
    tevra::Vector<void *, kJsonFile> items_;
};

} // namespace

extern "C" {

TEVRA_API TEVRA_JSON *tevra_json_decodeex(const char *text, int length, int depth, int *consumed) {
    if (text == nullptr || length < 1 || consumed == nullptr)
        return nullptr;
    return tevra::guarded<TEVRA_JSON *>(nullptr, [&]() -> TEVRA_JSON * {
        Parser parser(reinterpret_cast<const unsigned char *>(text), length, depth);
        long taken = 0;
        TEVRA_JSON *value = parser.run(&taken);
        if (value != nullptr)
            *consumed = static_cast<int>(taken);
        return value;
    });
}

TEVRA_API TEVRA_JSON *tevra_json_decodestring(const char *text, int length, int *consumed) {
    if (text == nullptr || consumed == nullptr)
        return nullptr;
    long taken = 0;
    TEVRA_JSON *value =
        decode_string(reinterpret_cast<const unsigned char *>(text), length, &taken, make_string);
    if (value != nullptr)
        *consumed = static_cast<int>(taken);
    return value;
}

TEVRA_API TEVRA_JSON *tevra_json_decode(const char *text, int length) {
    int consumed = 0;
    TEVRA_JSON *value = tevra_json_decodeex(text, length, 0, &consumed);
    if (value != nullptr && consumed != length) {
        tevra_json_free(value);
        return nullptr;
    }
    return value;
}

} // extern "C"
