// Mutexes, processes, threads, the clock, the host name and character tests.
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <netdb.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cclog/cx.h"

extern char **environ;

// ---- mutex -------------------------------------------------------------------------

struct CxMutex {
  pthread_mutex_t m;
};

CxStatus CxMutexCreate(CxMutex **out) {
  if (out == nullptr) return CxOtherError(CX_CODE_INVALID);
  pthread_mutexattr_t attr;
  int rc = pthread_mutexattr_init(&attr);
  if (rc != 0) return CxPlatformError(rc);
  // Error checking turns a re-entrant lock (logging from inside a handler)
  // into an EDEADLK status instead of a hung process.
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK);
  CxMutex *m = new CxMutex;
  rc = pthread_mutex_init(&m->m, &attr);
  pthread_mutexattr_destroy(&attr);
  if (rc != 0) {
    delete m;
    return CxPlatformError(rc);
  }
  *out = m;
  return CX_SUCCESS;
}

CxStatus CxMutexLock(CxMutex *m) {
  if (m == nullptr) return CxOtherError(CX_CODE_INVALID);
  int rc = pthread_mutex_lock(&m->m);
  return rc != 0 ? CxPlatformError(rc) : CX_SUCCESS;
}

CxStatus CxMutexUnlock(CxMutex *m) {
  if (m == nullptr) return CxOtherError(CX_CODE_INVALID);
  int rc = pthread_mutex_unlock(&m->m);
  return rc != 0 ? CxPlatformError(rc) : CX_SUCCESS;
}

CxStatus CxMutexDestroy(CxMutex *m) {
  if (m == nullptr) return CxOtherError(CX_CODE_INVALID);
  int rc = pthread_mutex_destroy(&m->m);
  if (rc != 0) return CxPlatformError(rc);
  delete m;
  return CX_SUCCESS;
}

// ---- processes -----------------------------------------------------------------------

char *CxProcessGetEnv(const char *name) {
  if (name == nullptr) return nullptr;
  return TosStringDup(std::getenv(name));
}

int64_t CxProcessGetCurrentID() { return static_cast<int64_t>(::getpid()); }

CxStatus CxProcessGetCwd(char *buf, size_t size) {
  // getcwd would allocate for a NULL buffer; the caller owns the memory here.
  if (buf == nullptr) return CxOtherError(CX_CODE_INVALID);
  if (size == 0) return CxPlatformError(ERANGE);
  return ::getcwd(buf, size) == nullptr ? CxPlatformError(errno) : CX_SUCCESS;
}

CxStatus CxProcessCreate(char *const argv[], int64_t *pid) {
  if (argv == nullptr || argv[0] == nullptr || pid == nullptr) return CxOtherError(CX_CODE_INVALID);
  pid_t child;
  int rc = posix_spawnp(&child, argv[0], nullptr, nullptr, argv, environ);
  if (rc != 0) return CxPlatformError(rc);
  *pid = static_cast<int64_t>(child);
  return CX_SUCCESS;
}

CxStatus CxProcessWaitFor(int64_t pid, int *exitCode) {
  int wstatus = 0;
  pid_t rc;
  do {
    rc = ::waitpid(static_cast<pid_t>(pid), &wstatus, 0);
  } while (rc < 0 && errno == EINTR);
  if (rc < 0) return CxPlatformError(errno);
  if (exitCode != nullptr) {
    if (WIFEXITED(wstatus)) {
      *exitCode = WEXITSTATUS(wstatus);
    } else if (WIFSIGNALED(wstatus)) {
      *exitCode = 128 + WTERMSIG(wstatus);
    } else {
      *exitCode = -1;
    }
  }
  return CX_SUCCESS;
}

CxStatus CxProcessRelease(int64_t pid) {
  // Reaps the process if it has already ended; one still running is simply
  // no longer tracked (it stays a zombie after it ends unless SIGCHLD is
  // ignored).
  int wstatus;
  ::waitpid(static_cast<pid_t>(pid), &wstatus, WNOHANG);
  return CX_SUCCESS;
}

// ---- threads -------------------------------------------------------------------------

struct CxThread {
  pthread_t t;
};

bool CxHasThreadSupport() { return true; }

int64_t CxThreadGetCurrentID() { return static_cast<int64_t>(::gettid()); }

CxStatus CxThreadCreate(CxThread **out, void *(*fn)(void *), void *arg) {
  if (out == nullptr || fn == nullptr) return CxOtherError(CX_CODE_INVALID);
  CxThread *t = new CxThread;
  int rc = pthread_create(&t->t, nullptr, fn, arg);
  if (rc != 0) {
    delete t;
    return CxPlatformError(rc);
  }
  *out = t;
  return CX_SUCCESS;
}

CxStatus CxThreadJoin(CxThread *t, void **result) {
  if (t == nullptr) return CxOtherError(CX_CODE_INVALID);
  void *value = nullptr;
  int rc = pthread_join(t->t, &value);
  delete t;
  if (rc != 0) return CxPlatformError(rc);
  if (result != nullptr) *result = value;
  return CX_SUCCESS;
}

void CxThreadYield() { sched_yield(); }

void CxThreadSleep(uint32_t millis) {
  struct timespec req;
  req.tv_sec = static_cast<time_t>(millis / 1000);
  req.tv_nsec = static_cast<long>(millis % 1000) * 1000000L;
  struct timespec rem;
  while (nanosleep(&req, &rem) < 0 && errno == EINTR) req = rem;
}

