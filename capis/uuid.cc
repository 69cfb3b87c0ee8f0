// The version-1 UUID generator. All state is process-wide and one mutex
// covers every use of it: the global instance id tables of different
// contexts have locks of their own, and without this one two contexts could
// read the same time and produce the same UUID.
#include "capis/uuid.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <mutex>

#include "capis/trace.h"

#define ZO_SRC "capis/uuid"

namespace {

constexpr uint16_t kMaxTimeAdjust = 32767;
constexpr const char *kAddressFile = "/etc/ieee_802_addr";

// The generator's state: one copy per process, guarded by gUuidMutex.
std::mutex gUuidMutex;
bool uuid_init_done = false;
uint64_t time_last = 0;  // the last time read, before adjustment
uint64_t time_now = 0;
uint16_t time_adjust = 0;
// The last (adjusted) time handed out under the current clock sequence.
uint64_t time_issued = 0;
uint16_t clock_seq = 0;
bool got_address = false;
uint8_t saved_addr[6];
uint32_t rand_m;
uint32_t rand_ia;
uint32_t rand_ib;
uint32_t rand_irand;

int systemClock(struct timeval *tv) { return gettimeofday(tv, nullptr); }
uint64_t queryInterfaces(uint8_t addr[6]);

// Seams, guarded by gUuidMutex.
qd_clock_fn gClock = systemClock;
qd_interface_query_fn gInterfaceQuery = queryInterfaces;
const char *gAddressFile = kAddressFile;

int qd_gettimeofday(struct timeval *tv) { return gClock(tv); }

// The first interface that is neither loopback nor point-to-point, else the
// last one examined. Non-zero when the socket or a query fails.
uint64_t queryInterfaces(uint8_t addr[6]) {
  int sd = socket(AF_INET6, SOCK_DGRAM, 0);
  if (sd < 0) sd = socket(AF_INET, SOCK_DGRAM, 0);
  if (sd < 0) return uuid_addr_not_found;

  char buffer[1024];
  struct ifconf ifc;
  ifc.ifc_len = sizeof buffer;
  ifc.ifc_buf = buffer;
  if (ioctl(sd, SIOCGIFCONF, &ifc) < 0) {
    close(sd);
    return uuid_addr_not_found;
  }

  uint8_t found[6] = {0, 0, 0, 0, 0, 0};
  short lastFlags = 0;
  const int entries = ifc.ifc_len / static_cast<int>(sizeof(struct ifreq));
  for (int i = 0; i < entries; ++i) {
    struct ifreq request;
    std::memset(&request, 0, sizeof request);
    std::memcpy(request.ifr_name, ifc.ifc_req[i].ifr_name, IFNAMSIZ);
    if (ioctl(sd, SIOCGIFFLAGS, &request) < 0) {
      close(sd);
      return uuid_addr_not_found;
    }
    lastFlags = request.ifr_flags;
    // A failed hardware-address query keeps the address read last.
    if (ioctl(sd, SIOCGIFHWADDR, &request) == 0) std::memcpy(found, request.ifr_hwaddr.sa_data, 6);
    if ((lastFlags & (IFF_LOOPBACK | IFF_POINTOPOINT)) == 0) break;
  }
  close(sd);

  // This acceptance test can never reject: a host whose only interface is
  // the loopback one still gets ids, with the node 00:00:00:00:00:00, rather
  // than failing every event. The behaviour is intended and kept.
  static const uint8_t kZero[6] = {0, 0, 0, 0, 0, 0};
  const unsigned isZero = std::memcmp(found, kZero, 6) == 0 ? 1u : 0u;
  const unsigned loopOrP2p = (lastFlags & (IFF_LOOPBACK | IFF_POINTOPOINT)) != 0 ? 1u : 0u;
  if ((isZero & loopOrP2p) & (isZero ^ 1u)) return uuid_addr_not_found;
  std::memcpy(addr, found, 6);
  return 0;
}

// Twelve hexadecimal digits, two per byte, in the address file.
uint64_t readAddressFile(uint8_t addr[6]) {
  FILE *file = std::fopen(gAddressFile, "r");
  if (file == nullptr) return uuid_addr_not_found;
  char text[64];
  const size_t length = std::fread(text, 1, sizeof text - 1, file);
  std::fclose(file);
  text[length] = '\0';
  if (length < 12) return uuid_addr_not_found;
  unsigned int bytes[6];
  if (std::sscanf(text, "%2x%2x%2x%2x%2x%2x", &bytes[0], &bytes[1], &bytes[2], &bytes[3], &bytes[4],
                  &bytes[5]) < 6) {
    return uuid_addr_bad_format;
  }
  for (int i = 0; i < 6; ++i) addr[i] = static_cast<uint8_t>(bytes[i]);
  return 0;
}

// First use: seed the random numbers, take the current time as the last
// one, and start the clock sequence at a random value.
void init() {
  true_random_init();
  uuid__get_os_time(&time_last);
  clock_seq = uuid_true_random();
  uuid_init_done = true;
}

enum TimeOrder { kEarlier, kEqual, kLater };

TimeOrder compareTimes(uint64_t a, uint64_t b) {
  if (a < b) return kEarlier;
  if (a > b) return kLater;
  return kEqual;
}

void createLocked(qd_uuid_t *uuid, uint64_t *status) {
  if (!uuid_init_done) init();
  uint8_t node[6];
  uuid_get_address(node, status);
  if (*status != uuid_s_ok) return;

  // With the clock unchanged since the last UUID the time is raised by one
  // step per UUID; a clock that went back gets a new clock sequence instead.
  // Once the adjustment is exhausted the mark is never cleared, so the call
  // keeps reading the clock: reaching it takes 32767 UUIDs within one
  // microsecond.
  bool gotNoTime = false;
  do {
    uuid__get_os_time(&time_now);
    switch (compareTimes(time_now, time_last)) {
      case kEarlier:
        new_clock_seq(&clock_seq);
        time_adjust = 0;
        time_issued = 0;  // a new sequence may reuse earlier times
        break;
      case kLater:
        time_adjust = 0;
        break;
      case kEqual:
        if (time_adjust < kMaxTimeAdjust) {
          ++time_adjust;
        } else {
          gotNoTime = true;
        }
        break;
      default:
        *status = uuid_s_internal_error;
        return;
    }
  } while (gotNoTime);

  time_last = time_now;
  // The clock moves in whole microseconds (ten steps) while a UUID takes a
  // fraction of one, so the adjusted times of one microsecond can run into
  // those of the next. Times handed out therefore only ever rise: two UUIDs
  // of one sequence never share a time.
  uint64_t time = time_now + time_adjust;
  if (time <= time_issued) time = time_issued + 1;
  time_issued = time;
  uuid->time_low = static_cast<uint32_t>(time);
  uuid->time_mid = static_cast<uint16_t>(time >> 32);
  uuid->time_hi_and_version = static_cast<uint16_t>(((time >> 48) & 0x0FFF) | 0x1000);
  uuid->clock_seq_low = static_cast<uint8_t>(clock_seq & 0xFF);
  uuid->clock_seq_hi_and_reserved = static_cast<uint8_t>(((clock_seq & 0x3F00) >> 8) | 0x80);
  std::memcpy(uuid->node, node, 6);
  *status = uuid_s_ok;
}

// The word traced for a status code of the generator.
const char *statusWord(uint64_t status) {
  switch (status) {
    case uuid_s_bad_version:
      return "bad version";
    case uuid_s_no_address:
      return "cannot get 802 address";
    case uuid_s_internal_error:
      return "internal error";
    case uuid_s_coding_error:
      return "coding error";
    default:
      return "unknown error";
  }
}

}  // namespace

