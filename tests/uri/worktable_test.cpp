// KxWorkTableURI: table name, column descriptors and row range.
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxburi.h"
#include "kxlog.h"
#include "kxmsg.h"
#include "np_env.h"
#include "support/log_capture.h"
#include "support/source_tree.h"
#include "uri/uri_test_util.h"

namespace {

using kxb_test::kNull;
using kxb_test::show;
using kxb_test::text;

KxbString s(const char* t) { return KxbString(t, true); }

KxURIPtr<KxWorkTableURI> parseTable(const std::string& t) {
  KxURI* uri = getURIFromURIString(text(t));
  auto* table = dynamic_cast<KxWorkTableURI*>(uri);
  if (table == nullptr && uri != nullptr) uri->release();
  return KxURIPtr<KxWorkTableURI>(table);
}

struct Column {
  std::string name;
  std::string value;
  kxbType type;
  bool operator==(const Column&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Column& c) {
  return out << c.name << "=" << c.value << ":" << c.type;
}

std::vector<Column> columnsOf(const KxWorkTableURI& table) {
  std::vector<Column> columns;
  KxbString name;
  KxbString value;
  kxbType type = Unknown;
  for (int i = 0; table.getColumn(i, &name, &value, &type); ++i) {
    columns.push_back({show(name), show(value), type});
  }
  EXPECT_EQ(static_cast<int>(columns.size()), table.getColumnCount());
  return columns;
}

std::string rangeOf(const KxWorkTableURI& table) {
  int64_t start = 99;
  int64_t count = 99;
  const bool set = table.getRange(&start, &count);
  return std::to_string(set) + ":" + std::to_string(start) + ":" +
         std::to_string(count);
}

// Catalogue messages come from the repository's catalogue.
class UriWorkTable : public ::testing::Test {
 protected:
  void SetUp() override { kxb_test::useSourceCatalogue(); }
  void TearDown() override { kxmsg112_terminate(); }
};

TEST_F(UriWorkTable, NameAloneHasNoColumnsAndNoRange) {
  auto table = parseTable("kxwt://Orders");
  ASSERT_TRUE(table);
  EXPECT_EQ("Orders", show(table->getTableName()));
  EXPECT_EQ("Orders", show(table->getPath()));
  EXPECT_EQ("kxwt", show(table->getScheme()));
  EXPECT_EQ(kNull, show(table->getHost()));
  EXPECT_EQ(kNull, show(table->getQuery()));
  EXPECT_EQ(kNull, show(table->getFragment()));
  EXPECT_EQ(0, table->getColumnCount());
  EXPECT_EQ("0:0:0", rangeOf(*table));
  EXPECT_EQ("kxwt://Orders", show(table->getURIString()));

  auto padded = parseTable("kxwt://  Order Lines \t");
  ASSERT_TRUE(padded);
  EXPECT_EQ("Order Lines", show(padded->getTableName()));
  EXPECT_EQ("kxwt://Order Lines", show(padded->getURIString()));
}

TEST_F(UriWorkTable, RangeTextIsReadAndRewrittenWithCommas) {
  const struct {
    const char* input;
    const char* range;
    const char* fragment;
  } cases[] = {
      {"kxwt://Orders#start=10,count=5", "1:10:5", "start=10,count=5"},
      {"kxwt://Orders#count=5,start=10", "1:10:5", "start=10,count=5"},
      {"kxwt://Orders# START = 3 ", "1:3:-1", "start=3"},
      {"kxwt://Orders#count=20", "0:0:0", "count=20"},
      // An unknown key or a value that is no number ends the list.
      {"kxwt://Orders#start=1,x=2,count=3", "1:1:-1", "start=1"},
      {"kxwt://Orders#start=abc,count=3", "0:0:0", kNull},
      {"kxwt://Orders#", "0:0:0", kNull},
      // Without "#" the text after "?" is also read as the range.
      {"kxwt://Orders?start=5", "1:5:-1", "start=5"},
  };
  for (const auto& c : cases) {
    auto table = parseTable(c.input);
    ASSERT_TRUE(table) << c.input;
    EXPECT_EQ(c.range, rangeOf(*table)) << c.input;
    EXPECT_EQ(c.fragment, show(table->getFragment())) << c.input;
  }
  auto both = parseTable("kxwt://Orders#start=10,count=5");
  EXPECT_EQ("kxwt://Orders#start=10,count=5", show(both->getURIString()));

  auto built = KxURIPtr<KxWorkTableURI>(getWorkTableURIFromComponents(s("Orders"), -1, 20));
  ASSERT_TRUE(built);
  EXPECT_EQ("count=20", show(built->getFragment()));
  EXPECT_EQ("0:0:0", rangeOf(*built));
  EXPECT_TRUE(built->setRange(7, -1, nullptr));
  EXPECT_EQ("start=7", show(built->getFragment()));
  EXPECT_EQ("1:7:-1", rangeOf(*built));
  EXPECT_TRUE(built->setRange(-1, -1, nullptr));
  EXPECT_EQ(kNull, show(built->getFragment()));
  // A start below -1 is written but reads as no range.
  EXPECT_TRUE(built->setRange(-5, 2, nullptr));
  EXPECT_EQ("start=-5,count=2", show(built->getFragment()));
  EXPECT_EQ("0:0:0", rangeOf(*built));
}

TEST_F(UriWorkTable, ColumnDescriptorsAreParsedAndTheColumnTextRebuilt) {
  auto table = parseTable(
      "kxwt://Orders?name=string'O%27Brien',note='a%2Cb',bare, flag,"
      "odd=xyz,quoted=String' it''s '#start=1");
  ASSERT_TRUE(table);
  EXPECT_EQ((std::vector<Column>{{"name", "O'Brien", String},
                                 {"note", "a,b", Unknown},
                                 {"bare", kNull, Unknown},
                                 {"flag", kNull, Unknown},
                                 // No quotes: the first character goes.
                                 {"odd", "yz", Unknown},
                                 {"quoted", " it''s ", String}}),
            columnsOf(*table));
  EXPECT_EQ("name=String'O%27Brien',note='a%2Cb',bare,flag,odd='yz',"
            "quoted=String' it%27%27s '",
            show(table->getQuery()));
  EXPECT_EQ("1:1:-1", rangeOf(*table));
  EXPECT_EQ("kxwt://Orders?" + show(table->getQuery()) + "#start=1",
            show(table->getURIString()));

  // The "#" only ends the column text: before the "?" it is part of the
  // table name (and is written back unescaped).
  auto hashed = parseTable("kxwt://a#b?c#start=1");
  ASSERT_TRUE(hashed);
  EXPECT_EQ("a#b", show(hashed->getTableName()));
  EXPECT_EQ((std::vector<Column>{{"c", kNull, Unknown}}), columnsOf(*hashed));
  EXPECT_EQ("1:1:-1", rangeOf(*hashed));

  // Typed columns without a value need no check.
  auto empty = parseTable("kxwt://T?id=integer''");
  ASSERT_TRUE(empty);
  EXPECT_EQ((std::vector<Column>{{"id", "", Integer}}), columnsOf(*empty));
  EXPECT_EQ("id", show(empty->getQuery()));
}

TEST_F(UriWorkTable, RefusedColumnsMakeTheWholeParseFail) {
  kxb_test::LogCapture capture;
  for (const char* bad : {"kxwt://T?a,A", "kxwt://T?a,,b", "kxwt://T?a,",
                          "kxwt://T?=x", "kxwt://T?id=integer'seven'"}) {
    EXPECT_FALSE(parseTable(bad)) << bad;
  }
  // Each refusal left its reason on the work-table logger.
  const auto records = capture.find("", 0, "KX.Base.URI.WorkTable");
  ASSERT_EQ(5u, records.size()) << capture.dump();
  for (const auto& record : records) {
    EXPECT_EQ(KXLOG_NOTABLE, record.level);
    EXPECT_EQ("kxwturi", record.unit);
  }
  EXPECT_NE(std::string::npos, records[0].text.find("\"A\"")) << records[0].text;
  EXPECT_TRUE(capture.hasRecord("integer"));

  // Values that convert are kept with their type's name.
  auto typed = parseTable("kxwt://Orders?id=integer'7',name=string'O%27Brien'");
  ASSERT_TRUE(typed);
  EXPECT_EQ((std::vector<Column>{{"id", "7", Integer}, {"name", "O'Brien", String}}),
            columnsOf(*typed));
  EXPECT_EQ("id=Integer'7',name=String'O%27Brien'", show(typed->getQuery()));
}

TEST_F(UriWorkTable, AddColumnReportsRefusalsAndChangesNothing) {
  auto table = KxURIPtr<KxWorkTableURI>(getWorkTableURIFromComponents(s("T")));
  ASSERT_TRUE(table);
  KxbString error("stale");
  EXPECT_TRUE(table->addColumn(s("id"), s(""), Integer, &error));
  EXPECT_EQ(kNull, show(error));
  EXPECT_TRUE(table->addColumn(s("name"), s("x,y'z"), String, &error));
  EXPECT_TRUE(table->addColumn(s("raw"), s("v"), Binary, &error));
  EXPECT_EQ("id,name=String'x%2Cy%27z',raw='v'", show(table->getQuery()));

  const std::string before = show(table->getQuery());
  EXPECT_FALSE(table->addColumn(s("ID"), s("1"), String, &error));
  EXPECT_NE(std::string::npos, show(error).find("ID")) << show(error);
  EXPECT_FALSE(table->addColumn(s(""), s("1"), String, &error));
  EXPECT_NE(kNull, show(error));
  EXPECT_FALSE(table->addColumn(KxbString(), s("1"), String, &error));
  // Values the data variant cannot read as the column's type.
  const std::pair<kxbType, const char*> unreadable[] = {
      {Boolean, "maybe"}, {Integer, "seven"}, {Real, "1.2.3"}, {Date, "2024-02-30"}};
  const char* words[] = {"boolean", "integer", "real", "date"};
  for (int i = 0; i < 4; ++i) {
    error.setNull();
    EXPECT_FALSE(table->addColumn(s("typed"), s(unreadable[i].second),
                                  unreadable[i].first, &error))
        << unreadable[i].second;
    EXPECT_NE(std::string::npos, show(error).find(words[i])) << show(error);
  }
  EXPECT_EQ(before, show(table->getQuery()));
  EXPECT_EQ(3, table->getColumnCount());

  KxbString name("stale");
  KxbString value("stale");
  kxbType type = String;
  EXPECT_FALSE(table->getColumn(3, &name, &value, &type));
  EXPECT_EQ(kNull, show(name));
  EXPECT_EQ(kNull, show(value));
  EXPECT_EQ(Unknown, type);
  EXPECT_FALSE(table->getColumn(-1, nullptr, nullptr, nullptr));

  // Without an error string the reason is logged.
  kxb_test::LogCapture capture;
  EXPECT_FALSE(table->addColumn(s("id"), s(""), Unknown, nullptr));
  EXPECT_EQ(1u, capture.count("", KXLOG_NOTABLE, "KX.Base.URI.WorkTable"));
}

TEST_F(UriWorkTable, StringsNamesAndQueryValues) {
  auto table = KxURIPtr<KxWorkTableURI>(getWorkTableURIFromComponents(s("Tabell\xC3\xA9"), 0, 10));
  ASSERT_TRUE(table);
  ASSERT_TRUE(table->addColumn(s("a"), s("1"), Unknown, nullptr));
  EXPECT_EQ("kxwt://Tabell\xC3\xA9?a='1'#start=0,count=10", show(table->getURIString()));
  EXPECT_EQ("kxwt://Tabell%C3%A9?a='1'#start=0,count=10",
            show(table->getEscapedURIString()));
  table->setTableName(s("Other"));
  EXPECT_EQ("Other", show(table->getPath()));
  EXPECT_EQ("kxwt://Other?a='1'#start=0,count=10", show(table->getURIString()));

  // A query value goes into the column text but adds no column.
  EXPECT_TRUE(table->addQueryValue(s("k"), s("v"), nullptr));
  EXPECT_EQ(1, table->getColumnCount());
  EXPECT_NE(std::string::npos, show(table->getQuery()).find("k=v"));

  // A text rebuilt from a parsed one parses to the same object.
  auto parsed = parseTable("kxwt://T?name=String'O%27Brien',x#start=2,count=3");
  ASSERT_TRUE(parsed);
  auto again = parseTable(show(parsed->getURIString()));
  ASSERT_TRUE(again);
  EXPECT_EQ(kxb_test::describe(parsed.get()), kxb_test::describe(again.get()));
}

TEST_F(UriWorkTable, RunningOutOfMemoryGivesNullOrTheWholeTable) {
  const std::string t = "kxwt://T?name=String'O%27Brien',x,y=''#start=2,count=3";
  auto reference = parseTable(t);
  ASSERT_TRUE(reference);
  const std::string expected = kxb_test::describe(reference.get());
  int nulls = 0;
  for (int n = 1; n <= 300; ++n) {
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    auto table = parseTable(t);
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    if (!table) {
      ++nulls;
      continue;
    }
    EXPECT_EQ(expected, kxb_test::describe(table.get())) << n;
  }
  EXPECT_GT(nulls, 0);
}

}  // namespace
