// KxbDatavar: the conversion matrix, setType and determineType.
#include <cfloat>
#include <cmath>
#include <cstring>

#include "kxbdatavar.h"
#include "kxs_date.h"
#include "kxs_num.h"
#include "np_uchar.h"
#include "values/kxbdatavar_internal.h"

namespace {

using Record = KxbDatavarRecord;

// The words asBool accepts for a String, tried in this order.
struct TruthWord {
  const char* word;
  bool value;
};
constexpr TruthWord kTruthWords[] = {
    {"TRUE", true}, {"FALSE", false}, {"T", true},  {"F", false},
    {"YES", true},  {"NO", false},    {"Y", true},  {"N", false},
    {"ON", true},   {"OFF", false},
};

// Whether a day number truncates into [low, high] without overflow (false
// for NaN).
bool dayFits(double day, double low, double high) {
  return day > low - 1.0 && day < high + 1.0;
}

}  // namespace

bool KxbDatavar::asBool(bool* failed) const {
  kxbDatavarReport(failed, false);
  const Record* r = record_;
  if (r == nullptr) return false;
  switch (r->type) {
    case Boolean:
      return kxbDatavarBool(r);
    case Integer:
      return kxbDatavarInt(r) != 0;
    case Real: {
      bool bad = false;
      const int64_t value = kxbDatavarReal(r)->value.asInt64(&bad);
      if (bad) break;
      return value != 0;
    }
    case String: {
      const char* text = kxbDatavarText(r);
      for (const TruthWord& t : kTruthWords) {
        if (np_uchar_icomp(text, t.word) == 0) return t.value;
      }
      if (text[0] == '0') return false;
      if (text[0] >= '1' && text[0] <= '9') return true;
      break;
    }
    default:
      break;
  }
  kxbDatavarReport(failed, true);
  return false;
}

int KxbDatavar::asInt(bool* failed) const {
  kxbDatavarReport(failed, false);
  const Record* r = record_;
  if (r == nullptr) return 0;
  switch (r->type) {
    case Boolean:
      return kxbDatavarBool(r) ? 1 : 0;
    case Integer:
      // The low 32 bits, without a range check: callers rely on the cut.
      return static_cast<int>(static_cast<uint32_t>(kxbDatavarInt(r)));
    case Real: {
      bool bad = false;
      const int64_t value = kxbDatavarReal(r)->value.asInt64(&bad);
      if (bad || value < INT32_MIN || value > INT32_MAX) break;
      return static_cast<int>(value);
    }
    case String: {
      int32_t value = 0;
      if (kxs_numparse(kxbDatavarText(r), &value) <= 0) break;
      return value;
    }
    case Date: {
      const double day = kxbDatavarDay(r);
      if (!dayFits(day, INT32_MIN, INT32_MAX)) break;
      return static_cast<int>(day);
    }
    default:
      break;
  }
  kxbDatavarReport(failed, true);
  return 0;
}

int64_t KxbDatavar::asInt64(bool* failed) const {
  kxbDatavarReport(failed, false);
  const Record* r = record_;
  if (r == nullptr) return 0;
  switch (r->type) {
    case Boolean:
      return kxbDatavarBool(r) ? 1 : 0;
    case Integer:
      return kxbDatavarInt(r);
    case Real: {
      bool bad = false;
      const int64_t value = kxbDatavarReal(r)->value.asInt64(&bad);
      if (bad) break;
      return value;
    }
    case String: {
      int64_t value = 0;
      if (kxs_numparse64(kxbDatavarText(r), &value) <= 0) break;
      return value;
    }
    case Date: {
      const double day = kxbDatavarDay(r);
      // -2^63 and 2^63 are exact doubles; the next double below 2^63
      // truncates into range, and so does everything down to -2^63.
      if (!(day >= -9223372036854775808.0 && day < 9223372036854775808.0)) {
        break;
      }
      return static_cast<int64_t>(day);
    }
    default:
      break;
  }
  kxbDatavarReport(failed, true);
  return 0;
}

