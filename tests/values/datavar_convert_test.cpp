// KxbDatavar: the conversion matrix, cell by cell where a cell has a rule
// of its own, and setType.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "kxbconfigoptions.h"
#include "kxbdatavar.h"
#include "startup/kxbconfigstore.h"
#include "support/temp_dir.h"

namespace {

KxbDatavar boolean(bool value) {
  KxbDatavar v;
  v.assign(value);
  return v;
}
KxbDatavar integer(int64_t value) {
  KxbDatavar v;
  v.assign(value);
  return v;
}
KxbDatavar real(const char* text) {
  KxbReal number;
  number.assign(text);
  KxbDatavar v;
  v.assign(number);
  return v;
}
KxbDatavar text(const char* s) {
  KxbDatavar v;
  v.assign(s);
  return v;
}
KxbDatavar date(const KxbDate& d) {
  KxbDatavar v;
  v.assign(d);
  return v;
}
KxbDatavar binary(const std::string& bytes) {
  KxbBlob blob;
  blob.append(bytes.data(), static_cast<int64_t>(bytes.size()));
  KxbDatavar v;
  v.assign(blob);
  return v;
}
// A Real variant whose number is null (a raw Real of the wrong size).
KxbDatavar nullReal() {
  KxbDatavar v;
  const char junk[3] = {1, 2, 3};
  v.assign(Real, junk, sizeof junk);
  return v;
}

std::string str(const KxbString& s) { return s.isNull() ? "<null>" : s.asCstr(); }

std::string blobBytes(KxbBlob blob) {
  std::string out;
  if (!blob.rewind()) return "<null>";
  char buffer[64];
  int64_t n;
  while ((n = blob.read(buffer, sizeof buffer)) > 0) out.append(buffer, n);
  return out;
}

// Blobs need the page server, which keeps its file under BASE/TEMP.
class DatavarConvert : public ::testing::Test {
 protected:
  void SetUp() override {
    ownsStore_ = kxbConfigOptionLock() == nullptr;
    ASSERT_TRUE(kxbCreateConfigOptionStore());
    kxbGetConfigOptions(KxbString(""))
        ->setOption(KxbString("BASE/TEMP"), KxbString(dir_.path().c_str()));
  }
  void TearDown() override {
    kxbGetConfigOptions(KxbString(""))->removeOption(KxbString("BASE/TEMP"));
    if (ownsStore_) kxbDestroyConfigOptionStore();
  }

  kxb_test::TempDir dir_;
  bool ownsStore_ = false;
};

// Calls `convert` with the flag preset to the wrong answer, so that a
// conversion that forgets to clear it is caught too.
template <typename Convert>
auto withFlag(bool* failed, Convert convert) {
  *failed = true;
  auto value = convert(failed);
  return value;
}

TEST_F(DatavarConvert, NullConvertsToZeroValuesWithoutFailure) {
  const KxbDatavar v;
  bool failed = true;
  EXPECT_FALSE(v.asBool(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0, withFlag(&failed, [&](bool* f) { return v.asInt(f); }));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0, withFlag(&failed, [&](bool* f) { return v.asInt64(f); }));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0u, withFlag(&failed, [&](bool* f) { return v.asSize(f); }));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0.0, withFlag(&failed, [&](bool* f) { return v.asDouble(f); }));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0.0f, withFlag(&failed, [&](bool* f) { return v.asFloat(f); }));
  EXPECT_FALSE(failed);
  EXPECT_TRUE(withFlag(&failed, [&](bool* f) { return v.asReal(f); }).isNull());
  EXPECT_FALSE(failed);
  EXPECT_TRUE(withFlag(&failed, [&](bool* f) { return v.asBlob(f); }).isNull());
  EXPECT_FALSE(failed);
  EXPECT_TRUE(v.asDate().isNull());
  EXPECT_TRUE(v.asString().isNull());
  // Callers that do not ask pass null.
  EXPECT_EQ(0, v.asInt64());
}

