// Global instance ids: their layout, the counter, the table's life cycle and
// failures, and uniqueness when several contexts make ids at once.
#include "capis/giid.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "capis/context.h"
#include "capis/uuid.h"
#include "capis/zo_memory.h"
#include "gtest/gtest.h"
#include "tests/capis_test_util.h"

namespace {

// Gives a context a table of its own for the test's duration. Contexts borrow
// the process-wide table; a private one starts its counter at 0 and has its
// own mutex, as separate tables would.
class OwnTable {
 public:
  explicit OwnTable(ZOVEXA_AuditClientContext *ctx) : ctx_(ctx), saved_(ctx->giidTable) {
    ZOVEXA_result r{};
    EXPECT_EQ(ZOcreateGIIdTable(ctx, &r), 0);
    ZOVEXA_Result_Clean(&r);
    table = ctx->giidTable;
  }
  ~OwnTable() {
    ZOfreeGIIdTable(ctx_, table);
    EXPECT_EQ(ctx_->giidTable, nullptr);
    ctx_->giidTable = saved_;
  }
  ZOgiidTable *table = nullptr;

 private:
  ZOVEXA_AuditClientContext *ctx_;
  ZOgiidTable *saved_;
};

// An id as text ("<null>" when none was made); no message is expected.
std::string MakeId(ZOVEXA_AuditClientContext *ctx) {
  ZOVEXA_result r{};
  char *id = ZOcreateGIIdValue(ctx, &r);
  std::string text = id != nullptr ? id : "<null>";
  free(id);
  EXPECT_EQ(r.count, 0);
  ZOVEXA_Result_Clean(&r);
  return text;
}

std::string Hex8(unsigned value) {
  char text[9];
  std::snprintf(text, sizeof text, "%08X", value);
  return text;
}

struct timeval gNow;
int heldClock(struct timeval *tv) {
  *tv = gNow;
  return 0;
}
uint64_t fixedInterfaces(uint8_t addr[6]) {
  const uint8_t node[6] = {0x00, 0x1A, 0x2B, 0xC4, 0xD5, 0xE6};
  std::memcpy(addr, node, 6);
  return 0;
}
uint64_t failingInterfaces(uint8_t *) { return uuid_addr_not_found; }

class GiidTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(tc.ctx, nullptr); }
  void TearDown() override {
    uuid_set_clock(nullptr);
    uuid_set_interface_query(nullptr);
    uuid_set_address_file(nullptr);
    uuid_reset_state();
  }
  TestContext tc{{StrProp("elementCodeSet", "UTF8")}};
};

// The prefix, the UUID's fields, the process id and the counter, in
// upper-case hexadecimal: 53 characters. The counter starts at 1 and rises by
// one per id.
TEST_F(GiidTest, LayoutAndCounter) {
  OwnTable own(tc.ctx);
  EXPECT_STREQ(own.table->processId, Hex8(static_cast<unsigned>(getpid())).c_str());
  gNow = {1700000000, 250000};
  uuid_set_clock(heldClock);
  uuid_set_interface_query(fixedInterfaces);
  uuid_reset_state();
  const std::string id = MakeId(tc.ctx);
  // The first UUID after a reset is the held time plus one step.
  uint64_t t = 0;
  uuid__get_os_time(&t);
  t += 1;
  char expected[80];
  std::snprintf(expected, sizeof expected, "KZT60%04X%04X%04X%08X001A2BC4D5E6%s00000001",
                static_cast<unsigned>(((t >> 48) & 0x0FFF) | 0x1000),
                static_cast<unsigned>((t >> 32) & 0xFFFF), (uuid_clock_seq() & 0x3FFFu) | 0x8000u,
                static_cast<unsigned>(t & 0xFFFFFFFF), own.table->processId);
  EXPECT_EQ(id, expected);
  ASSERT_EQ(id.size(), 53u);
  for (char c : id.substr(5)) EXPECT_TRUE(std::isdigit(c) || (c >= 'A' && c <= 'F')) << id;

  uuid_set_clock(nullptr);
  std::string previous = id;
  for (unsigned n = 2; n <= 20; ++n) {
    const std::string next = MakeId(tc.ctx);
    EXPECT_EQ(next.substr(45), Hex8(n));
    EXPECT_NE(next, previous);
    previous = next;
  }
  EXPECT_EQ(own.table->counter, 20u);
}

// A child made by fork() writes its own process id into its ids, so the
// counter values it shares with its parent never make the same id twice.
TEST_F(GiidTest, ChildProcessUsesItsOwnProcessId) {
  const std::string parentFirst = MakeId(tc.ctx);
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ZOVEXA_result r{};
    char *id = ZOcreateGIIdValue(tc.ctx, &r);
    ssize_t written = id != nullptr ? write(fds[1], id, strlen(id)) : -1;
    _exit(written == kZOgiidLength ? 0 : 1);
  }
  close(fds[1]);
  char buffer[80] = {};
  ssize_t n = read(fds[0], buffer, sizeof buffer - 1);
  close(fds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_EQ(n, kZOgiidLength);
  const std::string childId(buffer);
  const std::string parentNext = MakeId(tc.ctx);
  EXPECT_EQ(childId.substr(37, 8), Hex8(static_cast<unsigned>(child)));
  EXPECT_EQ(parentNext.substr(37, 8), Hex8(static_cast<unsigned>(getpid())));
  EXPECT_EQ(childId.substr(45), parentNext.substr(45));  // the same counter value...
  EXPECT_NE(childId, parentNext);                          // ...in two different ids
  EXPECT_NE(parentFirst, parentNext);
}

