// The job's arithmetic: rows read through a row-set cursor into per-group
// totals, exact to the last digit (KxbReal, never a double).
#ifndef KXB_EXAMPLES_BATCH_RUNNER_LEDGER_H_
#define KXB_EXAMPLES_BATCH_RUNNER_LEDGER_H_

#include <cstdint>
#include <map>
#include <string>

#include "job.h"
#include "kxbdate.h"
#include "kxbreal.h"

namespace batch {

struct Group {
  int64_t count = 0;
  KxbReal total{int64_t{0}};
  KxbReal largest;  // null until the first amount
  KxbDate first;    // null until the first dated row
  KxbDate last;
};

struct Ledger {
  std::map<std::string, Group> groups;  // by the group column's text
  int64_t rows = 0;
};

// Runs the job's query on its database and folds every row into `ledger`.
// False with the reason in *error: the database or table missing, bad SQL,
// a missing column, an amount that is not a number, an inexact sum.
bool readLedger(const Job& job, Ledger* ledger, std::string* error);

}  // namespace batch

#endif  // KXB_EXAMPLES_BATCH_RUNNER_LEDGER_H_
