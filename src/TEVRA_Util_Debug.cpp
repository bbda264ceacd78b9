// The debug allocator: guard words around every block, a live-block list,
// statistics, a list of refused frees, interned file names and the report.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "TEVRA_Lock.h"
#include "TEVRA_Util.h"
#include "TEVRA_Util_Internal.h"

namespace {

// The bookkeeping records below are laid out as callers inspecting a debug
// block expect, and live in the system heap so they never count themselves.
struct DebugAllocNode {
    unsigned char *block; // raw block, header included
    long size;
    const char *file; // interned name
    int line;
    long number;          // allocation count when allocated
    DebugAllocNode *next; // older
    DebugAllocNode *prev; // newer
};

struct DebugAllocStats {
    DebugAllocNode *head; // newest live node
    long alloc_count;     // also the number of the next block
    long free_count;
    long bytes_allocated;
    long bytes_freed;
    long peak;
    long outstanding;
};

struct DebugBadBlock {
    void *pointer;
    int reason;
    DebugBadBlock *next;
    DebugBadBlock *prev;
};

struct DebugStringEntry {
    long bucket;
    char *name;
    DebugStringEntry *next;
};

constexpr uint32_t kHeadGuard = 0xADDEADDEu;
constexpr uint32_t kTailGuard = 0xDDDDDDDDu;
constexpr long kHeaderSize = 32;
constexpr long kNodeOffset = 16;
constexpr long kOverhead = kHeaderSize + 4;
constexpr unsigned long kMaxSize = 0x7FFFFFFFFFFFFFDBul;
constexpr int kBuckets = 257;
constexpr long kDumpLimit = 1024;

long g_sleep_alloc_number = 0;
TEVRA_Lock *g_debug_mem_lock = nullptr;
DebugAllocStats *g_debug_availlist = nullptr;
DebugBadBlock *g_debug_badlist = nullptr;
DebugStringEntry *g_string_table[kBuckets];

const char *reason_text(int reason) {
    static const char *const texts[] = {"bad head", "node field is null", "node mismatch",
                                        "bad size", "filename is null",   "bad block number",
                                        "bad tail"};
    return reason >= 1 && reason <= 7 ? texts[reason - 1] : "unknown error";
}

uint32_t read_word(const unsigned char *p) {
    uint32_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

void write_word(unsigned char *p, uint32_t word) {
    std::memcpy(p, &word, sizeof word);
}

DebugAllocNode *header_node(const unsigned char *raw) {
    DebugAllocNode *node;
    std::memcpy(&node, raw + kNodeOffset, sizeof node);
    return node;
}

// Checks a raw block against the corruption reasons in order; 0 when sound.
int check_block(const unsigned char *raw) {
    if (read_word(raw) != kHeadGuard)
        return 1;
    const DebugAllocNode *node = header_node(raw);
    if (node == nullptr)
        return 2;
    if (node->block != raw)
        return 3;
    if (node->size < 0)
        return 4;
    if (node->file == nullptr)
        return 5;
    if (node->number < 0)
        return 6;
    if (read_word(raw + kHeaderSize + node->size) != kTailGuard)
        return 7;
    return 0;
}

// Interns a file name; called only under the debug lock.
const char *getStringPtr(const char *name) {
    if (name == nullptr)
        name = "";
    int n = static_cast<int>(std::strlen(name));
    uint64_t h = 0;
    for (int i = 0; i < n; ++i)
        h = h * 31 + static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(name[i])));
    long bucket = static_cast<long>(h % kBuckets);
    for (DebugStringEntry *e = g_string_table[bucket]; e != nullptr; e = e->next) {
        if (std::strncmp(e->name, name, static_cast<size_t>(n)) == 0 && e->name[n] == '\0')
            return e->name;
    }
    auto *entry = static_cast<DebugStringEntry *>(std::malloc(sizeof(DebugStringEntry)));
    if (entry == nullptr)
        return nullptr;
    entry->name = static_cast<char *>(std::malloc(static_cast<size_t>(n) + 1));
    if (entry->name == nullptr) {
        std::free(entry);
        return nullptr;
    }
    std::memcpy(entry->name, name, static_cast<size_t>(n) + 1);
    entry->bucket = bucket;
    entry->next = g_string_table[bucket];
    g_string_table[bucket] = entry;
    return entry->name;
}

