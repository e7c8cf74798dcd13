// Composing a MIME mail file and sending it through an external program.
#include "kxbemail.h"

#include <cstring>
#include <initializer_list>
#include <new>

#include "kxbmessage.h"
#include "kxs_b64.h"
#include "np_fio.h"
#include "np_mem.h"
#include "np_proc.h"
#include "np_uchar.h"

namespace {

constexpr const char* kUnit = "kxbemail";
constexpr const char* kSet = "Base Services";
constexpr const char* kBoundary = "KX_EMAIL_00";
constexpr const char* kPrefix = "cmd_email";
constexpr int kMailFlags = NP_PROC_NULL_INPUT | NP_PROC_OUTPUT_FILE;  // 0x84
constexpr int kMailWaitSeconds = 10;

// Attachments are encoded 57 bytes to a 76-character line. They are read and
// written a block of lines at a time; the lines are the same.
constexpr size_t kChunkBytes = 57;
constexpr size_t kLineBytes = 78;  // 76 characters and CRLF
constexpr size_t kChunksPerBlock = 1024;

enum : int {
  kReadFailed = 97,
  kNoTempFile = 332,
  kProgramOutput = 333,
  kWaitFailed = 377,
  kAborted = 378,
  kStartFailed = 380,
  kOutOfMemory = 444,
  kBoundaryFailed = 448,
  kHeaderFailed = 449,
  kNoRecipient = 450,
  kNoSubject = 451,
  kWriteFailed = 452,
  kRewindFailed = 453,
  kTruncateFailed = 454,
  kOpenFailed = 471,
};

// Writes the texts one after another; false at the first failure.
bool put(np_fio_file* file, std::initializer_list<const char*> texts) {
  for (const char* text : texts) {
    if (np_fio_write(file, text, std::strlen(text)) != 0) return false;
  }
  return true;
}

// Reads until `size` bytes or the end of the file; the bytes read, or -1.
long readFull(np_fio_file* file, char* buffer, size_t size) {
  size_t used = 0;
  while (used < size) {
    size_t got = 0;
    if (np_fio_read(file, buffer + used, size - used, &got) != 0) return -1;
    if (got == 0) break;
    used += got;
  }
  return static_cast<long>(used);
}

std::vector<KxbString>* newList() {
  return np_mem_new<std::vector<KxbString>>();
}

// A copy of `from` (an empty list when memory runs out).
void copyList(std::vector<KxbString>* to, const std::vector<KxbString>* from) {
  if (to == nullptr) return;
  to->clear();
  if (from == nullptr) return;
  try {
    *to = *from;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    to->clear();
  }
}

void append(std::vector<KxbString>* list, const KxbString& text) {
  if (list == nullptr) return;
  try {
    list->push_back(text);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    // The entry is lost.
  }
}

}  // namespace

KxbEmail::KxbEmail()
    : deleteFilesOnDestroy(true),
      messages_(newList()),
      attachments_(newList()),
      mailFile_(nullptr),
      outputFile_(nullptr),
      exitCode_(0) {
  mailFilePath[0] = '\0';
  outputFilePath[0] = '\0';
}

KxbEmail::KxbEmail(const KxbEmail& other)
    : deleteFilesOnDestroy(true),
      messages_(newList()),
      attachments_(newList()),
      mailFile_(nullptr),
      outputFile_(nullptr),
      exitCode_(0) {
  copyFrom(other);
}

KxbEmail& KxbEmail::operator=(const KxbEmail& other) {
  if (this != &other) {
    closeFiles();
    copyFrom(other);
  }
  return *this;
}

KxbEmail::~KxbEmail() {
  closeFiles();
  if (deleteFilesOnDestroy) removeFiles();
  delete messages_;
  delete attachments_;
}

void KxbEmail::copyFrom(const KxbEmail& other) {
  deleteFilesOnDestroy = other.deleteFilesOnDestroy;
  errorMessage_ = other.errorMessage_;
  mailCommand = other.mailCommand;
  to_ = other.to_;
  from_ = other.from_;
  subject_ = other.subject_;
  copyList(messages_, other.messages_);
  copyList(attachments_, other.attachments_);
  boundary_ = other.boundary_;
  tempDirectory = other.tempDirectory;
  std::memcpy(mailFilePath, other.mailFilePath, sizeof mailFilePath);
  std::memcpy(outputFilePath, other.outputFilePath, sizeof outputFilePath);
  exitCode_ = other.exitCode_;
}

void KxbEmail::closeFiles() {
  np_fio_close(mailFile_);
  np_fio_close(outputFile_);
  mailFile_ = nullptr;
  outputFile_ = nullptr;
}

void KxbEmail::removeFiles() {
  if (mailFilePath[0] != '\0') np_fio_unlink(mailFilePath);
  if (outputFilePath[0] != '\0') np_fio_unlink(outputFilePath);
}

