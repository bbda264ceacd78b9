// Line-at-a-time UTF-8 transformation for the Unicode text subcommands.
#include "cli_unicode.h"

#include "TEVRA_Util.h"
#include "cli_io.h"

namespace cli {

namespace {

// Longest piece handed to the library at once. Past it a line is cut where
// two ASCII characters meet: neither combines with its neighbours, so the
// cut changes nothing a normalization form or case folding does.
constexpr size_t kLongestPiece = 1 << 20;

// Where a piece of an over-long line ends: after the last ASCII pair
// boundary within the first kLongestPiece bytes; 0 when there is none.
size_t cut_point(const std::string &text) {
    for (size_t i = kLongestPiece; i > 0; --i)
        if (static_cast<unsigned char>(text[i - 1]) < 0x80 &&
            static_cast<unsigned char>(text[i]) < 0x80)
            return i;
    return 0;
}

// Transforms one piece and writes it; false with a message on failure.
bool emit(const std::string &piece, unsigned long long line, const TextTransform &transform,
          std::string &error) {
    TEVRA_UString *s = tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(piece.data()),
                                             static_cast<long>(piece.size()));
    if (s == nullptr) {
        error = "invalid UTF-8 in line " + std::to_string(line);
        return false;
    }
    TEVRA_UString *r = transform(s);
    tevra_ustring_free(s);
    unsigned char *bytes = nullptr;
    long length = 0;
    int ok = r != nullptr ? tevra_ustring_toutf8(r, &bytes, &length) : 0;
    tevra_ustring_free(r);
    if (ok != 1) {
        error = "cannot transform line " + std::to_string(line) + ": out of memory";
        return false;
    }
    bool written = write_out(bytes, static_cast<size_t>(length));
    tevra_free(bytes);
    error = "cannot write standard output";
    return written;
}

} // namespace

int transform_lines(const std::string &path, const TextTransform &transform) {
    ChunkReader in;
    std::string error, pending;
    if (!in.open(path, error))
        return fail(error);
    unsigned long long line = 1;
    while (in.next()) {
        pending.append(reinterpret_cast<const char *>(in.data()), in.size());
        size_t start = 0, end;
        while ((end = pending.find('\n', start)) != std::string::npos) {
            if (!emit(pending.substr(start, end + 1 - start), line++, transform, error))
                return fail_run(error);
            start = end + 1;
        }
        pending.erase(0, start);
        while (pending.size() > kLongestPiece) {
            size_t cut = cut_point(pending);
            if (cut == 0)
                return fail("line " + std::to_string(line) + " runs over " +
                            std::to_string(kLongestPiece) + " bytes with no place to cut it");
            if (!emit(pending.substr(0, cut), line, transform, error))
                return fail_run(error);
            pending.erase(0, cut);
        }
    }
    if (in.failed())
        return fail(in.error());
    if (!pending.empty() && !emit(pending, line, transform, error))
        return fail_run(error);
    return 0;
}

} // namespace cli
