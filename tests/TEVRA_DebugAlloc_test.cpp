// The debug allocator and the hook freeze are process-wide and one-way, so
// every scenario runs in a forked child that starts with untouched hooks.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "TEVRA_Util.h"

namespace {

// Runs body in a child process; the child's exit status is body's result
// (0 = success). alarm() turns an unexpected sleep into a failure.
int in_child(const std::function<int()> &body) {
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        alarm(60);
        _exit(body());
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string report_path() {
    return ::testing::TempDir() + "tevra_debug_report_" + std::to_string(getpid()) + ".txt";
}

std::string read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string ptr_text(const void *p) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%p", p);
    return buf;
}

int count_of(const std::string &text, const std::string &needle) {
    int n = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++n;
    return n;
}

void *null_malloc(long, const char *, int) {
    return nullptr;
}
void plain_free(void *p) {
    std::free(p);
}

} // namespace

TEST(AllocHooks, NullHooksAreRefusedAndOnlyNegativeSizesLeaveThemOpen) {
    EXPECT_EQ(
        0, in_child([] {
            if (tevra_setallocfunc(nullptr, plain_free) != 0 ||
                tevra_setallocfunc(null_malloc, nullptr) != 0)
                return 6;
            if (tevra_malloc(-1, "t", 1) != nullptr)
                return 1;
            // Still open: a hook pair can be installed.
            if (tevra_setallocfunc(null_malloc, plain_free) != 1)
                return 2;
            // A failed allocation of non-negative size still freezes the hooks.
            if (tevra_malloc(8, "t", 2) != nullptr)
                return 3;
            if (tevra_setallocfunc(null_malloc, plain_free) != 0 || tevra_setdebugalloc() != 0)
                return 4;
            return tevra_getmallocfunc() == null_malloc && tevra_getfreefunc() == plain_free ? 0
                                                                                             : 5;
        }));
}

TEST(DebugAlloc, ExactReportOfLiveAndFreedBlocks) {
    std::string path = report_path();
    ASSERT_EQ(0, in_child([&] {
                  if (tevra_setdebugalloc() != 1)
                      return 1;
                  auto *a = static_cast<unsigned char *>(tevra_malloc(3, "TEVRA_Stream", 10));
                  auto *b = static_cast<unsigned char *>(tevra_malloc(5, "TEVRA_JSON", 20));
                  auto *c = static_cast<unsigned char *>(tevra_malloc(2, "TEVRA_Stream", 30));
                  std::memcpy(a, "\x01\xAB\xFF", 3);
                  std::memcpy(c, "hi", 2);
                  tevra_free(b);
                  if (tevra_printdebugalloc(path.c_str()) != 1)
                      return 2;
                  std::string expected =
                      "Memory alloc count: 3,amount: 10 bytes,peak value: 10 bytes\n"
                      "Memory free count: 1,amount: 5 bytes\n"
                      "Memory leap: 5 bytes\n"
                      "\t" +
                      ptr_text(c) +
                      "(2):TEVRA_Stream(30)\t2bytes\n\t\t68 69 \n"
                      "\t" +
                      ptr_text(a) +
                      "(0):TEVRA_Stream(10)\t3bytes\n\t\t01 AB FF \n"
                      "\n";
                  return read_file(path) == expected ? 0 : 3;
              }));
}

// Block number 0 never triggers the sleep (the child's alarm would catch one);
// a report without live or corrupt blocks ends after the free count.
TEST(DebugAlloc, ReportWithoutLiveOrCorruptBlocksEndsAfterFreeCount) {
    std::string path = report_path();
    ASSERT_EQ(0, in_child([&] {
                  setenv("TEVRA_DEBUG_MEMORY_NUMBER", "0", 1);
                  if (tevra_setdebugalloc() != 1)
                      return 1;
                  tevra_free(tevra_malloc(100, "x", 1));
                  tevra_free(tevra_malloc(50, "x", 2));
                  tevra_printdebugalloc(path.c_str());
                  return 0;
              }));
    EXPECT_EQ(read_file(path), "Memory alloc count: 2,amount: 150 bytes,peak value: 100 bytes\n"
                               "Memory free count: 2,amount: 150 bytes\n");
}

TEST(DebugAlloc, WritePastTheEndIsRecordedAsBadTail) {
    std::string path = report_path();
    EXPECT_EQ(0, in_child([&] {
                  tevra_setdebugalloc();
                  auto *p = static_cast<unsigned char *>(tevra_malloc(10, "TEVRA_Util", 7));
                  p[10] = 0; // clobbers the tail guard
                  tevra_free(p);
                  if (tevra_printdebugalloc(path.c_str()) != 1)
                      return 1;
                  std::string report = read_file(path);
                  return count_of(report, "Memory free count: 0,amount: 0 bytes\n") == 1 &&
                                 count_of(report, "\t" + ptr_text(p) +
                                                      "(0):TEVRA_Util(7)----corrupt(bad tail)\n") ==
                                     1 &&
                                 count_of(report, "Memory corrupt:\n\t" + ptr_text(p) +
                                                      "(bad tail)\n\n") == 1
                             ? 0
                             : 2;
              }));
}

