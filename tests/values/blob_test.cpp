// KxbBlob and its page server: start-up settings and messages, page
// boundaries in memory and in the file, the free lists, failures, many
// blobs, threads, profiling and large blobs.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kx_atomic.h"
#include "kx_fault.h"
#include "kxbblob.h"
#include "kxbconfigoptions.h"
#include "kxbstartup.h"
#include "startup/kxbconfigstore.h"
#include "startup/kxbglobals.h"
#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "values/kxbblob_pageserver.h"

namespace {

constexpr const char* kLogger = "KX.Base.Blob.PageServer";

// Deterministic, non-repeating test bytes.
class Bytes {
 public:
  explicit Bytes(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 1) {}
  void fill(char* out, size_t n) {
    for (size_t i = 0; i < n; ++i) {
      state_ ^= state_ << 13;
      state_ ^= state_ >> 7;
      state_ ^= state_ << 17;
      out[i] = static_cast<char>(state_ >> 56);
    }
  }
  std::string next(size_t n) {
    std::string s(n, '\0');
    fill(s.data(), n);
    return s;
  }

 private:
  uint64_t state_;
};

// FNV-1a over a stream of pieces.
struct Checksum {
  uint64_t value = 0xcbf29ce484222325ull;
  void add(const char* p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
      value ^= static_cast<unsigned char>(p[i]);
      value *= 0x100000001b3ull;
    }
  }
};

// Everything from the start, read `chunk` bytes at a time.
std::string readAll(KxbBlob& blob, size_t chunk) {
  EXPECT_TRUE(blob.rewind());
  std::string out;
  std::vector<char> buffer(chunk);
  while (true) {
    const int64_t n = blob.read(buffer.data(), static_cast<int64_t>(chunk));
    EXPECT_GE(n, 0);
    if (n <= 0) break;
    out.append(buffer.data(), static_cast<size_t>(n));
  }
  return out;
}

class BlobTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ownsStore_ = kxbConfigOptionLock() == nullptr;
    ASSERT_TRUE(kxbCreateConfigOptionStore());
    options_ = kxbGetConfigOptions(KxbString(""));
    ASSERT_NE(nullptr, options_);
    set("BASE/TEMP", dir_.path().c_str());
  }

  void TearDown() override {
    for (const char* key : {"BASE/TEMP", "BASE/BLOB/PAGESIZE",
                            "BASE/BLOB/MEMPAGES"}) {
      options_->removeOption(KxbString(key));
    }
    // Every blob is gone: the server has stopped and removed its file.
    EXPECT_TRUE(dir_.names().empty());
    if (ownsStore_) kxbDestroyConfigOptionStore();
  }

  // Sets an option of the effective set; null removes it.
  void set(const char* key, const char* value) {
    if (value == nullptr) {
      options_->removeOption(KxbString(key));
    } else {
      options_->setOption(KxbString(key), KxbString(value));
    }
  }
  void configure(const char* pageSize, const char* memPages) {
    set("BASE/BLOB/PAGESIZE", pageSize);
    set("BASE/BLOB/MEMPAGES", memPages);
  }

  kxb_test::TempDir dir_;
  KxbConfigOptions* options_ = nullptr;
  kxb_test::AssertionRecorder raised_{"kxbblob_pageserver"};
  kxb_test::SingletonRegistryScope registry_;
  bool ownsStore_ = false;
};

TEST_F(BlobTest, WithoutMemPagesEveryPageLivesInTheFile) {
  configure("8192", nullptr);
  kxb_test::LogCapture log(kLogger, 2);
  KxbBlobPageServerRef ref;
  KxbBlobPageServer* server = ref.join();
  ASSERT_NE(nullptr, server);
  EXPECT_TRUE(log.hasRecord("Startup", 2, kLogger));
  EXPECT_TRUE(log.hasRecord("Default mem page count of 10 will be used", 2));
  EXPECT_TRUE(log.hasRecord("Startup succeeded", 2));
  EXPECT_EQ(0u, log.count("Default page size"));
  // The page size option is overruled as well.
  EXPECT_EQ(4096u, server->pageSize());
  EXPECT_EQ(0u, server->memPages());
  // The file is "kxblob..." in BASE/TEMP.
  const std::vector<std::string> names = dir_.names();
  ASSERT_EQ(1u, names.size());
  EXPECT_EQ(0u, names[0].rfind("kxblob", 0)) << names[0];
  EXPECT_EQ(dir_.path(names[0]), server->filePath());

  KxbBlob blob;
  ASSERT_TRUE(blob.append("x", 1));
  EXPECT_GT(server->fileLength(), 0);  // the first page, in the file
  ref.leave();
}