bool KxbEmail::initialize(KxbString directory, KxbString command) {
  // The files of a previous mail go, unless its mail program still reads
  // them; the new files are this object's to delete.
  bool ownedFiles = outputFile_ != nullptr;
  closeFiles();
  if (ownedFiles && deleteFilesOnDestroy) removeFiles();
  deleteFilesOnDestroy = true;
  mailFilePath[0] = '\0';
  outputFilePath[0] = '\0';

  tempDirectory = directory;
  mailCommand = command;
  exitCode_ = 0;
  boundary_ = KxbString(kBoundary, true);
  clearMessages();
  clearAttachments();

  int error = np_fio_tmpfile(tempDirectory.asCstr(), kPrefix, mailFilePath,
                             sizeof mailFilePath, &mailFile_);
  if (error == 0) {
    error = np_fio_tmpfile(tempDirectory.asCstr(), kPrefix, outputFilePath,
                           sizeof outputFilePath, &outputFile_);
    if (error != 0) {
      // Nothing of a failed start stays behind.
      np_fio_close(mailFile_);
      mailFile_ = nullptr;
      np_fio_unlink(mailFilePath);
      mailFilePath[0] = '\0';
      outputFilePath[0] = '\0';
    }
  } else {
    mailFilePath[0] = '\0';
  }
  if (error != 0) {
    char reason[256];
    errorMessage_ = kxb_get_message(kSet, kNoTempFile, kUnit, __LINE__, error,
                                    np_fio_errdesc(error, reason, sizeof reason));
    return false;
  }
  return true;
}

void KxbEmail::setTo(KxbString to) { to_ = to; }
void KxbEmail::setFrom(KxbString from) { from_ = from; }
void KxbEmail::setSubject(KxbString subject) { subject_ = subject; }
void KxbEmail::addMessage(KxbString text) { append(messages_, text); }
void KxbEmail::addAttachment(KxbString path) { append(attachments_, path); }

void KxbEmail::clearMessages() {
  if (messages_ != nullptr) messages_->clear();
}

void KxbEmail::clearAttachments() {
  if (attachments_ != nullptr) attachments_->clear();
}

int KxbEmail::getExitCode() { return exitCode_; }
KxbString KxbEmail::getEmailFile() { return KxbString(mailFilePath); }
KxbString KxbEmail::getErrorMessage() { return errorMessage_; }

int KxbEmail::scanStr(KxbString text, int* nonAscii) {
  const char* start = text.asCstr();
  const char* p = start;
  for (;;) {
    int size = 0;
    int ascii = np_uchar_isascii(p, &size);
    if (size == 0) break;
    if (!ascii) *nonAscii = 1;
    p += size;
  }
  return static_cast<int>(p - start);
}

KxbString KxbEmail::encodeHeaderValue(KxbString value) {
  KxbString encoded = encodeBody(value);
  if (encoded.isNull()) return encoded;
  KxbString word("=?UTF-8?B?", true);
  // Each append clears the flag it is given, so each has its own.
  bool failedText = false, failedEnd = false;
  word.append(encoded, &failedText).append("?=", &failedEnd);
  if (failedText || failedEnd) {
    errorMessage_ = kxb_get_message(kSet, kOutOfMemory, kUnit, __LINE__);
    return KxbString();
  }
  return word;
}

KxbString KxbEmail::encodeBody(KxbString text) {
  const char* bytes = text.asCstr();
  size_t length = std::strlen(bytes);
  int size = kxs_b64_encode(bytes, length, nullptr, 0);
  char* buffer = size < 0 ? nullptr
                          : static_cast<char*>(np_mem_alloc(static_cast<size_t>(size) + 1));
  if (buffer == nullptr) {
    errorMessage_ = kxb_get_message(kSet, kOutOfMemory, kUnit, __LINE__);
    return KxbString();
  }
  kxs_b64_encode(bytes, length, buffer, static_cast<size_t>(size) + 1);
  KxbString encoded(buffer);
  np_mem_free(buffer);
  if (encoded.isNull()) {
    errorMessage_ = kxb_get_message(kSet, kOutOfMemory, kUnit, __LINE__);
  }
  return encoded;
}

bool KxbEmail::writeValue(const char* name, KxbString value) {
  int nonAscii = 0;
  scanStr(value, &nonAscii);
  // A line break would end the header and let the rest pass for headers of
  // its own: such a value is encoded like a non-ASCII one.
  const char* text = value.asCstr();
  if (nonAscii || std::strpbrk(text, "\r\n") != nullptr) {
    value = encodeHeaderValue(value);
    if (value.isNull()) return false;  // 444 is set
  }
  if (!put(mailFile_, {name, ": ", value.asCstr(), "\r\n"})) {
    errorMessage_ = kxb_get_message(kSet, kHeaderFailed, kUnit, __LINE__, name,
                                    value.asCstr());
    return false;
  }
  return true;
}

