// Running external programs and capturing their output as one line.
#include "kxbexecute.h"

#include <cstring>
#include <new>
#include <vector>

#include "kxbmessage.h"
#include "np_fio.h"
#include "np_mem.h"
#include "np_proc.h"
#include "np_uchar.h"
#include "services/kxbexecute_line.h"

namespace {

constexpr const char* kUnit = "kxbexecute";
constexpr const char* kSet = "Event Plugin";
constexpr int kPathBytes = 1024;
constexpr int64_t kLogBytes = 8192;

enum : int {
  kOutOfMemory = 29,
  kNoOutputFile = 332,
  kWaitFailed = 377,
  kAborted = 378,
  kStartFailed = 380,
};

// A null-terminated array of separately allocated copies of `texts`; null
// when memory runs out (nothing left allocated).
char** copyAll(const std::vector<KxbString>& texts) {
  size_t count = texts.size();
  auto** array = static_cast<char**>(np_mem_alloc((count + 1) * sizeof(char*)));
  if (array == nullptr) return nullptr;
  for (size_t i = 0; i < count; ++i) {
    size_t bytes = static_cast<size_t>(texts[i].cStrSize());
    array[i] = static_cast<char*>(np_mem_alloc(bytes));
    if (array[i] == nullptr) {
      for (size_t j = 0; j < i; ++j) np_mem_free(array[j]);
      np_mem_free(array);
      return nullptr;
    }
    std::memcpy(array[i], texts[i].asCstr(), bytes);
  }
  array[count] = nullptr;
  return array;
}

void freeAll(char** array) {
  if (array == nullptr) return;
  for (char** p = array; *p != nullptr; ++p) np_mem_free(*p);
  np_mem_free(array);
}

// Everything one run makes, given back whatever happens.
struct RunResources {
  char** environment = nullptr;
  char** argv = nullptr;
  np_fio_file* output = nullptr;
  char outputPath[kPathBytes] = "";
  np_proc* proc = nullptr;
  ~RunResources() {
    freeAll(environment);
    if (output != nullptr) np_fio_close(output);
    if (outputPath[0] != '\0') np_fio_unlink(outputPath);
    // The strings of argv belong to the caller's KxbStrings.
    np_mem_free(argv);
    np_proc_destroy(proc);
  }
};

}  // namespace

namespace {

// Appends `text` to `line`, in double quotes when it holds a space and does
// not already begin with one.
bool appendQuoted(KxbString* line, const KxbString& text) {
  // Each append clears the flag it is given, so every one has its own.
  bool failed[3] = {false, false, false};
  const char* bytes = text.asCstr();
  if (bytes[0] != '"' && std::strchr(bytes, ' ') != nullptr) {
    line->append("\"", &failed[0]).append(text, &failed[1]).append("\"", &failed[2]);
  } else {
    line->append(text, &failed[0]);
  }
  return !failed[0] && !failed[1] && !failed[2];
}

}  // namespace

KxbString kxbExecuteShellLine(const KxbString& command,
                              const std::vector<KxbString>& options) {
  KxbString line("");
  bool ok = appendQuoted(&line, command);
  for (const KxbString& option : options) {
    bool failed = false;
    line.append(" ", &failed);
    ok = ok && !failed && appendQuoted(&line, option);
  }
  return ok ? line : KxbString();
}

struct KxbExecute::Record {
  KxbString errorMessage;
  KxbString command;
  std::vector<KxbString> options;
  std::vector<KxbString> environment;
  KxbString outputLog;
  int exitCode = -1;

  // Replaces the log with the program's captured output, when there is any.
  void readOutput(np_fio_file* file);
};

void KxbExecute::Record::readOutput(np_fio_file* file) {
  np_fio_info info;
  if (np_fio_fstat(file, &info) != 0 || info.size <= 0) return;
  int64_t count = info.size + 1 < kLogBytes ? info.size + 1 : kLogBytes;
  char* buffer = static_cast<char*>(np_mem_alloc(static_cast<size_t>(count) + 1));
  if (buffer == nullptr) {
    outputLog = KxbString("Failed to allocate memory to read program output",
                          true);
    return;
  }
  size_t used = 0;
  while (used < static_cast<size_t>(count)) {
    size_t got = 0;
    if (np_fio_read(file, buffer + used, static_cast<size_t>(count) - used,
                    &got) != 0 ||
        got == 0) {
      break;
    }
    used += got;
  }
  buffer[used] = '\0';
  // One line: each white-space character becomes as many spaces as it has
  // bytes, so the text keeps its length.
  char* end = buffer + used;
  for (char* p = buffer; p < end && *p != '\0';) {
    int size = 1;
    if (np_uchar_isspace(p, &size) && size > 0) std::memset(p, ' ', size);
    p += size > 0 ? size : 1;
  }
  if (buffer[0] != '\0') outputLog = KxbString(buffer);
  np_mem_free(buffer);
}