TEST_F(BlobTest, StartupSettingsAndTheirMessages) {
  {
    configure("4094", "2");
    kxb_test::LogCapture log(kLogger, 2);
    KxbBlobPageServerRef ref;
    KxbBlobPageServer* server = ref.join();
    ASSERT_NE(nullptr, server);
    EXPECT_EQ(4096u, server->pageSize());  // rounded up to a multiple of 4
    EXPECT_EQ(2u, server->memPages());
    EXPECT_EQ(0u, log.count("Default"));
    KxbBlob blob;
    ASSERT_TRUE(blob.append("x", 1));
    EXPECT_EQ(0, server->fileLength());  // the first page is in memory
    ref.leave();
  }
  {
    configure("abc", "-1");
    kxb_test::LogCapture log(kLogger, 2);
    KxbBlobPageServerRef ref;
    KxbBlobPageServer* server = ref.join();
    ASSERT_NE(nullptr, server);
    EXPECT_TRUE(log.hasRecord("Invalid blob page size in config", 5));
    EXPECT_TRUE(
        log.hasRecord("Default page size of 4096 bytes will be used", 2));
    EXPECT_TRUE(log.hasRecord("Invalid mem page count in config", 5));
    EXPECT_EQ(4096u, server->pageSize());
    EXPECT_EQ(0u, server->memPages());
    ref.leave();
  }
  {
    // Without BASE/TEMP the file goes to the system's temporary directory.
    configure("64", "1");
    set("BASE/TEMP", nullptr);
    kxb_test::LogCapture log(kLogger, 2);
    KxbBlobPageServerRef ref;
    KxbBlobPageServer* server = ref.join();
    ASSERT_NE(nullptr, server);
    EXPECT_TRUE(log.hasRecord("No temp path configured", 5));
    EXPECT_EQ(64u, server->pageSize());
    EXPECT_TRUE(dir_.names().empty());
    EXPECT_NE(std::string::npos, std::string(server->filePath()).find("kxblob"));
    ref.leave();
    set("BASE/TEMP", dir_.path().c_str());
  }
}

TEST_F(BlobTest, FailedStartupFailsTheAppendAndIsRetried) {
  configure("64", "2");
  const std::string missing = dir_.path("missing");
  set("BASE/TEMP", missing.c_str());
  {
    kxb_test::LogCapture log(kLogger, 2);
    KxbBlob blob;
    EXPECT_FALSE(blob.append("abc", 3));
    EXPECT_TRUE(blob.isNull());
    EXPECT_EQ(0, blob.size());
    EXPECT_TRUE(log.hasRecord("Failed to create temp file: 2 ", 5));
    EXPECT_EQ(0u, log.count("Startup succeeded"));

    set("BASE/TEMP", dir_.path().c_str());
    EXPECT_TRUE(blob.append("abc", 3));
    EXPECT_EQ("abc", readAll(blob, 10));
  }
  {
    // The memory area cannot be had.
    KxbBlobPageServer server;
    ASSERT_TRUE(server.startup());
    kxb_test::LogCapture log(kLogger, 2);
    kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
    EXPECT_FALSE(server.startup());
    kxFaultReset();
    EXPECT_TRUE(log.hasRecord("Page area allocation failed", 5));
    EXPECT_FALSE(server.started());
    EXPECT_TRUE(dir_.names().empty());  // nothing kept of the failed start
  }
}