TEST_F(GiidTest, FailuresLeaveNothingBehind) {
  ZOVEXA_result r{};
  // No table: trace lines only.
  ZOgiidTable *saved = tc.ctx->giidTable;
  tc.ctx->giidTable = nullptr;
  EXPECT_EQ(ZOcreateGIIdValue(tc.ctx, &r), nullptr);
  EXPECT_EQ(r.count, 0);
  // Out of memory for the table or its process id: the context keeps none.
  for (long n = 1; n <= 2; ++n) {
    ZOsetAllocFailAfter(n);
    EXPECT_EQ(ZOcreateGIIdTable(tc.ctx, &r), -1) << n;
    ZOsetAllocFailAfter(0);
    EXPECT_EQ(OnlyCode(r), 1u) << n;
    EXPECT_EQ(tc.ctx->giidTable, nullptr);
    ZOVEXA_Result_Clean(&r);
  }
  tc.ctx->giidTable = saved;

  OwnTable own(tc.ctx);
  // Out of memory for the text.
  ZOsetAllocFailAfter(1);
  EXPECT_EQ(ZOcreateGIIdValue(tc.ctx, &r), nullptr);
  ZOsetAllocFailAfter(0);
  EXPECT_EQ(OnlyCode(r), 1u);
  ZOVEXA_Result_Clean(&r);
  // No UUID: the counter is not used up.
  uuid_set_interface_query(failingInterfaces);
  uuid_set_address_file("/nonexistent/ieee_802_addr");
  uuid_reset_state();
  EXPECT_EQ(ZOcreateGIIdValue(tc.ctx, &r), nullptr);
  EXPECT_EQ(r.count, 0);
  uuid_set_interface_query(nullptr);
  uuid_set_address_file(nullptr);
  uuid_reset_state();
  EXPECT_EQ(MakeId(tc.ctx).substr(45), "00000001");
}

// A clock that moves one microsecond at every tenth reading. Under the
// generator's lock the ten UUIDs made from one reading get the adjustments 0
// to 9 and never reach the next microsecond's values, so every UUID is
// distinct; without the lock two threads that read the same time both take
// adjustment 0. (Stepping the clock this way makes the races the lock
// prevents far more likely than the real clock would.)
std::atomic<int64_t> gClockReadings{0};
int steppingClock(struct timeval *tv) {
  const int64_t micros = gClockReadings.fetch_add(1) / 10;
  tv->tv_sec = 1700000000 + micros / 1000000;
  tv->tv_usec = micros % 1000000;
  return 0;
}

// Four threads in each of two contexts, each context with its own table: the
// tables' mutexes do not exclude each other, so only the generator's own
// lock keeps two threads from building UUIDs out of the same clock reading
// and state.
TEST(GiidConcurrency, UniqueAcrossContextsAndThreads) {
  constexpr size_t kThreads = 8, kIdsPerThread = 20000;
  TestContext a({StrProp("elementCodeSet", "UTF8")}), b({StrProp("elementCodeSet", "UTF8")});
  ASSERT_TRUE(a.ctx != nullptr && b.ctx != nullptr);
  OwnTable ownA(a.ctx), ownB(b.ctx);
  uuid_set_clock(steppingClock);
  std::vector<std::vector<std::string>> made(kThreads);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([ctx = t % 2 == 0 ? a.ctx : b.ctx, &ids = made[t]] {
      ZOVEXA_result r{};
      for (char *id = nullptr; ids.size() < kIdsPerThread && (id = ZOcreateGIIdValue(ctx, &r)) != nullptr;
           free(id))
        ids.emplace_back(id);
      ZOVEXA_Result_Clean(&r);
    });
  }
  for (std::thread &t : threads) t.join();
  uuid_set_clock(nullptr);

  // Both the whole ids and their UUID parts must be unique: the counters of
  // the two tables run through the same values.
  std::unordered_set<std::string> ids, uuids;
  for (const auto &list : made) {
    EXPECT_EQ(list.size(), kIdsPerThread);
    for (const std::string &id : list) {
      ids.insert(id);
      uuids.insert(id.substr(5, 32));
    }
  }
  EXPECT_EQ(ids.size(), kThreads * kIdsPerThread);
  EXPECT_EQ(uuids.size(), kThreads * kIdsPerThread);
  EXPECT_EQ(ownA.table->counter, kThreads / 2 * kIdsPerThread);
  EXPECT_EQ(ownB.table->counter, kThreads / 2 * kIdsPerThread);
}

}  // namespace
