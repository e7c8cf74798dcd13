#!/usr/bin/env python3
"""Writes the differential test vectors of the 192-bit decimal arithmetic.

Every case is computed by Python's decimal module, an independent
implementation of General Decimal Arithmetic, in the context of the 192-bit
interchange format: 52 digits, Emax 98304, Emin -98303, clamping on, traps
off. differential_test.cpp runs the same operations through decSext and
compares the result text and the raised conditions.

Operands are at most 52 digits with exponents the format holds exactly, so
that both sides start from the same values. They mix ordinary numbers with
full-length coefficients, values near the overflow and underflow limits,
constructed exact ties, zeros and the special values; every operation runs
in every rounding mode.

The output is deterministic for a given seed:

    tests/platform/decimal/gen_vectors.py > tests/platform/decimal/differential_vectors.txt

Line format (fields separated by single spaces):

    <operation> <rounding> <operand>... -> <result> <status>

with the status as the hexadecimal word of decContext.h (Python's
InvalidOperation is split into the precise condition that caused it).
"""

import argparse
import decimal
import random
import sys

PREC = 52
EMAX = 98304
EMIN = -98303
ETINY = EMIN - PREC + 1  # smallest exponent: -98354
ETOP = EMAX - PREC + 1   # largest exponent with clamping: 98253

# Rounding modes: the name used in the vectors, Python's constant, and the
# number of decContext.h's enum rounding (documented for the reader; the
# test maps the names itself).
MODES = [
    ("ceiling", decimal.ROUND_CEILING, 0),
    ("up", decimal.ROUND_UP, 1),
    ("half_up", decimal.ROUND_HALF_UP, 2),
    ("half_even", decimal.ROUND_HALF_EVEN, 3),
    ("half_down", decimal.ROUND_HALF_DOWN, 4),
    ("down", decimal.ROUND_DOWN, 5),
    ("floor", decimal.ROUND_FLOOR, 6),
    ("05up", decimal.ROUND_05UP, 7),
]

# Python's signals and the conditions behind InvalidOperation, as the
# status bits of decContext.h.
SIGNAL_BITS = [
    (decimal.DivisionByZero, 0x00000002),
    (decimal.Inexact, 0x00000020),
    (decimal.Overflow, 0x00000200),
    (decimal.Clamped, 0x00000400),
    (decimal.Rounded, 0x00000800),
    (decimal.Subnormal, 0x00001000),
    (decimal.Underflow, 0x00002000),
]
INVALID_BITS = [
    (decimal.ConversionSyntax, 0x00000001),
    (decimal.DivisionImpossible, 0x00000004),
    (decimal.DivisionUndefined, 0x00000008),
    (decimal.InvalidContext, 0x00000040),
    (decimal.InvalidOperation, 0x00000080),
]

# Cases per operation and rounding mode.
COUNTS = {
    "add": 36,
    "subtract": 24,
    "multiply": 36,
    "divide": 36,
    "divideint": 12,
    "remainder": 12,
    "remaindernear": 16,
    "fma": 28,
    "quantize": 32,
    "reduce": 8,
    "squareroot": 24,
    "compare": 8,
    "tointegral": 24,
}

WIDE = decimal.Context(prec=400, Emax=10**9, Emin=-10**9, traps=[])


def context(rounding):
    return decimal.Context(prec=PREC, Emax=EMAX, Emin=EMIN, clamp=1,
                           rounding=rounding, traps=[])


def make(sign, coefficient, exponent):
    """A finite Decimal; None when the format cannot hold it exactly."""
    digits = str(coefficient)
    if len(digits) > PREC or not ETINY <= exponent <= ETOP:
        return None
    return decimal.Decimal((sign, tuple(int(d) for d in digits), exponent))


def clamp_exponent(exponent):
    return max(ETINY, min(ETOP, exponent))