void uuid__get_os_time(uint64_t *time) {
  struct timeval tv;
  qd_gettimeofday(&tv);
  // 32 x 32 -> 64-bit products: the seconds alone overflow 32 bits once
  // multiplied.
  const uint64_t seconds = static_cast<uint64_t>(static_cast<uint32_t>(tv.tv_sec)) * 10000000u;
  const uint64_t micros = static_cast<uint64_t>(static_cast<uint32_t>(tv.tv_usec)) * 10u;
  *time = seconds + micros + kUuidEpochOffset;
}

uint16_t uuid_true_random() {
  rand_m += 7;
  if (rand_m > 9972) rand_m -= 9871;
  rand_ia += 1907;
  if (rand_ia > 99990) rand_ia -= 89989;
  rand_ib += 73939;
  if (rand_ib > 224728) rand_ib -= 96233;
  rand_irand = rand_irand * rand_m + rand_ib + rand_ia;
  return static_cast<uint16_t>((rand_irand & 0x3FFF) ^ (rand_irand >> 16));
}

void true_random_init() {
  rand_m = 971;
  rand_ia = 11113;
  rand_ib = 104322;
  rand_irand = 4181;
  uint64_t time;
  uuid__get_os_time(&time);
  const uint32_t mixed = static_cast<uint32_t>((time & 0xFFFF) ^ ((time >> 16) & 0xFFFF) ^
                                               ((time >> 32) & 0xFFFF) ^ ((time >> 48) & 0xFFFF));
  rand_irand = 4181 + mixed + static_cast<uint32_t>(getpid());
}

