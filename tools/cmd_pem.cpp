// tevra pem: PEM wrapping and unwrapping, streamed: the block is written or
// checked as the bytes arrive, with the same results as the library's
// one-shot PEM codec on the whole input.
#include <cstring>

#include "cli.h"
#include "cli_base64.h"

namespace cli {

namespace {

const char kUsage[] = "usage: tevra pem encode|decode [--] LABEL [FILE]\n"
                      "\n"
                      "encode wraps the bytes of FILE (or standard input) in a PEM block\n"
                      "\"-----BEGIN LABEL-----\" ... \"-----END LABEL-----\"; decode checks the\n"
                      "block's label and writes the decoded bytes.\n";

// A PEM text checked and decoded a byte at a time. The text is the opening
// line (any dashes, "-----BEGIN ", the label, five or more dashes, one line
// break and optionally a second), a body of Base64 lines, and the closing
// line ("-----END " at the first place it occurs, the label, five or more
// dashes, at most two more bytes). The whole text is at least 2 * label + 34
// bytes long and its last byte, or the one before a final zero byte, is a
// dash or a line break.
class PemDecoder {
  public:
    explicit PemDecoder(const std::string &label) : label_(label) {}

    bool open(std::string &error) { return body_.open(TEVRA_BASE64_CRLF, error); }

    bool put(const unsigned char *text, size_t length, std::string &error) {
        size_t i = 0;
        while (i < length) {
            if (state_ == State::Body) {
                // Runs of body bytes go to the decoder at once; a dash starts
                // the closing line.
                const void *dash = std::memchr(text + i, '-', length - i);
                size_t run = dash != nullptr ? static_cast<const unsigned char *>(dash) - (text + i)
                                             : length - i;
                if (run > 0) {
                    if (!feed_body(text + i, run, error))
                        return false;
                    i += run;
                    continue;
                }
            }
            if (!step(text[i++], error))
                return false;
        }
        if (length > 0) {
            previous_ = length >= 2 ? text[length - 2] : last_;
            last_ = text[length - 1];
            total_ += length;
        }
        return true;
    }

    bool finish(std::string &error) {
        bool ends_well =
            last_ == '-' || last_ == '\r' || last_ == '\n' ||
            (last_ == 0 && (previous_ == '-' || previous_ == '\r' || previous_ == '\n'));
        if (state_ == State::ClosingDashes && dashes_ >= 5)
            state_ = State::Tail;
        if (state_ != State::Tail)
            return bad("no '-----END " + label_ + "-----' line", error);
        if (total_ < 2 * label_.size() + 34 || !ends_well)
            return bad("the text does not end with the closing line", error);
        return body_.finish(error) || bad(error, error);
    }

  private:
    enum class State {
        Leading,
        Begin,
        OpeningDashes,
        SecondBreak,
        Body,
        EndDashes,
        End,
        ClosingDashes,
        Tail
    };

    bool bad(const std::string &why, std::string &error) {
        error = "invalid PEM input for label '" + label_ + "': " + why;
        return false;
    }

    bool feed_body(const unsigned char *text, size_t length, std::string &error) {
        body_bytes_ += length;
        if (body_.put(text, length, error))
            return true;
        return bad(error, error);
    }

    // Matches c against the literal expected_ at matched_; true when complete.
    bool literal(unsigned char c, bool &complete) {
        if (c != static_cast<unsigned char>(expected_[matched_]))
            return false;
        complete = ++matched_ == expected_.size();
        return true;
    }

