// Decimal arithmetic contexts.
#include "decimal/decContext.h"

namespace {

void setFormat(decContext* c, int32_t digits, int32_t emax) {
  c->digits = digits;
  c->emax = emax;
  c->emin = 1 - emax;
  c->round = DEC_ROUND_HALF_EVEN;
  c->clamp = 1;
}

}  // namespace

extern "C" {

decContext* decContextDefault(decContext* c, int32_t kind) {
  c->digits = 9;
  c->emax = DEC_MAX_EMAX;
  c->emin = DEC_MIN_EMIN;
  c->round = DEC_ROUND_HALF_UP;
  c->status = 0;
  c->clamp = 0;
  switch (kind) {
    case DEC_INIT_BASE:
      break;
    case DEC_INIT_DECIMAL32:
      setFormat(c, 7, 96);
      break;
    case DEC_INIT_DECIMAL64:
      setFormat(c, 16, 384);
      break;
    case DEC_INIT_DECIMAL128:
      setFormat(c, 34, 6144);
      break;
    case DEC_INIT_DECIMAL192:
      setFormat(c, 52, 98304);
      break;
    default:
      c->status = DEC_Invalid_context;
      break;
  }
  return c;
}

decContext* decContextSetRounding(decContext* c, enum rounding mode) {
  if (static_cast<unsigned>(mode) < DEC_ROUND_MAX) {
    c->round = mode;
  } else {
    c->status |= DEC_Invalid_context;
  }
  return c;
}

enum rounding decContextGetRounding(const decContext* c) { return c->round; }

uint32_t decContextGetStatus(const decContext* c) { return c->status; }

uint32_t decContextTestStatus(const decContext* c, uint32_t mask) {
  return c->status & mask;
}

decContext* decContextZeroStatus(decContext* c) {
  c->status = 0;
  return c;
}

decContext* decContextSetStatus(decContext* c, uint32_t status) {
  c->status |= status;
  return c;
}

const char* decContextStatusToString(uint32_t status) {
  switch (status) {
    case 0:
      return "No status";
    case DEC_Conversion_syntax:
      return "Conversion_syntax";
    case DEC_Division_by_zero:
      return "Division_by_zero";
    case DEC_Division_impossible:
      return "Division_impossible";
    case DEC_Division_undefined:
      return "Division_undefined";
    case DEC_Insufficient_storage:
      return "Insufficient_storage";
    case DEC_Inexact:
      return "Inexact";
    case DEC_Invalid_context:
      return "Invalid_context";
    case DEC_Invalid_operation:
      return "Invalid_operation";
    case DEC_Overflow:
      return "Overflow";
    case DEC_Clamped:
      return "Clamped";
    case DEC_Rounded:
      return "Rounded";
    case DEC_Subnormal:
      return "Subnormal";
    case DEC_Underflow:
      return "Underflow";
    default:
      return "Multiple status";
  }
}

}  // extern "C"
