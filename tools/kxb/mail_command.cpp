// kxb mail: composes a mail with KxbEmail and hands it to a mail command.
#include <cstdio>
#include <cstring>

#include "kxbemail.h"
#include "kxbstring.h"
#include "np_fio.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr const char* kMailUsage =
    "usage: kxb mail --command CMD --to T [--from F] --subject S "
    "[--text TEXT]... [--attach FILE]... [--tmp DIR] [--keep]";

// Copies the composed file to standard output.
void show(const KxbString& path) {
  np_fio_file* file = nullptr;
  if (np_fio_open(path.asCstr(), NP_FIO_READ, 0, &file) != 0) return;
  char buffer[65536];
  size_t got = 0;
  while (np_fio_read(file, buffer, sizeof buffer, &got) == 0 && got > 0) {
    std::fwrite(buffer, 1, got, stdout);
  }
  np_fio_close(file);
}

}  // namespace

// "%T" in CMD stands for the recipients, "%B" for the composed file. With
// --keep the composed file is printed once the mail command has run.
int runMail(int argc, char** argv) {
  const char* command = nullptr;
  const char* directory = "";
  bool keep = false;
  KxbEmail mail;
  KxbString to;
  KxbString from;
  KxbString subject;
  KxbString texts[64];
  KxbString files[64];
  int textCount = 0;
  int fileCount = 0;
  for (int i = 0; i < argc; ++i) {
    const char* option = argv[i];
    if (std::strcmp(option, "--keep") == 0) {
      keep = true;
      continue;
    }
    if (i + 1 >= argc) return fail(2, kMailUsage);
    const char* value = argv[++i];
    if (std::strcmp(option, "--command") == 0) {
      command = value;
    } else if (std::strcmp(option, "--to") == 0) {
      to = KxbString(value);
    } else if (std::strcmp(option, "--from") == 0) {
      from = KxbString(value);
    } else if (std::strcmp(option, "--subject") == 0) {
      subject = KxbString(value);
    } else if (std::strcmp(option, "--tmp") == 0) {
      directory = value;
    } else if (std::strcmp(option, "--text") == 0 && textCount < 64) {
      texts[textCount++] = KxbString(value);
    } else if (std::strcmp(option, "--attach") == 0 && fileCount < 64) {
      files[fileCount++] = KxbString(value);
    } else {
      return fail(2, kMailUsage);
    }
  }
  if (command == nullptr || to.isNull() || subject.isNull()) {
    return fail(2, kMailUsage);
  }
  if (!mail.initialize(KxbString(directory), KxbString(command))) {
    return fail(1, mail.getErrorMessage().asCstr());
  }
  mail.setTo(to);
  mail.setFrom(from);
  mail.setSubject(subject);
  for (int i = 0; i < textCount; ++i) mail.addMessage(texts[i]);
  for (int i = 0; i < fileCount; ++i) mail.addAttachment(files[i]);
  bool sent = mail.sendMail();
  if (keep) show(mail.getEmailFile());
  if (!sent) return fail(1, mail.getErrorMessage().asCstr());
  return 0;
}

}  // namespace kxb_tool
