// Reading the source: one pass over a row-set cursor. The rows stay in the
// row store; only the groups' running totals are held in memory.
#include "ledger.h"

#include <strings.h>

#include "kxbcursorwlp.h"
#include "kxbdatavar.h"

namespace batch {
namespace {

std::string text(const KxbString& s) { return s.isNull() ? "" : s.asCstr(); }

int findColumn(KxbDatavarCursor* cursor, const std::string& name) {
  for (int i = 0; i < cursor->getColumnCount(); ++i) {
    if (strcasecmp(text(cursor->getColumnName(i)).c_str(), name.c_str()) == 0) {
      return i;
    }
  }
  return -1;
}

bool fold(Group* group, const KxbDatavar& amount, const KxbDatavar& date,
          std::string* error) {
  ++group->count;
  if (!amount.isNull()) {
    bool failed = false;
    KxbReal value = amount.asReal(&failed);
    if (failed) {
      *error = "amount '" + text(amount.asString()) + "' is not a number";
      return false;
    }
    bool failedAdd = false;
    KxbReal sum = group->total.add(value, &failedAdd);
    // add() marks its left operand when it had to round.
    if (failedAdd || group->total.truncated() || sum.isNull()) {
      *error = "the total no longer fits 52 digits exactly";
      return false;
    }
    group->total = sum;
    if (group->largest.isNull() || value > group->largest) {
      group->largest = value;
    }
  }
  if (!date.isNull()) {
    KxbDate when = date.asDate();
    if (!when.isNull()) {
      if (group->first.isNull() || when < group->first) group->first = when;
      if (group->last.isNull() || group->last < when) group->last = when;
    }
  }
  return true;
}

}  // namespace

bool readLedger(const Job& job, Ledger* ledger, std::string* error) {
  KxbString openError;
  KxbDatavarWlpCursor* cursor =
      kxbCreateQueryCursor(KxbString(job.database.c_str()),
                           KxbString(job.query.c_str()), &openError);
  if (cursor == nullptr) {
    *error = text(openError);
    return false;
  }
  const int groupColumn = findColumn(cursor, job.groupBy);
  const int amountColumn = findColumn(cursor, job.amount);
  const int dateColumn = findColumn(cursor, job.date);
  bool ok = true;
  for (const auto& [column, name] :
       {std::pair{groupColumn, job.groupBy}, std::pair{amountColumn, job.amount},
        std::pair{dateColumn, job.date}}) {
    if (ok && column < 0) {
      *error = "the result of '" + job.query + "' has no column '" + name + "'";
      ok = false;
    }
  }
  int step = 1;
  while (ok && (step = cursor->next()) == 1) {
    Group& group = ledger->groups[text(cursor->getValue(groupColumn).asString())];
    ++ledger->rows;
    if (!fold(&group, cursor->getValue(amountColumn),
              cursor->getValue(dateColumn), error)) {
      *error = "row " + std::to_string(ledger->rows) + ": " + *error;
      ok = false;
    }
  }
  if (ok && step == 2) {
    *error = text(cursor->getErrorMessage());
    ok = false;
  }
  cursor->release();
  return ok;
}

}  // namespace batch