TEST_F(BlobTest, AppendsAndReadsCrossPageBoundaries) {
  configure("64", "2");
  KxbBlobPageServerRef ref;
  KxbBlobPageServer* server = ref.join();
  ASSERT_NE(nullptr, server);
  {
    // Exactly one page fits in the first (memory) page; one more byte takes
    // a page from the file.
    KxbBlob blob;
    const std::string page(64, 'p');
    ASSERT_TRUE(blob.append(page.data(), 64));
    EXPECT_EQ(0, server->fileLength());
    ASSERT_TRUE(blob.append("q", 1));
    EXPECT_GT(server->fileLength(), 0);
    EXPECT_EQ(page + "q", readAll(blob, 1000));
  }
  {
    KxbBlob blob;
    Bytes bytes(1);
    std::string expected;
    for (size_t n : {1, 62, 1, 64, 65, 130, 3, 200, 1000, 4096, 63, 129}) {
      const std::string piece = bytes.next(n);
      ASSERT_TRUE(blob.append(piece.data(), static_cast<int64_t>(n)));
      expected += piece;
      ASSERT_EQ(static_cast<int64_t>(expected.size()), blob.size());
    }
    for (size_t chunk : {1, 7, 63, 64, 65, 128, 1000, 100000}) {
      EXPECT_EQ(expected, readAll(blob, chunk)) << chunk;
    }
    // A read from the middle of a page across many whole pages.
    ASSERT_TRUE(blob.rewind());
    std::vector<char> buffer(expected.size());
    ASSERT_EQ(5, blob.read(buffer.data(), 5));
    ASSERT_EQ(3000, blob.read(buffer.data(), 3000));
    EXPECT_EQ(expected.substr(5, 3000), std::string(buffer.data(), 3000));
  }
  {
    // Reading right after appending starts at the first byte; reading goes
    // on where it stopped when more is appended.
    KxbBlob blob;
    ASSERT_TRUE(blob.append("abc", 3));
    char buffer[200];
    ASSERT_EQ(3, blob.read(buffer, sizeof buffer));
    EXPECT_EQ("abc", std::string(buffer, 3));
    EXPECT_EQ(0, blob.read(buffer, sizeof buffer));
    const std::string more(150, 'm');
    ASSERT_TRUE(blob.append(more.data(), 150));
    ASSERT_EQ(150, blob.read(buffer, sizeof buffer));
    EXPECT_EQ(more, std::string(buffer, 150));
    EXPECT_EQ(0, blob.read(buffer, sizeof buffer));
    EXPECT_EQ(0, blob.read(buffer, 0));
  }
  ref.leave();
}

TEST_F(BlobTest, FileOnlyBlobsWithSmallWrites) {
  configure(nullptr, nullptr);  // 4096-byte pages, all in the file
  KxbBlob blob;
  Bytes bytes(2);
  std::string expected;
  for (int i = 0; i < 200; ++i) {
    const std::string piece = bytes.next(100);
    ASSERT_TRUE(blob.append(piece.data(), 100));
    expected += piece;
  }
  EXPECT_EQ(expected, readAll(blob, 333));
  EXPECT_EQ(expected, readAll(blob, 8192));
}

TEST_F(BlobTest, FreedPagesAreReusedBeforeTheFileGrows) {
  configure("64", "3");
  KxbBlobPageServerRef ref;
  KxbBlobPageServer* server = ref.join();
  ASSERT_NE(nullptr, server);
  const std::string data = Bytes(3).next(64 * 6);
  {
    // More than the three memory pages hold: the file grows.
    KxbBlob a, b;
    ASSERT_TRUE(a.append(data.data(), 64 * 3));
    ASSERT_TRUE(b.append(data.data(), 64 * 3));
    EXPECT_GT(server->fileLength(), 0);
  }
  const int64_t length = server->fileLength();
  {
    // Both chains went back: the same amount again needs no new file page,
    // and pages taken from the free lists hold the new bytes only.
    KxbBlob c, d;
    ASSERT_TRUE(c.append(data.data() + 64, 64 * 3));
    ASSERT_TRUE(d.append(data.data() + 32, 64 * 3));
    EXPECT_EQ(length, server->fileLength());
    EXPECT_EQ(data.substr(64, 64 * 3), readAll(c, 50));
    EXPECT_EQ(data.substr(32, 64 * 3), readAll(d, 50));
  }
  ref.leave();
}

