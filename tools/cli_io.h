// The tevra tool's one input/output layer: argument parsing, reading input
// (whole or in chunks of bounded size), checked output and error reporting.
//
// A subcommand is a function int cmd_NAME(const std::vector<std::string> &args)
// registered in tevra.cpp. It typically runs:
//
//     if (cli::wants_help(args)) return cli::usage(kUsage);
//     cli::Options opt;
//     std::string error;
//     if (!opt.parse(args, {{"--upper", false}, {"--line", true}}, error))
//         return cli::fail(error);
//     // opt.operands: the words that are not options ("--" ends the options);
//     // opt.refuse({"--line"}, "hex decode", error) rejects options that do
//     // not apply to the operation chosen.
//     cli::ChunkReader in;                        // streaming commands
//     if (!in.open(path, error)) return cli::fail(error);
//     while (in.next()) {                          // false at the end or on error
//         ... process in.data(), in.size() ...
//         if (!cli::write_out(bytes, n)) return cli::output_failed();
//     }
//     if (in.failed()) return cli::fail(in.error());
//     return 0;
//
// (or, with an object whose put(data, size, error) takes each chunk,
// "if (int status = cli::feed(in, sink)) return status;"). A consumer that
// cannot use the end of a chunk yet passes its length to next(keep).
// Commands that need the whole document use read_whole() instead. Output goes
// through write_out() (or stdio's stdout); main() checks the final flush and
// close of standard output, so a full disk or a closed pipe gives exit status 1
// with a message even when the command itself succeeded. Messages go to
// standard error through fail() as one line "tevra: ...".
#ifndef TEVRA_CLI_IO_H
#define TEVRA_CLI_IO_H

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace cli {

// A library object released by its own free function when the holder goes.
template <class T, auto Free> struct Release {
    void operator()(T *p) const { Free(p); }
};
template <class T, auto Free> using Owned = std::unique_ptr<T, Release<T, Free>>;

// The size of the pieces streaming commands read and process: 64 KiB, or
// the number of bytes in the environment variable TEVRA_CLI_CHUNK_SIZE (the
// tests make it small to move chunk boundaries through their inputs).
size_t chunk_size();

// Prints "tevra: MESSAGE" on standard error and returns exit status 1.
int fail(const std::string &message);

// Prints a usage text on standard output and returns 0.
int usage(const char *text);

// True when -h or --help comes before any "--".
bool wants_help(const std::vector<std::string> &args);

// One option a command accepts: its name ("--line") and whether it takes a
// value ("--line 8" or "--line=8").
struct OptionSpec {
    const char *name;
    bool takes_value;
};

// A command's arguments split into options and operands.
class Options {
  public:
    // Splits args. Words starting with "-" (other than "-" itself, standard
    // input) are options until a "--", after which every word is an operand.
    // False with a message for an option not in known, a missing value, or a
    // value given to an option that takes none. A later repeat of an option
    // replaces its value.
    bool parse(const std::vector<std::string> &args, std::initializer_list<OptionSpec> known,
               std::string &error);
    bool has(const std::string &name) const;
    // The value of a given option, "" when absent.
    std::string value(const std::string &name) const;
    // False with "option X does not apply to WHAT" when any of names was given.
    bool refuse(std::initializer_list<const char *> names, const std::string &what,
                std::string &error) const;

    std::vector<std::string> operands;

  private:
    std::vector<std::pair<std::string, std::string>> given_;
};

// Takes the first operand as an operation that must be one of choices; false
// with a message naming the command otherwise.
bool take_operation(Options &opt, const char *command, std::initializer_list<const char *> choices,
                    std::string &operation, std::string &error);

// The single file operand ("" for standard input when there is none); false
// with a message when there are more. Call after taking the operation words.
bool single_input(const Options &opt, const char *command, std::string &path, std::string &error);

// Reads the whole input at path ("" or "-": standard input). False with a
// message naming the file and the system's reason.
bool read_whole(const std::string &path, std::string &data, std::string &error);

// Reads an input in chunks of at most a fixed size, so memory stays bounded
// whatever the input's size. Each chunk is filled completely unless the input
// ends, so how the bytes arrive (pipe pieces of any size) never changes where
// chunks begin.
class ChunkReader {
  public:
    explicit ChunkReader(size_t capacity = chunk_size());
    ~ChunkReader();
    ChunkReader(const ChunkReader &) = delete;
    ChunkReader &operator=(const ChunkReader &) = delete;

    // Opens path ("" or "-": standard input); false with a message.
    bool open(const std::string &path, std::string &error);
    // Moves to the next chunk. The last keep bytes of the current chunk (at
    // most its size) are kept at the front of the next one, for a consumer
    // that could not use an incomplete tail. False at the end of the input
    // (when nothing new was read) or on a read error (failed() then).
    bool next(size_t keep = 0);
    const unsigned char *data() const { return buffer_.data(); }
    size_t size() const { return size_; }
    // Offset in the input of data()[0].
    unsigned long long offset() const { return offset_; }
    // True once the input has been read to its end.
    bool at_end() const { return eof_; }
    bool failed() const { return !error_.empty(); }
    const std::string &error() const { return error_; }
    // "standard input" or 'PATH', for messages.
    const std::string &name() const { return name_; }

  private:
    std::vector<unsigned char> buffer_;
    size_t size_ = 0;
    unsigned long long offset_ = 0;
    int fd_ = -1;
    bool eof_ = false;
    std::string name_, error_;
};

// Hands every chunk of in to sink.put(data, size, error) until one returns
// false. 0 when all went through, else 1 after reporting put's message, the
// failed read or the failed write.
template <class Sink> int feed(ChunkReader &in, Sink &sink);

// Writes bytes to standard output. False once any write has failed; the
// command should then return output_failed().
bool write_out(const void *data, size_t length);
bool write_out(const std::string &text);

// Reports the failed write on standard error (once) and returns 1.
int output_failed();

// fail(message), or output_failed() when a write to standard output failed
// (the message of a step that stopped because of it would mislead).
int fail_run(const std::string &message);

// Flushes and closes standard output after the command has run; returns the
// command's status, or 1 with a message when the output could not be written.
int finish_output(int status);

template <class Sink> int feed(ChunkReader &in, Sink &sink) {
    std::string error;
    while (in.next())
        if (!sink.put(in.data(), in.size(), error))
            return fail_run(error);
    return in.failed() ? fail(in.error()) : 0;
}

} // namespace cli

#endif
