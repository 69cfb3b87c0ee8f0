// Benchmarks of the logging toolkit's two hot paths: a call below the logger's
// level (must return without taking a lock) and one record through the basic
// formatter and the file handler.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "cclog.h"

namespace {

std::string scratchDir() {
  const char *base = std::getenv("TMPDIR");
  std::string tmpl = std::string(base && *base ? base : "/tmp") + "/zovexa-bench-XXXXXX";
  if (mkdtemp(tmpl.data()) == nullptr) std::abort();
  return tmpl;
}

void BM_DebugCallBelowLevel(benchmark::State &state) {
  CCgOpenToolkit(nullptr);
  CCgObject *logger = CCgGetObject("bench.quiet", "ccg_basiclogger");
  CCgSetObjProp(logger, "level", "INFO");
  for (auto _ : state) {
    CCgLogDebugMin(logger, __FILE__, "BM_DebugCallBelowLevel", __LINE__, "not written %d",
                   CCG_PARM_INT, 42, CCG_PARM_END);
    benchmark::ClobberMemory();
  }
  CCgReleaseObject(logger);
  CCgCloseToolkit();
}
BENCHMARK(BM_DebugCallBelowLevel);

void BM_RecordThroughFileHandler(benchmark::State &state) {
  std::string dir = scratchDir();
  CCgOpenToolkit(nullptr);
  CCgObject *logger = CCgGetObject("bench.trace", "ccg_basiclogger");
  CCgObject *handler = CCgGetObject("bench.trace.file", "ccg_filehandler");
  CCgSetObjProp(handler, "fileName", (dir + "/trace.log").c_str());
  CCgSetObjProp(handler, "maxFileBytes", "1073741824");
  CCgSetObjProp(handler, "maxFiles", "2");
  CCgAddListener(logger, handler);
  CCgSetObjProp(logger, "level", "ALL");
  int64_t n = 0;
  for (auto _ : state) {
    CCgLogDebugMin(logger, "capis/client.cc", "[processQueue]", 417,
                   "FLOW: sending a batch of %d events", CCG_PARM_INT, 25, CCG_PARM_END);
    ++n;
  }
  state.SetItemsProcessed(n);
  CCgReleaseObject(handler);
  CCgReleaseObject(logger);
  CCgCloseToolkit();
  std::remove((dir + "/trace.log").c_str());
  std::remove((dir + "/trace1.log").c_str());
  rmdir(dir.c_str());
}
BENCHMARK(BM_RecordThroughFileHandler);

// The floor under the file handler: the two system calls it must make per
// record (a status query of the path and one append of a record-sized line).
// The ratio of the two benchmarks is the toolkit's own share.
void BM_StatAndWriteFloor(benchmark::State &state) {
  std::string dir = scratchDir();
  std::string path = dir + "/floor.log";
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  const std::string line =
      "2026-11-21 10:00:00.000+00:00 capis/client.cc [processQueue] 417 FLOW: sending a batch of 25 events\n";
  for (auto _ : state) {
    struct stat st;
    benchmark::DoNotOptimize(stat(path.c_str(), &st));
    benchmark::DoNotOptimize(write(fd, line.data(), line.size()));
  }
  state.SetItemsProcessed(state.iterations());
  close(fd);
  std::remove(path.c_str());
  rmdir(dir.c_str());
}
BENCHMARK(BM_StatAndWriteFloor);

}  // namespace

BENCHMARK_MAIN();
