// Fuzzes KxbDatavar::build: arbitrary bytes are built into every type (and
// one number outside the enumeration). Whatever comes out must keep the
// variant's invariants: a String holds exactly the bytes given, an Integer
// the strict parse of the text, a Binary the bytes and a terminator; a
// failed conversion leaves the documented value; raw transfer and copies
// compare equal; Integer and Date values print texts that build back into
// the same value. Every other conversion, setType, truncate and
// determineType must merely survive the value.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kx_atomic.h"
#include "kxbconfigoptions.h"
#include "../bench/library_setup.h"
#include "kxbdatavar.h"
#include "kxbmempool.h"
#include "kxlog.h"
#include "kxs_num.h"
#include "np_uchar.h"
#include "startup/kxbconfigstore.h"
#include "startup/kxbglobals.h"
#include "values/kxbblob_pageserver.h"

namespace {

void check(bool ok) {
  if (!ok) std::abort();
}

// The library's pieces a variant needs; one page server kept for the whole
// run, so that Binary values do not start a server (and a file) each time.
KxbBlobPageServerRef* setUp() {
  kxb_bench::setUpLibrary();
  auto* ref = new KxbBlobPageServerRef;
  check(ref->join() != nullptr);
  return ref;
}

void exercise(const KxbDatavar& v) {
  bool failed;
  v.asBool(&failed);
  v.asInt(&failed);
  v.asInt64(&failed);
  v.asSize(&failed);
  v.asDouble(&failed);
  v.asFloat(&failed);
  v.asReal(&failed);
  v.asDate();
  const KxbString text = v.asString();
  determineType(text);
  for (int t = Unknown; t <= Binary + 1; ++t) {
    KxbDatavar copy(v);
    copy.setType(static_cast<kxbType>(t));
    copy.truncate(t, t * 2 - 1);
    check(copy.type() != String || copy.length() >= 0);
  }
}

void checkRawTransfer(const KxbDatavar& v) {
  if (v.isNull() || v.type() == Binary || v.type() == Unknown) return;
  unsigned size = 0;
  const void* raw = v.getRaw(&size);
  check(raw != nullptr && size > 0);
  KxbDatavar copy;
  copy.assign(v.type(), raw, size);
  check(copy.type() == v.type());
  check(copy.compare(v) == 0);
  KxbDatavar shared(v);
  check(shared.compare(v) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static KxbBlobPageServerRef* const server = setUp();
  (void)server;
  const char* text = reinterpret_cast<const char*>(data);
  // The text as the variant sees it: up to the first NUL byte.
  const std::string bytes(text, size);
  const std::string visible(bytes.c_str());

  for (int t = Unknown; t <= Binary + 1; ++t) {
    const kxbType type = static_cast<kxbType>(t);
    KxbDatavar v;
    const bool built = v.build(type, text, static_cast<unsigned>(size));
    if (size == 0) {
      check(!built && v.isNull());
      continue;
    }
    switch (t) {
      case Unknown:
      case Binary + 1:
        // Not converted to: the text stays a String.
        check(!built && v.type() == String);
        break;
      case String: {
        check(built && v.type() == String);
        unsigned stored = 0;
        const char* raw = static_cast<const char*>(v.getRaw(&stored));
        check(stored == size + 1 && std::memcmp(raw, text, size) == 0 &&
              raw[size] == '\0');
        check(v.length() == np_uchar_length(visible.c_str()));
        check(v.asString().compare(visible.c_str()) == 0);
        break;
      }
      case Integer: {
        int64_t expected = 0;
        const bool parses = kxs_numparse64(visible.c_str(), &expected) > 0;
        check(v.type() == Integer && built == parses);
        check(v.asInt64() == (parses ? expected : 0));
        // Its text builds back into the same number.
        const KxbString printed = v.asString();
        KxbDatavar again;
        check(again.build(Integer, printed.asCstr(),
                          static_cast<unsigned>(printed.cStrSize() - 1)));
        check(again.compare(v) == 0);
        break;
      }
      case Boolean:
        check(v.type() == Boolean);
        check(built || !v.asBool());
        break;
      case Real:
        check(built ? !v.isNull() : v.isNull());
        break;
      case Date:
        check(built);
        if (!v.isNull()) {
          check(v.type() == Date);
          // The default text form is exact to the millisecond.
          const KxbString printed = v.asString();
          KxbDatavar again;
          check(again.build(Date, printed.asCstr(),
                            static_cast<unsigned>(printed.cStrSize() - 1)));
          check(again.compare(v) == 0);
        }
        break;
      case Binary: {
        check(built && v.type() == Binary);
        KxbBlob blob = v.asBlob();
        check(blob.size() == static_cast<int64_t>(size) + 1);
        std::string back(size + 1, 'x');
        check(blob.rewind());
        check(blob.read(back.data(), static_cast<int64_t>(size) + 1) ==
              static_cast<int64_t>(size) + 1);
        check(std::memcmp(back.data(), text, size) == 0 && back[size] == '\0');
        break;
      }
    }
    checkRawTransfer(v);
    exercise(v);
  }
  return 0;
}
