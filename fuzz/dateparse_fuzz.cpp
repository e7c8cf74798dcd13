// Fuzzes the date-text parser: arbitrary text is read in every date-element
// order; whatever is accepted must compose (unless it is a time without a
// date), split back to the same elements, and every text printed from it
// must parse back, in every order, to the same day number (to the second for
// the form without milliseconds). The first eight bytes are also tried as a
// day number for the splitter and the printer.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kxs_date.h"

namespace {

void check(bool ok) {
  if (!ok) std::abort();
}

// Prints `value` in every format and reads each text back in every order.
void checkPrintedForms(double value, const int* e) {
  double secondsOnly;
  check(kxs_compose_date_milli(e[0], e[1], e[2], e[3], e[4], e[5], 0,
                               &secondsOnly) == 1);
  for (int format : {KXS_DATE_TEXT_DEFAULT, KXS_DATE_TEXT_ISO_MILLI,
                     KXS_DATE_TEXT_ISO}) {
    char text[KXS_DATE_TEXT_MIN_SIZE];
    const int length = kxs_date_to_string(value, format, text, sizeof text);
    check(length > 0 && static_cast<size_t>(length) == std::strlen(text));
    for (int order : {KXS_DATE_ORDER_MDY, KXS_DATE_ORDER_DMY,
                      KXS_DATE_ORDER_YMD}) {
      int b[7];
      check(kxs_string_to_date_milli(text, order, &b[0], &b[1], &b[2], &b[3],
                                     &b[4], &b[5], &b[6]) == 1);
      double again;
      check(kxs_compose_date_milli(b[0], b[1], b[2], b[3], b[4], b[5], b[6],
                                   &again) == 1);
      check(again == (format == KXS_DATE_TEXT_ISO ? secondsOnly : value));
    }
  }
}

void checkText(const char* text) {
  for (int order : {KXS_DATE_ORDER_MDY, KXS_DATE_ORDER_DMY,
                    KXS_DATE_ORDER_YMD}) {
    int e[7];
    const int parsed = kxs_string_to_date_milli(text, order, &e[0], &e[1],
                                                &e[2], &e[3], &e[4], &e[5],
                                                &e[6]);
    int s[6];
    const int parsedSix = kxs_string_to_date(text, order, &s[0], &s[1], &s[2],
                                             &s[3], &s[4], &s[5]);
    check(parsed == parsedSix);
    if (!parsed) continue;
    check(std::memcmp(e, s, sizeof s) == 0);

    double value;
    if (!kxs_compose_date_milli(e[0], e[1], e[2], e[3], e[4], e[5], e[6],
                                &value)) {
      // Only a time standing alone parses without composing.
      check(e[0] == 0 && e[1] == 0 && e[2] == 0);
      continue;
    }
    int d[7];
    check(kxs_decompose_date_milli(value, &d[0], &d[1], &d[2], &d[3], &d[4],
                                   &d[5], &d[6]) == 1);
    check(std::memcmp(d, e, sizeof d) == 0);
    checkPrintedForms(value, e);
  }
}

void checkNumber(double value) {
  int e[7];
  if (!kxs_decompose_date_milli(value, &e[0], &e[1], &e[2], &e[3], &e[4],
                                &e[5], &e[6])) {
    char text[KXS_DATE_TEXT_MIN_SIZE];
    check(kxs_date_to_string(value, KXS_DATE_TEXT_DEFAULT, text,
                             sizeof text) == 0);
    check(text[0] == '\0' && kxs_day_of_week(value) == -1);
    return;
  }
  double rounded;
  check(kxs_compose_date_milli(e[0], e[1], e[2], e[3], e[4], e[5], e[6],
                               &rounded) == 1);
  check(kxs_day_of_week(value) == kxs_day_of_week(rounded));
  checkPrintedForms(rounded, e);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The parser reads a terminated text: an embedded NUL ends it, as it would
  // for any caller.
  const std::string text(reinterpret_cast<const char*>(data), size);
  checkText(text.c_str());
  if (size >= sizeof(double)) {
    double value;
    std::memcpy(&value, data, sizeof value);
    checkNumber(value);
  }
  return 0;
}
