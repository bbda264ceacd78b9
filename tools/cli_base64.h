// Streaming Base64 for the base64 and pem subcommands: the library's Base64
// filter fed piece by piece, its output written to standard output as it is
// produced, so memory stays bounded whatever the input's size.
#ifndef TEVRA_CLI_BASE64_H
#define TEVRA_CLI_BASE64_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "TEVRA_Stream.h"
#include "cli_io.h"

namespace cli {

// A whole chain of streams, released together.
using Chain = Owned<TEVRA_Stream, tevra_stream_freeall>;

// Encodes bytes into Base64 text on standard output. Every method returns
// false with a message in error on failure (output_ok() tells a failed write
// from a library failure).
class Base64Encoder {
  public:
    // flags and line as tevra_stream_new_base64 takes them for encoding.
    bool open(unsigned int flags, int line, std::string &error);
    bool put(const unsigned char *data, size_t length, std::string &error);
    // Writes the final group; with end_line, the text is then ended with
    // end_line unless it is empty or already ends with it.
    bool finish(const std::string &end_line, std::string &error);
    // True while no text has been written.
    bool empty() const { return !wrote_; }

  private:
    bool drain(std::string &error);

    Chain chain_;
    TEVRA_Stream *sink_ = nullptr;
    std::vector<unsigned char> buffer_;
    std::string tail_; // the last bytes written, to see how the text ends
    bool wrote_ = false;
};

// Decodes Base64 text fed in pieces of any size into bytes on standard
// output; the result is the same as decoding the whole text at once.
class Base64Decoder {
  public:
    // flags as tevra_stream_new_base64 takes them for decoding.
    bool open(unsigned int flags, std::string &error);
    bool put(const unsigned char *text, size_t length, std::string &error);
    // The end of the text: decodes a final unpadded group where padding is
    // off and checks that the text did not end inside a group.
    bool finish(std::string &error);

  private:
    Chain chain_;
    TEVRA_Stream *source_ = nullptr;
    std::vector<unsigned char> buffer_;
    unsigned int flags_ = 0;
};

} // namespace cli

#endif