KxbExecute::KxbExecute() : record_(nullptr) {
  void* memory = np_mem_alloc(sizeof(Record));
  if (memory != nullptr) record_ = new (memory) Record;
}

KxbExecute::~KxbExecute() {
  if (record_ == nullptr) return;
  record_->~Record();
  np_mem_free(record_);
}

void KxbExecute::setCommand(const KxbString& command) {
  if (record_ != nullptr) record_->command = command;
}

void KxbExecute::addOption(const KxbString& option) {
  if (record_ == nullptr) return;
  try {
    record_->options.push_back(option);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    // The option is lost; run then starts the program without it.
  }
}

void KxbExecute::addEnvironment(const KxbString& entry) {
  if (record_ == nullptr) return;
  try {
    record_->environment.push_back(entry);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    // The entry is lost.
  }
}

KxbString KxbExecute::getOutputLog() {
  return record_ != nullptr ? record_->outputLog : KxbString();
}

KxbString KxbExecute::getErrorMessage() {
  return record_ != nullptr ? record_->errorMessage : KxbString();
}

int KxbExecute::getExitCode() {
  return record_ != nullptr ? record_->exitCode : -1;
}

bool KxbExecute::run(bool useShell, bool captureOutput, int wait) {
  if (record_ == nullptr) return false;
  Record& r = *record_;
  r.exitCode = -1;
  RunResources res;
  int flags = NP_PROC_NULL_INPUT;

  if (!r.environment.empty()) {
    res.environment = copyAll(r.environment);
    if (res.environment == nullptr) {
      r.errorMessage = kxb_get_message(kSet, kOutOfMemory, kUnit, __LINE__);
      return false;
    }
    flags |= NP_PROC_ENVIRONMENT;
  }

  if (captureOutput) {
    flags |= NP_PROC_OUTPUT_FILE;
    int error = np_fio_tmpfile(nullptr, "runprog", res.outputPath,
                               sizeof res.outputPath, &res.output);
    if (error != 0) {
      res.outputPath[0] = '\0';
      char reason[256];
      r.errorMessage =
          kxb_get_message(kSet, kNoOutputFile, kUnit, __LINE__, error, "",
                          np_fio_errdesc(error, reason, sizeof reason));
      return false;
    }
  }
  const char* outputPath = captureOutput ? res.outputPath : nullptr;
  const char* const* environment = res.environment;

  int started;
  if (useShell) {
    const KxbString line = kxbExecuteShellLine(r.command, r.options);
    if (line.isNull()) {
      r.errorMessage = kxb_get_message(kSet, kOutOfMemory, kUnit, __LINE__);
      return false;
    }
    started = np_proc_shellexec(line.asCstr(), flags, environment, outputPath,
                                &res.proc);
  } else {
    size_t count = r.options.size() + 2;
    res.argv = static_cast<char**>(np_mem_alloc(count * sizeof(char*)));
    if (res.argv == nullptr) {
      r.errorMessage = kxb_get_message(kSet, kOutOfMemory, kUnit, __LINE__);
      return false;
    }
    res.argv[0] = const_cast<char*>(r.command.asCstr());
    for (size_t i = 0; i < r.options.size(); ++i) {
      res.argv[i + 1] = const_cast<char*>(r.options[i].asCstr());
    }
    res.argv[count - 1] = nullptr;
    started = np_proc_execute(res.argv, flags, environment, outputPath,
                              &res.proc);
  }

  KxbString command = r.command;
  if (started != 0) {
    const char* reason = np_proc_geterr(res.proc);
    r.outputLog = kxbStringFormat("Failed to execute command %S. Error: %s",
                                  &command, reason);
    r.errorMessage = kxb_get_message(kSet, kStartFailed, kUnit, __LINE__, reason);
    return false;
  }

  bool result = true;
  int state = 0;
  int exitCode = 0;
  if (np_proc_wait(res.proc, wait, &state, &exitCode) != 0) {
    const char* reason = np_proc_geterr(res.proc);
    r.outputLog = kxbStringFormat(
        "Failed to get status of command %S. Error: %s", &command, reason);
    r.errorMessage = kxb_get_message(kSet, kWaitFailed, kUnit, __LINE__, reason);
    result = false;
  } else {
    r.exitCode = exitCode;
  }
  if (result && state == NP_PROC_FAILED) {
    r.outputLog = kxbStringFormat("Command aborted with error: %d", exitCode);
    r.errorMessage = kxb_get_message(kSet, kAborted, kUnit, __LINE__);
    result = false;
  }

  if (captureOutput) r.readOutput(res.output);
  return result;
}