class Operands:
    """Random operands of the format."""

    def __init__(self, rng):
        self.rng = rng

    def coefficient(self, ndigits=None):
        rng = self.rng
        if ndigits is None:
            ndigits = rng.choice([1, 2, 3, 5, 9, 16, 20, 30, 40, 51, 52, 52,
                                  52, rng.randint(1, PREC)])
        shape = rng.random()
        if shape < 0.08:
            return 10 ** ndigits - 1                      # 99..9
        if shape < 0.14:
            return 10 ** (ndigits - 1)                    # 10..0
        if shape < 0.20 and ndigits > 1:
            return 10 ** (ndigits - 1) * rng.randint(1, 9) + 5  # d0..05
        first = rng.randint(1, 9)
        if ndigits == 1:
            return first
        return first * 10 ** (ndigits - 1) + rng.randrange(10 ** (ndigits - 1))

    def finite(self, kind=None):
        rng = self.rng
        sign = rng.randint(0, 1)
        if kind is None:
            kind = rng.choices(
                ["small", "full", "wide", "high", "low", "zero"],
                weights=[40, 20, 10, 8, 10, 4])[0]
        if kind == "zero":
            exponent = rng.choice([0, 0, -2, 5, rng.randint(ETINY, ETOP),
                                   ETINY, ETOP])
            return make(sign, 0, exponent)
        coefficient = self.coefficient(PREC if kind == "full" else None)
        ndigits = len(str(coefficient))
        if kind in ("small", "full"):
            exponent = rng.randint(-40, 20) - (ndigits - 1) // 2
        elif kind == "wide":
            exponent = rng.randint(ETINY, ETOP)
        elif kind == "high":
            # Adjusted exponent within a few of Emax.
            exponent = EMAX - rng.randint(0, 60) - (ndigits - 1)
        else:
            # Around Emin: normal, subnormal and the smallest subnormals.
            exponent = EMIN - rng.randint(-10, 55)
        return make(sign, coefficient, clamp_exponent(exponent))

    def special(self):
        rng = self.rng
        return decimal.Decimal(rng.choice(
            ["Infinity", "-Infinity", "NaN", "-NaN", "sNaN", "-sNaN",
             "NaN123", "sNaN45", "NaN" + "9" * 51, "0", "-0", "0E-98354",
             "-0E+98253"]))

    def any(self, special_rate=0.06):
        if self.rng.random() < special_rate:
            return self.special()
        value = None
        while value is None:
            value = self.finite()
        return value

    def near(self, other, spread=60):
        """A finite value whose exponent is within `spread` of other's."""
        rng = self.rng
        if not other.is_finite():
            return self.any()
        while True:
            coefficient = self.coefficient()
            exponent = (other.adjusted() - rng.randint(-spread, spread) -
                        (len(str(coefficient)) - 1))
            value = make(rng.randint(0, 1), coefficient,
                         clamp_exponent(exponent))
            if value is not None:
                return value


def odd_full(rng, low=10 ** (PREC - 1)):
    """An odd coefficient of 52 digits, at least low."""
    return rng.randrange(low, 10 ** PREC) | 1


def tie_cases(rng, op):
    """Operands whose exact result lies halfway between two neighbours."""
    sign = rng.randint(0, 1)
    e = rng.randint(-30, 10)
    if op in ("add", "subtract"):
        # 52 digits plus a trailing 5 (or 50..0) one place below.
        a = make(sign, rng.randrange(10 ** (PREC - 1), 10 ** PREC), e)
        k = rng.randint(1, 6)
        b = make(sign if op == "add" else 1 - sign, 5 * 10 ** (k - 1), e - k)
        return [a, b]
    if op == "multiply":
        # 52-digit odd coefficient of at least 2E51 times 5: 53 digits
        # ending in 5.
        a = make(sign, odd_full(rng, 2 * 10 ** (PREC - 1)), e)
        return [a, make(rng.randint(0, 1), 5, rng.randint(-3, 3))]
    if op == "divide":
        a = make(sign, odd_full(rng), e)
        return [a, make(rng.randint(0, 1), 2 * 10 ** rng.randint(0, 2),
                        rng.randint(-3, 3))]
    if op == "fma":
        a = make(sign, odd_full(rng, 2 * 10 ** (PREC - 1)), e)
        b = make(0, 5, 0)
        # An addend that keeps the product's last digits.
        c = make(rng.randint(0, 1), rng.randint(1, 999), e + rng.randint(2, 30))
        return [a, b, c]
    if op == "remaindernear":
        # a = b * (q + 1/2) exactly, with an even coefficient for b.
        b = make(0, 2 * rng.randint(1, 10 ** 20), e)
        q = rng.randint(0, 10 ** 20)
        exact = WIDE.multiply(b.copy_abs(), WIDE.add(decimal.Decimal(q),
                                                     decimal.Decimal("0.5")))
        _, digits, exponent = exact.as_tuple()
        a = make(sign, int("".join(map(str, digits))), exponent)
        return [a, b.copy_sign(decimal.Decimal(rng.choice([1, -1])))]
    if op == "quantize":
        k = rng.randint(1, 5)
        coefficient = (rng.randrange(10 ** 30) * 10 + 5) * 10 ** (k - 1)
        a = make(sign, coefficient, e)
        return [a, make(0, 1, e + k)]
    if op == "tointegral":
        k = rng.randint(1, 4)
        coefficient = (rng.randrange(10 ** 12) * 10 + 5) * 10 ** (k - 1)
        return [make(sign, coefficient, -k)]
    return None


