#!/usr/bin/python3
"""The batch job as a user would otherwise write it, for comparison.

The same work as kxb-batch without the mail: read the orders of an SQLite
file, total the amounts per region exactly with decimal, take the first and
last order date, and write one report per region from a string.Template.

    batch_python.py DATABASE OUTPUT_DIR
"""
import decimal
import os
import sqlite3
import string
import sys

decimal.getcontext().prec = 52

TEMPLATE = string.Template("""Orders of region $group
======================================================

Orders:         $count
Total amount:   $total
Largest order:  $largest
First order:    $first
Last order:     $last

Source: $source
""")


def main():
    database, output = sys.argv[1], sys.argv[2]
    os.makedirs(output, exist_ok=True)
    groups = {}
    rows = sqlite3.connect(database).execute(
        "SELECT region, amount, ordered FROM orders")
    for region, amount, ordered in rows:
        value = decimal.Decimal(amount)
        g = groups.get(region)
        if g is None:
            groups[region] = [1, value, value, ordered, ordered]
            continue
        g[0] += 1
        g[1] += value
        if value > g[2]:
            g[2] = value
        if ordered < g[3]:
            g[3] = ordered
        if ordered > g[4]:
            g[4] = ordered
    for region, (count, total, largest, first, last) in groups.items():
        text = TEMPLATE.substitute(group=region, count=count, total=total,
                                   largest=largest, first=first, last=last,
                                   source=database)
        path = os.path.join(output, region + ".txt")
        with open(path + ".tmp", "w") as out:
            out.write(text)
        os.replace(path + ".tmp", path)


if __name__ == "__main__":
    main()
