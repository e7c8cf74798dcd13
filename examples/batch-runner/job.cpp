// Reads the job from the effective options and resolves its data source the
// way a suite component resolves a data-source name: through the
// configuration, DATASOURCE/<name>/PATH naming the SQLite file.
#include "job.h"

#include <strings.h>

#include <cstdlib>

#include "kxbconfigoptions.h"
#include "kxbdatauri.h"
#include "kxburi.h"

namespace batch {
namespace {

std::string text(const KxbString& s) { return s.isNull() ? "" : s.asCstr(); }

}  // namespace

std::string option(const char* key, const std::string& fallback) {
  KxbConfigOptions* options = kxbGetConfigOptions(KxbString(""));
  KxbString value;
  if (options == nullptr || !options->getOption(KxbString(key), &value, true)) {
    return fallback;
  }
  return text(value);
}

bool loadJob(Job* job, std::string* error) {
  job->source = option("JOB/SOURCE");
  job->groupBy = option("JOB/GROUP_BY", "region");
  job->amount = option("JOB/AMOUNT", "amount");
  job->date = option("JOB/DATE", "ordered");
  job->templatePath = option("JOB/TEMPLATE");
  job->tempDir = option("BASE/TEMP", "/tmp");
  job->output = option("JOB/OUTPUT", option("BASE/SHARED_OUTPUT_PATH",
                                            job->tempDir) + "/kxb-batch");
  job->mailTo = option("JOB/MAIL_TO");
  job->mailFrom = option("JOB/MAIL_FROM");
  job->mailSubject = option("JOB/MAIL_SUBJECT", "Batch report");
  job->mailCommand = option("JOB/MAIL_COMMAND");
  job->threads = std::atoi(option("JOB/THREADS", "2").c_str());
  if (job->threads < 1 || job->threads > 64) job->threads = 2;

  if (job->source.empty()) {
    *error = "no data source: set JOB/SOURCE to a kxd:// URI";
    return false;
  }
  if (job->templatePath.empty()) {
    *error = "no report template: set JOB/TEMPLATE";
    return false;
  }
  if (!job->mailTo.empty() && job->mailCommand.empty()) {
    *error = "JOB/MAIL_TO is set but JOB/MAIL_COMMAND is not";
    return false;
  }

  KxURI* uri = getURIFromURIString(KxbString(job->source.c_str()));
  KxDataURI* data = uri == nullptr ? nullptr : uri->asDataURI();
  if (data == nullptr) {
    *error = "JOB/SOURCE '" + job->source + "' is not a kxd:// data URI";
    if (uri != nullptr) uri->release();
    return false;
  }
  const std::string name = text(data->getDataSource());
  const std::string type = text(data->getSourceType());
  job->object = text(data->getObjectName());
  uri->release();

  if (strcasecmp(type.c_str(), "SQLITE") != 0) {
    *error = "data source '" + name + "' is of type '" + type +
             "'; this runner reads SQLITE sources";
    return false;
  }
  const std::string key = "DATASOURCE/" + name + "/PATH";
  job->database = option(key.c_str());
  if (job->database.empty()) {
    *error = "data source '" + name + "' is not configured: set " + key;
    return false;
  }
  if (job->object.empty()) {
    *error = "JOB/SOURCE '" + job->source + "' names no table";
    return false;
  }
  job->query = option("JOB/QUERY", "SELECT * FROM \"" + job->object + "\"");
  return true;
}

}  // namespace batch
