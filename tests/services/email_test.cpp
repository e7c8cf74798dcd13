// KxbEmail: the composed MIME file byte for byte, the mail command and its
// failures, the temporary files' lifetime.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "kx_fault.h"
#include "kxbemail.h"
#include "kxbmessage.h"
#include "kxmsg.h"
#include "np_env.h"
#include "np_fio.h"
#include "support/temp_dir.h"
#include "support/source_tree.h"

namespace {

class KxbEmailTest : public ::testing::Test {
 protected:
  void SetUp() override {
    kxb_test::useSourceCatalogue();
  }
  void TearDown() override { kxmsg112_terminate(); }

  // A mail whose command copies the composed file to "sent.eml" and the
  // recipients to "to.txt" in the test's directory.
  bool compose(KxbEmail& mail) {
    std::string command = "cat %B > '" + dir_.path("sent.eml") +
                          "'; printf '%s' %T > '" + dir_.path("to.txt") + "'";
    return mail.initialize(KxbString(dir_.path().c_str()),
                           KxbString(command.c_str()));
  }
  // The files KxbEmail made in the test's directory.
  std::vector<std::string> temporaries() const {
    std::vector<std::string> found;
    for (const std::string& name : dir_.names()) {
      if (name.rfind("cmd_email", 0) == 0) found.push_back(name);
    }
    return found;
  }

  kxb_test::TempDir dir_;
};

TEST_F(KxbEmailTest, ComposedFileIsLaidOutByteForByte) {
  std::string attachment;
  for (int i = 0; i < 58; ++i) attachment.push_back(static_cast<char>(i));
  dir_.write("data.bin", attachment);
  {
    KxbEmail mail;
    ASSERT_TRUE(compose(mail)) << mail.getErrorMessage().asCstr();
    mail.setTo(KxbString("rcpt@example.com"));
    mail.setFrom(KxbString("Zoë <zoe@example.com>"));
    mail.setSubject(KxbString("Grüße"));
    mail.addMessage(KxbString("Hello,\r\nplain text."));
    mail.addMessage(KxbString("Grüße aus Köln"));
    mail.addAttachment(KxbString(dir_.path("data.bin").c_str()));
    ASSERT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
    EXPECT_EQ(0, mail.getExitCode());
    EXPECT_EQ(2u, temporaries().size());
  }
  EXPECT_EQ(
      "To: rcpt@example.com\r\n"
      "From: =?UTF-8?B?Wm/DqyA8em9lQGV4YW1wbGUuY29tPg==?=\r\n"
      "Subject: =?UTF-8?B?R3LDvMOfZQ==?=\r\n"
      "Content-Type: multipart/mixed; boundary=\"KX_EMAIL_00\"\r\n"
      "MIME-version: 1.0\r\n"
      "This is a multi-part message in MIME format.\r\n"
      "\r\n"
      "--KX_EMAIL_00\r\n"
      "Content-Type: text/plain; charset=US-ASCII\r\n"
      "Content-Transfer-Encoding: 7bit\r\n"
      "\r\n"
      "Hello,\r\nplain text.\r\n"
      "--KX_EMAIL_00\r\n"
      "Content-Type: text/plain; charset=UTF-8\r\n"
      "Content-Transfer-Encoding: base64\r\n"
      "\r\n"
      "R3LDvMOfZSBhdXMgS8O2bG4=\r\n"
      "--KX_EMAIL_00\r\n"
      "Content-Type: application/octet-stream\r\n"
      "Content-Transfer-Encoding: base64\r\n"
      "Content-Disposition: attachment; filename=\"data.bin\"\r\n"
      "\r\n"
      "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4\r\n"
      "OQ==\r\n"
      "--KX_EMAIL_00--\r\n",
      dir_.read("sent.eml"));
  EXPECT_EQ("rcpt@example.com", dir_.read("to.txt"));
  EXPECT_EQ(std::vector<std::string>{}, temporaries()) << "deleted with the object";
}

TEST_F(KxbEmailTest, HeadersAloneWithoutPartsAndMissingFields) {
  KxbEmail mail;
  ASSERT_TRUE(compose(mail));
  mail.setTo(KxbString("a@example.com, b@example.com"));
  mail.setSubject(KxbString(""));  // empty, not null: an empty header
  ASSERT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
  EXPECT_EQ("To: a@example.com, b@example.com\r\nSubject: \r\n",
            dir_.read("sent.eml"));

  KxbEmail noTo;
  ASSERT_TRUE(compose(noTo));
  noTo.setSubject(KxbString("s"));
  EXPECT_FALSE(noTo.sendMail());
  EXPECT_STREQ("The mail has no recipient.", noTo.getErrorMessage().asCstr());
  np_fio_info info;
  ASSERT_EQ(0, np_fio_statx(noTo.getEmailFile().asCstr(), &info));
  EXPECT_EQ(0, info.size);

  KxbEmail noSubject;
  ASSERT_TRUE(compose(noSubject));
  noSubject.setTo(KxbString("t@example.com"));
  noSubject.setFrom(KxbString("f@example.com"));
  EXPECT_FALSE(noSubject.sendMail());
  EXPECT_STREQ("The mail has no subject.", noSubject.getErrorMessage().asCstr());
  std::string path = noSubject.getEmailFile().asCstr();
  EXPECT_EQ("To: t@example.com\r\nFrom: f@example.com\r\n",
            dir_.read(path.substr(path.rfind('/') + 1)));
}

// A line break in a header value would end the header and start another
// ("Bcc: ..." smuggled in through a subject): such a value is written as an
// encoded word like a non-ASCII one.
TEST_F(KxbEmailTest, LineBreaksInHeaderValuesCannotAddHeaders) {
  KxbEmail mail;
  ASSERT_TRUE(compose(mail));
  mail.setTo(KxbString("t@example.com"));
  mail.setFrom(KxbString("f@example.com\nX-Evil: 1"));
  mail.setSubject(KxbString("hello\r\nBcc: spy@example.com"));
  ASSERT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
  EXPECT_EQ("To: t@example.com\r\n"
            "From: =?UTF-8?B?ZkBleGFtcGxlLmNvbQpYLUV2aWw6IDE=?=\r\n"
            "Subject: =?UTF-8?B?aGVsbG8NCkJjYzogc3B5QGV4YW1wbGUuY29t?=\r\n",
            dir_.read("sent.eml"));
}

TEST_F(KxbEmailTest, AttachmentsAreCut57BytesToALine) {
  std::string big(57 * 1100 + 5, '\0');
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7);
  dir_.write("empty.bin", "");
  dir_.write("big.bin", big);
  KxbEmail mail;
  ASSERT_TRUE(compose(mail));
  mail.setTo(KxbString("t@example.com"));
  mail.setSubject(KxbString("files"));
  mail.addAttachment(KxbString(dir_.path("empty.bin").c_str()));
  mail.addAttachment(KxbString(dir_.path("big.bin").c_str()));
  ASSERT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
  std::string sent = dir_.read("sent.eml");
  // The empty file has no content lines.
  EXPECT_NE(std::string::npos,
            sent.find("filename=\"empty.bin\"\r\n\r\n--KX_EMAIL_00\r\n"));
  size_t start = sent.find("filename=\"big.bin\"\r\n\r\n");
  ASSERT_NE(std::string::npos, start);
  start += 22;
  size_t lines = 0;
  for (size_t end; (end = sent.find("\r\n", start)) != std::string::npos;
       start = end + 2) {
    std::string line = sent.substr(start, end - start);
    if (line.rfind("--", 0) == 0) break;
    ++lines;
    EXPECT_EQ(lines <= 1100 ? 76u : 8u, line.size()) << "line " << lines;
  }
  EXPECT_EQ(1101u, lines);
}