bool KxbEmail::writeTo() {
  if (to_.isNull()) {
    errorMessage_ = kxb_get_message(kSet, kNoRecipient, kUnit, __LINE__);
    return false;
  }
  return writeValue("To", to_);
}

bool KxbEmail::writeFrom() {
  if (from_.isNull()) return true;
  return writeValue("From", from_);
}

bool KxbEmail::writeSubject() {
  if (subject_.isNull()) {
    errorMessage_ = kxb_get_message(kSet, kNoSubject, kUnit, __LINE__);
    return false;
  }
  return writeValue("Subject", subject_);
}

bool KxbEmail::writeMultipartHeader() {
  if (!put(mailFile_, {"Content-Type: multipart/mixed; boundary=", "\"",
                       boundary_.asCstr(), "\"", "\r\n", "MIME-version: 1.0",
                       "\r\n", "This is a multi-part message in MIME format.",
                       "\r\n", "\r\n"})) {
    errorMessage_ = kxb_get_message(kSet, kWriteFailed, kUnit, __LINE__);
    return false;
  }
  return true;
}

bool KxbEmail::writeBoundary(bool last) {
  if (!put(mailFile_, {"--", boundary_.asCstr(), last ? "--\r\n" : "\r\n"})) {
    errorMessage_ = kxb_get_message(kSet, kBoundaryFailed, kUnit, __LINE__);
    return false;
  }
  return true;
}

bool KxbEmail::writeMessage(int index) {
  KxbString text = (*messages_)[static_cast<size_t>(index)];
  int nonAscii = 0;
  scanStr(text, &nonAscii);
  const char* charset = "US-ASCII";
  const char* encoding = "7bit";
  KxbString body = text;
  if (nonAscii) {
    charset = "UTF-8";
    encoding = "base64";
    body = encodeBody(text);
    if (body.isNull()) return false;  // 444 is set
  }
  if (!writeBoundary(false)) return false;
  if (!put(mailFile_, {"Content-Type: text/plain; charset=", charset, "\r\n",
                       "Content-Transfer-Encoding: ", encoding, "\r\n", "\r\n",
                       body.asCstr(), "\r\n"})) {
    errorMessage_ = kxb_get_message(kSet, kWriteFailed, kUnit, __LINE__);
    return false;
  }
  return true;
}

bool KxbEmail::writeAttachment(int index) {
  const KxbString& path = (*attachments_)[static_cast<size_t>(index)];
  np_fio_file* file = nullptr;
  int error = np_fio_open(path.asCstr(), NP_FIO_READ, 0, &file);
  if (error != 0) {
    char reason[256];
    errorMessage_ = kxb_get_message(kSet, kOpenFailed, kUnit, __LINE__,
                                    np_fio_errdesc(error, reason, sizeof reason));
    return false;
  }
  struct Closer {
    np_fio_file* file;
    char* in = nullptr;
    char* out = nullptr;
    ~Closer() {
      np_fio_close(file);
      np_mem_free(in);
      np_mem_free(out);
    }
  } closer{file};

  if (!writeBoundary(false)) return false;
  char directory[1024];
  char name[1024];
  if (np_fio_pparse(path.asCstr(), directory, sizeof directory, name,
                    sizeof name) != 0) {
    // Longer than the buffers: the name part is what follows the last "/".
    const char* slash = std::strrchr(path.asCstr(), '/');
    np_uchar_bufncopy(name, slash != nullptr ? slash + 1 : path.asCstr(),
                      sizeof name, 1 << 30);
  }
  if (!put(mailFile_, {"Content-Type: application/octet-stream", "\r\n",
                       "Content-Transfer-Encoding: ", "base64", "\r\n",
                       "Content-Disposition: attachment; filename=", "\"", name,
                       "\"", "\r\n", "\r\n"})) {
    errorMessage_ = kxb_get_message(kSet, kWriteFailed, kUnit, __LINE__);
    return false;
  }

  closer.in = static_cast<char*>(np_mem_alloc(kChunkBytes * kChunksPerBlock));
  closer.out = static_cast<char*>(np_mem_alloc(kLineBytes * kChunksPerBlock + 1));
  if (closer.in == nullptr || closer.out == nullptr) {
    errorMessage_ = kxb_get_message(kSet, kOutOfMemory, kUnit, __LINE__);
    return false;
  }
  for (;;) {
    long got = readFull(file, closer.in, kChunkBytes * kChunksPerBlock);
    if (got < 0) {
      errorMessage_ = kxb_get_message(kSet, kReadFailed, kUnit, __LINE__);
      return false;
    }
    if (got == 0) return true;
    size_t used = 0;
    for (long offset = 0; offset < got; offset += kChunkBytes) {
      size_t chunk = static_cast<size_t>(got - offset) < kChunkBytes
                         ? static_cast<size_t>(got - offset)
                         : kChunkBytes;
      int encoded = kxs_b64_encode(closer.in + offset, chunk, closer.out + used,
                                   kLineBytes * kChunksPerBlock + 1 - used);
      used += static_cast<size_t>(encoded);
      closer.out[used++] = '\r';
      closer.out[used++] = '\n';
    }
    if (np_fio_write(mailFile_, closer.out, used) != 0) {
      errorMessage_ = kxb_get_message(kSet, kWriteFailed, kUnit, __LINE__);
      return false;
    }
    if (static_cast<size_t>(got) < kChunkBytes * kChunksPerBlock) return true;
  }
}

