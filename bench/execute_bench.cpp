// Starting and waiting for /bin/true: KxbExecute against the platform call
// under it, posix_spawn with waitpid written directly, and fork with execv.
// Composing a mail with a 1 MB attachment: KxbEmail.sendMail with the shell
// builtin ":" as mail command, against the same mail without attachment (the
// difference is the attachment's cost), and the base64 encoder alone.
//
// Goals: KxbExecute within 1.1x of direct posix_spawn; at least 200 MB/s of
// attachment through base64 into the mail file.
#include <random>
#include <string>

#include <benchmark/benchmark.h>

#include "library_setup.h"

#include "kxbemail.h"
#include "kxbexecute.h"
#include "kxs_b64.h"
#include "np_fio.h"
#include "np_proc.h"
#include "np_proc_peers.h"

namespace {

const bool g_ready = kxb_bench::setUpLibrary();

char kTrue[] = "/bin/true";
char* const kTrueArgv[] = {kTrue, nullptr};

void BM_True_KxbExecute(benchmark::State& state) {
  KxbExecute execute;
  execute.setCommand(KxbString(kTrue));
  for (auto _ : state) {
    if (!execute.run(false, false, -1)) state.SkipWithError("run failed");
  }
}
BENCHMARK(BM_True_KxbExecute)->UseRealTime();

void BM_True_NpProcExecute(benchmark::State& state) {
  const char* argv[] = {kTrue, nullptr};
  for (auto _ : state) {
    np_proc* proc = nullptr;
    int exitCode = -1;
    if (np_proc_execute(argv, NP_PROC_NULL_INPUT, nullptr, nullptr, &proc) != 0 ||
        np_proc_wait(proc, -1, nullptr, &exitCode) != 0 || exitCode != 0) {
      state.SkipWithError("np_proc failed");
    }
    np_proc_destroy(proc);
  }
}
BENCHMARK(BM_True_NpProcExecute)->UseRealTime();

void BM_True_PosixSpawnDirect(benchmark::State& state) {
  for (auto _ : state) {
    if (np_peer_spawn_wait(kTrue, kTrueArgv) != 0) state.SkipWithError("failed");
  }
}
BENCHMARK(BM_True_PosixSpawnDirect)->UseRealTime();

void BM_True_ForkExec(benchmark::State& state) {
  for (auto _ : state) {
    if (np_peer_fork_exec_wait(kTrue, kTrueArgv) != 0) state.SkipWithError("failed");
  }
}
BENCHMARK(BM_True_ForkExec)->UseRealTime();

constexpr size_t kAttachmentBytes = 1000000;

// A file of random bytes in the system's temporary directory, removed at exit.
struct Attachment {
  char path[1024] = "";
  Attachment() {
    np_fio_file* file = nullptr;
    if (np_fio_tmpfile(nullptr, "kxbmailbench", path, sizeof path, &file) != 0) {
      return;
    }
    std::mt19937 random(7);
    std::string bytes(kAttachmentBytes, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    np_fio_write(file, bytes.data(), bytes.size());
    np_fio_close(file);
  }
  ~Attachment() { np_fio_unlink(path); }
};

void composeAndSend(benchmark::State& state, bool withAttachment) {
  static Attachment attachment;
  for (auto _ : state) {
    KxbEmail mail;
    if (!mail.initialize(KxbString(""), KxbString(":"))) {
      state.SkipWithError("initialize failed");
      break;
    }
    mail.setTo(KxbString("rcpt@example.com"));
    mail.setSubject(KxbString("Grüße"));
    mail.addMessage(KxbString("text"));
    if (withAttachment) mail.addAttachment(KxbString(attachment.path));
    if (!mail.sendMail()) state.SkipWithError(mail.getErrorMessage().asCstr());
  }
  if (withAttachment) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(kAttachmentBytes));
  }
}

void BM_Mail_1MBAttachment(benchmark::State& state) { composeAndSend(state, true); }
BENCHMARK(BM_Mail_1MBAttachment)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_Mail_NoAttachment(benchmark::State& state) { composeAndSend(state, false); }
BENCHMARK(BM_Mail_NoAttachment)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_Base64_1MB(benchmark::State& state) {
  std::string input(kAttachmentBytes, 'x');
  std::string output(kAttachmentBytes / 3 * 4 + 8, '\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(kxs_b64_encode(input.data(), input.size(),
                                            output.data(), output.size()));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(kAttachmentBytes));
}
BENCHMARK(BM_Base64_1MB);

}  // namespace

BENCHMARK_MAIN();