void new_clock_seq(uint16_t *seq) {
  if (*seq == 0) *seq = uuid_true_random();
  *seq = static_cast<uint16_t>((*seq + 1) & 0x3FFF);
  if (*seq == 0) *seq = 1;
}

void uuid_get_address(uint8_t addr[6], uint64_t *status) {
  if (got_address) {
    std::memcpy(addr, saved_addr, 6);
    *status = uuid_s_ok;
    return;
  }
  uint64_t code = gInterfaceQuery(saved_addr);
  if (code != 0) code = readAddressFile(saved_addr);
  if (code != 0) {
    *status = uuid_s_no_address;
    return;
  }
  got_address = true;
  std::memcpy(addr, saved_addr, 6);
  *status = uuid_s_ok;
}

void qd_uuid_create(qd_uuid_t *uuid, uint64_t *status) {
  std::lock_guard<std::mutex> lock(gUuidMutex);
  createLocked(uuid, status);
}

int ZOvexa_create_uuid(const ZOVEXA_AuditClientContext *context, qd_uuid_t *uuid, ZOVEXA_result *result) {
  (void)result;  // the generator's failures are traced, not reported
  uint64_t status = uuid_s_ok;
  qd_uuid_create(uuid, &status);
  if (status != uuid_s_ok) {
    ZO_ERROR(context, "[vexa_create_uuid]",
             "Error getting UUID. The function qd_uuid_create() returned: %s: 0%0x", statusWord(status),
             static_cast<unsigned>(status));
    return -1;
  }
  return 0;
}

void uuid_set_clock(qd_clock_fn clock) {
  std::lock_guard<std::mutex> lock(gUuidMutex);
  gClock = clock != nullptr ? clock : systemClock;
}

void uuid_set_interface_query(qd_interface_query_fn query) {
  std::lock_guard<std::mutex> lock(gUuidMutex);
  gInterfaceQuery = query != nullptr ? query : queryInterfaces;
}

void uuid_set_address_file(const char *path) {
  std::lock_guard<std::mutex> lock(gUuidMutex);
  gAddressFile = path != nullptr ? path : kAddressFile;
}

void uuid_reset_state() {
  std::lock_guard<std::mutex> lock(gUuidMutex);
  uuid_init_done = false;
  got_address = false;
  time_adjust = 0;
  time_issued = 0;
}

uint16_t uuid_clock_seq() {
  std::lock_guard<std::mutex> lock(gUuidMutex);
  return clock_seq;
}

void uuid_set_clock_seq(uint16_t seq) {
  std::lock_guard<std::mutex> lock(gUuidMutex);
  clock_seq = seq;
}
