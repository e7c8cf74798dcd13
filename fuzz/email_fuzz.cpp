// libFuzzer target for composing e-mail: arbitrary To, Subject and text are
// composed into a mail file (the mail command is ":", which reads nothing
// and prints nothing). The file must start with exactly the To and Subject
// headers, each holding its value as it stands when that is plain ASCII
// without line breaks and else one encoded word whose base64 gives the
// value's bytes back; no other header line may appear before the MIME
// headers; and the file ends with the closing boundary. Any violation
// aborts.
//
// Input: To, Subject and the text, separated by NUL bytes.
#include <stddef.h>
#include <stdint.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "../bench/library_setup.h"
#include "fuzz_util.h"
#include "kxbemail.h"

namespace {

std::string decode64(const std::string& in) {
  static const std::string alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  int bits = 0, value = 0;
  for (char c : in) {
    if (c == '=') break;
    const size_t at = alphabet.find(c);
    CHECK(at != std::string::npos);
    value = (value << 6) | static_cast<int>(at);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += static_cast<char>((value >> bits) & 0xFF);
    }
  }
  return out;
}

bool plain(const std::string& value) {
  for (unsigned char c : value) {
    if (c >= 0x80 || c == '\r' || c == '\n') return false;
  }
  return true;
}

// The header line "<name>: " + value at `at`; moves `at` past it.
void checkHeader(const std::string& file, size_t* at, const std::string& name,
                 const std::string& value) {
  const std::string start = name + ": ";
  CHECK(file.compare(*at, start.size(), start) == 0);
  *at += start.size();
  if (plain(value)) {
    CHECK(file.compare(*at, value.size() + 2, value + "\r\n") == 0);
    *at += value.size() + 2;
    return;
  }
  const size_t end = file.find("\r\n", *at);
  CHECK(end != std::string::npos);
  const std::string word = file.substr(*at, end - *at);
  CHECK(word.rfind("=?UTF-8?B?", 0) == 0 && word.size() >= 12);
  CHECK(word.compare(word.size() - 2, 2, "?=") == 0);
  CHECK(decode64(word.substr(10, word.size() - 12)) == value);
  *at = end + 2;
}

const std::string& scratch() {
  static const std::string directory = [] {
    std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                ("kxb_email_fuzz." + std::to_string(std::random_device()()));
    std::filesystem::create_directories(dir);
    return dir.string();
  }();
  return directory;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = kxb_bench::setUpLibrary();
  (void)ready;
  std::vector<std::string> fields(1);
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0 && fields.size() < 3) {
      fields.emplace_back();
    } else if (data[i] != 0) {
      fields.back() += static_cast<char>(data[i]);
    }
  }
  fields.resize(3);
  const std::string& to = fields[0];
  const std::string& subject = fields[1];
  const std::string& text = fields[2];

  KxbEmail mail;
  CHECK(mail.initialize(KxbString(scratch().c_str()), KxbString(":")));
  mail.setTo(KxbString(to.c_str()));
  mail.setSubject(KxbString(subject.c_str()));
  if (!text.empty()) mail.addMessage(KxbString(text.c_str()));
  CHECK(mail.sendMail());

  std::ifstream in(mail.getEmailFile().asCstr(), std::ios::binary);
  const std::string file((std::istreambuf_iterator<char>(in)),
                         std::istreambuf_iterator<char>());
  size_t at = 0;
  checkHeader(file, &at, "To", to);
  checkHeader(file, &at, "Subject", subject);
  if (text.empty()) {
    CHECK(at == file.size());
    return 0;
  }
  const std::string mime = "Content-Type: multipart/mixed; boundary=\"KX_EMAIL_00\"\r\n";
  CHECK(file.compare(at, mime.size(), mime) == 0);
  const std::string end = "--KX_EMAIL_00--\r\n";
  CHECK(file.size() >= end.size() &&
        file.compare(file.size() - end.size(), end.size(), end) == 0);
  return 0;
}