unsigned KxbDatavar::asSize(bool* failed) const {
  kxbDatavarReport(failed, false);
  const Record* r = record_;
  if (r == nullptr) return 0;
  switch (r->type) {
    case Boolean:
      return kxbDatavarBool(r) ? 1 : 0;
    case Integer: {
      const uint64_t value = static_cast<uint64_t>(kxbDatavarInt(r));
      if ((value >> 32) != 0) break;  // every negative value fails
      return static_cast<unsigned>(value);
    }
    case Real: {
      bool bad = false;
      const unsigned value = kxbDatavarReal(r)->value.asSize(&bad);
      if (bad) break;
      return value;
    }
    case String: {
      uint64_t value = 0;
      if (kxs_numparseU64(kxbDatavarText(r), &value) <= 0 ||
          value > UINT32_MAX) {
        break;
      }
      return static_cast<unsigned>(value);
    }
    case Date: {
      // The stored double's bit pattern read as an integer, as this
      // conversion has always done: only patterns with a zero upper half
      // (day 0.0 among them) convert.
      uint64_t bits;
      std::memcpy(&bits, r->data, sizeof bits);
      if ((bits >> 32) != 0) break;
      return static_cast<unsigned>(bits);
    }
    default:
      break;
  }
  kxbDatavarReport(failed, true);
  return 0;
}

double KxbDatavar::asDouble(bool* failed) const {
  kxbDatavarReport(failed, false);
  const Record* r = record_;
  if (r == nullptr) return 0.0;
  switch (r->type) {
    case Boolean:
      return kxbDatavarBool(r) ? 1.0 : 0.0;
    case Integer:
      return static_cast<double>(kxbDatavarInt(r));
    case Real: {
      bool bad = false;
      const double value = kxbDatavarReal(r)->value.asDouble(&bad);
      if (bad) break;
      return value;
    }
    case String: {
      double value = 0.0;
      if (kxs_numparsedbl(kxbDatavarText(r), &value) <= 0) break;
      return value;
    }
    case Date:
      return kxbDatavarDay(r);
    default:
      break;
  }
  kxbDatavarReport(failed, true);
  return 0.0;
}

float KxbDatavar::asFloat(bool* failed) const {
  const double value = asDouble(failed);
  // Beyond the float range the narrowing gives the infinity of that sign.
  if (value > FLT_MAX) return HUGE_VALF;
  if (value < -FLT_MAX) return -HUGE_VALF;
  return static_cast<float>(value);
}

KxbReal KxbDatavar::asReal(bool* failed) const {
  kxbDatavarReport(failed, false);
  const Record* r = record_;
  if (r == nullptr) return KxbReal();
  switch (r->type) {
    case Boolean:
      return KxbReal(static_cast<int64_t>(kxbDatavarBool(r) ? 1 : 0));
    case Integer:
      return KxbReal(kxbDatavarInt(r));
    case Real:
      return kxbDatavarReal(r)->value;
    case String: {
      KxbReal value;
      value.assign(kxbDatavarText(r));
      if (value.isNull()) break;
      return value;
    }
    case Date:
      return KxbReal(kxbDatavarDay(r));
    default:
      break;
  }
  kxbDatavarReport(failed, true);
  return KxbReal();
}

KxbBlob KxbDatavar::asBlob(bool* failed) const {
  kxbDatavarReport(failed, false);
  const Record* r = record_;
  if (r == nullptr) return KxbBlob();
  if (r->type == Binary) return *kxbDatavarBlob(r);
  if (r->type == String) {
    // The terminator goes along: callers reading the blob expect it.
    KxbBlob blob;
    blob.append(kxbDatavarText(r), r->dataSize);
    if (!blob.isNull()) return blob;
  }
  kxbDatavarReport(failed, true);
  return KxbBlob();
}

KxbDate KxbDatavar::asDate() const {
  const Record* r = record_;
  if (r == nullptr) return KxbDate();
  switch (r->type) {
    case Real: {
      bool bad = false;
      const double value = kxbDatavarReal(r)->value.asDouble(&bad);
      return bad ? KxbDate() : KxbDate(value);
    }
    case String:
      return KxbDate(kxbDatavarText(r));
    case Date:
      return KxbDate(kxbDatavarDay(r));
    default:
      return KxbDate();
  }
}

KxbString KxbDatavar::asString() const {
  const Record* r = record_;
  if (r == nullptr) return KxbString();
  switch (r->type) {
    case Boolean:
      return KxbString(kxbDatavarBool(r) ? "true" : "false", true);
    case Integer: {
      KxbString text;
      text.assign(kxbDatavarInt(r));
      return text;
    }
    case Real:
      return kxbDatavarReal(r)->value.asString();
    case String:
      return KxbString(kxbDatavarText(r));
    case Date: {
      // The forms of KxbDate::asString(iso, isoMillis), straight from the
      // stored number; a number outside the calendar gives the empty text.
      const int format = !kxbDatavarIsoDates() ? KXS_DATE_TEXT_DEFAULT
                         : kxbDatavarIsoMillis() ? KXS_DATE_TEXT_ISO_MILLI
                                                 : KXS_DATE_TEXT_ISO;
      char text[KXS_DATE_TEXT_MIN_SIZE];
      kxs_date_to_string(kxbDatavarDay(r), format, text, sizeof text);
      return KxbString(text);
    }
    default:
      return KxbString();
  }
}