TEST_F(DatavarConvert, AsBool) {
  bool failed = true;
  EXPECT_TRUE(boolean(true).asBool(&failed));
  EXPECT_FALSE(failed);
  EXPECT_FALSE(boolean(false).asBool());
  // Integers: any non-zero value, also one whose low 32 bits are 0.
  EXPECT_FALSE(integer(0).asBool());
  EXPECT_TRUE(integer(-7).asBool());
  EXPECT_TRUE(integer(int64_t{1} << 32).asBool());
  // Reals go through asInt64, which rounds down: 0.5 is false, -0.5 true.
  EXPECT_FALSE(real("0.5").asBool(&failed));
  EXPECT_FALSE(failed);
  EXPECT_TRUE(real("-0.5").asBool());
  EXPECT_TRUE(real("2.7").asBool());
  EXPECT_FALSE(real("1E+30").asBool(&failed));  // asInt64 fails: passed on
  EXPECT_TRUE(failed);
  EXPECT_FALSE(nullReal().asBool(&failed));
  EXPECT_TRUE(failed);

  for (const char* yes : {"on", "Y", "42", "TrUe", "t", "yes", "10", "7abc"}) {
    failed = true;
    EXPECT_TRUE(text(yes).asBool(&failed)) << yes;
    EXPECT_FALSE(failed) << yes;
  }
  for (const char* no : {"off", "0", "01", "0x", "N", "false", "F", "No"}) {
    failed = true;
    EXPECT_FALSE(text(no).asBool(&failed)) << no;
    EXPECT_FALSE(failed) << no;
  }
  for (const char* bad : {"maybe", "", " true", "-1", "truest"}) {
    failed = false;
    EXPECT_FALSE(text(bad).asBool(&failed)) << bad;
    EXPECT_TRUE(failed) << bad;
  }
  failed = false;
  EXPECT_FALSE(date(KxbDate(2024, 3, 7, 0, 0, 0)).asBool(&failed));
  EXPECT_TRUE(failed);
  failed = false;
  EXPECT_FALSE(binary("1").asBool(&failed));
  EXPECT_TRUE(failed);
}