    bool step(unsigned char c, std::string &error) {
        bool complete = false;
        switch (state_) {
        case State::Leading:
            if (c == '-') {
                ++dashes_;
                return true;
            }
            expected_ = "BEGIN " + label_;
            if (dashes_ < 5 || !literal(c, complete))
                return bad("no '-----BEGIN " + label_ + "-----' line at the start", error);
            state_ = State::Begin;
            return true;
        case State::Begin:
            if (!literal(c, complete))
                return bad("no '-----BEGIN " + label_ + "-----' line at the start", error);
            if (complete) {
                state_ = State::OpeningDashes;
                dashes_ = 0;
            }
            return true;
        case State::OpeningDashes:
            if (c == '-') {
                ++dashes_;
                return true;
            }
            if (dashes_ < 5 || (c != '\r' && c != '\n'))
                return bad("the opening line does not end in '-----' and a line break", error);
            state_ = State::SecondBreak;
            return true;
        case State::SecondBreak:
            state_ = State::Body;
            if (c == '\r' || c == '\n')
                return true;
            [[fallthrough]];
        case State::Body:
            if (c != '-')
                return feed_body(&c, 1, error);
            state_ = State::EndDashes;
            dashes_ = 1;
            return true;
        case State::EndDashes:
            if (c == '-') {
                ++dashes_;
                return true;
            }
            expected_ = "END " + label_;
            matched_ = 0;
            if (dashes_ < 5 || !literal(c, complete))
                return bad("a '-' in the body or no '-----END " + label_ + "-----' line", error);
            if (body_bytes_ == 0)
                return bad("the body is empty", error);
            state_ = State::End;
            return true;
        case State::End:
            if (!literal(c, complete))
                return bad("a '-' in the body or no '-----END " + label_ + "-----' line", error);
            if (complete) {
                state_ = State::ClosingDashes;
                dashes_ = 0;
            }
            return true;
        case State::ClosingDashes:
            if (c == '-') {
                ++dashes_;
                return true;
            }
            if (dashes_ < 5)
                return bad("the closing line does not end in '-----'", error);
            state_ = State::Tail;
            [[fallthrough]];
        case State::Tail:
            if (++tail_ > 2)
                return bad("more than two bytes after the closing line", error);
            return true;
        }
        return true;
    }

    std::string label_, expected_;
    size_t matched_ = 0;
    State state_ = State::Leading;
    size_t dashes_ = 0, tail_ = 0;
    unsigned long long total_ = 0, body_bytes_ = 0;
    unsigned char last_ = 0, previous_ = 0;
    Base64Decoder body_;
};

int decode(ChunkReader &in, const std::string &label) {
    std::string error;
    PemDecoder decoder(label);
    if (!decoder.open(error))
        return fail(error);
    if (int status = feed(in, decoder))
        return status;
    return decoder.finish(error) ? 0 : fail_run(error);
}

int encode(ChunkReader &in, const std::string &label) {
    std::string error;
    Base64Encoder body;
    if (!body.open(TEVRA_BASE64_CRLF, 64, error))
        return fail(error);
    if (!write_out("-----BEGIN " + label + "-----\r\n"))
        return output_failed();
    if (int status = feed(in, body))
        return status;
    // An empty input gives an empty body line, which decodes to nothing.
    if (!body.finish("\r\n", error) || (body.empty() && !write_out("\r\n", 2)))
        return fail_run(error);
    return write_out("-----END " + label + "-----\r\n") ? 0 : output_failed();
}

} // namespace

int cmd_pem(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    std::string error, operation, path;
    if (!opt.parse(args, {}, error) ||
        !take_operation(opt, "pem", {"encode", "decode"}, operation, error))
        return fail(error);
    if (opt.operands.empty() || opt.operands[0].empty())
        return fail("pem needs a LABEL");
    const std::string label = opt.operands[0];
    if (label.find("-----") != std::string::npos ||
        label.find_first_of("\r\n") != std::string::npos)
        return fail("a PEM label must not hold '-----' or a line break");
    opt.operands.erase(opt.operands.begin());
    if (!single_input(opt, "pem", path, error))
        return fail(error);
    ChunkReader in;
    if (!in.open(path, error))
        return fail(error);
    return operation == "encode" ? encode(in, label) : decode(in, label);
}

} // namespace cli
