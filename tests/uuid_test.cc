// The version-1 UUID generator: time in 100-ns steps since 1582, the
// adjustment for a clock that has not moved, the clock sequence for a clock
// that went back, the version and variant bits, and the node address from the
// interfaces or the address file.
#include "capis/uuid.h"

#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>

#include "gtest/gtest.h"
#include "tests/test_util.h"

namespace {

// The wall clock the tests hold and move by hand.
struct timeval gNow;
int heldClock(struct timeval *tv) {
  *tv = gNow;
  return 0;
}

constexpr uint8_t kTestNode[6] = {0x02, 0x42, 0xAC, 0x11, 0x00, 0x07};
uint64_t fixedInterfaces(uint8_t addr[6]) {
  std::memcpy(addr, kTestNode, 6);
  return 0;
}
uint64_t failingInterfaces(uint8_t *) { return uuid_addr_not_found; }

// The 60-bit time and the 14-bit clock sequence read back from a UUID.
uint64_t TimeOf(const qd_uuid_t &u) {
  return (static_cast<uint64_t>(u.time_hi_and_version & 0x0FFF) << 48) |
         (static_cast<uint64_t>(u.time_mid) << 32) | u.time_low;
}
uint16_t ClockSeqOf(const qd_uuid_t &u) {
  return static_cast<uint16_t>(((u.clock_seq_hi_and_reserved & 0x3F) << 8) | u.clock_seq_low);
}

class UuidTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gNow = {1700000000, 123456};
    uuid_set_clock(heldClock);
    uuid_set_interface_query(fixedInterfaces);
    uuid_reset_state();
  }
  void TearDown() override {
    uuid_set_clock(nullptr);
    uuid_set_interface_query(nullptr);
    uuid_set_address_file(nullptr);
    uuid_reset_state();
  }

  static qd_uuid_t Make() {
    qd_uuid_t u{};
    uint64_t status = 1;
    qd_uuid_create(&u, &status);
    EXPECT_EQ(status, uuid_s_ok);
    return u;
  }
  static uint64_t ClockNow() {
    uint64_t t = 0;
    uuid__get_os_time(&t);
    return t;
  }
};

TEST_F(UuidTest, ClockCountsHundredNanosecondStepsSince1582) {
  struct {
    struct timeval tv;
    uint64_t expected;
  } cases[] = {
      {{0, 0}, 122192928000000000ULL},                // 1 January 1970
      {{1, 5}, 122192928010000050ULL},                // seconds and microseconds
      {{1700000000, 999999}, 139192928009999990ULL},  // needs 64-bit products
  };
  for (const auto &c : cases) {
    gNow = c.tv;
    EXPECT_EQ(ClockNow(), c.expected) << c.tv.tv_sec;
  }
}

TEST_F(UuidTest, HeldClockRaisesTimeByOnePerUuid) {
  const uint64_t t = ClockNow();
  // The first use takes the current time as the last one, so even the first
  // UUID is adjusted.
  qd_uuid_t a = Make();
  qd_uuid_t b = Make();
  EXPECT_EQ(TimeOf(a), t + 1);
  EXPECT_EQ(TimeOf(b), t + 2);
  EXPECT_EQ(ClockSeqOf(a), ClockSeqOf(b));
  // One microsecond later the adjustment starts again from 0.
  gNow.tv_usec += 1;
  EXPECT_EQ(TimeOf(Make()), t + 10);
  // Adjusted times never run into the next microsecond's: after 25 UUIDs
  // within one, the next one follows the last.
  for (int i = 0; i < 24; ++i) Make();
  gNow.tv_usec += 1;
  qd_uuid_t next = Make();
  EXPECT_EQ(TimeOf(next), t + 35);
  EXPECT_EQ(ClockSeqOf(next), ClockSeqOf(a));
  EXPECT_EQ(next.time_hi_and_version & 0xF000, 0x1000);    // version 1
  EXPECT_EQ(next.clock_seq_hi_and_reserved & 0xC0, 0x80);  // the variant
  EXPECT_EQ(std::memcmp(next.node, kTestNode, 6), 0);

  // The real clock: far more UUIDs than microseconds, all distinct.
  uuid_set_clock(nullptr);
  std::set<uint64_t> times;
  for (int i = 0; i < 200000; ++i) times.insert(TimeOf(Make()));
  EXPECT_EQ(times.size(), 200000u);
}