void record_bad_free(void *p, int reason) {
    auto *bad = static_cast<DebugBadBlock *>(std::malloc(sizeof(DebugBadBlock)));
    if (bad == nullptr)
        return;
    bad->pointer = p;
    bad->reason = reason;
    bad->prev = nullptr;
    bad->next = g_debug_badlist;
    if (g_debug_badlist != nullptr)
        g_debug_badlist->prev = bad;
    g_debug_badlist = bad;
}

void unlink_live(DebugAllocNode *node) {
    if (node->prev != nullptr)
        node->prev->next = node->next;
    if (node->next != nullptr)
        node->next->prev = node->prev;
    if (g_debug_availlist->head == node)
        g_debug_availlist->head = node->next;
}

void link_live(DebugAllocNode *node) {
    node->next = g_debug_availlist->head;
    if (node->next != nullptr)
        node->next->prev = node;
    g_debug_availlist->head = node;
}

void print_live_block(FILE *out, const DebugAllocNode *node) {
    const unsigned char *data = node->block + kHeaderSize;
    int reason = check_block(node->block);
    if (reason != 0) {
        std::fprintf(out, "\t%p(%lld):%s(%d)----corrupt(%s)\n", static_cast<const void *>(data),
                     static_cast<long long>(node->number), node->file ? node->file : "NULL",
                     node->line, reason_text(reason));
        return;
    }
    std::fprintf(out, "\t%p(%lld):%s(%d)\t%ldbytes\n", static_cast<const void *>(data),
                 static_cast<long long>(node->number), node->file, node->line, node->size);
    std::fputs("\t\t", out);
    long dump = node->size < kDumpLimit ? node->size : kDumpLimit;
    for (long i = 0; i < dump; ++i)
        std::fprintf(out, "%02X ", data[i]);
    std::fputs("\n", out);
}

void print_report(FILE *out) {
    const DebugAllocStats *stats = g_debug_availlist;
    std::fprintf(out, "Memory alloc count: %lld,amount: %lld bytes,peak value: %lld bytes\n",
                 static_cast<long long>(stats->alloc_count),
                 static_cast<long long>(stats->bytes_allocated),
                 static_cast<long long>(stats->peak));
    std::fprintf(out, "Memory free count: %lld,amount: %lld bytes\n",
                 static_cast<long long>(stats->free_count),
                 static_cast<long long>(stats->bytes_freed));
    if (stats->head != nullptr) {
        std::fprintf(out, "Memory leap: %lld bytes\n", static_cast<long long>(stats->outstanding));
        for (const DebugAllocNode *node = stats->head; node != nullptr; node = node->next)
            print_live_block(out, node);
        std::fputs("\n", out);
    }
    if (g_debug_badlist == nullptr)
        return;
    std::fputs("Memory corrupt:\n", out);
    for (const DebugBadBlock *bad = g_debug_badlist; bad != nullptr; bad = bad->next)
        std::fprintf(out, "\t%p(%s)\n", bad->pointer, reason_text(bad->reason));
    std::fputs("\n", out);
}

} // namespace