TEST_F(BlobTest, CopiesShareContentAndReadPosition) {
  configure("64", "1");
  KxbBlob a;
  ASSERT_TRUE(a.append("hello", 5));
  KxbBlob b(a);
  ASSERT_TRUE(b.append(" world", 6));
  EXPECT_EQ(11, a.size());
  char buffer[16];
  ASSERT_TRUE(a.rewind());
  ASSERT_EQ(5, a.read(buffer, 5));
  ASSERT_EQ(6, b.read(buffer, 16));  // b goes on where a stopped
  EXPECT_EQ(" world", std::string(buffer, 6));
  KxbBlob c;
  c = b;
  c = c;
  EXPECT_EQ(11, c.size());
  KxbBlob moved(std::move(c));
  EXPECT_TRUE(c.isNull());
  EXPECT_EQ(11, moved.size());
}

TEST_F(BlobTest, NullBlobsAndBadArguments) {
  KxbBlob blob;
  char buffer[4];
  EXPECT_TRUE(blob.isNull());
  EXPECT_EQ(0, blob.size());
  EXPECT_EQ(-1, blob.read(buffer, 4));
  EXPECT_FALSE(blob.rewind());
  EXPECT_TRUE(blob.append("x", 0));
  EXPECT_TRUE(blob.isNull());  // nothing stored, nothing made
  EXPECT_FALSE(blob.append(nullptr, 3));
  EXPECT_FALSE(blob.append("x", -1));
  EXPECT_TRUE(blob.isNull());
  ASSERT_TRUE(blob.append("abc", 3));
  EXPECT_EQ(-1, blob.read(nullptr, 3));
  EXPECT_EQ(-1, blob.read(buffer, -1));
  EXPECT_EQ(3, blob.read(buffer, 4));
}

TEST_F(BlobTest, ManyBlobsAtOnce) {
  configure("64", "8");
  Bytes bytes(5);
  std::vector<std::unique_ptr<KxbBlob>> blobs;
  std::vector<std::string> expected;
  auto grow = [&](size_t count) {
    for (size_t i = 0; i < count; ++i) {
      blobs.push_back(std::make_unique<KxbBlob>());
      expected.emplace_back();
    }
  };
  auto appendRounds = [&](int rounds) {
    Bytes sizes(6);
    for (int round = 0; round < rounds; ++round) {
      for (size_t i = 0; i < blobs.size(); ++i) {
        char n;
        sizes.fill(&n, 1);
        const std::string piece =
            bytes.next(static_cast<unsigned char>(n) % 150);
        ASSERT_TRUE(blobs[i]->append(piece.data(),
                                     static_cast<int64_t>(piece.size())));
        expected[i] += piece;
      }
    }
  };
  grow(100);
  appendRounds(10);
  for (size_t i = 0; i < blobs.size(); ++i) {
    ASSERT_EQ(expected[i], readAll(*blobs[i], 100)) << i;
  }
  // Drop every other blob; new ones take the freed pages.
  for (size_t i = 0; i < blobs.size(); i += 2) {
    blobs[i] = std::make_unique<KxbBlob>();
    expected[i].clear();
  }
  grow(50);
  appendRounds(5);
  for (size_t i = 0; i < blobs.size(); ++i) {
    ASSERT_EQ(expected[i], readAll(*blobs[i], 77)) << i;
  }
}

