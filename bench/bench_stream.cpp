// Memory-stream appends and stream-to-stream copying.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "TEVRA_Stream.h"

namespace {

constexpr long kPiece = 64;

// A temporary file of `size` bytes, removed at exit.
const std::string &temp_file(long size) {
    static std::string path;
    if (path.empty()) {
        char pattern[] = "/tmp/tevra_bench_XXXXXX";
        int fd = mkstemp(pattern);
        if (fd < 0)
            std::abort();
        std::vector<char> chunk(1 << 20);
        for (size_t i = 0; i < chunk.size(); ++i)
            chunk[i] = static_cast<char>(i * 131 + 7);
        for (long done = 0; done < size; done += static_cast<long>(chunk.size()))
            if (write(fd, chunk.data(), chunk.size()) != static_cast<ssize_t>(chunk.size()))
                std::abort();
        close(fd);
        path = pattern;
        std::atexit([] { std::remove(path.c_str()); });
    }
    return path;
}

} // namespace

// Appending 64-byte pieces to a growing memory stream (state.range(0) bytes
// in total per stream).
static void BM_MemStreamWrite64(benchmark::State &state) {
    const long total = state.range(0);
    char piece[kPiece];
    for (long i = 0; i < kPiece; ++i)
        piece[i] = static_cast<char>(i);
    for (auto _ : state) {
        TEVRA_Stream *s = tevra_stream_new_mem(0, nullptr);
        for (long done = 0; done < total; done += kPiece)
            tevra_stream_writen(s, piece, kPiece, nullptr);
        benchmark::DoNotOptimize(s);
        tevra_stream_free(s);
    }
    state.SetBytesProcessed(state.iterations() * total);
}
BENCHMARK(BM_MemStreamWrite64)->Arg(64 << 10)->Arg(16 << 20);

// Queue mode: write a 64-byte piece, read it back, so the buffer is reused.
static void BM_QueueMemStream64(benchmark::State &state) {
    char piece[kPiece] = {};
    char back[kPiece];
    TEVRA_Stream *s = tevra_stream_new_rwspecmem(4096, nullptr);
    for (auto _ : state) {
        long n = 0;
        tevra_stream_writen(s, piece, kPiece, nullptr);
        tevra_stream_read(s, back, kPiece, &n, nullptr);
        benchmark::DoNotOptimize(back);
    }
    tevra_stream_free(s);
    state.SetBytesProcessed(state.iterations() * kPiece);
}
BENCHMARK(BM_QueueMemStream64);

// Copying a 16 MB file into a memory stream (grown once beforehand).
static void BM_WriteFromStreamFileToMem(benchmark::State &state) {
    const long size = 16L << 20;
    const std::string &path = temp_file(size);
    for (auto _ : state) {
        TEVRA_Stream *file = tevra_stream_new_file(path.c_str(), TEVRA_STREAM_FILE_READ, nullptr);
        TEVRA_Stream *mem = tevra_stream_new_mem(0, nullptr);
        long total = 0;
        if (tevra_stream_writefromstream(mem, file, &total, nullptr) != 1 || total != size)
            state.SkipWithError("copy failed");
        tevra_stream_free(mem);
        tevra_stream_free(file);
    }
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(BM_WriteFromStreamFileToMem)->Unit(benchmark::kMillisecond);

// Copying a 16 MB memory stream into another: one write straight from storage.
static void BM_WriteFromStreamMemToMem(benchmark::State &state) {
    const long size = 16L << 20;
    std::vector<char> bytes(static_cast<size_t>(size), 'm');
    TEVRA_Stream *src = tevra_stream_new_romem(bytes.data(), size, 0, nullptr);
    for (auto _ : state) {
        TEVRA_Stream *dst = tevra_stream_new_mem(0, nullptr);
        long total = 0;
        tevra_stream_writefromstream(dst, src, &total, nullptr);
        tevra_stream_free(dst);
    }
    tevra_stream_free(src);
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(BM_WriteFromStreamMemToMem)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