bool KxbEmail::writeBody() {
  size_t messages = messages_ != nullptr ? messages_->size() : 0;
  size_t attachments = attachments_ != nullptr ? attachments_->size() : 0;
  if (messages == 0 && attachments == 0) return true;
  if (!writeMultipartHeader()) return false;
  for (size_t i = 0; i < messages; ++i) {
    // A part that cannot be written leaves its message; the mail goes on.
    writeMessage(static_cast<int>(i));
  }
  for (size_t i = 0; i < attachments; ++i) {
    if (!writeAttachment(static_cast<int>(i))) return false;
  }
  return writeBoundary(true);
}

bool KxbEmail::writeEmailTextFile() {
  if (!writeTo() || !writeFrom() || !writeSubject() || !writeBody()) {
    return false;
  }
  np_fio_close(mailFile_);
  mailFile_ = nullptr;
  if (np_fio_seek(outputFile_, 0, NP_FIO_SET, nullptr) != 0) {
    errorMessage_ = kxb_get_message(kSet, kRewindFailed, kUnit, __LINE__,
                                    outputFilePath);
    return false;
  }
  if (np_fio_truncate(outputFile_, 0) != 0) {
    errorMessage_ = kxb_get_message(kSet, kTruncateFailed, kUnit, __LINE__);
    return false;
  }
  return true;
}

bool KxbEmail::sendMail() {
  if (mailFile_ != nullptr) {
    np_fio_seek(mailFile_, 0, NP_FIO_SET, nullptr);
    np_fio_truncate(mailFile_, 0);
  }
  if (!writeEmailTextFile()) return false;

  // The placeholders are filled in the stored command and so used up.
  mailCommand = mailCommand.replace(KxbString("%T", true), to_)
                    .replace(KxbString("%B", true), KxbString(mailFilePath));

  np_proc* proc = nullptr;
  if (np_proc_shellexec(mailCommand.asCstr(), kMailFlags, nullptr,
                        outputFilePath, &proc) != 0) {
    errorMessage_ = kxb_get_message(kSet, kStartFailed, kUnit, __LINE__,
                                    np_proc_geterr(proc));
    np_proc_destroy(proc);
    return false;
  }
  bool result = true;
  int state = 0;
  if (np_proc_wait(proc, kMailWaitSeconds, &state, &exitCode_) != 0) {
    errorMessage_ = kxb_get_message(kSet, kWaitFailed, kUnit, __LINE__,
                                    np_proc_geterr(proc));
    result = false;
  } else if (state == NP_PROC_FAILED) {
    errorMessage_ = kxb_get_message(kSet, kAborted, kUnit, __LINE__);
    result = false;
  } else if (state == NP_PROC_RUNNING) {
    // The program still reads the mail file: it outlives this object.
    deleteFilesOnDestroy = false;
  }
  np_proc_destroy(proc);
  return readOutput(result);
}

// Any output of the mail program is a failure; its lines, trimmed on the
// right and joined with single spaces, become the error message.
bool KxbEmail::readOutput(bool result) {
  np_fio_info info;
  if (outputFile_ == nullptr || np_fio_fstat(outputFile_, &info) != 0 ||
      info.size <= 0) {
    return result;
  }
  size_t size = static_cast<size_t>(info.size) + 1;
  char* line = static_cast<char*>(np_mem_alloc(size < 2 ? 2 : size));
  if (line == nullptr) return false;
  KxbString joined("");
  size_t length = 0;
  while (np_fio_gets(outputFile_, line, size < 2 ? 2 : size, &length) == 0 &&
         length > 0) {
    KxbString text(line);
    text.trim(false, true);
    if (text.length() == 0) continue;
    if (joined.length() > 0) joined.append(" ");
    joined.append(text);
  }
  np_mem_free(line);
  if (joined.length() > 0) {
    errorMessage_ = kxb_get_message(kSet, kProgramOutput, kUnit, __LINE__,
                                    joined.asCstr());
  }
  return false;
}
