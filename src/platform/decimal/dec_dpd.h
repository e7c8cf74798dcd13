// Densely packed decimal declets: three decimal digits in ten bits, and
// the tables that convert every declet at once: 1,000 values to declets
// and 1,024 declets to values (non-canonical patterns included), and the
// same between declets and three binary-coded decimal digits (12 bits, the
// units digit lowest).
//
// Internal to the decimal library; the tables are built at compile time.
#ifndef KXB_PLATFORM_DECIMAL_DEC_DPD_H_
#define KXB_PLATFORM_DECIMAL_DEC_DPD_H_

#include <stdint.h>

namespace kxdec {

// Three digits d2 d1 d0 (bits abcd efgh ijkm) to the declet pqr stu v wxy.
constexpr uint16_t dpdEncodeRule(unsigned n) {
  unsigned d2 = n / 100, d1 = n / 10 % 10, d0 = n % 10;
  unsigned a = d2 >> 3, e = d1 >> 3, i = d0 >> 3;
  unsigned bcd = d2 & 7, fgh = d1 & 7, jkm = d0 & 7;
  unsigned d = d2 & 1, h = d1 & 1, m = d0 & 1;
  unsigned fg = (d1 >> 1) & 3, jk = (d0 >> 1) & 3;
  unsigned pqr, stu, wxy, v = 1;
  switch ((a << 2) | (e << 1) | i) {
    case 0:  // all small
      pqr = bcd, stu = fgh, wxy = jkm, v = 0;
      break;
    case 1:  // d0 large
      pqr = bcd, stu = fgh, wxy = m;
      break;
    case 2:  // d1 large
      pqr = bcd, stu = (jk << 1) | h, wxy = 2 | m;
      break;
    case 3:  // d1, d0 large
      pqr = bcd, stu = 4 | h, wxy = 6 | m;
      break;
    case 4:  // d2 large
      pqr = (jk << 1) | d, stu = fgh, wxy = 4 | m;
      break;
    case 5:  // d2, d0 large
      pqr = (fg << 1) | d, stu = 2 | h, wxy = 6 | m;
      break;
    case 6:  // d2, d1 large
      pqr = (jk << 1) | d, stu = h, wxy = 6 | m;
      break;
    default:  // all large
      pqr = d, stu = 6 | h, wxy = 6 | m;
      break;
  }
  return static_cast<uint16_t>((pqr << 7) | (stu << 4) | (v << 3) | wxy);
}

constexpr uint16_t dpdDecodeRule(unsigned x) {
  unsigned p = (x >> 9) & 1, q = (x >> 8) & 1, r = (x >> 7) & 1;
  unsigned s = (x >> 6) & 1, t = (x >> 5) & 1, u = (x >> 4) & 1;
  unsigned v = (x >> 3) & 1, w = (x >> 2) & 1, xb = (x >> 1) & 1, y = x & 1;
  unsigned pqr = (p << 2) | (q << 1) | r, stu = (s << 2) | (t << 1) | u;
  unsigned d2, d1, d0;
  if (!v) {
    d2 = pqr, d1 = stu, d0 = (w << 2) | (xb << 1) | y;
  } else {
    switch ((w << 1) | xb) {
      case 0:
        d2 = pqr, d1 = stu, d0 = 8 + y;
        break;
      case 1:
        d2 = pqr, d1 = 8 + u, d0 = (s << 2) | (t << 1) | y;
        break;
      case 2:
        d2 = 8 + r, d1 = stu, d0 = (p << 2) | (q << 1) | y;
        break;
      default:
        switch ((s << 1) | t) {
          case 0:
            d2 = 8 + r, d1 = 8 + u, d0 = (p << 2) | (q << 1) | y;
            break;
          case 1:
            d2 = 8 + r, d1 = (p << 2) | (q << 1) | u, d0 = 8 + y;
            break;
          case 2:
            d2 = pqr, d1 = 8 + u, d0 = 8 + y;
            break;
          default:
            d2 = 8 + r, d1 = 8 + u, d0 = 8 + y;
            break;
        }
        break;
    }
  }
  return static_cast<uint16_t>(d2 * 100 + d1 * 10 + d0);
}

// Largest three-digit binary-coded decimal, 999.
inline constexpr unsigned kBcd999 = 0x999;

struct DpdTables {
  uint16_t to_dpd[1000];
  uint16_t from_dpd[1024];
  uint16_t bcd_to_dpd[kBcd999 + 1];  // only indexes with digits 0-9 used
  uint16_t dpd_to_bcd[1024];
};

constexpr unsigned bcdOf3(unsigned v) {
  return (v / 100) << 8 | (v / 10 % 10) << 4 | v % 10;
}

constexpr DpdTables makeDpdTables() {
  DpdTables t{};
  for (unsigned i = 0; i < 1000; ++i) {
    t.to_dpd[i] = dpdEncodeRule(i);
    t.bcd_to_dpd[bcdOf3(i)] = t.to_dpd[i];
  }
  for (unsigned i = 0; i < 1024; ++i) {
    t.from_dpd[i] = dpdDecodeRule(i);
    t.dpd_to_bcd[i] = static_cast<uint16_t>(bcdOf3(t.from_dpd[i]));
  }
  return t;
}

inline constexpr DpdTables kDpd = makeDpdTables();

}  // namespace kxdec

#endif  // KXB_PLATFORM_DECIMAL_DEC_DPD_H_
