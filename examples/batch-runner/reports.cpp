// Report rendering. Each work item makes its own template object (a
// template is used by one thread at a time) from the text read once, and
// answers the template's lookups from its group's figures.
#include "reports.h"

#include <filesystem>
#include <map>
#include <memory>

#include "kxbpath.h"
#include "kxbtemplate.h"
#include "kxbthreadpool.h"
#include "kxbtxtfile.h"

namespace batch {
namespace {

std::string text(const KxbString& s) { return s.isNull() ? "" : s.asCstr(); }

// A file name for a group's report: ASCII letters, digits, '-' and '_'
// kept, every other character one '_' (the name travels in a mail header,
// where only ASCII is safe).
std::string fileNameOf(const std::string& group) {
  std::string name;
  for (char c : group) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) == 0x80) continue;  // the rest of a UTF-8 character
    bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                 (c >= '0' && c <= '9') || c == '-' || c == '_';
    name += plain ? c : '_';
  }
  return (name.empty() ? "none" : name) + ".txt";
}

class Values : public KxbTemplateValueCB {
 public:
  explicit Values(std::map<std::string, std::string> values)
      : values_(std::move(values)) {}
  bool lookup(const KxbString& name, KxbString* value,
              KxbString* error) override {
    auto found = values_.find(text(name));
    if (found != values_.end()) {
      *value = KxbString(found->second.c_str());
      return true;
    }
    // Optional variables ("[name]") may be left empty; required ones must
    // exist. The template knows which; an unknown name renders empty only
    // when the template marked it optional.
    if (optional_.count(text(name)) != 0) return true;
    if (error != nullptr) {
      *error = KxbString(("no value for template variable '" + text(name) + "'")
                             .c_str());
    }
    return false;
  }
  void markOptional(const std::string& name) { optional_[name] = true; }

 private:
  std::map<std::string, std::string> values_;
  std::map<std::string, bool> optional_;
};

class ReportWork : public KxbThreadPoolWork {
 public:
  ReportWork(const Job& job, const std::string& templateText,
             const std::string& group, const Group& figures, Report* report)
      : job_(job), templateText_(templateText), group_(group),
        figures_(figures), report_(report) {}

  int execute(bool, KxbThreadPoolCallback*) override {
    ok_ = render();
    return 0;
  }
  int signal(bool) override {
    error_ = "the report was dropped before it ran";
    return 0;
  }
  int finish() override { return 0; }

  bool ok() const { return ok_; }
  const std::string& error() const { return error_; }

 private:
  bool render() {
    const std::string total = text(figures_.total.asString());
    Values values({{"group", group_},
                   {"group_column", job_.groupBy},
                   {"count", std::to_string(figures_.count)},
                   {"total", total},
                   {"largest", text(figures_.largest.asString())},
                   {"first", text(figures_.first.asString(true, false))},
                   {"last", text(figures_.last.asString(true, false))},
                   {"source", job_.source}});
    KxbString failure;
    KxbTemplate* tmpl = kxbCreateBasicTemplate(&values, &failure);
    if (tmpl == nullptr) return fail("template: " + text(failure));
    std::unique_ptr<KxbTemplate, void (*)(KxbTemplate*)> owner(
        tmpl, [](KxbTemplate* t) { t->release(); });
    if (!tmpl->parse(KxbString(templateText_.c_str()), &failure)) {
      return fail("template: " + text(failure));
    }
    for (int i = 0; i < tmpl->getVariableCount(); ++i) {
      bool optional = false;
      KxbString name = tmpl->getVariable(i, &optional, nullptr);
      if (optional) values.markOptional(text(name));
    }
    KxbString rendered = tmpl->render(&failure);
    if (rendered.isNull()) return fail("template: " + text(failure));

    KxbString path = kxbConcatPath(KxbString(job_.output.c_str()),
                                   KxbString(fileNameOf(group_).c_str()));
    KxbTxtFile* file = kxbTxtFileOpen(path.asCstr(), KXB_TXT_WRITE, -1, 0,
                                      &failure);
    if (file == nullptr) return fail("write: " + text(failure));
    bool written = file->write(rendered) && file->close();
    if (!written) failure = file->getErrorMessage();
    file->release();  // without a successful close the old file stays
    if (!written) return fail("write: " + text(failure));

    report_->group = group_;
    report_->path = text(path);
    report_->summary = group_ + ": " + std::to_string(figures_.count) +
                       " orders, total " + total;
    return true;
  }
  bool fail(const std::string& why) {
    error_ = "group '" + group_ + "': " + why;
    return false;
  }

  const Job& job_;
  const std::string& templateText_;
  const std::string group_;
  const Group& figures_;
  Report* report_;
  bool ok_ = false;
  std::string error_;
};

}  // namespace

bool loadTemplate(const Job& job, std::string* out, std::string* error) {
  KxbString failure;
  KxbTxtFile* file = kxbTxtFileOpen(job.templatePath.c_str(), KXB_TXT_READ, -1,
                                    0x800000, &failure);
  if (file == nullptr) {
    *error = text(failure);
    return false;
  }
  std::string whole;
  KxbString line;
  bool sawEnd = false;
  int got = 0;
  while ((got = file->readLine(-1, &line, &sawEnd)) > 0 || sawEnd) {
    whole += text(line);
    if (sawEnd) whole += '\n';
  }
  if (got < 0) {
    *error = text(file->getErrorMessage());
    file->release();
    return false;
  }
  file->release();

  // Parse once here, without values, so that a syntax error is reported
  // with its line before any report is written.
  KxbTemplate* probe = kxbCreateBasicTemplate(nullptr, &failure);
  if (probe == nullptr) {
    *error = text(failure);
    return false;
  }
  bool parsed = probe->parse(KxbString(whole.c_str()), &failure);
  probe->release();
  if (!parsed) {
    *error = job.templatePath + ": " + text(failure);
    return false;
  }
  *out = whole;
  return true;
}

bool writeReports(const Job& job, const std::string& templateText,
                  const Ledger& ledger, std::vector<Report>* reports,
                  std::string* error) {
  std::error_code made;
  std::filesystem::create_directories(job.output, made);
  if (made) {
    *error = "cannot create the output directory " + job.output + ": " +
             made.message();
    return false;
  }
  reports->assign(ledger.groups.size(), Report{});
  std::vector<std::unique_ptr<ReportWork>> work;
  size_t index = 0;
  for (const auto& [group, figures] : ledger.groups) {
    work.push_back(std::make_unique<ReportWork>(job, templateText, group,
                                                figures, &(*reports)[index++]));
  }
  {
    KxbThreadPool pool;
    if (!pool.start(job.threads, job.threads, 0)) {
      *error = "the thread pool did not start";
      return false;
    }
    for (auto& item : work) {
      if (!pool.enqueue(item.get(), false)) {
        *error = "the thread pool refused a report";
        return false;  // the pool's destructor signals what it still holds
      }
    }
    pool.wait();
  }
  for (auto& item : work) {
    if (!item->ok()) {
      *error = item->error();
      return false;
    }
  }
  return true;
}

}  // namespace batch
