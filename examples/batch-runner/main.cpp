// kxb-batch: a batch job written as a suite component writes one, on the
// library's public interface only. It starts the library from an
// installation home, reads its job from the effective options, totals the
// rows of a "kxd://" data source per group with exact decimals, renders one
// report per group with a template on the thread pool, mails a summary with
// the reports attached, and shuts the library down.
//
//   kxb-batch [--home DIR] [--user DIR] [--file F]... [--set KEY=VALUE]...
//
// --file and --set are queued before start-up, so they override every
// configuration file of the home (--set also overrides the environment).
// The job's own file, "batch.cfg" of the home's configuration directory, is
// queued first. Exit status: 0 done, 1 usage, 2 start-up failed, 3 a step
// of the job failed (the message names the step). Reports are each written
// whole or not at all; a failed mail leaves the written reports in place.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "job.h"
#include "kxbemail.h"
#include "kxblog.h"
#include "kxbstartup.h"
#include "ledger.h"
#include "reports.h"

namespace {

constexpr char kLogger[] = "KX.Batch";
constexpr char kUnit[] = "kxb-batch";

int usage() {
  std::fprintf(stderr,
               "usage: kxb-batch [--home DIR] [--user DIR] [--file F]... "
               "[--set KEY=VALUE]...\n");
  return 1;
}

int failStep(const char* step, const std::string& why) {
  kxbLog(kLogger, 5, kUnit, __LINE__, "%s failed: %s", step, why.c_str());
  std::fprintf(stderr, "kxb-batch: %s: %s\n", step, why.c_str());
  return 3;
}

bool sendSummary(const batch::Job& job, const batch::Ledger& ledger,
                 const std::vector<batch::Report>& reports, std::string* error) {
  std::string text = "Orders by " + job.groupBy + " from " + job.source +
                     ": " + std::to_string(ledger.rows) + " rows, " +
                     std::to_string(reports.size()) + " groups.\r\n\r\n";
  for (const batch::Report& report : reports) text += report.summary + "\r\n";

  KxbEmail mail;
  if (!mail.initialize(KxbString(job.tempDir.c_str()),
                       KxbString(job.mailCommand.c_str()))) {
    *error = mail.getErrorMessage().asCstr();
    return false;
  }
  mail.setTo(KxbString(job.mailTo.c_str()));
  if (!job.mailFrom.empty()) mail.setFrom(KxbString(job.mailFrom.c_str()));
  mail.setSubject(KxbString(job.mailSubject.c_str()));
  mail.addMessage(KxbString(text.c_str()));
  for (const batch::Report& report : reports) {
    mail.addAttachment(KxbString(report.path.c_str()));
  }
  if (!mail.sendMail()) {
    *error = mail.getErrorMessage().asCstr();
    return false;
  }
  return true;
}

int runJob() {
  batch::Job job;
  std::string error;
  if (!batch::loadJob(&job, &error)) return failStep("settings", error);
  kxbLog(kLogger, 3, kUnit, __LINE__, "Job: %s from %s (%s), reports to %s",
         job.object.c_str(), job.source.c_str(), job.database.c_str(),
         job.output.c_str());

  std::string templateText;
  if (!batch::loadTemplate(job, &templateText, &error)) {
    return failStep("template", error);
  }

  batch::Ledger ledger;
  kxbLog(kLogger, 2, kUnit, __LINE__, "Reading rows: %s", job.query.c_str());
  if (!batch::readLedger(job, &ledger, &error)) return failStep("source", error);
  kxbLog(kLogger, 2, kUnit, __LINE__, "Read %lld rows in %d groups",
         static_cast<long long>(ledger.rows),
         static_cast<int>(ledger.groups.size()));

  std::vector<batch::Report> reports;
  if (!batch::writeReports(job, templateText, ledger, &reports, &error)) {
    return failStep("reports", error);
  }
  for (const batch::Report& report : reports) {
    kxbLog(kLogger, 2, kUnit, __LINE__, "Wrote %s", report.path.c_str());
  }

  if (job.mailTo.empty()) {
    kxbLog(kLogger, 3, kUnit, __LINE__, "No JOB/MAIL_TO: nothing mailed");
    return 0;
  }
  if (!sendSummary(job, ledger, reports, &error)) return failStep("mail", error);
  kxbLog(kLogger, 2, kUnit, __LINE__, "Mailed %d reports to %s",
         static_cast<int>(reports.size()), job.mailTo.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string home, user;
  std::vector<std::pair<bool, std::string>> queued;  // (is option, text)
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (i + 1 >= argc) return usage();
    std::string value = argv[++i];
    if (arg == "--home") {
      home = value;
    } else if (arg == "--user") {
      user = value;
    } else if (arg == "--file") {
      queued.emplace_back(false, value);
    } else if (arg == "--set" && value.find('=') != std::string::npos) {
      queued.emplace_back(true, value);
    } else {
      return usage();
    }
  }
  if (!home.empty()) setenv("KXEXEC_HOME", home.c_str(), 1);

  const char* message = nullptr;
  if (kxbInitialize(argv[0], &message) != 0) {
    std::fprintf(stderr, "kxb-batch: initialise: %s\n", message ? message : "");
    return 2;
  }
  if (!user.empty()) kxbStartupSetUserPath(user.c_str());
  kxbStartupAddConfigFile("batch.cfg", &message);
  for (const auto& [isOption, text] : queued) {
    if (!isOption) {
      kxbStartupAddConfigFile(text.c_str(), &message);
      continue;
    }
    size_t equals = text.find('=');
    kxbStartupAddOption(text.substr(0, equals).c_str(),
                        text.substr(equals + 1).c_str(), &message);
  }
  if (kxbStartup(&message, 0) != 0) {
    std::fprintf(stderr, "kxb-batch: start-up: %s\n", message ? message : "");
    kxbShutdown();
    return 2;
  }
  int status = runJob();
  kxbLog(kLogger, 2, kUnit, __LINE__, "Job ended with status %d", status);
  kxbShutdown();
  return status;
}
