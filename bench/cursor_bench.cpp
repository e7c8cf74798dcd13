// Cursors: 1,000,000 rows of five typed columns (Integer, Real, a
// 20-character String, Date, Boolean) appended and read back through
//   (a) the resident cursor,
//   (b) the row-set cursor,
//   (c) raw SQLite prepared INSERT and SELECT of the same values in the
//       same kind of private temporary database (the floor for b),
//   (d) a std::vector of rows of std::variant (the floor for a).
// Each benchmark reports rows per second; run with
//   --benchmark_repetitions=N for medians.
#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <variant>
#include <vector>

#include <benchmark/benchmark.h>

#include "library_setup.h"

#include "kxbcursorwlp.h"

namespace {

const bool g_ready = kxb_bench::setUpLibrary();

constexpr int kRows = 1000000;

using Decimal = std::array<uint64_t, 3>;

// The source values, made once.
struct Source {
  std::vector<int64_t> ints;
  std::vector<KxbReal> reals;
  std::vector<Decimal> rawReals;
  std::vector<std::string> texts;
  std::vector<KxbString> strings;
  std::vector<double> days;
  std::vector<bool> flags;

  Source() {
    ints.reserve(kRows);
    for (int r = 0; r < kRows; ++r) {
      ints.push_back(int64_t{r} * 7919 - 3000000);
      KxbReal real;
      real.assign((std::to_string(r) + "." + std::to_string(r % 997)).c_str());
      Decimal raw;
      KxbReal copy(real);
      copy.asFD(raw.data());
      reals.push_back(real);
      rawReals.push_back(raw);
      std::string text = "row-" + std::to_string(r);
      text.resize(20, 'x');
      texts.push_back(text);
      strings.emplace_back(text.c_str());
      days.push_back(738000.0 + r / 1440.0);
      flags.push_back(r % 3 == 0);
    }
  }
};

const Source& source() {
  static const Source s;
  return s;
}

const char* kNames[] = {"id", "amount", "name", "at", "flag"};
const kxbType kTypes[] = {Integer, Real, String, Date, Boolean};

void fill(KxbDatavarCursorCreater* cursor) {
  const Source& s = source();
  for (int c = 0; c < 5; ++c) cursor->addColumn(KxbString(kNames[c]), kTypes[c]);
  cursor->endColumns();
  KxbDatavar v;
  for (int r = 0; r < kRows; ++r) {
    cursor->beginRow();
    cursor->setValue(0, v.assign(s.ints[r]));
    cursor->setValue(1, v.assign(s.reals[r]));
    cursor->setValue(2, v.assign(s.strings[r]));
    cursor->setValue(3, v.assign(KxbDate(s.days[r])));
    cursor->setValue(4, v.assign(static_cast<bool>(s.flags[r])));
    cursor->endRow();
  }
  cursor->flush();
}

int64_t readAll(KxbDatavarCursor* cursor) {
  cursor->rewind();
  int64_t rows = 0;
  while (cursor->next() == kxbCursorRow) {
    for (int c = 0; c < 5; ++c) {
      KxbDatavar v = cursor->getValue(c);
      benchmark::DoNotOptimize(v.type());
    }
    ++rows;
  }
  return rows;
}

// (a) and (b): append, then read.
template <class Make>
void cursorAppend(benchmark::State& state, Make make) {
  source();
  for (auto _ : state) {
    KxbDatavarCursorCreater* cursor = make();
    fill(cursor);
    state.PauseTiming();
    cursor->release();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

template <class Make>
void cursorRead(benchmark::State& state, Make make) {
  KxbDatavarCursorCreater* cursor = make();
  fill(cursor);
  for (auto _ : state) {
    if (readAll(cursor) != kRows) state.SkipWithError("rows lost");
  }
  cursor->release();
  state.SetItemsProcessed(state.iterations() * kRows);
}

KxbDatavarCursorCreater* makeResident() { return createDatavarResidentCursor(); }
KxbDatavarCursorCreater* makeRowSet() { return createDatavarWlpCursor(); }

void BM_A_ResidentAppend(benchmark::State& s) { cursorAppend(s, makeResident); }
void BM_A_ResidentRead(benchmark::State& s) { cursorRead(s, makeResident); }
void BM_B_RowSetAppend(benchmark::State& s) { cursorAppend(s, makeRowSet); }
void BM_B_RowSetRead(benchmark::State& s) { cursorRead(s, makeRowSet); }

// (c) raw SQLite, set up as the row sets set up their databases.
sqlite3* openTemp() {
  sqlite3* db = nullptr;
  sqlite3_open_v2("", &db,
                  SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                  nullptr);
  sqlite3_exec(db, "PRAGMA journal_mode=OFF", nullptr, nullptr, nullptr);
  sqlite3_exec(db, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr);
  sqlite3_exec(db,
               "CREATE TABLE r(c0 INTEGER, c1 DECIMAL, c2 TEXT, c3 DATE, "
               "c4 BOOLEAN)",
               nullptr, nullptr, nullptr);
  return db;
}

void sqliteFill(sqlite3* db) {
  const Source& s = source();
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO r VALUES(?,?,?,?,?)", -1, &insert,
                     nullptr);
  sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  for (int r = 0; r < kRows; ++r) {
    sqlite3_bind_int64(insert, 1, s.ints[r]);
    sqlite3_bind_blob(insert, 2, s.rawReals[r].data(), 24, SQLITE_STATIC);
    sqlite3_bind_text(insert, 3, s.texts[r].data(),
                      static_cast<int>(s.texts[r].size()), SQLITE_STATIC);
    sqlite3_bind_double(insert, 4, s.days[r]);
    sqlite3_bind_int(insert, 5, s.flags[r] ? 1 : 0);
    sqlite3_step(insert);
    sqlite3_reset(insert);
  }
  sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_finalize(insert);
}

void BM_C_SqliteAppend(benchmark::State& state) {
  source();
  for (auto _ : state) {
    sqlite3* db = openTemp();
    sqliteFill(db);
    state.PauseTiming();
    sqlite3_close(db);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

// Reads each value into a value of its own, as a consumer would.
void BM_C_SqliteRead(benchmark::State& state) {
  sqlite3* db = openTemp();
  sqliteFill(db);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(db, "SELECT c0,c1,c2,c3,c4 FROM r WHERE rowid>?1 ORDER BY rowid",
                     -1, &select, nullptr);
  std::string text;
  for (auto _ : state) {
    sqlite3_reset(select);
    sqlite3_bind_int64(select, 1, 0);
    int64_t rows = 0;
    while (sqlite3_step(select) == SQLITE_ROW) {
      int64_t id = sqlite3_column_int64(select, 0);
      Decimal amount;
      std::memcpy(amount.data(), sqlite3_column_blob(select, 1), 24);
      text.assign(reinterpret_cast<const char*>(sqlite3_column_text(select, 2)),
                  sqlite3_column_bytes(select, 2));
      double at = sqlite3_column_double(select, 3);
      bool flag = sqlite3_column_int(select, 4) != 0;
      benchmark::DoNotOptimize(id);
      benchmark::DoNotOptimize(amount);
      benchmark::DoNotOptimize(text.data());
      benchmark::DoNotOptimize(at);
      benchmark::DoNotOptimize(flag);
      ++rows;
    }
    if (rows != kRows) state.SkipWithError("rows lost");
  }
  sqlite3_finalize(select);
  sqlite3_close(db);
  state.SetItemsProcessed(state.iterations() * kRows);
}

// (d) a vector of rows of variants.
using Cell = std::variant<std::monostate, bool, int64_t, double, Decimal,
                          std::string>;
using Row = std::vector<Cell>;

std::vector<Row> vectorFill() {
  const Source& s = source();
  std::vector<Row> rows;
  for (int r = 0; r < kRows; ++r) {
    Row& row = rows.emplace_back();
    row.reserve(5);
    row.emplace_back(s.ints[r]);
    row.emplace_back(s.rawReals[r]);
    row.emplace_back(s.texts[r]);
    row.emplace_back(s.days[r]);
    row.emplace_back(static_cast<bool>(s.flags[r]));
  }
  return rows;
}

void BM_D_VectorAppend(benchmark::State& state) {
  source();
  for (auto _ : state) {
    std::vector<Row> rows = vectorFill();
    state.PauseTiming();
    rows.clear();
    rows.shrink_to_fit();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

// Each cell copied out, as a cursor's getValue hands out a copy.
void BM_D_VectorRead(benchmark::State& state) {
  const std::vector<Row> rows = vectorFill();
  for (auto _ : state) {
    for (const Row& row : rows) {
      for (const Cell& cell : row) {
        Cell copy = cell;
        benchmark::DoNotOptimize(copy.index());
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

#define KXB_CURSOR_BENCH(name) \
  BENCHMARK(name)->Unit(benchmark::kMillisecond)->Iterations(1)

KXB_CURSOR_BENCH(BM_A_ResidentAppend);
KXB_CURSOR_BENCH(BM_D_VectorAppend);
KXB_CURSOR_BENCH(BM_B_RowSetAppend);
KXB_CURSOR_BENCH(BM_C_SqliteAppend);
KXB_CURSOR_BENCH(BM_A_ResidentRead);
KXB_CURSOR_BENCH(BM_D_VectorRead);
KXB_CURSOR_BENCH(BM_B_RowSetRead);
KXB_CURSOR_BENCH(BM_C_SqliteRead);

}  // namespace

BENCHMARK_MAIN();
