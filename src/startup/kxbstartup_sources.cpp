// Start-up steps 6 to 11: every source of options, in the order in which
// they override each other, each recorded as the origin of what it set.
#include <cstring>
#include <new>
#include <vector>

#include "kxbconfigfile.h"
#include "kxbpath.h"
#include "kxbstartup.h"
#include "kxlog.h"
#include "np_mem.h"
#include "np_env.h"
#include "startup/kxbconfigfile_data.h"
#include "startup/kxbconfigoptions_impl.h"
#include "startup/kxbstartup_internal.h"
#include "startup/kxbstartup_origin.h"

namespace {

constexpr char kReadFailed[] =
    "Read failed due to missing file or possibly invalid content in '%s'";

// Reads one configuration file into `file` (cleared afterwards) and applies
// it. False when it cannot be read; `failureLevel` 0 logs nothing then.
bool applyFile(const KxbStartupRun& run, KxbConfigFile& file,
               const KxbString& path, int failureLevel) {
  KxbConfigFileData* model = KxbConfigFileAccess::data(file);
  int32_t before = model != nullptr ? model->lineCount : 0;
  if (path.isNull() || !file.read(path)) {
    if (failureLevel != 0) {
      kxlogWrite(run.log, failureLevel, kStartupUnit, __LINE__, kReadFailed,
                 path.asCstr());
    }
    file.clear();
    return false;
  }
  kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__, "%s '%s'",
             "Reading configuration file", path.asCstr());
  run.options->loadConfigFile(&file);
  if (model != nullptr) {
    try {
      std::vector<KxbConfigFileSpan> spans{
          KxbConfigFileSpan{path, before + 1, model->lineCount}};
      kxbOriginRecordFile(file, spans, KXB_ORIGIN_FILE);
    } catch (const std::bad_alloc&) {
      np_mem_note_failure();
    }
  }
  file.clear();
  return true;
}

KxbString join(const KxbString& directory, const char* name) {
  return kxbConcatPath(directory, KxbString(name, true));
}

KxbString join(const KxbString& directory, const KxbString& name) {
  return kxbConcatPath(directory, name);
}

bool isAbsolute(const KxbString& name) {
  return !name.isNull() && name.asCstr()[0] == '/';
}

// Steps 7c: the queued files, in queue order.
void applyQueuedFiles(const KxbStartupRun& run, KxbConfigFile& file) {
  KxbConfigOptions* queued = kxbGetConfigOptions(KxbString(kQueuedFilesSet, true));
  if (queued == nullptr) return;
  const int count = kxbQueuedFileCount(queued);
  bool haveUser = run.userDirectory.length() > 0;
  for (int number = 1; number <= count; ++number) {
    KxbString name;
    if (!queued->getOption(kxbQueuedFileKey(number), &name, false) || name.isNull()) {
      continue;
    }
    // An absolute name is the file itself, read once.
    if (isAbsolute(name)) {
      applyFile(run, file, name, KXLOG_RECOVERABLE);
      continue;
    }
    KxbString inConfig = join(run.configDirectory, name);
    applyFile(run, file, inConfig.isNull() ? name : inConfig, KXLOG_RECOVERABLE);
    if (haveUser) applyFile(run, file, join(run.userDirectory, name), 0);
  }
}

// Observes a macros directory load: records each option's file and line.
void recordMacros(void*, KxbConfigFile& combined,
                  const std::vector<KxbConfigFileSpan>& spans) {
  kxbOriginRecordFile(combined, spans, KXB_ORIGIN_MACROS);
}

void loadMacros(const KxbStartupRun& run, const KxbString& directory,
                const char* extension) {
  // The effective set is always the library's own implementation.
  static_cast<KxbConfigOptionsImpl*>(run.options)
      ->loadDirectoryObserved(directory, KxbString(extension, true),
                              recordMacros, nullptr);
}

// Step 10's record: every environment variable's option, as loaded.
void recordEnvironment(const KxbStartupRun& run) {
  char* block = np_env_block();
  if (block == nullptr) return;
  const KxbString none("", true);
  for (const char* entry = block; *entry != '\0';
       entry += std::strlen(entry) + 1) {
    const char* equals = std::strchr(entry, '=');
    if (equals == nullptr) continue;
    KxbString name;
    name.assign(entry, static_cast<int>(equals - entry));
    KxbString value;
    if (run.options->getOption(name, &value, false)) {
      kxbOriginRecord(name, value, KXB_ORIGIN_ENVIRONMENT, none, 0);
    }
  }
  np_env_block_free(block);
}

// Step 11: the queued options, in queue order.
void applyQueuedOptions(const KxbStartupRun& run) {
  KxbConfigOptions* queued =
      kxbGetConfigOptions(KxbString(kQueuedOptionsSet, true));
  if (queued == nullptr) return;
  const KxbString none("", true);
  KxbString key;
  KxbString value;
  for (unsigned i = 0; queued->getOptionAt(i, &key, &value, false); ++i) {
    run.options->setOption(key, value);
    kxbOriginRecord(key, value, KXB_ORIGIN_QUEUED, none, 0);
  }
}

}  // namespace

void kxbStartupReadSources(const KxbStartupRun& run) {
  // 6. Provisional: any source may override it.
  run.derive("BASE/PLUGIN_PATH", run.exeDirectory, 6, "the executable directory");

  // 7. Configuration files, one model reused (and cleared) for each.
  KxbConfigFile file;
  // Without a model nothing can be read; its allocation failure is counted
  // already, so start-up fails.
  if (KxbConfigFileAccess::data(file) == nullptr) return;
  bool haveUser = run.userDirectory.length() > 0;
  applyFile(run, file, join(run.configDirectory, "app.cfg"),
            run.hosted ? 0 : KXLOG_RECOVERABLE);
  if (haveUser) applyFile(run, file, join(run.userDirectory, "app.cfg"), 0);
  applyQueuedFiles(run, file);

  // 8. Macros directories.
  KxbString macros;
  if (!run.get("BASE/MACROS_PATH", &macros)) {
    macros = join(run.configDirectory, "macros");
    run.derive("BASE/MACROS_PATH", macros, 8, "the config directory's macros");
  }
  kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__,
             "%s directory '%s' for cfg files", "Reading macros",
             macros.asCstr());
  loadMacros(run, macros, "CFG");
  kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__,
             "%s directory '%s' for xml files", "Reading macros",
             macros.asCstr());
  loadMacros(run, macros, "XML");
  if (haveUser) {
    KxbString userMacros = join(run.userDirectory, "macros");
    kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__,
               "%s directory '%s'", "Reading macros", userMacros.asCstr());
    loadMacros(run, userMacros, "CFG");
  }

  // 9. macros.cfg of both directories.
  applyFile(run, file, join(run.configDirectory, "macros.cfg"), 0);
  if (haveUser) applyFile(run, file, join(run.userDirectory, "macros.cfg"), 0);

  // 10. The environment.
  kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__,
             "Applying environment variables");
  run.options->loadEnvironment();
  recordEnvironment(run);

  // 11. The command line overrides everything before it.
  applyQueuedOptions(run);
}