TEST(DebugAlloc, ForeignPointerIsRecordedAsBadHeadAndLeftAlone) {
    std::string path = report_path();
    ASSERT_EQ(0, in_child([&] {
                  tevra_setdebugalloc();
                  // A zeroed system buffer: the word 32 bytes before p is not the guard.
                  auto *buffer = static_cast<unsigned char *>(std::calloc(1, 128));
                  tevra_free(buffer + 64);
                  buffer[64] = 0x5A; // still ours: nothing was released
                  std::string expected =
                      "Memory alloc count: 0,amount: 0 bytes,peak value: 0 bytes\n"
                      "Memory free count: 0,amount: 0 bytes\n"
                      "Memory corrupt:\n"
                      "\t" +
                      ptr_text(buffer + 64) + "(bad head)\n\n";
                  tevra_printdebugalloc(path.c_str());
                  bool ok = read_file(path) == expected;
                  std::free(buffer);
                  return ok ? 0 : 1;
              }));
}

TEST(DebugAlloc, LargeBlockDumpsOnly1024Bytes) {
    std::string path = report_path();
    ASSERT_EQ(0, in_child([&] {
                  tevra_setdebugalloc();
                  auto *p = static_cast<unsigned char *>(tevra_malloc(2000, "big", 1));
                  std::memset(p, 0x7E, 2000);
                  tevra_printdebugalloc(path.c_str());
                  return 0;
              }));
    std::string report = read_file(path);
    EXPECT_EQ(count_of(report, "7E "), 1024);
    EXPECT_NE(report.find("\t2000bytes\n"), std::string::npos);
}

TEST(DebugAlloc, RefusesUnnamedAllocationsAndOpensNoReportOnBadPath) {
    EXPECT_EQ(0, in_child([] {
                  if (tevra_setdebugalloc() != 1)
                      return 1;
                  if (tevra_malloc(16, nullptr, 1) != nullptr)
                      return 2;
                  if (tevra_malloc(-5, "x", 1) != nullptr)
                      return 3;
                  if (tevra_printdebugalloc("/nonexistent-dir/report.txt") != 0)
                      return 4;
                  // Once allocation happened the debug allocator cannot be switched on again.
                  return tevra_setdebugalloc() == 0 ? 0 : 5;
              }));
}

TEST(DebugAlloc, CountsStayConsistentAcrossThreads) {
    std::string path = report_path();
    ASSERT_EQ(0, in_child([&] {
                  tevra_setdebugalloc();
                  auto work = [] {
                      for (int i = 0; i < 2000; ++i)
                          tevra_free(tevra_malloc(1 + i % 64, "thread", i));
                  };
                  std::thread t1(work), t2(work);
                  t1.join();
                  t2.join();
                  tevra_printdebugalloc(path.c_str());
                  return 0;
              }));
    std::string report = read_file(path);
    EXPECT_EQ(report.rfind("Memory alloc count: 4000,", 0), 0u) << report;
    EXPECT_NE(report.find("Memory free count: 4000,"), std::string::npos);
    EXPECT_EQ(report.find("Memory leap"), std::string::npos);
}

// Debuggers and callers inspect debug blocks in memory: guard word at raw byte
// 0, node pointer at byte 16, data at 32, tail guard right behind the data;
// the node's third field is the interned file name, shared by equal names.
TEST(DebugAlloc, BlockLayoutAndInternedNames) {
    EXPECT_EQ(0, in_child([] {
                  tevra_setdebugalloc();
                  char name1[] = "TEVRA_Time";
                  char name2[] = "TEVRA_Time";
                  auto *a = static_cast<unsigned char *>(tevra_malloc(5, name1, 1));
                  auto *b = static_cast<unsigned char *>(tevra_malloc(4, name2, 2));
                  uint32_t head, tail;
                  std::memcpy(&head, a - 32, 4);
                  std::memcpy(&tail, a + 5, 4);
                  const char *const *node_a, *const *node_b;
                  std::memcpy(&node_a, a - 16, sizeof node_a);
                  std::memcpy(&node_b, b - 16, sizeof node_b);
                  bool ok = head == 0xADDEADDEu && tail == 0xDDDDDDDDu &&
                            reinterpret_cast<const unsigned char *>(node_a[0]) == a - 32 &&
                            node_a[2] == node_b[2] && node_a[2] != name1 &&
                            std::strcmp(node_a[2], "TEVRA_Time") == 0;
                  tevra_free(a);
                  tevra_free(b);
                  return ok ? 0 : 1;
              }));
}
