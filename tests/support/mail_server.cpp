#include "support/mail_server.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "np_proc.h"

namespace fs = std::filesystem;

namespace kxb_test {
namespace {

constexpr const char* kPython = "/usr/bin/python3";

std::string script(const std::string& name) {
  const char* dir = std::getenv("KXB_SOURCE_DIR");
  std::string source = dir != nullptr && *dir != '\0' ? dir : KXB_TEST_SOURCE_DIR;
  return source + "/tests/support/" + name;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

np_proc* startPython(const std::string& name,
                     const std::vector<std::string>& args,
                     const std::string& logPath) {
  std::string path = script(name);
  std::vector<const char*> argv = {kPython, path.c_str()};
  for (const std::string& arg : args) argv.push_back(arg.c_str());
  argv.push_back(nullptr);
  np_proc* proc = nullptr;
  if (np_proc_execute(argv.data(), NP_PROC_NULL_INPUT | NP_PROC_OUTPUT_FILE,
                      nullptr, logPath.c_str(), &proc) != 0) {
    np_proc_destroy(proc);
    return nullptr;
  }
  return proc;
}

}  // namespace

int runPython(const std::string& name, const std::vector<std::string>& args,
              const std::string& logPath, int seconds) {
  np_proc* proc = startPython(name, args, logPath);
  if (proc == nullptr) return -1;
  int state = 0;
  int exitCode = -1;
  if (np_proc_wait(proc, seconds, &state, &exitCode) != 0 ||
      state == NP_PROC_RUNNING) {
    exitCode = -1;
  }
  np_proc_destroy(proc);
  return exitCode;
}

MailServer::MailServer(const std::string& directory, int seconds)
    : directory_(directory) {
  const std::string portFile = directory + "/port";
  const std::string log = directory + "/server.log";
  proc_ = startPython("smtp_sink.py", {directory, portFile, std::to_string(seconds)},
                      log);
  if (proc_ == nullptr) {
    error_ = std::string("cannot start ") + kPython + " " + script("smtp_sink.py");
    return;
  }
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < deadline) {
    std::string text = readFile(portFile);
    if (!text.empty()) {
      port_ = std::atoi(text.c_str());
      return;
    }
    int state = 0;
    if (np_proc_wait(proc_, 0, &state, nullptr) != 0 || state != NP_PROC_RUNNING) {
      error_ = "the SMTP server ended: " + readFile(log);
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  error_ = "the SMTP server did not come up in 30 s: " + readFile(log);
}

MailServer::~MailServer() {
  if (proc_ == nullptr) return;
  std::ofstream(directory_ + "/stop").put('\n');
  np_proc_wait(proc_, 10, nullptr, nullptr);
  np_proc_destroy(proc_);
}

std::string MailServer::msmtpCommand(const std::string& sender) const {
  // No configuration file: everything is on the command line.
  return "msmtp -C /dev/null --host=127.0.0.1 --port=" + std::to_string(port_) +
         " --auth=off --tls=off --from=" + sender + " -- %T < %B";
}

std::vector<std::string> MailServer::messages(size_t count, int seconds) const {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  std::vector<std::string> found;
  for (;;) {
    found.clear();
    for (int n = 1;; ++n) {
      std::string path = directory_ + "/" + std::to_string(n) + ".eml";
      if (!fs::exists(path)) break;
      found.push_back(path);
    }
    if (found.size() >= count || std::chrono::steady_clock::now() >= deadline) {
      return found;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

ParsedMail parseMail(const std::string& message, const std::string& scratch) {
  ParsedMail mail;
  fs::path out = fs::path(scratch) / ("parsed-" + fs::path(message).stem().string());
  std::error_code error;
  fs::create_directories(out, error);
  std::string log = (out / "parse.log").string();
  if (runPython("mail_parse.py", {message, out.string()}, log, 60) != 0) {
    mail.error = "mail_parse.py failed: " + readFile(log);
    return mail;
  }
  std::istringstream summary(readFile((out / "summary.txt").string()));
  std::string line;
  while (std::getline(summary, line)) {
    auto value = [&](const char* key) -> const std::string* {
      std::string prefix = std::string(key) + ": ";
      if (line.compare(0, prefix.size(), prefix) != 0) return nullptr;
      static thread_local std::string rest;
      rest = line.substr(prefix.size());
      return &rest;
    };
    if (const std::string* v = value("to")) mail.to = *v;
    else if (const std::string* v = value("from")) mail.from = *v;
    else if (const std::string* v = value("subject")) mail.subject = *v;
    else if (const std::string* v = value("multipart")) mail.multipart = *v == "1";
    else if (const std::string* v = value("defects")) mail.defects = *v;
    else if (const std::string* v = value("part")) {
      mail.payloads.push_back(readFile(
          (out / ("part" + std::to_string(mail.parts.size()) + ".bin")).string()));
      mail.parts.push_back(*v);
    }
  }
  return mail;
}

}  // namespace kxb_test