TEST_F(BlobTest, FailedAppendKeepsTheBytesStoredBefore) {
  configure("64", "1");
  int failures = 0;
  for (int n = 1; n <= 10; ++n) {
    KxbBlob blob;
    const std::string all = Bytes(10 + n).next(1100);
    ASSERT_TRUE(blob.append(all.data(), 100));
    kxb_test::LogCapture log;
    // The n-th write from here on finds the disk full.
    kxFaultArm(KX_FAULT_WRITE, n);
    const bool ok = blob.append(all.data() + 100, 1000);
    kxFaultReset();
    if (ok) {
      EXPECT_EQ(1100, blob.size()) << n;
    } else {
      ++failures;
      EXPECT_GE(blob.size(), 100) << n;
      EXPECT_LT(blob.size(), 1100) << n;
      EXPECT_GT(log.count("", 5, kLogger), 0u) << n;
    }
    // What is stored reads back, and the blob takes more.
    const size_t stored = static_cast<size_t>(blob.size());
    EXPECT_EQ(all.substr(0, stored), readAll(blob, 64)) << n;
    ASSERT_TRUE(blob.append("tail", 4)) << n;
    EXPECT_EQ(all.substr(0, stored) + "tail", readAll(blob, 1000)) << n;
  }
  // Writes at several points of the append failed it.
  EXPECT_GE(failures, 4);
}

TEST_F(BlobTest, FailedBulkWriteLeavesTheFileAsItWas) {
  configure("64", "1");
  KxbBlobPageServerRef ref;
  KxbBlobPageServer* server = ref.join();
  ASSERT_NE(nullptr, server);
  KxbBlob blob;
  const std::string data = Bytes(7).next(64 * 20);
  ASSERT_TRUE(blob.append(data.data(), 64));  // the memory page, full
  const int64_t length = server->fileLength();
  kxFaultArm(KX_FAULT_WRITE, 1);
  EXPECT_FALSE(blob.append(data.data() + 64, 64 * 19));
  EXPECT_EQ(64, blob.size());
  EXPECT_EQ(length, server->fileLength());
  ASSERT_TRUE(blob.append(data.data() + 64, 64 * 19));
  EXPECT_EQ(data, readAll(blob, 500));
  ref.leave();
}