bool KxbDatavar::setType(kxbType type) {
  if (record_ == nullptr || type < Unknown || type > Binary) return false;
  if (record_->type == type) return true;
  bool failed = false;
  // True when the converted value is null by rule (a Binary value has no
  // text, an unreadable date none); the variant then becomes null.
  bool nullValue = false;
  switch (type) {
    case Boolean: {
      const bool value = asBool(&failed);
      assign(value);
      break;
    }
    case Integer: {
      const int64_t value = asInt64(&failed);
      assign(value);
      break;
    }
    case Real: {
      const KxbReal value = asReal(&failed);
      nullValue = value.isNull();
      assign(value);
      break;
    }
    case String: {
      const KxbString value = asString();
      if (value.isNull()) {
        // Every value but a Binary one has a text: null means memory ran
        // out, and the variant stays as it was.
        if (record_->type != Binary) return false;
        nullValue = true;
      }
      assign(value);
      break;
    }
    case Date: {
      const KxbDate value = asDate();
      nullValue = value.isNull();
      assign(value);
      break;
    }
    case Binary: {
      const KxbBlob value = asBlob(&failed);
      nullValue = value.isNull();
      assign(value);
      break;
    }
    default:
      return false;
  }
  // An assignment that ran out of memory left the variant as it was or
  // made it null.
  if (!nullValue && (record_ == nullptr || record_->type != type)) return false;
  return !failed;
}

// ---------------------------------------------------------------------------
// determineType

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Skips white-space characters from `p`.
const char* skipSpace(const char* p) {
  int size = 0;
  while (*p != '\0' && np_uchar_isspace(p, &size)) p += size;
  return p;
}

// True when `text` is a number alone: blanks, digits, optionally "." and
// digits, blanks.
bool plainNumber(const char* text) {
  const char* p = skipSpace(text);
  while (isDigit(*p)) ++p;
  if (*p == '.') {
    ++p;
    while (isDigit(*p)) ++p;
  }
  return *skipSpace(p) == '\0';
}

bool looksLikeDate(const char* text) {
  int e[6] = {0, 0, 0, 0, 0, 0};
  if (kxs_string_to_date(text, kxs_get_date_format(), &e[0], &e[1], &e[2],
                         &e[3], &e[4], &e[5]) != 1) {
    return false;
  }
  return (e[0] != 0 && e[1] != 0 && e[2] != 0) ||
         (e[3] != 0 && e[4] != 0 && e[5] != 0);
}

}  // namespace

determinedType determineType(KxbString text) {
  static const char* const kWords[] = {"yes",   "no", "true", "false",
                                       "t",     "f",  "y",    "n"};
  const char* s = text.asCstr();
  for (const char* word : kWords) {
    if (std::strcmp(s, word) == 0) return kxbDeterminedTruth;
  }
  if (!plainNumber(s) && looksLikeDate(s)) return kxbDeterminedDate;

  enum Class { kNone, kDigit, kExponent, kSign, kPoint, kLetter, kStray };
  int letters = 0, stray = 0, exponents = 0, signs = 0, digits = 0,
      points = 0;
  Class previous = kNone;
  for (const char* p = s; *p != '\0';) {
    int size = 0;
    if (np_uchar_isspace(p, &size)) {
      p += size;
      continue;
    }
    const int code = np_uchar_toint(p, &size);
    p += size;
    Class current;
    if (code >= '0' && code <= '9') {
      current = kDigit;
      ++digits;
    } else if (code == 'E' || code == 'e') {
      current = previous == kDigit ? kExponent : kStray;
      ++(current == kExponent ? exponents : stray);
    } else if (code == '+' || code == '-') {
      current = previous == kNone || previous == kExponent ? kSign : kStray;
      ++(current == kSign ? signs : stray);
    } else if (code == '.') {
      current = kPoint;
      ++points;
    } else if ((code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z') ||
               code > 0x7F) {
      // Every character beyond ASCII counts as a letter: either way the
      // text is not a number.
      current = kLetter;
      ++letters;
    } else {
      current = kStray;
      ++stray;
    }
    previous = current;
  }
  if (letters == 0 && stray == 0 && exponents < 2 && signs < 3 && digits > 0 &&
      points < 2) {
    return points == 0 ? kxbDeterminedInteger : kxbDeterminedReal;
  }
  return kxbDeterminedText;
}
