// One report per group: the template rendered with the group's figures, on
// the library's thread pool (one work item per group), each written
// atomically to the output directory.
#ifndef KXB_EXAMPLES_BATCH_RUNNER_REPORTS_H_
#define KXB_EXAMPLES_BATCH_RUNNER_REPORTS_H_

#include <string>
#include <vector>

#include "job.h"
#include "ledger.h"

namespace batch {

struct Report {
  std::string group;
  std::string path;  // the file written
  std::string summary;  // one line for the mail's text
};

// Reads the template file into *text and checks that it parses, so that a
// template error stops the job before anything is written. False with the
// catalogue message (which names the line) in *error.
bool loadTemplate(const Job& job, std::string* text, std::string* error);

// Renders and writes every group's report. A group's file is either its
// whole new text or whatever was there before: each is written to a
// temporary file that replaces the old one at close. False at the first
// failure, with *error naming the group.
bool writeReports(const Job& job, const std::string& templateText,
                  const Ledger& ledger, std::vector<Report>* reports,
                  std::string* error);

}  // namespace batch

#endif  // KXB_EXAMPLES_BATCH_RUNNER_REPORTS_H_
