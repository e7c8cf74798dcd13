// Decimal arithmetic context: precision, exponent limits, rounding mode,
// clamping, and the sticky status word of the decimal library.
//
// Every operation of the decimal library (decNumber.h, decSext.h) takes a
// context. It reads the settings from it and ORs the conditions the operation
// raised into `status`; nothing ever clears a status bit except the caller.
// Conditions never trap: they are only recorded.
//
// A context is a plain value owned by the caller. It has no internal state
// beyond its fields, so one context must not be shared by threads that run
// operations at the same time (each operation writes `status`); separate
// contexts may be used freely from any thread.
#ifndef KXB_PLATFORM_DECIMAL_DECCONTEXT_H_
#define KXB_PLATFORM_DECIMAL_DECCONTEXT_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Rounding modes. The numbers are part of the interface.
enum rounding {
  DEC_ROUND_CEILING = 0,    // toward +Infinity
  DEC_ROUND_UP = 1,         // away from zero
  DEC_ROUND_HALF_UP = 2,    // to nearest, ties away from zero
  DEC_ROUND_HALF_EVEN = 3,  // to nearest, ties to the even digit
  DEC_ROUND_HALF_DOWN = 4,  // to nearest, ties toward zero
  DEC_ROUND_DOWN = 5,       // toward zero (truncate)
  DEC_ROUND_FLOOR = 6,      // toward -Infinity
  DEC_ROUND_05UP = 7,       // toward zero, unless that leaves a last digit
                            // of 0 or 5: then away from zero
  DEC_ROUND_MAX = 8         // number of modes; not a mode
};

// Status bits (conditions). The values are part of the interface.
#define DEC_Conversion_syntax 0x00000001u
#define DEC_Division_by_zero 0x00000002u
#define DEC_Division_impossible 0x00000004u
#define DEC_Division_undefined 0x00000008u
#define DEC_Insufficient_storage 0x00000010u  // never raised: no allocation
#define DEC_Inexact 0x00000020u
#define DEC_Invalid_context 0x00000040u
#define DEC_Invalid_operation 0x00000080u
#define DEC_Overflow 0x00000200u
#define DEC_Clamped 0x00000400u
#define DEC_Rounded 0x00000800u
#define DEC_Subnormal 0x00001000u
#define DEC_Underflow 0x00002000u

// The conditions IEEE 754 groups as "invalid operation".
#define DEC_IEEE_754_Invalid_operation                                        \
  (DEC_Conversion_syntax | DEC_Division_impossible | DEC_Division_undefined | \
   DEC_Insufficient_storage | DEC_Invalid_context | DEC_Invalid_operation)

// Kinds for decContextDefault.
#define DEC_INIT_BASE 0
#define DEC_INIT_DECIMAL32 32
#define DEC_INIT_DECIMAL64 64
#define DEC_INIT_DECIMAL128 128
#define DEC_INIT_DECIMAL192 192

// Limits of the context settings.
#define DEC_MAX_DIGITS 999999999  // largest precision a context may name
#define DEC_MAX_EMAX 999999999
#define DEC_MIN_EMIN -999999999

typedef struct decContext {
  int32_t digits;       // precision: coefficient digits of results (>= 1)
  int32_t emax;         // largest adjusted exponent (0 .. DEC_MAX_EMAX)
  int32_t emin;         // smallest normal adjusted exponent
                        // (DEC_MIN_EMIN .. 0)
  enum rounding round;  // rounding mode
  uint32_t status;      // conditions raised so far (sticky)
  uint8_t clamp;        // 1: exponents are limited to emax - digits + 1 as
                        // in the IEEE interchange formats (zeros are padded
                        // in); 0: up to emax
} decContext;

// Fills `context` with the defaults of `kind` and returns it. Status is
// cleared.
//   DEC_INIT_BASE: 9 digits, emax 999999999, emin -999999999, half-up,
//     no clamping.
//   DEC_INIT_DECIMAL32/64/128/192: the precision and exponent limits of that
//     IEEE 754 interchange format (7/16/34/52 digits, emax 96/384/6144/98304,
//     emin 1 - emax), half-even, clamping on.
// Any other kind gives the base defaults with DEC_Invalid_context in status.
decContext* decContextDefault(decContext* context, int32_t kind);

// Sets the rounding mode and returns the context. A value outside the modes
// leaves the mode unchanged and raises DEC_Invalid_context.
decContext* decContextSetRounding(decContext* context, enum rounding mode);

// Returns the rounding mode.
enum rounding decContextGetRounding(const decContext* context);

// Returns the status word.
uint32_t decContextGetStatus(const decContext* context);

// Returns the bits of the status word that are also in `mask`.
uint32_t decContextTestStatus(const decContext* context, uint32_t mask);

// Clears the whole status word; returns the context.
decContext* decContextZeroStatus(decContext* context);

// ORs `status` into the status word; returns the context.
decContext* decContextSetStatus(decContext* context, uint32_t status);

// The condition's name as the decimal test cases spell it
// ("Division_by_zero", ...) for a single bit; "Multiple status" when more
// than one bit is set, "No status" for zero. Static text.
const char* decContextStatusToString(uint32_t status);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_DECIMAL_DECCONTEXT_H_
