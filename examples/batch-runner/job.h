// The batch job's settings, read from the library's effective options.
#ifndef KXB_EXAMPLES_BATCH_RUNNER_JOB_H_
#define KXB_EXAMPLES_BATCH_RUNNER_JOB_H_

#include <string>

namespace batch {

struct Job {
  std::string source;        // JOB/SOURCE: a "kxd://" data URI
  std::string query;         // JOB/QUERY: SQL; default reads the object whole
  std::string groupBy;       // JOB/GROUP_BY: the column rows are grouped by
  std::string amount;        // JOB/AMOUNT: the column totalled exactly
  std::string date;          // JOB/DATE: the column of first and last dates
  std::string templatePath;  // JOB/TEMPLATE: the report template file
  std::string output;        // JOB/OUTPUT: where the reports go
  std::string mailTo;        // JOB/MAIL_TO; empty: no mail is sent
  std::string mailFrom;      // JOB/MAIL_FROM
  std::string mailSubject;   // JOB/MAIL_SUBJECT
  std::string mailCommand;   // JOB/MAIL_COMMAND, with %T and %B
  std::string tempDir;       // BASE/TEMP: the mail's scratch files
  int threads = 2;           // JOB/THREADS: report writers

  // Resolved from the source: the SQLite file of its data source
  // (DATASOURCE/<name>/PATH) and the object (table) it names.
  std::string database;
  std::string object;
};

// Fills `job` from the effective options (macros expanded) and resolves its
// data source. False with the reason in *error.
bool loadJob(Job* job, std::string* error);

// The value of an option of the effective set, expanded; `fallback` when
// the option is absent.
std::string option(const char* key, const std::string& fallback = "");

}  // namespace batch

#endif  // KXB_EXAMPLES_BATCH_RUNNER_JOB_H_