TEST_F(KxbEmailTest, MailProgramFailuresAndOutput) {
  auto send = [&](const char* command) {
    KxbEmail mail;
    EXPECT_TRUE(mail.initialize(KxbString(dir_.path().c_str()), KxbString(command)));
    mail.setTo(KxbString("t@example.com"));
    mail.setSubject(KxbString("s"));
    bool sent = mail.sendMail();
    return std::make_tuple(sent, mail.getExitCode(),
                           std::string(mail.getErrorMessage().asCstr()));
  };
  EXPECT_EQ(std::make_tuple(false, 3, std::string("The mail program was aborted.")),
            send("exit 3"));
  EXPECT_EQ(std::make_tuple(false, 0, std::string("The mail program reported an "
                                                  "error: warning: delivered late "
                                                  "second line")),
            send("echo 'warning: delivered late   '; echo; echo 'second line' >&2"));
  // Output and a failing status: the output tells more.
  EXPECT_EQ(std::make_tuple(false, 127,
                            std::string("The mail program reported an error: "
                                        "/bin/sh: 1: kxb-no-such-mailer: not found")),
            send("kxb-no-such-mailer %T < %B"));
  EXPECT_EQ(std::vector<std::string>{}, temporaries());

  kxFaultArm(KX_FAULT_PROC_START, 1);
  EXPECT_EQ(std::make_tuple(false, 0,
                            std::string("Failed to start the mail program: "
                                        "Resource temporarily unavailable")),
            send("true"));
}

