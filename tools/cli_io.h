// Stream plumbing of the tevra tool: subcommands read their input and write
// their output through the library's own file and memory streams.
//
// Typical use, encoding with a filter on the output side:
//     std::string error;
//     cli::StreamPtr in(cli::open_input(path, error));
//     cli::StreamPtr out(cli::open_output(error));
//     if (!in || !out) return cli::fail(error);
//     if (!cli::push_filter(out, tevra_stream_new_hex(0, nullptr))) ...
//     if (!cli::pump(in.get(), out.get(), error)) return cli::fail(error);
// Decoding puts the filter on `in` instead and pumps from the filter into
// `out` (or calls copy_to_output(filter, error)).
#ifndef TEVRA_CLI_IO_H
#define TEVRA_CLI_IO_H

#include <memory>
#include <string>

#include "TEVRA_Error.h"
#include "TEVRA_Stream.h"

namespace cli {

// Releases a whole chain, whichever of its streams it holds.
struct FreeChain {
    void operator()(TEVRA_Stream *s) const { tevra_stream_freeall(s); }
};
using StreamPtr = std::unique_ptr<TEVRA_Stream, FreeChain>;

// A read-mode file stream over path ("-" or empty: standard input). NULL with
// a one-line message in error when it cannot be opened.
TEVRA_Stream *open_input(const std::string &path, std::string &error);

// An append-mode file stream over standard output (appending never truncates
// a file the output is redirected to). NULL with a message in error.
TEVRA_Stream *open_output(std::string &error);

// When standard output is a regular file, the stream of open_output writes
// through its own file offset; this moves the tool's own offset past what it
// wrote, so later output does not overwrite it. Runs at exit by itself; call
// it before printing through stdio after using the stream.
void sync_output();

// Reads `from` (the top of a chain) to its end and writes everything into `to`
// (the top of another chain), then flushes `to`. False with the library's
// description of the failure in error; a read that fails before the source
// reports its end is a failure.
bool pump(TEVRA_Stream *from, TEVRA_Stream *to, std::string &error);

// Pushes filter, a new stream (NULL when making it failed), on top of chain,
// which then releases it with the rest. When filter is NULL or cannot be
// pushed, releases it and returns false; chain is left as it was.
bool push_filter(StreamPtr &chain, TEVRA_Stream *filter);

// A chain of filter (a new stream, NULL when making it failed) over a new
// memory stream that collects what is written through it, which *mem
// receives. NULL when anything fails, with the newest entry of ctx saying why
// (filter is released then).
TEVRA_Stream *collect_through(TEVRA_Stream *filter, TEVRA_Stream **mem, TEVRA_ErrCtx &ctx);

// pump() into a fresh standard-output stream, released afterwards.
bool copy_to_output(TEVRA_Stream *from, std::string &error);

// The whole input at path ("-" or empty: standard input) in a new memory
// stream positioned at its start; NULL with a message in error. Handy for the
// one-shot codecs: get the bytes with tevra_memstreamdeatch.
TEVRA_Stream *read_all(const std::string &path, std::string &error);

// The newest entry's description ("unknown error" when there is none).
std::string describe(const TEVRA_ErrCtx &ctx);

} // namespace cli

#endif