TEST_F(DatavarConvert, AsInt) {
  bool failed = true;
  EXPECT_EQ(1, boolean(true).asInt(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0, boolean(false).asInt());
  // Integers keep their low 32 bits, without a range check.
  EXPECT_EQ(1, integer((int64_t{1} << 32) + 1).asInt(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(INT32_MIN, integer(int64_t{1} << 31).asInt(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(-1, integer(-1).asInt());
  // Reals are range-checked (and rounded down by asInt64).
  EXPECT_EQ(0, real("4294967297").asInt(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(0, real("2147483648").asInt(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(INT32_MAX, real("2147483647.9").asInt(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(INT32_MIN, real("-2147483648").asInt(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(-4, real("-3.5").asInt());
  EXPECT_EQ(0, nullReal().asInt(&failed));
  EXPECT_TRUE(failed);
  // Strings: a whole decimal number.
  EXPECT_EQ(-12, text("  -12 ").asInt(&failed));
  EXPECT_FALSE(failed);
  for (const char* bad : {"12abc", "2147483648", "", "1.5", "abc"}) {
    failed = false;
    EXPECT_EQ(0, text(bad).asInt(&failed)) << bad;
    EXPECT_TRUE(failed) << bad;
  }
  // Dates: the day number truncated toward zero (not rounded down).
  const KxbDate noon(2024, 3, 7, 12, 0, 0);
  EXPECT_EQ(static_cast<int>(std::trunc(noon.asDouble())),
            date(noon).asInt(&failed));
  EXPECT_FALSE(failed);
  const KxbDate beforeDayZero(1899, 12, 29, 18, 0, 0);  // day -0.25
  ASSERT_LT(beforeDayZero.asDouble(), 0.0);
  EXPECT_EQ(0, date(beforeDayZero).asInt());
  EXPECT_EQ(-1, date(KxbDate(1899, 12, 28, 12, 0, 0)).asInt());  // -1.5
  failed = false;
  EXPECT_EQ(0, binary("1").asInt(&failed));
  EXPECT_TRUE(failed);
}

TEST_F(DatavarConvert, AsInt64) {
  bool failed = true;
  EXPECT_EQ(INT64_MIN, integer(INT64_MIN).asInt64(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(int64_t{1} << 40, real("1099511627776").asInt64());
  EXPECT_EQ(0, real("1E+30").asInt64(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(INT64_MIN, text("-9223372036854775808").asInt64(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0, text("9223372036854775808").asInt64(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(1, boolean(true).asInt64());
  EXPECT_EQ(-1, date(KxbDate(1899, 12, 28, 12, 0, 0)).asInt64());
  EXPECT_EQ(0, date(KxbDate(1899, 12, 29, 18, 0, 0)).asInt64());
  failed = false;
  EXPECT_EQ(0, binary("1").asInt64(&failed));
  EXPECT_TRUE(failed);
  // A raw day number beyond the 64-bit range fails instead of overflowing.
  const double huge = 1e300;
  KxbDatavar v;
  v.assign(Date, &huge, sizeof huge);
  EXPECT_EQ(0, v.asInt64(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(0, v.asInt(&failed));
  EXPECT_TRUE(failed);
}

TEST_F(DatavarConvert, AsSize) {
  bool failed = true;
  EXPECT_EQ(1u, boolean(true).asSize(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(4294967295u, integer(4294967295LL).asSize(&failed));
  EXPECT_FALSE(failed);
  for (int64_t bad : {int64_t{-1}, int64_t{4294967296}, INT64_MIN}) {
    failed = false;
    EXPECT_EQ(0u, integer(bad).asSize(&failed)) << bad;
    EXPECT_TRUE(failed) << bad;
  }
  EXPECT_EQ(4294967295u, real("4294967295").asSize(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0u, real("-1").asSize(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(4294967295u, text("4294967295").asSize(&failed));
  EXPECT_FALSE(failed);
  for (const char* bad : {"4294967296", "-0", "-1", "x"}) {
    failed = false;
    EXPECT_EQ(0u, text(bad).asSize(&failed)) << bad;
    EXPECT_TRUE(failed) << bad;
  }
  // Dates: the stored double's bits read as an integer. Day 0.0 converts;
  // any real date fails; a pattern with a zero upper half converts to its
  // lower half.
  EXPECT_EQ(0u, date(KxbDate(1899, 12, 30, 0, 0, 0)).asSize(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0u, date(KxbDate(2024, 3, 7, 0, 0, 0)).asSize(&failed));
  EXPECT_TRUE(failed);
  const uint64_t bits = 0x12345678u;  // a subnormal double
  KxbDatavar tiny;
  tiny.assign(Date, &bits, sizeof bits);
  EXPECT_EQ(0x12345678u, tiny.asSize(&failed));
  EXPECT_FALSE(failed);
  failed = false;
  EXPECT_EQ(0u, binary("1").asSize(&failed));
  EXPECT_TRUE(failed);
}

TEST_F(DatavarConvert, AsDoubleAndAsFloat) {
  bool failed = true;
  EXPECT_EQ(1.0, boolean(true).asDouble(&failed));
  EXPECT_FALSE(failed);
  const int64_t big = (int64_t{1} << 53) + 1;
  EXPECT_EQ(static_cast<double>(big), integer(big).asDouble());
  EXPECT_EQ(0.1, real("0.1").asDouble(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0.0, nullReal().asDouble(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(1000.0, text(" 1e3 ").asDouble(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0.0, text("1,5").asDouble(&failed));
  EXPECT_TRUE(failed);
  const KxbDate d(2024, 3, 7, 18, 0, 0);
  EXPECT_EQ(d.asDouble(), date(d).asDouble());
  failed = false;
  EXPECT_EQ(0.0, binary("1").asDouble(&failed));
  EXPECT_TRUE(failed);

  EXPECT_EQ(3.25f, text("3.25").asFloat(&failed));
  EXPECT_FALSE(failed);
  // Narrowing beyond the float range gives an infinity, not a failure.
  EXPECT_EQ(std::numeric_limits<float>::infinity(),
            real("1E+300").asFloat(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0.0f, text("x").asFloat(&failed));
  EXPECT_TRUE(failed);
}

TEST_F(DatavarConvert, AsReal) {
  bool failed = true;
  EXPECT_EQ(0, boolean(true).asReal(&failed).compare(KxbReal(1)));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0, boolean(false).asReal().compare(KxbReal(0)));
  // Exact from the 64-bit integer (a double would round it).
  EXPECT_EQ("9223372036854775807", str(integer(INT64_MAX).asReal().asString()));
  EXPECT_EQ("1.5", str(text("1.50").asReal(&failed).asString()));
  EXPECT_FALSE(failed);
  EXPECT_TRUE(text("abc").asReal(&failed).isNull());
  EXPECT_TRUE(failed);
  const KxbDate d(2024, 3, 7, 18, 0, 0);
  EXPECT_EQ(0, date(d).asReal(&failed).compare(KxbReal(d.asDouble())));
  EXPECT_FALSE(failed);
  EXPECT_EQ("2.5", str(real("2.5").asReal().asString()));
  EXPECT_TRUE(binary("1").asReal(&failed).isNull());
  EXPECT_TRUE(failed);
}

TEST_F(DatavarConvert, AsString) {
  EXPECT_EQ("true", str(boolean(true).asString()));
  EXPECT_EQ("false", str(boolean(false).asString()));
  EXPECT_EQ("-9223372036854775808", str(integer(INT64_MIN).asString()));
  EXPECT_EQ("-2.5", str(real("-2.50").asString()));
  EXPECT_EQ("h\xC3\xA9llo", str(text("h\xC3\xA9llo").asString()));
  EXPECT_EQ("", str(text("").asString()));
  EXPECT_TRUE(binary("abc").asString().isNull());

  // Dates take the process-wide form.
  KxbDate d;
  d.assign(2024, 3, 7, 9, 5, 0, 250);
  const KxbDatavar v = date(d);
  EXPECT_EQ("2024-03-07 09:05:00.250", str(v.asString()));
  EXPECT_EQ(str(d.asString(false, false)), str(v.asString()));
  kxbSetDatavarIsoDates(true);
  EXPECT_EQ("2024-03-07T09:05:00", str(v.asString()));
  kxbSetDatavarIsoMillis(true);
  EXPECT_EQ("2024-03-07T09:05:00.250", str(v.asString()));
  EXPECT_EQ(str(d.asString(true, true)), str(v.asString()));
  kxbSetDatavarIsoDates(false);
  kxbSetDatavarIsoMillis(false);
  EXPECT_EQ("2024-03-07 09:05:00.250", str(v.asString()));
}

TEST_F(DatavarConvert, AsDate) {
  EXPECT_TRUE(boolean(true).asDate().isNull());
  EXPECT_TRUE(integer(45000).asDate().isNull());
  EXPECT_TRUE(binary("x").asDate().isNull());
  EXPECT_TRUE(nullReal().asDate().isNull());
  const KxbDate d = real("45000.5").asDate();
  ASSERT_FALSE(d.isNull());
  EXPECT_EQ(45000.5, d.asDouble());
  // Texts are read in the process-wide date order (month first here).
  EXPECT_EQ(0, text("3/7/2024 9:05").asDate().compare(
                   KxbDate(2024, 3, 7, 9, 5, 0)));
  EXPECT_TRUE(text("abc").asDate().isNull());
  const KxbDate when(2024, 2, 29, 23, 59, 59);
  EXPECT_EQ(0, date(when).asDate().compare(when));
}

TEST_F(DatavarConvert, AsBlob) {
  bool failed = true;
  // The string's bytes go with their terminator.
  const KxbBlob blob = text("abc").asBlob(&failed);
  EXPECT_FALSE(failed);
  EXPECT_EQ(4, blob.size());
  EXPECT_EQ(std::string("abc\0", 4), blobBytes(blob));

  // A Binary shares its blob: there is no copy on write for blobs.
  KxbDatavar v = binary("xy");
  KxbBlob copy = v.asBlob(&failed);
  EXPECT_FALSE(failed);
  ASSERT_TRUE(copy.append("z", 1));
  EXPECT_EQ(3, v.asBlob().size());

  for (const KxbDatavar& other :
       {boolean(true), integer(1), real("1"),
        date(KxbDate(2024, 3, 7, 0, 0, 0))}) {
    failed = false;
    EXPECT_TRUE(other.asBlob(&failed).isNull());
    EXPECT_TRUE(failed);
  }
}

TEST_F(DatavarConvert, SetTypeAssignsEvenWhenTheConversionFails) {
  KxbDatavar v = text("abc");
  EXPECT_FALSE(v.setType(Integer));
  EXPECT_EQ(Integer, v.type());
  EXPECT_EQ(0, v.asInt64());

  v = text("abc");
  EXPECT_TRUE(v.setType(Date));  // dates report no failure...
  EXPECT_TRUE(v.isNull());       // ...and an unreadable one nulls the value
  EXPECT_EQ(Unknown, v.type());

  v = text("maybe");
  EXPECT_FALSE(v.setType(Boolean));
  EXPECT_EQ(Boolean, v.type());
  EXPECT_FALSE(v.asBool());

  v = text("x1");
  EXPECT_FALSE(v.setType(Real));
  EXPECT_TRUE(v.isNull());

  v = integer(5);
  EXPECT_FALSE(v.setType(Binary));
  EXPECT_TRUE(v.isNull());

  v = binary("q");
  EXPECT_TRUE(v.setType(String));  // a null string: the variant is null
  EXPECT_TRUE(v.isNull());

  v = text(" 42 ");
  EXPECT_TRUE(v.setType(Integer));
  EXPECT_EQ(42, v.asInt64());
  EXPECT_TRUE(v.setType(Real));
  EXPECT_EQ(Real, v.type());
  EXPECT_TRUE(v.setType(String));
  EXPECT_EQ("42", str(v.asString()));
  EXPECT_TRUE(v.setType(Binary));
  EXPECT_EQ(3, v.asBlob().size());

  v = text("2024-03-07T09:05:00");
  EXPECT_TRUE(v.setType(Date));
  EXPECT_EQ(0, v.asDate().compare(KxbDate(2024, 3, 7, 9, 5, 0)));
  EXPECT_FALSE(v.setType(Boolean));  // dates do not convert to bool
  EXPECT_EQ(Boolean, v.type());
}

TEST_F(DatavarConvert, SetTypeRefusesWithoutChange) {
  KxbDatavar none;
  EXPECT_FALSE(none.setType(String));
  EXPECT_TRUE(none.isNull());

  KxbDatavar v = integer(7);
  unsigned size = 0;
  const void* before = v.getRaw(&size);
  EXPECT_TRUE(v.setType(Integer));  // already held: nothing done
  EXPECT_EQ(before, v.getRaw(&size));
  EXPECT_FALSE(v.setType(Unknown));
  EXPECT_FALSE(v.setType(static_cast<kxbType>(7)));
  EXPECT_FALSE(v.setType(static_cast<kxbType>(-1)));
  EXPECT_EQ(Integer, v.type());
  EXPECT_EQ(7, v.asInt64());
}

}  // namespace
