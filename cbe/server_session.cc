#include "cbe/server_session.h"

#include <pthread.h>
#include <sys/time.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "capis/cache_info.h"
#include "capis/context.h"
#include "capis/disk_cache.h"
#include "capis/event_queue.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/utilities.h"
#include "capis/zo_memory.h"
#include "cbe/batch_text.h"
#include "cbe/cbe_builder.h"
#include "cbe/dom_helper.h"
#include "cbe/emitter.h"
#include "soap/axis_exception.h"

#define ZO_SRC "cbe/server_session"

namespace {

constexpr const char *kProbeText = "<CommonBaseEvent/>";
constexpr const char *kClientFaultCode = "soapenv:client";
constexpr const char *kMissingRoleMark = "QRTX0053E";
constexpr const char *kUnknownException = "Unknown Exception";

const char *orNull(const char *s) { return s != nullptr ? s : "(null)"; }

uint32_t hintFor(const std::string &a, const std::string &b = std::string()) {
  return static_cast<uint32_t>(a.size() + b.size() + 1);
}

// One Emitter configured from the context: endpoint, user, password, the
// secure environment's handle text in secure mode, and the time-out.
std::unique_ptr<Emitter> makeStub(const ZOVEXA_AuditClientContext *ctx) {
  auto stub = std::make_unique<Emitter>(ctx->Str(ZOP_serverURL), APTHTTP1_1);
  if (ctx->Str(ZOP_clientUserName) != nullptr) stub->setUsername(ctx->Str(ZOP_clientUserName));
  if (ctx->Str(ZOP_clientPassword) != nullptr) stub->setPassword(ctx->Str(ZOP_clientPassword));
  if (ctx->tls) stub->SetSecure(ctx->secureEnvText, static_cast<char *>(nullptr));
  stub->setTransportTimeout(ctx->Int(ZOP_responseTimeout));
  return stub;
}

// What one attempt ended with. The exception's parts are copied out so that
// the stub is gone and no handler is active while the outcome is reported.
struct Outcome {
  enum Kind { kSent, kFault, kTransport, kUnknown } kind = kSent;
  std::string faultCode, faultString, faultDetail;
  bool detailMissing = false;
  std::string message;  // kTransport: the exception's text
};

Outcome attemptSend(const ZOVEXA_AuditClientContext *ctx, CommonBaseEventType_ArrayTag batch) {
  Outcome out;
  try {
    std::unique_ptr<Emitter> stub = makeStub(ctx);
    stub->sendEvent(batch);
  } catch (const OtherFaultException &e) {
    out.kind = Outcome::kFault;
    const char *code = e.getFaultCode(), *string = e.getFaultString(), *detail = e.getFaultDetail();
    out.faultCode = code != nullptr ? code : "";
    out.faultString = string != nullptr ? string : "";
    out.detailMissing = detail == nullptr;
    out.faultDetail = detail != nullptr ? detail : "";
  } catch (const AxisException &e) {
    out.kind = Outcome::kTransport;
    out.message = e.what();
  } catch (...) {
    out.kind = Outcome::kUnknown;
  }
  return out;
}

// The flags of the disk cache that decide between sending and caching,
// read together under its mutex.
struct CacheFlags {
  bool shutDown, serverDown, serverSlow, noDiskSpace;
};
CacheFlags readCacheFlags(ZOcacheInfo *cache) {
  pthread_mutex_lock(&cache->mutex);
  CacheFlags f{cache->shutDown != 0, cache->serverDown != 0, cache->serverSlow != 0, cache->noDiskSpace != 0};
  pthread_mutex_unlock(&cache->mutex);
  return f;
}

bool queueShutDown(ZOeventQueue *queue) {
  pthread_mutex_lock(&queue->lock);
  bool down = queue->shutDown != 0;
  pthread_mutex_unlock(&queue->lock);
  return down;
}

// Waits on `cond` until now + seconds or until `*flag` (a shut-down) is set,
// whichever comes first. Other broadcasts on the condition (a producer
// announcing events) do not end the wait, so a retry interval stays an
// interval while the application keeps sending. The flag is checked under
// the mutex before the first wait, so a shut-down announced just before is
// not missed. The deadline keeps the current fraction of a second: one on a
// whole second would cut the wait short by up to a second. The mutex is
// released again only when the wait returned normally or timed out; any
// other result means the wait did not run as asked, and the mutex is left as
// the wait left it. `*flag` is read before the mutex is released.
int timedWait(pthread_mutex_t *mutex, pthread_cond_t *cond, int seconds, const int32_t *flag, bool *flagSet) {
  timespec deadline = ZOdeadlineIn(seconds);
  pthread_mutex_lock(mutex);
  int rc = 0;
  while (*flag == 0 && rc == 0) rc = pthread_cond_timedwait(cond, mutex, &deadline);
  *flagSet = *flag != 0;
  if (rc == 0 || rc == ETIMEDOUT) pthread_mutex_unlock(mutex);
  return rc;
}

void sleepSeconds(int seconds) {
  struct timespec left = {seconds, 0};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

// A batch entry that owns `text` (a ZOmalloc'ed CBE text) without copying it.
AnyType *adoptText(char *text) {
  auto *any = static_cast<AnyType *>(ZOcalloc(1, sizeof(AnyType)));
  if (any == nullptr) return nullptr;
  any->_array = static_cast<char **>(ZOcalloc(1, sizeof(char *)));
  if (any->_array == nullptr) {
    free(any);
    return nullptr;
  }
  any->_array[0] = text;
  any->_size = 1;
  return any;
}

// The end of a send whose event queue is shutting down: the batch can only
// go to the cache, and only when one exists and the caller allows it.
int queueShutDownExit(const ZOVEXA_AuditClientContext *ctx, CommonBaseEventType_ArrayTag batch,
                      int cacheEvents, bool seenBeforeWaiting, ZOVEXA_result *result) {
  constexpr const char *tag = "[sendEvent]";
  if (seenBeforeWaiting) ZO_FLOW(ctx, tag, "FLOW: received shutDown indication in eventQueue control struct");
  if (ctx->diskCache == nullptr) {
    ZO_ERROR(ctx, tag,
             "ERROR: we have event queue shutDown, no disk cache, and cannot send events to the server. "
             "Returning an error");
    return -1;
  }
  if (cacheEvents == 0) {
    ZO_FLOW(ctx, tag, "FLOW: event Q shutdown & cacheEvents == 0");
    return -1;
  }
  return writeEventsToCache(ctx, batch, result);
}

void traceFault(const ZOVEXA_AuditClientContext *ctx, const Outcome &o) {
  constexpr const char *tag = "[sendEvent]";
  ZO_ERROR(ctx, tag, "fault code: %s", o.faultCode.c_str());
  ZO_ERROR(ctx, tag, "fault string: %s", o.faultString.c_str());
  ZO_ERROR(ctx, tag, "fault detail: %s", o.faultDetail.c_str());
}

// The server rejected an event of the batch as invalid. That event is
// dropped (never cached) and every other one is sent alone.
int dropInvalidEvent(const ZOVEXA_AuditClientContext *ctx, CommonBaseEventType_ArrayTag batch,
                     const Outcome &o, ZOVEXA_result *result) {
  constexpr const char *tag = "[sendEvent]";
  traceFault(ctx, o);
  ZOreport(ctx, result, 37, hintFor(o.faultString, o.faultDetail), 2, o.faultString.c_str(),
           o.faultDetail.c_str());
  if (batch.m_Size == 1) {
    ZO_ERROR(ctx, tag, "ERROR: sendEvent discarded event 1 because it is invalid");
    return kZOsentWithDiscards;
  }
  int failed = getFailedEvent(ctx, o.faultDetail.c_str(), result);
  bool discarded = false;
  int rc = 0;
  for (int i = 1; i <= batch.m_Size; ++i) {
    if (i == failed) {
      ZO_ERROR(ctx, tag, "ERROR: sendEvent discarded event %d because it is invalid", i);
      discarded = true;
    } else {
      rc = sendOneEvent(ctx, batch.m_Array[i - 1], result);
    }
  }
  return discarded ? kZOsentWithDiscards : rc;
}

}  // namespace

int checkService(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[checkService]";
  ZO_ENTRY(ctx, tag);
  const char *url = ctx->Str(ZOP_serverURL);
  CommonBaseEventType_ArrayTag probe{};
  if (!ZOnewBatch(&probe, 1) || (probe.m_Array[0].any = ZOnewAnyType(kProbeText)) == nullptr) {
    ZOfreeBatch(&probe);
    ZOreport(ctx, result, 1, 0, 0);
    ZO_ERROR(ctx, tag, "ERROR: cannot malloc");
    return -1;
  }
  Outcome o = attemptSend(ctx, probe);
  ZOfreeBatch(&probe);
  int rc = 0;
  switch (o.kind) {
    case Outcome::kSent:
      ZO_FLOW(ctx, tag, "Returned from checking service %s ... ", url);
      ZO_FLOW(ctx, tag, "The service %s is available...", url);
      break;
    case Outcome::kFault:
      // Any fault means the server answered; only the missing role matters.
      ZO_FLOW(ctx, tag, "faultstring: %s", o.faultString.c_str());
      ZO_FLOW(ctx, tag, "faultdetail: %s", o.faultDetail.c_str());
      if (o.faultString.find(kMissingRoleMark) != std::string::npos) rc = kZOnotAuthorized;
      ZO_FLOW(ctx, tag, "The service %s is available...", url);
      break;
    case Outcome::kTransport:
      ZO_ERROR(ctx, tag, "Exception: %s", o.message.c_str());
      ZOreport(ctx, result, 20, hintFor(o.message), 2, "checkService", o.message.c_str());
      rc = -1;
      break;
    case Outcome::kUnknown:
      ZO_ERROR(ctx, tag, "%s", kUnknownException);
      ZOreport(ctx, result, 20, 0, 2, "checkService", kUnknownException);
      rc = -1;
      break;
  }
  ZO_EXIT_RC(ctx, tag, rc);
  return rc;
}

int buildAndProcEvent(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_AuditEvent **auditEvents,
                      ZOVEXA_result *result) {
  constexpr const char *tag = "[buildAndProcEvent]";
  ZO_ENTRY(ctx, tag);
  if (auditEvents == nullptr) {
    ZOreportMissing(ctx, result, ZO_SRC, tag, __LINE__, "auditEvents");
    return -1;
  }
  int events = 0;
  while (auditEvents[events] != nullptr) ++events;
  ZO_FLOW(ctx, tag, "Number of events to send = %d", events);
  if (events == 0) return 0;

  CommonBaseEventType_ArrayTag batch{};
  if (!ZOnewBatch(&batch, events)) {
    ZOreport(ctx, result, 1, 0, 0);
    ZO_ERROR(ctx, tag, "ERROR: cannot malloc");
    return -1;
  }
  // Entries keep their events' positions while the count is that of the
  // events converted: after a failed conversion the batch ends with an empty
  // entry and the last converted event lies beyond the count, unsent.
  int converted = 0;
  for (int i = 0; i < events; ++i) {
    char *text = vexaAuditEventToXMLString(ctx, auditEvents[i], result);
    AnyType *any = text != nullptr ? adoptText(text) : nullptr;
    if (any == nullptr) {
      free(text);
      ZO_ERROR(ctx, tag, "ERROR: Conversion of VEXA Audit Event to CBE XML failed");
      ZOreport(ctx, result, 25, 0, 0);
      continue;
    }
    batch.m_Array[i].any = any;
    ++converted;
  }
  batch.m_Size = converted;

  int rc;
  int useDiskCache = ctx->Int(ZOP_useDiskCache);
  bool toCache = useDiskCache == ZO_DISKCACHE_ALWAYS;
  if (!toCache && ctx->diskCache != nullptr) {
    CacheFlags f = readCacheFlags(ctx->diskCache);
    toCache = f.serverDown || (f.serverSlow && !f.noDiskSpace);
  }
  if (toCache)
    rc = writeEventsToCache(ctx, batch, result);
  else
    rc = sendEvent(ctx, batch, useDiskCache == ZO_DISKCACHE_AUTO ? 1 : 0, result);
  ZOfreeBatch(&batch, events);
  ZO_EXIT_RC(ctx, tag, rc);
  return rc;
}

int sendEvent(const ZOVEXA_AuditClientContext *ctx, CommonBaseEventType_ArrayTag batch, int cacheEvents,
              ZOVEXA_result *result) {
  constexpr const char *tag = "[sendEvent]";
  ZO_ENTRY(ctx, tag);
  ZOcacheInfo *cache = ctx->diskCache;
  ZOeventQueue *queue = ctx->eventQueue;
  const int useDiskCache = ctx->Int(ZOP_useDiskCache);
  const int numberRetries = ctx->Int(ZOP_numberRetries);
  const int retryInterval = ctx->Int(ZOP_retryInterval);

  if (cache != nullptr && cacheEvents != 0) {
    CacheFlags f = readCacheFlags(cache);
    if (useDiskCache == ZO_DISKCACHE_ALWAYS || f.serverDown || f.serverSlow) {
      int rc = writeEventsToCache(ctx, batch, result);
      ZO_EXIT_RC(ctx, tag, rc);
      return rc;
    }
  }
  ZO_FLOW(ctx, tag, "FLOW URL = %s", ctx->Str(ZOP_serverURL));
  ZO_FLOW(ctx, tag, "Number of events in the array is %d", batch.m_Size);
  if (batch.m_Size <= 0) return 0;

  int count = 0;
  for (bool first = true;; first = false) {
    if (!first) ZO_FLOW(ctx, tag, "FLOW: Resending the events. Retry count is %d", count);
    Outcome o = attemptSend(ctx, batch);
    if (o.kind == Outcome::kSent) {
      ZO_EXIT_RC(ctx, tag, 0);
      return 0;
    }
    if (o.kind == Outcome::kFault) {
      if (o.detailMissing) ZO_ERROR(ctx, tag, "fault detail is null...");
      if (o.faultCode == kClientFaultCode) {
        int rc = dropInvalidEvent(ctx, batch, o, result);
        ZO_EXIT_RC(ctx, tag, rc);
        return rc;
      }
      if (++count > numberRetries) {
        traceFault(ctx, o);
        ZOreport(ctx, result, 37, hintFor(o.faultString, o.faultDetail), 2, o.faultString.c_str(),
                 o.faultDetail.c_str());
      }
    } else if (o.kind == Outcome::kTransport) {
      if (++count > numberRetries) {
        ZO_ERROR(ctx, tag, "Exception: %s", o.message.c_str());
        ZOreport(ctx, result, 20, hintFor(o.message), 2, "sendEvent", o.message.c_str());
      }
    } else if (++count > numberRetries) {
      ZO_ERROR(ctx, tag, "Exception: %s", kUnknownException);
      ZOreport(ctx, result, 20, 0, 2, "sendEvent", kUnknownException);
    }

    if (queue != nullptr && queueShutDown(queue))
      return queueShutDownExit(ctx, batch, cacheEvents, true, result);
    if (cache != nullptr && readCacheFlags(cache).shutDown) {
      ZO_FLOW(ctx, tag, "FLOW: received shutDown indication in cacheInfo control struct");
      return -1;
    }

    // After the last retry with a cache the batch goes to the cache at once:
    // a wait there would only delay it.
    bool anotherAttempt = count <= numberRetries || cache == nullptr;
    bool down = false;
    if (anotherAttempt) {
      ZO_FLOW(ctx, tag, "FLOW: Waiting for %d seconds before resending the events", retryInterval);
      if (queue != nullptr) {
        timedWait(&queue->lock, &queue->eventsAvailable, retryInterval, &queue->shutDown, &down);
        if (down) {
          ZO_FLOW(ctx, tag, "FLOW: received shutDown indication in eventQueue");
          return queueShutDownExit(ctx, batch, cacheEvents, false, result);
        }
      } else if (cache != nullptr) {
        ZO_FLOW(ctx, tag, "FLOW: cacheInfo->mutex LOCKED");
        int rc = timedWait(&cache->mutex, &cache->cond, retryInterval, &cache->shutDown, &down);
        if (rc == 0 || rc == ETIMEDOUT)
          ZO_FLOW(ctx, tag, "FLOW: cacheInfo->mutex UNLOCKED");
        else
          ZO_FLOW(ctx, tag, "FLOW: pthread_cond_timedwait returned %d", rc);
        if (down) {
          ZO_FLOW(ctx, tag, "FLOW: received shutDown indication in cacheInfo control struct");
          return -1;
        }
      } else {
        // Neither a queue nor a cache to wake this thread: a plain sleep.
        sleepSeconds(retryInterval);
      }
    }

    if (count <= numberRetries) continue;
    if (cache != nullptr) {
      pthread_mutex_lock(&cache->mutex);
      cache->serverDown = 1;
      pthread_mutex_unlock(&cache->mutex);
      ZO_FLOW(ctx, tag, "FLOW: set cacheInfo->serverDown");
      if (cacheEvents == 0) {
        ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT: cache is enabled, cacheEvents = 0, server down");
        return -1;
      }
      int rc2 = writeEventsToCache(ctx, batch, result);
      ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT: wrote events to cache, rc2 = %d", rc2);
      return rc2;
    }
    // Without a cache the batch has nowhere else to go: keep trying until it
    // is sent or the queue shuts down.
    if (useDiskCache == ZO_DISKCACHE_NEVER) {
      ZO_FLOW(ctx, tag, "FLOW: cache is disabled, setting count to 0");
      count = 0;
    }
  }
}

int sendOneEvent(const ZOVEXA_AuditClientContext *ctx, CommonBaseEventType event, ZOVEXA_result *result) {
  constexpr const char *tag = "[sendOneEvent]";
  ZO_ENTRY(ctx, tag);
  CommonBaseEventType_ArrayTag one{&event, 1};
  int rc = sendEvent(ctx, one, 0, result);
  ZO_EXIT_RC(ctx, tag, rc);
  return rc;
}

int sendMsg(const ZOVEXA_AuditClientContext *ctx, int length, const char *dataBuff, ZOVEXA_result *result) {
  constexpr const char *tag = "[sendMsg]";
  ZO_ENTRY(ctx, tag);
  // The text must end within `length` bytes; a copy is made only when the
  // caller's buffer is not terminated there.
  std::string copy;
  const char *text = dataBuff;
  if (dataBuff != nullptr && length >= 0 && memchr(dataBuff, '\0', static_cast<size_t>(length)) == nullptr) {
    copy.assign(dataBuff, static_cast<size_t>(length));
    text = copy.c_str();
  }
  CommonBaseEventType_ArrayTag *batch = vexaStringToCommonBaseEvents(ctx, text, result);
  if (batch == nullptr) {
    ZO_ERROR(ctx, tag, "ERROR  Failed to deserialize %s", "dataBuff");
    ZOreport(ctx, result, 49, 0, 1, "dataBuff");
    return 0;
  }
  int rc = sendEvent(ctx, *batch, 0, result);
  ZOfreeBatch(batch);
  free(batch);
  if (rc == kZOsentWithDiscards) rc = 0;
  ZO_EXIT_RC(ctx, tag, rc);
  return rc;
}

int writeEventsToCache(const ZOVEXA_AuditClientContext *ctx, CommonBaseEventType_ArrayTag batch,
                       ZOVEXA_result *result) {
  constexpr const char *tag = "[writeEventsToCache]";
  ZO_ENTRY(ctx, tag);
  char *text = vexaCommonBaseEventsToString(ctx, &batch, result);
  if (text == nullptr) return 0;  // nothing to cache: the batch is dropped
  int rc = ZOcacheMsg(ctx, text, static_cast<int64_t>(strlen(text)), batch.m_Size, result);
  free(text);
  if (rc != 0) {
    const char *path = orNull(ctx->Str(ZOP_diskCachePath));
    ZO_ERROR(ctx, tag, "Failed to cache the events to %s", path);
    ZOreport(ctx, result, 48, 0, 1, path);
    rc = -1;
  }
  ZO_EXIT_RC(ctx, tag, rc);
  return rc;
}

int getFailedEvent(const ZOVEXA_AuditClientContext *ctx, const char *faultDetail, ZOVEXA_result *result) {
  constexpr const char *tag = "[getFailedEvent]";
  ZO_ENTRY(ctx, tag);
  if (faultDetail == nullptr) {
    ZOreport(ctx, result, 9, 0, 1, "faultDetail");
    ZO_ERROR(ctx, tag, "The required parameter %s passed to the function is NULL", "faultDetail");
    return 0;
  }
  // A detail that does not name an event is an answer, not an error: the
  // DOM layer's own reports go to a scratch record.
  ZOVEXA_result scratch{};
  int number = 0;
  xc::XercesDOMParser *parser = createXercesDOMParser(ctx, &scratch);
  xc::DOMDocument *doc = parser != nullptr ? convertToDOM(ctx, parser, faultDetail, &scratch) : nullptr;
  xc::DOMElement *failed = doc != nullptr ? getElementByTagName(ctx, doc, "failedevent", &scratch) : nullptr;
  xc::DOMElement *child = failed != nullptr ? getFirstChildElement(ctx, failed, &scratch) : nullptr;
  char *data = child != nullptr ? getElementData(ctx, child, &scratch) : nullptr;
  if (data != nullptr) {
    long n = strtol(data, nullptr, 10);
    number = n > 0 && n <= INT32_MAX ? static_cast<int>(n) : 0;
    free(data);
  }
  if (doc != nullptr) deleteDocument(ctx, doc, &scratch);
  if (parser != nullptr) deleteXercesDOMParser(ctx, parser, &scratch);
  ZOVEXA_Result_Clean(&scratch);
  ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT, failed event = %d", number);
  return number;
}