def limit_cases(rng, op, ops):
    """Operands whose results land near overflow or underflow."""
    sign = rng.randint(0, 1)
    high = rng.random() < 0.5
    if op in ("add", "subtract", "fma"):
        if high:
            a = make(sign, 10 ** PREC - rng.randint(1, 3), ETOP)
        else:
            a = make(sign, ops.coefficient(),
                     clamp_exponent(EMIN - rng.randint(-2, 52)))
        b = ops.near(a, 3)
        if op == "fma":
            return [a, make(0, 1, 0), b]
        return [a, b]
    if op == "multiply" or op == "divide":
        ea = rng.randint(-200, 200)
        target = (EMAX - rng.randint(-2, 2)) if high else (
            EMIN - rng.randint(-2, 60))
        a = make(sign, ops.coefficient(), ea)
        cb = ops.coefficient()
        # adjusted(a op b) is about target.
        if op == "multiply":
            adj_b = target - a.adjusted()
        else:
            adj_b = a.adjusted() - target
        b = make(rng.randint(0, 1), cb,
                 clamp_exponent(adj_b - (len(str(cb)) - 1)))
        return [a, b]
    if op == "squareroot":
        exponent = ETINY + rng.randint(0, 80) if not high else ETOP
        return [make(0, ops.coefficient(), exponent)]
    if op == "quantize":
        a = ops.finite("low" if not high else "high")
        target = (ETINY + rng.randint(0, 60)) if not high else (
            ETOP - rng.randint(0, 60))
        if a is None:
            return None
        return [a, decimal.Decimal((0, (1,), target))]
    if op == "reduce":
        coefficient = ops.coefficient(rng.randint(1, 30)) * 10 ** rng.randint(
            1, 20)
        if len(str(coefficient)) > PREC:
            return None
        return [make(sign, coefficient, ETOP - rng.randint(0, 25))]
    return None


def operands_for(rng, ops, op):
    """Operand list for one case of op."""
    r = rng.random()
    if r < 0.15:
        got = tie_cases(rng, op)
        if got and all(x is not None for x in got):
            return got
    if r < 0.30:
        got = limit_cases(rng, op, ops)
        if got and all(x is not None for x in got):
            return got
    if op in ("add", "subtract", "compare"):
        a = ops.any()
        if rng.random() < 0.5:
            return [a, ops.near(a)]
        if op == "compare" and rng.random() < 0.5 and a.is_finite():
            # Equal values at other exponents.
            sign, digits, exponent = a.as_tuple()
            pad = rng.randint(0, PREC - len(digits))
            coefficient = int("".join(map(str, digits))) * 10 ** pad
            b = make(sign, coefficient, exponent - pad)
            if b is not None:
                return [a, b]
        return [a, ops.any()]
    if op in ("multiply", "divide"):
        a, b = ops.any(), ops.any()
        if op == "divide" and rng.random() < 0.2 and b.is_finite() and \
                not b.is_zero():
            # Exact quotients: the ideal exponent decides the result.
            q = make(rng.randint(0, 1), rng.randint(1, 10 ** rng.randint(1, 20)),
                     rng.randint(-10, 10))
            product = WIDE.multiply(b, q)
            if len(product.as_tuple().digits) <= PREC and \
                    ETINY <= product.as_tuple().exponent <= ETOP:
                a = product
        return [a, b]
    if op in ("divideint", "remainder", "remaindernear"):
        a = ops.any()
        b = ops.near(a, 60) if rng.random() < 0.8 else ops.any()
        return [a, b]
    if op == "fma":
        a, b = ops.any(0.03), ops.any(0.03)
        if a.is_finite() and b.is_finite() and rng.random() < 0.6:
            product = WIDE.multiply(a, b)
            c = ops.near(product, 60) if product.is_finite() and \
                not product.is_zero() else ops.any()
        else:
            c = ops.any()
        return [a, b, c]
    if op == "quantize":
        a = ops.any(0.04)
        if a.is_finite() and rng.random() < 0.9:
            # Targets the format holds; beyond them quantize has no operand.
            target = a.as_tuple().exponent + rng.randint(-55, 55)
            if rng.random() < 0.2:
                target = rng.randint(ETINY, ETOP)
            b = decimal.Decimal((rng.randint(0, 1), (rng.choice([1, 5, 0]),),
                                 clamp_exponent(target)))
        else:
            b = ops.any(0.3)
        return [a, b]
    if op == "reduce":
        a = ops.any()
        if a.is_finite() and not a.is_zero():
            sign, digits, exponent = a.as_tuple()
            pad = rng.randint(0, PREC - len(digits))
            coefficient = int("".join(map(str, digits))) * 10 ** pad
            b = make(sign, coefficient, clamp_exponent(exponent - pad))
            if b is not None:
                return [b]
        return [a]
    if op == "squareroot":
        a = ops.any()
        if rng.random() < 0.2 and a.is_finite():
            # Perfect squares keep the ideal exponent.
            root = rng.randint(1, 10 ** rng.randint(1, 26))
            a = make(0, root * root, 2 * rng.randint(-20, 20) +
                     rng.randint(0, 1))
            if a is None:
                a = ops.any()
        elif a.is_finite() and rng.random() < 0.85:
            a = a.copy_abs()
        return [a]
    if op == "tointegral":
        a = ops.any()
        if a.is_finite() and rng.random() < 0.8:
            sign, digits, _ = a.as_tuple()
            a = make(sign, int("".join(map(str, digits))),
                     rng.randint(-len(digits) - 2, 3))
        return [a]
    raise ValueError(op)


