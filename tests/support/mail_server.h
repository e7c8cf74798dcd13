// A real SMTP server and a real MIME parser for the mail tests.
//
// MailServer runs tests/support/smtp_sink.py (aiosmtpd) under
// /usr/bin/python3 on a free port of 127.0.0.1, storing what it receives in
// a directory; it stops by itself after a time bound and is stopped when the
// object goes. parseMail runs tests/support/mail_parse.py (Python's email
// package) over one delivered message.
//
//   kxb_test::TempDir dir;
//   kxb_test::MailServer server(dir.path());
//   ASSERT_NE(0, server.port()) << server.error();
//   ... deliver with "msmtp ... --port=<port>" ...
//   std::vector<std::string> mails = server.messages(1);
//   kxb_test::ParsedMail mail = kxb_test::parseMail(mails[0], dir.path());
#ifndef KXB_TESTS_SUPPORT_MAIL_SERVER_H_
#define KXB_TESTS_SUPPORT_MAIL_SERVER_H_

#include <string>
#include <vector>

struct np_proc;

namespace kxb_test {

// Runs /usr/bin/python3 with the script tests/support/<script> and `args`,
// output to `logPath`, waiting at most `seconds`. The exit status, or -1
// when it could not run or did not end in time.
int runPython(const std::string& script, const std::vector<std::string>& args,
              const std::string& logPath, int seconds);

class MailServer {
 public:
  // Starts the server storing into `directory` (which must exist), for at
  // most `seconds`. port() is 0 when it did not come up; error() says why.
  explicit MailServer(const std::string& directory, int seconds = 120);
  ~MailServer();
  MailServer(const MailServer&) = delete;
  MailServer& operator=(const MailServer&) = delete;

  int port() const { return port_; }
  const std::string& error() const { return error_; }
  // A mail command template for msmtp delivering to this server, with
  // "%T" and "%B" left for KxbEmail.
  std::string msmtpCommand(const std::string& sender) const;
  // The stored messages (paths of the .eml files) in the order received,
  // once there are at least `count` of them or `seconds` have passed.
  std::vector<std::string> messages(size_t count = 0, int seconds = 10) const;

 private:
  std::string directory_;
  np_proc* proc_ = nullptr;
  int port_ = 0;
  std::string error_;
};

struct ParsedMail {
  std::string to;
  std::string from;
  std::string subject;
  bool multipart = false;
  std::string defects;        // the message's defects, comma-separated
  std::vector<std::string> parts;     // "type|charset|file|encoding|defects"
  std::vector<std::string> payloads;  // decoded content of each part
  std::string error;          // why parsing failed; empty on success
};

// Parses `message` with Python's email package; `scratch` is a directory
// for the parser's output files.
ParsedMail parseMail(const std::string& message, const std::string& scratch);

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_MAIL_SERVER_H_
