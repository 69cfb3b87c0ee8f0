// A time-based (version 1) UUID generator: 60 bits of time in 100-nanosecond
// steps since 15 October 1582, a 14-bit clock sequence and the host's 48-bit
// node address. Its state is process-wide and guarded by one process-wide
// mutex, so callers in any thread and any context get distinct values from
// one sequence.
#ifndef ZOVEXA_CAPIS_UUID_H_
#define ZOVEXA_CAPIS_UUID_H_

#include <sys/time.h>

#include <cstdint>

#include "zovexa.h"

struct qd_uuid_t {
  uint32_t time_low;
  uint16_t time_mid;
  uint16_t time_hi_and_version;
  uint8_t clock_seq_hi_and_reserved;
  uint8_t clock_seq_low;
  uint8_t node[6];
};

// Status codes of the generator.
constexpr uint64_t uuid_s_ok = 0;
constexpr uint64_t uuid_s_bad_version = 0x16C9A088;
constexpr uint64_t uuid_s_no_address = 0x16C9A08B;
constexpr uint64_t uuid_s_internal_error = 0x16C9A08D;
constexpr uint64_t uuid_s_coding_error = 0x16C9A08E;
// Status codes of the node-address routines (turned into uuid_s_no_address).
constexpr uint64_t uuid_addr_not_found = 0x1460101E;
constexpr uint64_t uuid_addr_bad_format = 0x1460101F;

// 100-nanosecond intervals from 15 October 1582 to 1 January 1970.
constexpr uint64_t kUuidEpochOffset = 0x01B21DD213814000ULL;

// Fills `uuid` with the next value; *status is uuid_s_ok, or uuid_s_no_address
// when no node address can be found, or uuid_s_internal_error.
void qd_uuid_create(qd_uuid_t *uuid, uint64_t *status);

// The wrapper used by the client: 0, or -1 after tracing the generator's
// failure as a word ("cannot get 802 address", ...) and its code.
int ZOvexa_create_uuid(const ZOVEXA_AuditClientContext *context, qd_uuid_t *uuid, ZOVEXA_result *result);

// The pieces of the generator, exposed for tests. They work on the shared
// state without taking the lock: call them only while no other thread makes
// UUIDs.
void uuid__get_os_time(uint64_t *time);  // the clock as 100-ns intervals since 1582
uint16_t uuid_true_random();
void true_random_init();
void new_clock_seq(uint16_t *clock_seq);
// The node address: cached after the first success; the interface query and
// then the address file. uuid_s_ok or uuid_s_no_address.
void uuid_get_address(uint8_t addr[6], uint64_t *status);

// Test seams (these take the lock). Each setter takes NULL to restore the
// real behaviour.
// The wall clock read by the generator (gettimeofday without a time zone).
using qd_clock_fn = int (*)(struct timeval *tv);
void uuid_set_clock(qd_clock_fn clock);
// The interface query: fills the address and returns 0, or a non-zero code.
using qd_interface_query_fn = uint64_t (*)(uint8_t addr[6]);
void uuid_set_interface_query(qd_interface_query_fn query);
// The file read when the interface query fails ("/etc/ieee_802_addr").
void uuid_set_address_file(const char *path);
// Forgets the initialisation and the cached node address so that the next
// call starts afresh.
void uuid_reset_state();
// The clock sequence in use (for tests of its changes).
uint16_t uuid_clock_seq();
void uuid_set_clock_seq(uint16_t clock_seq);

#endif  // ZOVEXA_CAPIS_UUID_H_
