// Global instance ids: their layout, the counter, the table's life cycle and
// failures, and uniqueness when several contexts make ids at once.
#include "capis/giid.h"

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

std::string Take(char *id) {
  std::string s = id != nullptr ? id : "<null>";
  free(id);
  return s;
}

std::string MakeId(ZOVEXA_AuditClientContext *ctx) {
  ZOVEXA_result r{};
  std::string id = Take(ZOcreateGIIdValue(ctx, &r));
  EXPECT_EQ(r.count, 0);
  ZOVEXA_Result_Clean(&r);
  return id;
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
  void TearDown() override {
    uuid_set_clock(nullptr);
    uuid_set_interface_query(nullptr);
    uuid_set_address_file(nullptr);
    uuid_reset_state();
  }
  TestContext tc{{StrProp("elementCodeSet", "UTF8")}};
};

TEST_F(GiidTest, LayoutMatchesTheFormattedUuid) {
  ASSERT_NE(tc.ctx, nullptr);
  OwnTable own(tc.ctx);
  gNow = {1700000000, 250000};
  uuid_set_clock(heldClock);
  uuid_set_interface_query(fixedInterfaces);
  uuid_reset_state();

  // The first UUID after a reset is the held time plus one step.
  uint64_t t = 0;
  uuid__get_os_time(&t);
  t += 1;
  char pid[16];
  std::snprintf(pid, sizeof pid, "%08X", static_cast<unsigned>(getpid()));
  const std::string id = MakeId(tc.ctx);

  qd_uuid_t u{};
  uint64_t status = 1;
  qd_uuid_create(&u, &status);  // same clock sequence and node, time t + 1
  ASSERT_EQ(status, uuid_s_ok);
  char expected[80];
  std::snprintf(expected, sizeof expected, "%s%04X%04X%02X%02X%08X%02X%02X%02X%02X%02X%02X%s%08X", "KZT60",
                static_cast<unsigned>(((t >> 48) & 0x0FFF) | 0x1000),
                static_cast<unsigned>((t >> 32) & 0xFFFF), u.clock_seq_hi_and_reserved, u.clock_seq_low,
                static_cast<unsigned>(t & 0xFFFFFFFF), 0x00, 0x1A, 0x2B, 0xC4, 0xD5, 0xE6, pid, 1u);
  EXPECT_EQ(id, expected);
  ASSERT_EQ(id.size(), 53u);
  EXPECT_EQ(id.substr(0, 5), "KZT60");
  for (char c : id.substr(5)) EXPECT_TRUE(std::isdigit(c) || (c >= 'A' && c <= 'F')) << id;
}

TEST_F(GiidTest, CounterRisesByOneFromOne) {
  ASSERT_NE(tc.ctx, nullptr);
  OwnTable own(tc.ctx);
  std::string previous;
  for (unsigned n = 1; n <= 20; ++n) {
    const std::string id = MakeId(tc.ctx);
    char counter[9];
    std::snprintf(counter, sizeof counter, "%08X", n);
    EXPECT_EQ(id.substr(45), counter);
    EXPECT_NE(id, previous);
    previous = id;
  }
  EXPECT_EQ(own.table->counter, 20u);
}

TEST_F(GiidTest, FailuresLeaveNothingBehind) {
  ASSERT_NE(tc.ctx, nullptr);
  ZOVEXA_result r{};

  // No table: trace lines only.
  ZOgiidTable *saved = tc.ctx->giidTable;
  tc.ctx->giidTable = nullptr;
  EXPECT_EQ(ZOcreateGIIdValue(tc.ctx, &r), nullptr);
  EXPECT_EQ(r.count, 0);
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

TEST_F(GiidTest, TableCreationOutOfMemory) {
  ASSERT_NE(tc.ctx, nullptr);
  ZOgiidTable *saved = tc.ctx->giidTable;
  for (long n = 1; n <= 2; ++n) {
    ZOVEXA_result r{};
    ZOsetAllocFailAfter(n);
    EXPECT_EQ(ZOcreateGIIdTable(tc.ctx, &r), -1) << n;
    ZOsetAllocFailAfter(0);
    EXPECT_EQ(OnlyCode(r), 1u) << n;
    EXPECT_EQ(tc.ctx->giidTable, saved);
    ZOVEXA_Result_Clean(&r);
  }
  OwnTable own(tc.ctx);
  char pid[16];
  std::snprintf(pid, sizeof pid, "%08X", static_cast<unsigned>(getpid()));
  EXPECT_STREQ(own.table->processId, pid);
  EXPECT_EQ(own.table->counter, 0u);
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
  constexpr int kThreadsPerContext = 4;
  constexpr int kIdsPerThread = 20000;
  TestContext a({StrProp("elementCodeSet", "UTF8")});
  TestContext b({StrProp("elementCodeSet", "UTF8")});
  ASSERT_NE(a.ctx, nullptr);
  ASSERT_NE(b.ctx, nullptr);
  OwnTable ownA(a.ctx);
  OwnTable ownB(b.ctx);
  uuid_set_clock(steppingClock);

  std::vector<std::vector<std::string>> made(2 * kThreadsPerContext);
  std::vector<std::thread> threads;
  for (int t = 0; t < 2 * kThreadsPerContext; ++t) {
    ZOVEXA_AuditClientContext *ctx = t % 2 == 0 ? a.ctx : b.ctx;
    threads.emplace_back([ctx, &ids = made[t]] {
      ids.reserve(kIdsPerThread);
      ZOVEXA_result r{};
      for (int i = 0; i < kIdsPerThread; ++i) {
        char *id = ZOcreateGIIdValue(ctx, &r);
        if (id == nullptr) break;
        ids.emplace_back(id);
        free(id);
      }
      ZOVEXA_Result_Clean(&r);
    });
  }
  for (std::thread &t : threads) t.join();
  uuid_set_clock(nullptr);

  // Both the whole ids and their UUID parts must be unique: the counters of
  // the two tables run through the same values.
  std::unordered_set<std::string> ids;
  std::unordered_set<std::string> uuids;
  size_t total = 0;
  for (const auto &list : made) {
    EXPECT_EQ(list.size(), static_cast<size_t>(kIdsPerThread));
    total += list.size();
    for (const std::string &id : list) {
      ids.insert(id);
      uuids.insert(id.substr(5, 32));
    }
  }
  EXPECT_EQ(ids.size(), total) << total - ids.size() << " ids repeated";
  EXPECT_EQ(uuids.size(), total) << total - uuids.size() << " UUIDs repeated";
  EXPECT_EQ(ownA.table->counter, static_cast<uint32_t>(kThreadsPerContext * kIdsPerThread));
  EXPECT_EQ(ownB.table->counter, static_cast<uint32_t>(kThreadsPerContext * kIdsPerThread));
}

}  // namespace