namespace tevra::detail {

void *debug_malloc(long size, const char *file, int line) {
    if (static_cast<unsigned long>(size) > kMaxSize || file == nullptr)
        return nullptr;
    auto *raw = static_cast<unsigned char *>(std::malloc(static_cast<size_t>(size + kOverhead)));
    if (raw == nullptr)
        return nullptr;
    if (tevra_lock_lock(g_debug_mem_lock) != 1) {
        std::free(raw);
        return nullptr;
    }
    write_word(raw, kHeadGuard);
    write_word(raw + kHeaderSize + size, kTailGuard);
    auto *node = static_cast<DebugAllocNode *>(std::malloc(sizeof(DebugAllocNode)));
    const char *interned = node != nullptr ? getStringPtr(file) : nullptr;
    if (interned == nullptr) {
        std::free(node);
        std::free(raw);
        tevra_lock_unlock(g_debug_mem_lock);
        return nullptr;
    }
    node->block = raw;
    node->size = size;
    node->file = interned;
    node->line = line;
    node->number = g_debug_availlist->alloc_count++;
    node->next = nullptr;
    node->prev = nullptr;
    std::memcpy(raw + kNodeOffset, &node, sizeof node);
    // Stalls every allocating thread at a chosen block, so a debugger can be
    // attached at the moment a leaking block is made.
    if (g_sleep_alloc_number >= 1 && g_sleep_alloc_number == node->number)
        sleep(3600);
    g_debug_availlist->bytes_allocated += size;
    g_debug_availlist->outstanding += size;
    if (g_debug_availlist->outstanding > g_debug_availlist->peak)
        g_debug_availlist->peak = g_debug_availlist->outstanding;
    link_live(node);
    tevra_lock_unlock(g_debug_mem_lock);
    return raw + kHeaderSize;
}

void debug_free(void *p) {
    if (p == nullptr || tevra_lock_lock(g_debug_mem_lock) != 1)
        return;
    unsigned char *raw = static_cast<unsigned char *>(p) - kHeaderSize;
    int reason = check_block(raw);
    if (reason != 0) {
        // A corrupt block is left alone (and leaks) so it can still be inspected.
        record_bad_free(p, reason);
        tevra_lock_unlock(g_debug_mem_lock);
        return;
    }
    DebugAllocNode *node = header_node(raw);
    unlink_live(node);
    g_debug_availlist->free_count++;
    g_debug_availlist->bytes_freed += node->size;
    g_debug_availlist->outstanding -= node->size;
    std::memset(raw, 0, static_cast<size_t>(node->size + kOverhead));
    std::free(raw);
    std::free(node);
    tevra_lock_unlock(g_debug_mem_lock);
}

} // namespace tevra::detail

using namespace tevra::detail;

extern "C" {

TEVRA_API int tevra_setdebugalloc(void) {
    if (g_allocinit.load() != 0)
        return 0;
    const char *number = std::getenv("TEVRA_DEBUG_MEMORY_NUMBER");
    g_sleep_alloc_number = number != nullptr ? std::strtoll(number, nullptr, 10) : -1;
    g_debug_mem_lock = tevra_lock_new();
    if (g_debug_mem_lock == nullptr)
        return 0;
    if (tevra_lock_lock(g_debug_mem_lock) != 1) {
        tevra_lock_free(g_debug_mem_lock);
        g_debug_mem_lock = nullptr;
        return 0;
    }
    g_debug_availlist = static_cast<DebugAllocStats *>(std::calloc(1, sizeof(DebugAllocStats)));
    if (g_debug_availlist == nullptr) {
        // The lock pointer is deliberately left stale after it is freed.
        tevra_lock_unlock(g_debug_mem_lock);
        tevra_lock_free(g_debug_mem_lock);
        return 0;
    }
    g_debug_badlist = nullptr;
    g_malloc_func.store(debug_malloc);
    g_free_func.store(debug_free);
    tevra_lock_unlock(g_debug_mem_lock);
    return 1;
}

TEVRA_API int tevra_printdebugalloc(const char *path) {
    if (path == nullptr)
        return 0;
    FILE *out = std::fopen(path, "w");
    if (out == nullptr)
        return 0;
    if (g_debug_availlist == nullptr || tevra_lock_lock(g_debug_mem_lock) != 1) {
        // No report could be written: the file stays empty.
        std::fclose(out);
        return 0;
    }
    print_report(out);
    std::fclose(out);
    return tevra_lock_unlock(g_debug_mem_lock);
}

} // extern "C"
