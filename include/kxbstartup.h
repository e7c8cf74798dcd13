// Library lifetime: initialisation, start-up, shutdown, and the process-wide
// assertion and shutdown handlers.
//
// Typical host:
//   const char* error = nullptr;
//   if (kxbInitialize("/opt/app/bin/app", &error) != 0) { ... }
//   kxbStartupAddConfigFile("site.cfg", &error);         // optional queueing
//   kxbStartupAddOption("BASE/TEMP", "/scratch", &error);
//   if (kxbStartup(&error, 0) != 0) { ... }              // reads everything
//   ... kxbGetOption(nullptr, "BASE/TEMP", buffer, sizeof buffer) ...
//   kxbShutdown();
//
// A host calls kxbInitialize once before anything else and kxbShutdown once
// at the end. Both are counted, so several components of one process may
// each initialise and shut down: only the first initialisation does the work
// and only the matching last shutdown tears everything down. They are meant
// to be called from one thread.
//
// Initialisation brings up, in order: the base layer, logging, the global
// mutex, the singleton mutex, the default assertion handler (logs "ASSERT
// <file> <line>: <message>" on "KX.Base" at level 5), the memory pool, the
// text IO library (libkxbio311.so from the executable's directory), the
// option-set store, the message location default, and the dependency library
// (libkxbdeps311.so from the same directory; its absence is reported only by
// start-up). The executable path need not name a file that exists: a host
// installed anywhere passes a path inside the installed companion directory
// (pkg-config variable `companiondir`), for example
// "<companiondir>/myhost", so that the companions are found there.
//
// On failure the result is 1 and *errorMessage points at a static 256-byte
// buffer holding the reason (valid until the next failure); nothing is left
// half built and the count stays 0. Shutdown runs the steps backwards, each
// announced at level 1 on "KX.Base".
//
// The dependency library is loaded once per process: shutdown unloads it
// but keeps it counted as loaded, so after a second initialisation in the
// same process it is not loaded again, and every start-up then raises the
// assertion "startup func was not registered" and skips the dependency
// start-up. A process that comes back up should expect that record.
//
// Handler registries: a registered handler stays registered for the life of
// the process (also across shutdown and a later initialisation); handlers
// run most recent first. Registration and assertion dispatch are serialised
// by the library's global mutex once the library is initialised. A
// registration that cannot allocate its record is dropped silently.
#ifndef KXB_INCLUDE_KXBSTARTUP_H_
#define KXB_INCLUDE_KXBSTARTUP_H_

class KxbStringCursor;

