// KxbDatavar: assignments, sharing and copy on write (also across
// threads), and allocation failure.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "kx_fault.h"
#include "kxbconfigoptions.h"
#include "kxbdatavar.h"
#include "startup/kxbconfigstore.h"
#include "support/temp_dir.h"

namespace {

std::string str(const KxbString& s) { return s.isNull() ? "<null>" : s.asCstr(); }

// Points BASE/TEMP (where the blob page server keeps its file) at a fresh
// directory for a scope.
class BlobTempDir {
 public:
  BlobTempDir() : ownsStore_(kxbConfigOptionLock() == nullptr) {
    EXPECT_TRUE(kxbCreateConfigOptionStore());
    kxbGetConfigOptions(KxbString(""))
        ->setOption(KxbString("BASE/TEMP"), KxbString(dir_.path().c_str()));
  }
  ~BlobTempDir() {
    kxbGetConfigOptions(KxbString(""))->removeOption(KxbString("BASE/TEMP"));
    if (ownsStore_) kxbDestroyConfigOptionStore();
  }

 private:
  kxb_test::TempDir dir_;
  bool ownsStore_;
};

// The stored bytes of a variant, to tell whether two share one record.
const void* data(const KxbDatavar& v) {
  unsigned size = 0;
  return v.getRaw(&size);
}

TEST(DatavarRecord, AssignmentsStoreTypedValues) {
  KxbDatavar v;
  EXPECT_TRUE(v.isNull());
  EXPECT_EQ(Unknown, v.type());
  EXPECT_EQ(-1, v.length());

  v.assign(-1);  // an int is sign-extended to 64 bits
  EXPECT_EQ(Integer, v.type());
  EXPECT_EQ(-1, v.asInt64());
  EXPECT_FALSE(v.isNull());
  EXPECT_EQ(-1, v.length());

  v.assign(0.5f);
  EXPECT_EQ(Real, v.type());
  EXPECT_EQ(0.5, v.asDouble());
  v.assign(0.1);  // the shortest decimal of the double
  EXPECT_EQ("0.1", str(v.asString()));

  v.assign(true);
  EXPECT_EQ(Boolean, v.type());
  EXPECT_TRUE(v.asBool());

  v.assign("");
  EXPECT_EQ(String, v.type());
  EXPECT_FALSE(v.isNull());  // an empty string is a value
  EXPECT_EQ(0, v.length());

  v.assign(KxbString("h\xC3\xA9llo"));
  EXPECT_EQ(5, v.length());
  unsigned size = 0;
  v.getRaw(&size);
  EXPECT_EQ(7u, size);  // six bytes and the terminator

  const KxbDate when(2024, 3, 7, 9, 5, 0);
  v.assign(when);
  EXPECT_EQ(Date, v.type());
  EXPECT_EQ(0, v.asDate().compare(when));

  // Null sources make the variant null.
  for (int i = 0; i < 5; ++i) {
    v.assign(7);
    switch (i) {
      case 0: v.assign(KxbString()); break;
      case 1: v.assign(KxbReal()); break;
      case 2: v.assign(KxbDate()); break;
      case 3: v.assign(KxbBlob()); break;
      case 4: v.assign(static_cast<const char*>(nullptr)); break;
    }
    EXPECT_TRUE(v.isNull()) << i;
    EXPECT_EQ(Unknown, v.type()) << i;
  }
  v.assign(7);
  v.setNull();
  EXPECT_EQ(Unknown, v.type());
}

TEST(DatavarRecord, TextAssignmentsCountCharactersAndNeverCutOne) {
  const char* hello = "h\xC3\xA9llo";  // 5 characters, 6 bytes
  KxbDatavar v;
  v.assign(hello, 2);
  EXPECT_EQ("h\xC3\xA9", str(v.asString()));
  EXPECT_EQ(2, v.length());
  v.assign(hello, 10);  // shorter than asked: the whole text
  EXPECT_EQ(hello, str(v.asString()));
  EXPECT_EQ(5, v.length());
  v.assign(hello, -1);
  EXPECT_EQ(5, v.length());
  v.assign(hello, 0);
  EXPECT_EQ("", str(v.asString()));

  v.assignBytes(hello, 2);  // the two-byte character would exceed the limit
  EXPECT_EQ("h", str(v.asString()));
  EXPECT_EQ(1, v.length());
  v.assignBytes(hello, 3);
  EXPECT_EQ("h\xC3\xA9", str(v.asString()));
  EXPECT_EQ(2, v.length());
  v.assignBytes(hello, 100);
  EXPECT_EQ(5, v.length());
  v.assignBytes("ab\xFF" "cd", 100);  // stops at an invalid sequence
  EXPECT_EQ("ab", str(v.asString()));
  v.assignBytes(hello, 0);
  EXPECT_FALSE(v.isNull());
  EXPECT_EQ("", str(v.asString()));

  // A text taken from the variant itself.
  v.assign("self reference");
  v.assign(static_cast<const char*>(data(v)) + 5, 3);
  EXPECT_EQ("ref", str(v.asString()));
  v.assign("abcdef");
  v.assignBytes(static_cast<const char*>(data(v)) + 1, 4);
  EXPECT_EQ("bcde", str(v.asString()));
}

TEST(DatavarRecord, CopiesShareUntilOneChanges) {
  KxbDatavar a;
  a.assign("original");
  KxbDatavar b(a);
  EXPECT_EQ(data(a), data(b));  // no data copied
  b.assign("changed");
  EXPECT_EQ("original", str(a.asString()));
  EXPECT_EQ("changed", str(b.asString()));

  KxbDatavar c;
  c = a;
  c = c;  // self-assignment keeps the share
  EXPECT_EQ(data(a), data(c));
  c.assign(int64_t{5});
  EXPECT_EQ(String, a.type());

  // A private record of the same fixed-size type keeps its data block.
  KxbDatavar d;
  d.assign(int64_t{1});
  const void* block = data(d);
  d.assign(int64_t{2});
  EXPECT_EQ(block, data(d));
  EXPECT_EQ(2, d.asInt64());

  // Moves hand the record over.
  KxbDatavar e(std::move(d));
  EXPECT_TRUE(d.isNull());
  EXPECT_EQ(block, data(e));

  // setNull on a copy leaves the other holder alone.
  KxbDatavar f(e);
  f.setNull();
  EXPECT_EQ(2, e.asInt64());
}

TEST(DatavarRecord, CopyOnWriteAcrossThreads) {
  KxbDatavar shared;
  shared.assign("shared value");
  KxbDatavar sharedReal;
  sharedReal.assign(2.5);
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        KxbDatavar copy(shared);
        KxbDatavar second = copy;
        if (copy.asString().compare("shared value") != 0) ++mismatches;
        copy.assign(static_cast<int64_t>(t * kRounds + i));
        if (copy.asInt64() != t * kRounds + i) ++mismatches;
        second.truncate(6, -1);  // a private copy, cut
        if (second.asString().compare("shared") != 0) ++mismatches;
        KxbDatavar number(sharedReal);
        number.assign(number.asDouble() + 1.0);
        if (number.asDouble() != 3.5) ++mismatches;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(0, mismatches.load());
  EXPECT_EQ("shared value", str(shared.asString()));
  EXPECT_EQ(12, shared.length());
  EXPECT_EQ(2.5, sharedReal.asDouble());
}

TEST(DatavarRecord, AllocationFailureLeavesTheVariantAsDocumented) {
  // No private record to be had: the variant is left as it was.
  KxbDatavar a;
  a.assign(int64_t{5});
  KxbDatavar b(a);
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  b.assign(int64_t{7});
  EXPECT_EQ(5, b.asInt64());
  EXPECT_EQ(data(a), data(b));  // still sharing
  b.assign(int64_t{7});
  EXPECT_EQ(7, b.asInt64());
  EXPECT_EQ(5, a.asInt64());

  // A null variant stays null.
  KxbDatavar c;
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  c.assign(true);
  EXPECT_TRUE(c.isNull());

  // The record is private but its new data block cannot be had: null.
  KxbDatavar d;
  d.assign(int64_t{5});
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  d.assign("text");
  EXPECT_TRUE(d.isNull());
  EXPECT_EQ(Unknown, d.type());

  // The same for a Real's number (the record is the first allocation).
  KxbDatavar e;
  kxFaultArm(KX_FAULT_POOL_ALLOC, 2);
  e.assign(1.5);
  EXPECT_TRUE(e.isNull());
  EXPECT_EQ(Unknown, e.type());

  // ...and for a Binary's blob object, which comes from the heap.
  BlobTempDir temp;
  KxbDatavar f;
  f.assign("x");
  const KxbBlob blob = f.asBlob();
  ASSERT_FALSE(blob.isNull());
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
  f.assign(blob);
  EXPECT_TRUE(f.isNull());

  // A private record of the same fixed size needs no allocation at all.
  KxbDatavar g;
  g.assign(int64_t{1});
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  g.assign(int64_t{2});
  EXPECT_EQ(2, g.asInt64());
  kxFaultReset();

  // A shared string that cannot be copied for truncation stays whole.
  KxbDatavar h;
  h.assign("abcdef");
  KxbDatavar i(h);
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_FALSE(i.truncate(2, -1));
  EXPECT_EQ("abcdef", str(i.asString()));
  EXPECT_EQ(data(h), data(i));
}

}  // namespace