TEST_F(BlobTest, BlobsOnSeveralThreads) {
  configure("64", "4");
  constexpr int kThreads = 4;
  std::vector<int> bad(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &bad] {
      Bytes bytes(100 + t);
      for (int round = 0; round < 20; ++round) {
        KxbBlob blobs[3];
        std::string expected[3];
        for (int i = 0; i < 30; ++i) {
          const std::string piece = bytes.next(static_cast<size_t>(i * 7));
          if (!blobs[i % 3].append(piece.data(),
                                   static_cast<int64_t>(piece.size()))) {
            ++bad[t];
          }
          expected[i % 3] += piece;
        }
        for (int i = 0; i < 3; ++i) {
          std::string got;
          char buffer[97];
          blobs[i].rewind();
          int64_t n;
          while ((n = blobs[i].read(buffer, sizeof buffer)) > 0) {
            got.append(buffer, static_cast<size_t>(n));
          }
          if (got != expected[i]) ++bad[t];
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(0, bad[t]) << t;
}

TEST_F(BlobTest, InvalidPageIdsAreLoggedAndAsserted) {
  configure("64", "2");
  KxbBlobPageServerRef ref;
  KxbBlobPageServer* server = ref.join();
  ASSERT_NE(nullptr, server);
  kxb_test::LogCapture log;
  {
    KxbBlobPageServerLock hold(ref);
    int64_t next = 5;
    EXPECT_FALSE(server->nextPage(0, &next));
    EXPECT_TRUE(log.hasRecord("Invalid page ID supplied to nextPage", 5));
    EXPECT_FALSE(server->nextPage(999999, &next));
    char buffer[4];
    EXPECT_FALSE(server->readPage(999999, 0, buffer, 4));
    EXPECT_FALSE(server->writePage(999999, 0, buffer, 4));
    server->freeChain(999999, 999999);
    EXPECT_TRUE(log.hasRecord("Invalid page id 999999 while freeing page", 5));
  }
  EXPECT_EQ(5u, raised_.messages().size());
  ref.leave();
}

TEST_F(BlobTest, OperationsAreProfiledWhenTracing) {
  configure("64", "1");
  const char* names[] = {"ACQUIRE_PAGE",   "ADD_FILE_PAGE",   "NEXT_PAGE",
                         "FREE_MEM_PAGES", "FREE_FILE_PAGES", "READ",
                         "WRITE"};
  const std::string data = Bytes(8).next(64 * 5 + 10);
  {
    // At the usual level nothing is timed.
    KxbBlobPageServerRef ref;
    KxbBlobPageServer* server = ref.join();
    ASSERT_NE(nullptr, server);
    {
      KxbBlob blob;
      ASSERT_TRUE(blob.append(data.data(), 100));
      EXPECT_EQ(data.substr(0, 100), readAll(blob, 30));
    }
    for (const char* name : names) {
      int ms = -1, count = -1;
      EXPECT_FALSE(server->getData(name, &ms, &count)) << name;
    }
    ref.leave();
  }
  kxb_test::LogCapture trace(kLogger, 1);
  KxbBlobPageServerRef ref;
  KxbBlobPageServer* server = ref.join();
  ASSERT_NE(nullptr, server);
  {
    KxbBlob blob;
    ASSERT_TRUE(blob.append(data.data(), 64 * 2));
    for (size_t i = 64 * 2; i < data.size(); ++i) {
      ASSERT_TRUE(blob.append(data.data() + i, 1));
    }
    EXPECT_EQ(data, readAll(blob, 30));
  }
  for (const char* name : names) {
    int ms = -1, count = 0;
    EXPECT_TRUE(server->getData(name, &ms, &count)) << name;
    EXPECT_GT(count, 0) << name;
    EXPECT_GE(ms, 0) << name;
  }
  ref.leave();
}

// Writes `total` bytes in `chunk`-byte appends and reads them back in
// `readChunks`-sized reads, comparing checksums.
void roundTrip(int64_t total, size_t chunk, std::vector<size_t> readChunks) {
  KxbBlob blob;
  Bytes bytes(42);
  std::vector<char> buffer(chunk);
  Checksum written;
  for (int64_t done = 0; done < total;) {
    const size_t n = static_cast<size_t>(
        std::min<int64_t>(static_cast<int64_t>(chunk), total - done));
    bytes.fill(buffer.data(), n);
    written.add(buffer.data(), n);
    ASSERT_TRUE(blob.append(buffer.data(), static_cast<int64_t>(n)));
    done += static_cast<int64_t>(n);
  }
  ASSERT_EQ(total, blob.size());
  for (size_t readChunk : readChunks) {
    ASSERT_TRUE(blob.rewind());
    std::vector<char> in(readChunk);
    Checksum read;
    int64_t got = 0;
    while (true) {
      const int64_t n = blob.read(in.data(), static_cast<int64_t>(readChunk));
      ASSERT_GE(n, 0);
      if (n == 0) break;
      read.add(in.data(), static_cast<size_t>(n));
      got += n;
    }
    EXPECT_EQ(total, got) << readChunk;
    EXPECT_EQ(written.value, read.value) << readChunk;
  }
}

TEST_F(BlobTest, LargeBlobsKeepEveryByte) {
  configure(nullptr, nullptr);
  roundTrip(int64_t{64} << 20, 1 << 20, {1 << 20, 65537});
  configure("65536", "1");
  roundTrip(int64_t{64} << 20, 100003, {1 << 20});
}

TEST_F(BlobTest, LongChainsAreReportedWhileFreed) {
  configure("4", "1");
  kxb_test::LogCapture log;
  {
    KxbBlob blob;
    const std::string data = Bytes(9).next(4 * 1000010);
    ASSERT_TRUE(blob.append(data.data(), static_cast<int64_t>(data.size())));
    EXPECT_EQ(data.substr(data.size() - 1000), [&] {
      std::string all = readAll(blob, 1 << 20);
      return all.substr(all.size() - 1000);
    }());
  }
  EXPECT_EQ(1u, log.count("Suspiciously long page list", 4, kLogger));
}

}  // namespace