def evaluate(op, mode, args):
    """The result and status word of op in the format's context."""
    def run(ctx):
        if op == "add":
            return ctx.add(*args)
        if op == "subtract":
            return ctx.subtract(*args)
        if op == "multiply":
            return ctx.multiply(*args)
        if op == "divide":
            return ctx.divide(*args)
        if op == "divideint":
            return ctx.divide_int(*args)
        if op == "remainder":
            return ctx.remainder(*args)
        if op == "remaindernear":
            return ctx.remainder_near(*args)
        if op == "fma":
            return ctx.fma(*args)
        if op == "quantize":
            return ctx.quantize(*args)
        if op == "reduce":
            return ctx.normalize(*args)
        if op == "squareroot":
            return ctx.sqrt(*args)
        if op == "compare":
            return ctx.compare(*args)
        if op == "tointegral":
            return ctx.to_integral_value(*args)
        raise ValueError(op)

    ctx = context(mode)
    result = run(ctx)
    status = 0
    for signal, bit in SIGNAL_BITS:
        if ctx.flags[signal]:
            status |= bit
    if ctx.flags[decimal.InvalidOperation]:
        # Trapping names the precise conditions behind InvalidOperation.
        trap = context(mode)
        trap.traps[decimal.InvalidOperation] = True
        try:
            run(trap)
            raise AssertionError("InvalidOperation not raised again")
        except decimal.InvalidOperation as error:
            conditions = error.args[0] if error.args and isinstance(
                error.args[0], list) else [decimal.InvalidOperation]
        for condition in conditions:
            for cls, bit in INVALID_BITS:
                if condition is cls:
                    status |= bit
    return str(result), status


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seed", type=int, default=20240611)
    args = parser.parse_args()
    rng = random.Random(args.seed)
    ops = Operands(rng)
    out = sys.stdout
    out.write("# Differential vectors for the 192-bit decimal arithmetic, "
              "written by gen_vectors.py\n")
    out.write("# (seed %d) from Python's decimal module, context prec %d, "
              "Emax %d, Emin %d, clamp 1.\n" % (args.seed, PREC, EMAX, EMIN))
    out.write("# <operation> <rounding> <operand>... -> <result> "
              "<status word in hex>\n")
    total = 0
    for op, count in COUNTS.items():
        for name, mode, _ in MODES:
            for _ in range(count):
                operands = operands_for(rng, ops, op)
                result, status = evaluate(op, mode, operands)
                out.write("%s %s %s -> %s %x\n" % (
                    op, name, " ".join(str(x) for x in operands), result,
                    status))
                total += 1
    out.write("# %d cases\n" % total)


if __name__ == "__main__":
    main()