// ---- system ----------------------------------------------------------------------------

uint64_t CxSystemGetTimestamp() {
  struct timespec ts;
  clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec / 1000) / 1000u;
}

CxStatus CxSystemGetFQHostname(char *buf, size_t size) {
  if (buf == nullptr) return CxOtherError(CX_CODE_INVALID);
  char host[HOST_NAME_MAX + 1];
  if (::gethostname(host, sizeof host) < 0) return CxPlatformError(errno);
  host[HOST_NAME_MAX] = '\0';

  std::string name = host;
  struct addrinfo hints;
  std::memset(&hints, 0, sizeof hints);
  hints.ai_family = AF_UNSPEC;
  hints.ai_flags = AI_CANONNAME;
  struct addrinfo *info = nullptr;
  // Without a resolver answer the plain host name is the best there is.
  if (getaddrinfo(host, nullptr, &hints, &info) == 0) {
    if (info != nullptr && info->ai_canonname != nullptr && info->ai_canonname[0] != '\0') {
      name = info->ai_canonname;
    }
    freeaddrinfo(info);
  }
  if (name.size() + 1 > size) return CxPlatformError(ERANGE);
  std::memcpy(buf, name.c_str(), name.size() + 1);
  return CX_SUCCESS;
}

// ---- characters -------------------------------------------------------------------------

bool CxIsASCIIDigit(int c) { return c >= '0' && c <= '9'; }

bool CxIsLocalDigit(int c) {
  // A plain char may arrive sign-extended; anything else outside the
  // unsigned char range is not a character at all.
  if (c >= -128 && c < 0 && c != EOF) c = static_cast<unsigned char>(c);
  if (c < 0 || c > 255) return false;
  return std::isdigit(c) != 0;
}

bool CxIsASCIIAlpha(int c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

namespace {

// Code page 037 to ISO-8859-1 (whose first half is ASCII); a bijection, so no
// information is lost.
constexpr unsigned char kCp037ToLatin1[256] = {
    0x00, 0x01, 0x02, 0x03, 0x9C, 0x09, 0x86, 0x7F, 0x97, 0x8D, 0x8E, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,
    0x10, 0x11, 0x12, 0x13, 0x9D, 0x85, 0x08, 0x87, 0x18, 0x19, 0x92, 0x8F, 0x1C, 0x1D, 0x1E, 0x1F,
    0x80, 0x81, 0x82, 0x83, 0x84, 0x0A, 0x17, 0x1B, 0x88, 0x89, 0x8A, 0x8B, 0x8C, 0x05, 0x06, 0x07,
    0x90, 0x91, 0x16, 0x93, 0x94, 0x95, 0x96, 0x04, 0x98, 0x99, 0x9A, 0x9B, 0x14, 0x15, 0x9E, 0x1A,
    0x20, 0xA0, 0xE2, 0xE4, 0xE0, 0xE1, 0xE3, 0xE5, 0xE7, 0xF1, 0xA2, 0x2E, 0x3C, 0x28, 0x2B, 0x7C,
    0x26, 0xE9, 0xEA, 0xEB, 0xE8, 0xED, 0xEE, 0xEF, 0xEC, 0xDF, 0x21, 0x24, 0x2A, 0x29, 0x3B, 0xAC,
    0x2D, 0x2F, 0xC2, 0xC4, 0xC0, 0xC1, 0xC3, 0xC5, 0xC7, 0xD1, 0xA6, 0x2C, 0x25, 0x5F, 0x3E, 0x3F,
    0xF8, 0xC9, 0xCA, 0xCB, 0xC8, 0xCD, 0xCE, 0xCF, 0xCC, 0x60, 0x3A, 0x23, 0x40, 0x27, 0x3D, 0x22,
    0xD8, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0xAB, 0xBB, 0xF0, 0xFD, 0xFE, 0xB1,
    0xB0, 0x6A, 0x6B, 0x6C, 0x6D, 0x6E, 0x6F, 0x70, 0x71, 0x72, 0xAA, 0xBA, 0xE6, 0xB8, 0xC6, 0xA4,
    0xB5, 0x7E, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0xA1, 0xBF, 0xD0, 0xDD, 0xDE, 0xAE,
    0x5E, 0xA3, 0xA5, 0xB7, 0xA9, 0xA7, 0xB6, 0xBC, 0xBD, 0xBE, 0x5B, 0x5D, 0xAF, 0xA8, 0xB4, 0xD7,
    0x7B, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0xAD, 0xF4, 0xF6, 0xF2, 0xF3, 0xF5,
    0x7D, 0x4A, 0x4B, 0x4C, 0x4D, 0x4E, 0x4F, 0x50, 0x51, 0x52, 0xB9, 0xFB, 0xFC, 0xF9, 0xFA, 0xFF,
    0x5C, 0xF7, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0xB2, 0xD4, 0xD6, 0xD2, 0xD3, 0xD5,
    0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0xB3, 0xDB, 0xDC, 0xD9, 0xDA, 0x9F,
};

}  // namespace

void CxETOA(char *text, size_t len) {
  if (text == nullptr) return;
  for (size_t i = 0; i < len; ++i) {
    text[i] = static_cast<char>(kCp037ToLatin1[static_cast<unsigned char>(text[i])]);
  }
}