TEST_F(UuidTest, ClockGoingBackChangesClockSequence) {
  Make();
  uuid_set_clock_seq(0x3FFE);
  gNow.tv_sec -= 1;
  const uint64_t earlier = ClockNow();
  qd_uuid_t b = Make();
  EXPECT_EQ(ClockSeqOf(b), 0x3FFF);
  EXPECT_EQ(TimeOf(b), earlier);  // no adjustment after a change of sequence
  // At the top of the 14 bits the sequence wraps to 1, never to 0.
  gNow.tv_sec -= 1;
  EXPECT_EQ(ClockSeqOf(Make()), 1);
  EXPECT_EQ(uuid_clock_seq(), 1);

  // The next sequence stays within 14 bits; a sequence of 0 is first
  // replaced by a random one.
  const uint16_t cases[][2] = {{5, 6}, {0x3FFE, 0x3FFF}, {0x3FFF, 1}, {0x4005, 6}, {0xFFFF, 1}};
  for (const auto &[before, after] : cases) {
    uint16_t seq = before;
    new_clock_seq(&seq);
    EXPECT_EQ(seq, after) << before;
  }
  for (int i = 0; i < 1000; ++i) {
    uint16_t seq = 0;
    new_clock_seq(&seq);
    EXPECT_TRUE(seq > 0 && seq <= 0x3FFF) << seq;
  }
}

// The node address comes from the interfaces, else from the address file.
TEST_F(UuidTest, NodeAddress) {
  // Whatever the host has (all zeros with only a loopback interface), the
  // real query must not fail.
  uuid_set_interface_query(nullptr);
  uuid_set_address_file("/nonexistent/ieee_802_addr");
  Make();

  testutil::TempDir dir;
  const std::string path = dir.File("ieee_802_addr");
  uuid_set_interface_query(failingInterfaces);
  uuid_set_address_file(path.c_str());

  struct {
    const char *content;  // nullptr: no file
    uint64_t status;
  } cases[] = {
      {nullptr, uuid_s_no_address},
      {"0a1b2c\n", uuid_s_no_address},
      {"zz1b2c3d4e5f\n", uuid_s_no_address},
      {"0a1b2c3d4e5f\n", uuid_s_ok},
  };
  for (const auto &c : cases) {
    unlink(path.c_str());
    if (c.content != nullptr) testutil::WriteFile(path, c.content);
    uuid_reset_state();
    qd_uuid_t u{};
    uint64_t status = 1;
    qd_uuid_create(&u, &status);
    EXPECT_EQ(status, c.status) << (c.content ? c.content : "(no file)");
    if (status == uuid_s_ok) {
      const uint8_t expected[6] = {0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F};
      EXPECT_EQ(std::memcmp(u.node, expected, 6), 0);
    }
  }

  // The address is kept once found: a changed file no longer matters.
  testutil::WriteFile(path, "ffffffffffff");
  EXPECT_EQ(Make().node[0], 0x0A);

  // The client's wrapper turns the failure into -1.
  uuid_reset_state();
  unlink(path.c_str());
  qd_uuid_t u{};
  ZOVEXA_result r{};
  EXPECT_EQ(ZOvexa_create_uuid(nullptr, &u, &r), -1);
  EXPECT_EQ(r.count, 0);
  testutil::WriteFile(path, "0a1b2c3d4e5f");
  EXPECT_EQ(ZOvexa_create_uuid(nullptr, &u, &r), 0);
}

}  // namespace