TEST_F(KxbEmailTest, ComposingFailures) {
  KxbEmail mail;
  ASSERT_TRUE(compose(mail));
  mail.setTo(KxbString("t@example.com"));
  mail.setSubject(KxbString("s"));
  mail.addMessage(KxbString("text"));
  mail.addAttachment(KxbString(dir_.path("missing.bin").c_str()));
  EXPECT_FALSE(mail.sendMail());
  EXPECT_STREQ("Failed to open the attachment: No such file or directory",
               mail.getErrorMessage().asCstr());
  EXPECT_FALSE(dir_.exists("sent.eml")) << "the command must not run";

  ASSERT_TRUE(compose(mail));
  mail.setTo(KxbString("t@example.com"));
  mail.setSubject(KxbString("s"));
  kxFaultArm(KX_FAULT_WRITE, 1);
  EXPECT_FALSE(mail.sendMail());
  EXPECT_STREQ("Failed to write the mail header \"To: t@example.com\".",
               mail.getErrorMessage().asCstr());

  ASSERT_TRUE(compose(mail));
  mail.setTo(KxbString("t@example.com"));
  mail.setSubject(KxbString("Grüße"));
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);  // the subject's encoding buffer
  EXPECT_FALSE(mail.sendMail());
  EXPECT_STREQ("Out of memory.", mail.getErrorMessage().asCstr());

  // Without initialize there is no file to compose into.
  KxbEmail bare;
  bare.setTo(KxbString("t@example.com"));
  bare.setSubject(KxbString("s"));
  EXPECT_FALSE(bare.sendMail());
  EXPECT_FALSE(bare.getErrorMessage().isNull());

  ASSERT_EQ(0, kxbSetMessageLocale("fr", nullptr));
  KxbEmail french;
  ASSERT_TRUE(compose(french));
  french.setSubject(KxbString("s"));
  EXPECT_FALSE(french.sendMail());
  EXPECT_STREQ("Le message n'a pas de destinataire.",
               french.getErrorMessage().asCstr());
  ASSERT_EQ(0, kxbSetMessageLocale("en", nullptr));
}

TEST_F(KxbEmailTest, TemporaryDirectoryThatCannotBeWritten) {
  KxbEmail missing;
  EXPECT_FALSE(missing.initialize(KxbString(dir_.path("no/such").c_str()),
                                  KxbString("true")));
  EXPECT_STREQ("Failed to create a temporary file (error 2): No such file or "
               "directory",
               missing.getErrorMessage().asCstr());

  kxFaultArm(KX_FAULT_OPEN, 2);  // the second file
  KxbEmail second;
  EXPECT_FALSE(second.initialize(KxbString(dir_.path().c_str()), KxbString("true")));
  EXPECT_STREQ("Failed to create a temporary file (error 13): Permission denied",
               second.getErrorMessage().asCstr());

  dir_.mkdir("locked");
  if (!kxb_test::ignoresPermissions(dir_)) {
    ASSERT_EQ(0, std::system(("chmod 500 '" + dir_.path("locked") + "'").c_str()));
    KxbEmail locked;
    EXPECT_FALSE(locked.initialize(KxbString(dir_.path("locked").c_str()),
                                   KxbString("true")));
    EXPECT_STREQ("Failed to create a temporary file (error 13): Permission denied",
                 locked.getErrorMessage().asCstr());
  }
  EXPECT_EQ(std::vector<std::string>{}, temporaries());
}

TEST_F(KxbEmailTest, ReinitializeCopiesAndAProgramStillRunningKeepsTheFiles) {
  KxbEmail mail;
  ASSERT_TRUE(compose(mail));
  mail.setTo(KxbString("t@example.com"));
  mail.setSubject(KxbString("first"));
  mail.addMessage(KxbString("one"));
  KxbEmail copy(mail);
  ASSERT_TRUE(mail.sendMail());
  // A new mail on the same object: the old files go, the lists are empty.
  ASSERT_TRUE(compose(mail));
  EXPECT_EQ(2u, temporaries().size());
  mail.setSubject(KxbString("second"));
  ASSERT_TRUE(mail.sendMail());
  EXPECT_EQ("To: t@example.com\r\nSubject: second\r\n", dir_.read("sent.eml"));

  // The copy kept the fields; it sends once initialised.
  ASSERT_TRUE(compose(copy));
  copy.addMessage(KxbString("again"));
  ASSERT_TRUE(copy.sendMail());
  EXPECT_NE(std::string::npos, dir_.read("sent.eml").find("Subject: first\r\n"));

  EXPECT_EQ(4u, temporaries().size());  // those of `mail` and `copy`
  {
    // Still running after the 10-second wait: success, and the files stay
    // for the program that reads them.
    KxbEmail slow;
    ASSERT_TRUE(slow.initialize(KxbString(dir_.path().c_str()),
                                KxbString("sleep 12 < %B")));
    slow.setTo(KxbString("t@example.com"));
    slow.setSubject(KxbString("slow"));
    EXPECT_TRUE(slow.sendMail()) << slow.getErrorMessage().asCstr();
    EXPECT_EQ(0, slow.getExitCode());
  }
  EXPECT_EQ(6u, temporaries().size());
}

}  // namespace