extern "C" {

typedef void (*KxbAssertionHandler)(const char* message, const char* file,
                                    int line, void* userData);
typedef void (*KxbShutdownHandler)(void* userData);

// 0 on success, 1 on failure (see above).
int kxbInitialize(const char* executablePath, const char** errorMessage);
// As kxbInitialize; with a non-null `zkContext` (an opaque context of an
// already running kernel toolkit) the base layer starts from it.
int kxbInitializeWithZK(const char* executablePath, void* zkContext,
                        const char** errorMessage);
void kxbShutdown(void);
// 0 not initialised, 1 initialised, 2 started.
unsigned kxbGetBootLevel(void);

// ---------------------------------------------------------------------------
// Start-up: builds the effective option set (the set with the empty name,
// see kxbconfigoptions.h) and hands its settings on.
//
// kxbStartup reads, each source overriding the one before key by key:
// KXEXEC_HOME's "etc/app.cfg" (or "app.cfg" when there is no "etc": the
// directory used is the config directory), the user directory's "app.cfg",
// the queued files (each relative name against the config directory, then
// again against the user directory; an absolute name is read once, as
// given), the macros directory (BASE/MACROS_PATH, by default the config
// directory's "macros": its *.cfg files, then its *.xml files, which are read
// as "key=value" lines too, then the user directory's "macros/*.cfg"), the
// config and user directories' "macros.cfg", every environment variable, and
// the queued options. It then derives keys: always BASE/PLUGIN_PATH (its
// value expanded), TEMP (a copy of BASE/TEMP), BASE/MESSAGE_PATH and
// KXEXEC_HOME; only when absent BASE/TEMP, BASE/SHARED_OUTPUT_PATH,
// BASE/MACROS_PATH, BASE/EXE_PATH, BASE/LIBRARY_PATH, BASE/REPOS_USER_PATH
// and BASE/REPOS_SYS_PATH; BASE/AUTH_SERVER_IS_PROFILE "YES" when the
// authentication server comes from a metadata profile. It opens the
// message catalogue (failing when fragment 444 cannot be read); configures
// logging from the file BASE/LOGCONFIG_PATH names (or the default); sets
// the time base (BASE/TIME_BASE "GMT": universal time) and the date form
// (BASE/DATE_FORMAT "ISO8601" or "ISO8601_NO_MILLI", any case); exports
// BASE/MESSAGE_LOCALE, BASE/MESSAGE_LEVEL, BASE/AUTH_DEFAULT_DOMAIN and every
// "ZKENV/<name>" option as environment variables; hands every "ZKN/<name>"
// option and BASE/AUTH_SERVER_* to the authentication toolkit; and runs the
// dependency library's start-up. Progress goes to the "KX.Base" logger.
//
// "Get a key" means the value with its %%macros%% expanded; a key is absent
// only when the set has no such key (a value whose macro is unknown counts
// as present, expanded as far as it goes).
//
// flags: KXB_STARTUP_HOSTED (2) says the host has set up logging already
// and tolerates a partial start-up: a missing dependency library or a
// failing dependency start-up no longer fails, and start-up leaves logging
// levels and the default logging configuration alone. Other bits are
// ignored.
//
// Returns 0 and raises the boot level to 2, or 1 with *errorMessage (set to
// null on entry) pointing at a static 2,048-byte buffer holding the reason
// (empty when the library is not initialised), valid until the next
// failure. Failures: not initialised; the dependency loader's text;
// "The 'KXEXEC_HOME' environment variable is not set"; the message
// catalogue's text, or "Error message database or one of its components is
// not found: <text>"; "Failed to configure logging."; "Logging configuration
// file <path> does not exist."; "Dependency startup failed"; and "Out of
// memory during start-up" when any allocation failed while the sources
// were read or the keys derived, so that a start-up that succeeds has read
// every source whole (a source that could not be read for want of memory
// is never taken for a missing one). Options set before a failure stay
// set. Start-up may run again: every source is read
// again over the options already there.
//
// Thread safety: start-up and every queueing function hold the library's
// global mutex, so several threads may queue at once.
#define KXB_STARTUP_HOSTED 2u
int kxbStartup(const char** errorMessage, unsigned flags);

// Queues a configuration file for the next start-up ("FileCount" and
// "FilePrefix_0001"... in the option set ".@=Files=@."). Returns 0
// (*errorMessage null); 1 when the library is not initialised or memory ran
// out (*errorMessage then points at the start-up buffer).
int kxbStartupAddConfigFile(const char* fileName, const char** errorMessage);
// Queues an option, applied after the environment at the next start-up
// (option set ".@=CommandArgs=@."). Results as kxbStartupAddConfigFile.
int kxbStartupAddOption(const char* key, const char* value,
                        const char** errorMessage);
// Queues the attributes of `text` (";"-separated name=value pairs, read as
// KxbParse does): a named attribute queues (name, value), one without a name
// queues its text as a key with a null value. 0 on success; 1 "Failed to
// parse options string."; 2 "Failed to retrieve parsed option." (the ones
// queued before it stay queued).
int kxbStartupAddParsedOptions(const char* text, const char** errorMessage);

// Sets the effective option set's keys from `options` (column 0 the key,
// column 1 the value), every row from the first. Meant for after start-up;
// the cursor stays the caller's. 0 on success; 1 when the library is not
// initialised, `options` is null or has fewer than two columns, or reading
// it fails (with the cursor's message); rows applied before a failure stay
// applied. Under the global mutex.
int kxbStartupSetOptions(KxbStringCursor* options, const char** errorMessage);
// Removes from the effective set every key of column 0 of `keys`; absent
// keys are ignored. Results as kxbStartupSetOptions (one column needed).
int kxbStartupDeleteOptions(KxbStringCursor* keys, const char** errorMessage);
// Parses `text` as kxbStartupAddParsedOptions does and sets the result in
// the effective set at once (a bare word: the key with a null value). On
// success *options (when not null) receives a row-set string cursor
// (kxbcursorwlp.h) with the columns "name" and "value", one row per
// attribute applied, positioned before its first row; the caller releases
// it. On failure *options is null and the result is 1, or 2 for "Failed to
// retrieve parsed option."; the texts: "Failed to parse options string.",
// "Failed to create options cursors.", "Failed to create columns.",
// "Failed to initialize row.", "Failed to finalize row.", "Failed to
// retrieve parsed option.", "Failed to finalize rows." (and "Out of memory
// while reaching the options." when even the set cannot be reached; the
// library not being initialised is also a failure). Attributes applied
// before a failure stay applied. Under the global mutex.
int kxbStartupSetParsedOptions(const char* text, KxbStringCursor** options,
                               const char** errorMessage);

// The user directory start-up reads a second "app.cfg", "macros/" and
// "macros.cfg" from (at most 259 bytes are kept). Under the global mutex.
void kxbStartupSetUserPath(const char* path);
const char* kxbStartupGetUserPath(void);

// ---------------------------------------------------------------------------
// Where each option of the effective set came from.
//
// Start-up remembers, for every option it sets, its source and the value it
// set. Asking later gives that source while the option still holds that
// value; an option set or changed since by other means reports
// KXB_ORIGIN_PROGRAM.
enum {
  KXB_ORIGIN_PROGRAM = 0,      // set through the option set by the program
  KXB_ORIGIN_FILE = 1,         // a configuration file: source, line
  KXB_ORIGIN_MACROS = 2,       // a file of a macros directory: source, line
  KXB_ORIGIN_ENVIRONMENT = 3,  // the environment variable of the same name
  KXB_ORIGIN_QUEUED = 4,       // a queued option (kxbStartupAdd*Option*)
  KXB_ORIGIN_DERIVED = 5,      // derived by start-up: line = step, source =
                               // what the step does
  KXB_ORIGIN_SET = 6,          // kxbStartupSet*Options after start-up
};

typedef struct KxbOptionOrigin {
  int kind;           // KXB_ORIGIN_*
  int line;           // the file's line (from 1), the step, or 0
  char source[4096];  // the file's path, the step's description, or ""
} KxbOptionOrigin;

// Fills *origin for option `key` of the effective set. 0 on success; 1 for
// a null argument or when the library is not initialised (*origin
// untouched); 2 when the set has no such key. Any thread.
int kxbStartupGetOptionOrigin(const char* key, KxbOptionOrigin* origin);
// The origin in words ("file /opt/app/etc/app.cfg, line 12", "environment",
// "queued option", "start-up step 14 (BASE/TEMP mirrors TEMP)", ...) into
// `buffer` (cut to fit, always terminated). Returns the length the whole
// text needs, without its terminator.
int kxbStartupDescribeOptionOrigin(const KxbOptionOrigin* origin, char* buffer,
                                   int size);

void kxbRegisterAssertionHandler(KxbAssertionHandler handler, void* userData);
void kxbRegisterShutdownHandler(KxbShutdownHandler handler, void* userData);
// Calls every assertion handler with the message ("FAILURE" when null), the
// source file and the line.
void kxbAssertFailure(const char* message, const char* file, int line);

}  // extern "C"

#endif  // KXB_INCLUDE_KXBSTARTUP_H_
