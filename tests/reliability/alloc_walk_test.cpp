// Running out of memory at every allocation of one representative
// operation of each family: with the n-th pool allocation (or the n-th heap
// allocation) failing, for n = 1, 2, 3, ... until the operation no longer
// reaches the fault, the operation fails with the state its contract names
// or succeeds with exactly the undisturbed result; it never crashes, and
// under AddressSanitizer nothing leaks. Start-up has its own walk in a fresh
// process (tests/startup/startup_alloc_walk_test.cpp).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "kxbconfigfile.h"
#include "kxbconfigoptions.h"
#include "kxbcursor.h"
#include "kxbcursorwlp.h"
#include "kxbdatavar.h"
#include "kxbtemplate.h"
#include "kxburi.h"
#include "startup/kxbconfigstore.h"
#include "support/alloc_walk.h"
#include "support/cursor_rows.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"
#include "uri/uri_test_util.h"

namespace {

using kxb_test::AllocFault;
using kxb_test::show;

const bool kTextIO = kxb_test::useTextIO();

TEST(AllocationWalk, StringAppendLeavesTheStringUnchanged) {
  // A short append into a shared body, and one large enough for a block of
  // its own from the heap.
  for (int bytes : {40, 200000}) {
    const std::string tail(static_cast<size_t>(bytes), 'y');
    const KxbString source("a text shared by two strings", false);
    kxb_test::walkPoolAndHeap("string append", [&](AllocFault& fault) {
      KxbString s = source;
      bool failed = false;
      fault.arm();
      s.append(tail.c_str(), &failed);
      if (fault.disarm() && failed) {
        EXPECT_EQ(source.asCstr(), s.asCstr());  // still the shared body
        return;
      }
      EXPECT_FALSE(failed);
      EXPECT_EQ(std::string(source.asCstr()) + tail, show(s));
    });
  }
}

// The entries of a configuration file with their comments, in key order.
std::string describe(KxbConfigFile& file) {
  std::string out;
  KxbString key, value;
  for (bool first = true; file.getNextEntry(first, &key, &value); first = false) {
    out += show(key) + "=" + show(value) + " #" + show(file.getEntryComment(key)) + "\n";
  }
  return out;
}

const char kConfigText[] =
    "# the suite's settings\n"
    "#path of the logs\\nkept a week\n"
    "BASE/LOGCONFIG_PATH = %%KXEXEC_HOME%%/etc/log.cfg\n"
    "plain line without an equals sign\n"
    "\n"
    "#first\n"
    "dup=1\n"
    "BASE/TEMP=/tmp/kxb\n"
    "#second\n"
    "DUP = 2\n"
    "empty=\n"
    "=no key\n"
    "#-DELETED gone=1\n"
    "url=kxd://Sales.MYSQL/a/b?x=1#frag\n";

std::string configText() {
  std::string text = kConfigText;
  for (int i = 0; i < 40; ++i) {
    text += "key" + std::to_string(i) + "=value number " + std::to_string(i) + "\n";
  }
  text += "long=" + std::string(5000, 'v') + "\n";
  return text;
}

TEST(AllocationWalk, ConfigurationReadFailsWithAMessageOrReadsEverything) {
  kxb_test::TempDir dir;
  dir.write("app.cfg", configText());
  const KxbString path(dir.path("app.cfg").c_str());
  const std::string out = dir.path("out.cfg");
  KxbConfigFile reference;
  ASSERT_TRUE(reference.read(path));
  const std::string expected = describe(reference);
  ASSERT_TRUE(reference.write(KxbString(out.c_str())));
  const std::string written = dir.read("out.cfg");

  kxb_test::walkPoolAndHeap("configuration read", [&](AllocFault& fault) {
    KxbConfigFile file;
    fault.arm();
    const bool ok = file.read(path);
    if (fault.disarm() && !ok) {
      EXPECT_FALSE(file.getErrorMessage().isNull());
      return;
    }
    ASSERT_TRUE(ok) << show(file.getErrorMessage());
    EXPECT_EQ(expected, describe(file));
    ASSERT_TRUE(file.write(KxbString(out.c_str())));
    EXPECT_EQ(written, dir.read("out.cfg"));
  });

  // Writing the model back: the whole text, or a failure that leaves the
  // target as it was.
  dir.write("target.cfg", "old=1\n");
  const KxbString target(dir.path("target.cfg").c_str());
  kxb_test::walkPoolAndHeap("configuration write", [&](AllocFault& fault) {
    fault.arm();
    const bool ok = reference.write(target);
    if (fault.disarm() && !ok) {
      EXPECT_FALSE(reference.getErrorMessage().isNull());
      EXPECT_EQ("old=1\n", dir.read("target.cfg"));
      return;
    }
    EXPECT_TRUE(ok);
    EXPECT_EQ(written, dir.read("target.cfg"));
    dir.write("target.cfg", "old=1\n");
  });
}

TEST(AllocationWalk, OptionSetLoadStopsAtTheFirstOptionItCannotSet) {
  ASSERT_TRUE(kxbCreateConfigOptionStore());
  kxb_test::TempDir dir;
  dir.write("app.cfg", configText());
  KxbConfigFile file;
  ASSERT_TRUE(file.read(KxbString(dir.path("app.cfg").c_str())));
  std::vector<std::string> expected;
  {
    KxbString key, value;
    for (bool first = true; file.getNextEntry(first, &key, &value); first = false) {
      expected.push_back(show(key) + "=" + show(value));
    }
  }
  const KxbString name("walk");

  kxb_test::walkPoolAndHeap("option-set load", [&](AllocFault& fault) {
    kxbClearConfigOptions(name);
    KxbConfigOptions* set = kxbGetConfigOptions(name);
    ASSERT_NE(nullptr, set);
    fault.arm();
    const bool ok = set->loadConfigFile(&file);
    const bool hit = fault.disarm();
    std::vector<std::string> held;
    KxbString key, value;
    for (unsigned i = 0; set->getOptionAt(i, &key, &value, false); ++i) {
      held.push_back(show(key) + "=" + show(value));
    }
    if (hit && !ok) {
      // The options before the one that could not be set, in order.
      ASSERT_LT(held.size(), expected.size());
      EXPECT_EQ(std::vector<std::string>(expected.begin(), expected.begin() + held.size()),
                held);
      return;
    }
    EXPECT_TRUE(ok);
    EXPECT_EQ(expected, held);
  });

  // A directory of files: a file that cannot be read (memory ran out) is
  // skipped with its reason left in lastError(); with no reason left every
  // option of every file is set.
  dir.write("b.cfg", "from_b=2\nshared=b\n");
  KxbConfigFile both;
  ASSERT_TRUE(both.read(KxbString(dir.path("app.cfg").c_str())));
  ASSERT_TRUE(both.read(KxbString(dir.path("b.cfg").c_str())));
  std::vector<std::string> all;
  {
    KxbString key, value;
    for (bool first = true; both.getNextEntry(first, &key, &value); first = false) {
      all.push_back(show(key) + "=" + show(value));
    }
  }
  const KxbString directory(dir.path().c_str());
  const KxbString extension("cfg");
  kxb_test::walkPoolAndHeap("option-set directory", [&](AllocFault& fault) {
    kxbClearConfigOptions(name);
    KxbConfigOptions* set = kxbGetConfigOptions(name);
    ASSERT_NE(nullptr, set);
    fault.arm();
    const bool ok = set->loadDirectory(directory, extension);
    const bool hit = fault.disarm();
    std::vector<std::string> held;
    KxbString key, value;
    for (unsigned i = 0; set->getOptionAt(i, &key, &value, false); ++i) {
      held.push_back(show(key) + "=" + show(value));
    }
    if (hit && (!ok || set->lastError().length() > 0)) {
      for (const std::string& option : held) {
        bool known = false;
        for (const std::string& source : all) known = known || source == option;
        for (const std::string& source : expected) known = known || source == option;
        EXPECT_TRUE(known) << option;
      }
      return;
    }
    EXPECT_TRUE(ok);
    EXPECT_EQ(all, held);
  });
  kxbClearConfigOptions(name);
  kxbDestroyConfigOptionStore();
}

TEST(AllocationWalk, VariantConversionGivesTheZeroValueAndTheFlag) {
  const char kNumber[] = "-12345678901234567890.123456789012345";
  KxbDatavar text;
  text.assign(kNumber);
  const std::string real = show(text.asReal().asString());
  kxb_test::walkPoolAndHeap("variant conversion", [&](AllocFault& fault) {
    bool failed = false;
    fault.arm();
    KxbReal r = text.asReal(&failed);
    if (fault.disarm() && failed) {
      EXPECT_TRUE(r.isNull());
      return;
    }
    EXPECT_FALSE(failed);
    EXPECT_EQ(real, show(r.asString()));
  });
  // And back to text through an in-place change of type.
  kxb_test::walkPoolAndHeap("variant setType", [&](AllocFault& fault) {
    KxbDatavar v(text);
    ASSERT_TRUE(v.setType(Real));
    fault.arm();
    const bool ok = v.setType(String);
    if (fault.disarm() && !ok) {
      // Either left as it was or made null (its data could not be made).
      EXPECT_TRUE(v.isNull() || v.type() == Real) << v.type();
      return;
    }
    EXPECT_TRUE(ok);
    EXPECT_EQ(String, v.type());
    EXPECT_EQ(real, show(v.asString()));
  });
}

TEST(AllocationWalk, UriParseGivesNullOrTheWholeObject) {
  const std::string texts[] = {
      "kxd://Sales.MYSQL/a%20b/c/d/" + std::string(700, 't') + "?x=1#top",
      "kxr://Main/Jobs/Load%20Orders(Job)?x=1#f",
      "hadoop://nn:8020/p?kxUser=u&kxPass=s%26t&kxBufSz=12",
      "kxwt://Orders?name=String'O%27Brien',x#start=1,count=2",
  };
  for (const std::string& t : texts) {
    KxURIPtr<KxURI> reference(getURIFromURIString(kxb_test::text(t)));
    ASSERT_TRUE(reference) << t;
    const std::string expected = kxb_test::describe(reference.get());
    kxb_test::walkPoolAndHeap("URI parse", [&](AllocFault& fault) {
      fault.arm();
      KxURIPtr<KxURI> uri(getURIFromURIString(kxb_test::text(t)));
      if (fault.disarm() && !uri) return;
      EXPECT_EQ(expected, kxb_test::describe(uri.get())) << t;
    });
  }
}

class Values : public KxbTemplateValueCB {
 public:
  bool lookup(const KxbString& name, KxbString* value, KxbString*) override {
    *value = KxbString("<", true);
    value->append(name);
    value->append(">", 1);
    return true;
  }
};

TEST(AllocationWalk, TemplateParseFailsWithMessage444) {
  const KxbString outOfMemory("Out of memory.", true);
  std::string body;
  for (int i = 0; i < 30; ++i) {
    body += "line " + std::to_string(i) + " {v" + std::to_string(i) + "} [[x]] [o" +
            std::to_string(i) + "]\n";
  }
  const KxbString text(body.c_str());
  Values values;
  std::string expected;
  {
    KxbString error;
    KxbTemplate* t = kxbCreateBasicTemplate(&values, &error);
    ASSERT_NE(nullptr, t);
    ASSERT_TRUE(t->parse(text, &error));
    expected = show(t->render(&error));
    t->release();
  }
  kxb_test::walkPoolAndHeap("template parse", [&](AllocFault& fault) {
    KxbString error;
    KxbTemplate* t = kxbCreateBasicTemplate(&values, &error);
    ASSERT_NE(nullptr, t);
    fault.arm();
    const bool ok = t->parse(text, &error);
    if (fault.disarm() && !ok) {
      EXPECT_EQ("Out of memory.", show(error));
      // What was parsed before the failure renders as a beginning of the text.
      const std::string partial = show(t->render(&error));
      if (partial != kxb_test::kNull) {
        EXPECT_EQ(expected.substr(0, partial.size()), partial);
      }
      t->release();
      return;
    }
    EXPECT_TRUE(ok) << show(error);
    EXPECT_EQ(expected, show(t->render(&error)));
    t->release();
  });
}

// Rows of a cursor from its first row, and its columns.
template <class Cursor>
std::string content(Cursor* cursor) {
  std::string out;
  for (int c = 0; c < cursor->getColumnCount(); ++c) {
    out += show(cursor->getColumnName(c)) + ",";
  }
  out += "\n";
  cursor->rewind();
  return out + kxb_test::readRows(cursor);
}

TEST(AllocationWalk, CursorCopyKeepsWhatWasCopiedBeforeTheFailure) {
  kxb_test::DatavarCursorPtr source(createDatavarResidentCursor());
  ASSERT_TRUE(source);
  kxb_test::fillThreeColumns(source.get(), 25);
  const std::string expected = content(source.get());
  kxb_test::walkPoolAndHeap("cursor copy", [&](AllocFault& fault) {
    kxb_test::DatavarCursorPtr target(createDatavarResidentCursor());
    ASSERT_TRUE(target);
    KxbString error;
    fault.arm();
    const bool ok = copyCursor(source.get(), target.get(), &error);
    const bool hit = fault.disarm();
    const std::string copied = content(target.get());
    if (hit && !ok) {
      EXPECT_FALSE(error.isNull());
      // Some of the columns, or all of them and some of the rows.
      const size_t columnsEnd = copied.find('\n');
      ASSERT_NE(std::string::npos, columnsEnd);
      const std::string columns = copied.substr(0, columnsEnd);
      if (columns + "\n" != expected.substr(0, columnsEnd + 1)) {
        EXPECT_EQ(expected.substr(0, columns.size()), columns);
        EXPECT_EQ(columnsEnd + 1, copied.size());
      } else {
        EXPECT_EQ(expected.substr(0, copied.size()), copied);
      }
      return;
    }
    EXPECT_TRUE(ok) << show(error);
    EXPECT_EQ(expected, copied);
  });
}

// Before anything in this program touches SQLite.
const bool kSqliteRouted = kxb_test::routeSqliteAllocations();

// A failed append drops the row that failed; when SQLite itself runs out
// of memory inside the insert it rolls its transaction back, and the rows
// added since the last read are lost with it. Either way the row count
// says how many rows are there, and reading gives exactly those.
TEST(AllocationWalk, RowSetAppendKeepsItsCountTrueToItsRows) {
  ASSERT_TRUE(kSqliteRouted);
  int rolledBack = 0;
  kxb_test::walkPoolAndHeap("row-set append", [&](AllocFault& fault) {
    std::unique_ptr<KxbDatavarWlpCursor, kxb_test::CursorReleaser> cursor(
        createDatavarWlpCursor());
    ASSERT_TRUE(cursor);
    ASSERT_EQ(Integer, cursor->addColumn(KxbString("n"), Integer));
    ASSERT_EQ(String, cursor->addColumn(KxbString("text"), String));
    ASSERT_EQ(Real, cursor->addColumn(KxbString("r"), Real));
    ASSERT_TRUE(cursor->endColumns());
    // The values are made before the fault is armed: only the append runs
    // with it.
    struct Row {
      KxbDatavar n, text, r;
      std::string shown;
    };
    std::vector<Row> rows(10);
    for (int row = 0; row < 10; ++row) {
      const std::string text = "row " + std::to_string(row) + std::string(row * 30, '.');
      rows[row].n.assign(row);
      rows[row].text.assign(text.c_str());
      rows[row].r.assign(row * 0.5);
      rows[row].shown = kxb_test::showCell(rows[row].n) + "|" +
                        kxb_test::showCell(rows[row].text) + "|" +
                        kxb_test::showCell(rows[row].r) + "\n";
    }
    std::vector<bool> stored(10, false);
    int failures = 0;
    int lostRows = 0;
    fault.arm();
    for (int row = 0; row < 10; ++row) {
      if (!cursor->beginRow()) {
        ++failures;
        continue;
      }
      cursor->setValue(0, rows[row].n);
      cursor->setValue(1, rows[row].text);
      cursor->setValue(2, rows[row].r);
      if (!cursor->endRow()) {
        ++failures;
        int64_t count = -1;
        cursor->getRowCount(&count);
        if (count < row) {  // the transaction went: every earlier row too
          lostRows = static_cast<int>(std::count(stored.begin(), stored.end(), true));
          std::fill(stored.begin(), stored.end(), false);
          EXPECT_EQ(0, count);
        }
        continue;
      }
      stored[row] = true;
    }
    const bool flushed = cursor->flush();
    const bool hit = fault.disarm();
    EXPECT_TRUE(flushed);
    EXPECT_LE(failures, hit ? 1 : 0);
    if (lostRows > 0) ++rolledBack;
    std::string expected;
    for (int row = 0; row < 10; ++row) {
      if (stored[row]) expected += rows[row].shown;
    }
    int64_t count = -1;
    cursor->getRowCount(&count);
    EXPECT_EQ(std::count(stored.begin(), stored.end(), true), count);
    cursor->rewind();
    EXPECT_EQ(expected, kxb_test::readRows(cursor.get()));
  });
  // SQLite's own allocations are reached, the rollback among them.
  EXPECT_GT(rolledBack, 0);
}

}  // namespace
