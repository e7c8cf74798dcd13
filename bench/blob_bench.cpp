// KxbBlob append and read throughput against plain writes and positioned
// reads of a temporary file of the same size (through the platform file
// layer: one write(2) per write, one lseek(2) and read(2) per read).
//
// Arguments: the bytes per call (1 MiB or 100) and the page size (0: the
// defaults, 4096-byte pages all in the file; otherwise BASE/BLOB/PAGESIZE
// with one memory page). The *_Profiled variants trace the page server and
// report its profiler totals (milliseconds per operation name) as counters.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "library_setup.h"

#include "kx_atomic.h"
#include "kxbblob.h"
#include "kxbconfigoptions.h"
#include "kxbmempool.h"
#include "kxlog.h"
#include "np_fio.h"
#include "startup/kxbconfigstore.h"
#include "startup/kxbglobals.h"
#include "values/kxbblob_pageserver.h"

namespace {

// The library's pieces a blob needs, as initialisation would leave them.
const bool g_ready = kxb_bench::setUpLibrary();

void configure(int64_t pageSize) {
  KxbConfigOptions* options = kxbGetConfigOptions(KxbString(""));
  if (pageSize == 0) {
    options->removeOption(KxbString("BASE/BLOB/PAGESIZE"));
    options->removeOption(KxbString("BASE/BLOB/MEMPAGES"));
  } else {
    KxbString size;
    size.assign(pageSize);
    options->setOption(KxbString("BASE/BLOB/PAGESIZE"), size);
    options->setOption(KxbString("BASE/BLOB/MEMPAGES"), KxbString("1"));
  }
}

// Bytes moved per iteration: 64 MiB in 1 MiB calls, 4 MiB in small ones.
int64_t totalFor(int64_t chunk) {
  return chunk >= (1 << 20) ? int64_t{64} << 20 : int64_t{4} << 20;
}

std::vector<char> payload(int64_t chunk) {
  std::vector<char> data(static_cast<size_t>(chunk));
  for (size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<char>(i * 131 + 7);
  }
  return data;
}

void fillBlob(KxbBlob& blob, const std::vector<char>& data, int64_t total) {
  const int64_t chunk = static_cast<int64_t>(data.size());
  for (int64_t done = 0; done < total; done += chunk) {
    if (!blob.append(data.data(), std::min(chunk, total - done))) std::abort();
  }
}

// Reports the page server's profiler totals as counters.
void reportProfile(benchmark::State& state, KxbBlobPageServer* server) {
  for (const char* name : {"ACQUIRE_PAGE", "ADD_FILE_PAGE", "NEXT_PAGE",
                           "FREE_MEM_PAGES", "FREE_FILE_PAGES", "READ",
                           "WRITE"}) {
    int ms = 0, count = 0;
    if (server->getData(name, &ms, &count)) {
      state.counters[std::string(name) + "_ms"] = ms;
      state.counters[std::string(name) + "_n"] = count;
    }
  }
}

// ---------------------------------------------------------------------------
// Appends. Every iteration starts a fresh server (and file).

void appendBlob(benchmark::State& state, bool profiled) {
  const int64_t chunk = state.range(0);
  const int64_t total = totalFor(chunk);
  configure(state.range(1));
  kxLogger* logger = kxlogGetLogger("KX.Base.Blob.PageServer");
  if (profiled) kxlogSetLevel(logger, 1);
  const std::vector<char> data = payload(chunk);
  for (auto _ : state) {
    KxbBlobPageServerRef ref;
    KxbBlobPageServer* server = ref.join();
    {
      KxbBlob blob;
      fillBlob(blob, data, total);
      state.PauseTiming();
    }
    if (profiled) reportProfile(state, server);
    ref.leave();
    state.ResumeTiming();
  }
  if (profiled) kxlogSetLevel(logger, 0);
  state.SetBytesProcessed(state.iterations() * total);
}

void BM_BlobAppend(benchmark::State& state) { appendBlob(state, false); }
void BM_BlobAppend_Profiled(benchmark::State& state) {
  appendBlob(state, true);
}

void BM_FileWrite(benchmark::State& state) {
  const int64_t chunk = state.range(0);
  const int64_t total = totalFor(chunk);
  const std::vector<char> data = payload(chunk);
  const char* tmp = std::getenv("TMPDIR");
  for (auto _ : state) {
    char path[4096];
    np_fio_file* file = nullptr;
    if (np_fio_tmpfile(tmp, "kxbbench", path, sizeof path, &file) != 0) {
      state.SkipWithError("no temporary file");
      return;
    }
    np_fio_remove_on_close(file, path);
    for (int64_t done = 0; done < total; done += chunk) {
      np_fio_write(file, data.data(),
                   static_cast<size_t>(std::min(chunk, total - done)));
    }
    state.PauseTiming();
    np_fio_close(file);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * total);
}

// ---------------------------------------------------------------------------
// Reads of a blob (or file) written once.

void readBlob(benchmark::State& state, bool profiled) {
  const int64_t chunk = state.range(0);
  const int64_t total = totalFor(chunk);
  configure(state.range(1));
  KxbBlobPageServerRef ref;
  KxbBlobPageServer* server = ref.join();
  KxbBlob blob;
  fillBlob(blob, payload(1 << 20), total);
  kxLogger* logger = kxlogGetLogger("KX.Base.Blob.PageServer");
  if (profiled) kxlogSetLevel(logger, 1);
  std::vector<char> buffer(static_cast<size_t>(chunk));
  for (auto _ : state) {
    blob.rewind();
    int64_t got = 0;
    int64_t n;
    while ((n = blob.read(buffer.data(), chunk)) > 0) got += n;
    if (got != total) std::abort();
  }
  if (profiled) {
    reportProfile(state, server);
    kxlogSetLevel(logger, 0);
  }
  state.SetBytesProcessed(state.iterations() * total);
  ref.leave();
}

void BM_BlobRead(benchmark::State& state) { readBlob(state, false); }
void BM_BlobRead_Profiled(benchmark::State& state) { readBlob(state, true); }

void BM_FileRead(benchmark::State& state) {
  const int64_t chunk = state.range(0);
  const int64_t total = totalFor(chunk);
  char path[4096];
  np_fio_file* file = nullptr;
  if (np_fio_tmpfile(std::getenv("TMPDIR"), "kxbbench", path, sizeof path,
                     &file) != 0) {
    state.SkipWithError("no temporary file");
    return;
  }
  np_fio_remove_on_close(file, path);
  const std::vector<char> data = payload(1 << 20);
  for (int64_t done = 0; done < total; done += 1 << 20) {
    np_fio_write(file, data.data(), data.size());
  }
  std::vector<char> buffer(static_cast<size_t>(chunk));
  for (auto _ : state) {
    int64_t got = 0;
    for (int64_t offset = 0; offset < total; offset += chunk) {
      size_t n = 0;
      np_fio_seek64(file, offset, NP_FIO_SET, nullptr);
      np_fio_read(file, buffer.data(), buffer.size(), &n);
      got += static_cast<int64_t>(n);
    }
    if (got != total) std::abort();
  }
  np_fio_close(file);
  state.SetBytesProcessed(state.iterations() * total);
}

// ---------------------------------------------------------------------------
// Small blobs: create, append 100 bytes, read, destroy (the server stays).

void BM_BlobSmallLifecycle(benchmark::State& state) {
  configure(state.range(0));
  KxbBlobPageServerRef ref;
  ref.join();
  const std::vector<char> data = payload(100);
  char buffer[100];
  for (auto _ : state) {
    KxbBlob blob;
    blob.append(data.data(), 100);
    blob.read(buffer, 100);
    benchmark::DoNotOptimize(buffer);
  }
  ref.leave();
}

constexpr int64_t kMiB = 1 << 20;

}  // namespace

BENCHMARK(BM_BlobAppend)
    ->Args({kMiB, 0})
    ->Args({kMiB, 65536})
    ->Args({100, 0})
    ->Args({100, 65536})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_FileWrite)
    ->Args({kMiB, 0})
    ->Args({100, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_BlobRead)
    ->Args({kMiB, 0})
    ->Args({kMiB, 65536})
    ->Args({100, 0})
    ->Args({100, 65536})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_FileRead)
    ->Args({kMiB, 0})
    ->Args({100, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_BlobAppend_Profiled)
    ->Args({kMiB, 0})
    ->Args({100, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK(BM_BlobRead_Profiled)
    ->Args({kMiB, 0})
    ->Args({100, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK(BM_BlobSmallLifecycle)->Arg(0)->Arg(65536);

BENCHMARK_MAIN();
