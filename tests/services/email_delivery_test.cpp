// KxbEmail delivering through msmtp to a real SMTP server (aiosmtpd), each
// delivered mail read back with Python's email package.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "kxbemail.h"
#include "kxmsg.h"
#include "np_env.h"
#include "support/mail_server.h"
#include "support/temp_dir.h"
#include "support/source_tree.h"

namespace {

class EmailDeliveryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    kxb_test::useSourceCatalogue();
    dir_.mkdir("server");
  }
  void TearDown() override { kxmsg112_terminate(); }

  kxb_test::TempDir dir_;
};

std::string randomBytes(size_t size, unsigned seed) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() & 0xFF);
  return bytes;
}

TEST_F(EmailDeliveryTest, MsmtpDeliversEveryPartIntact) {
  kxb_test::MailServer server(dir_.path("server"));
  ASSERT_NE(0, server.port()) << server.error();

  const std::vector<size_t> sizes = {0, 57, 58, 1000000};
  KxbEmail mail;
  ASSERT_TRUE(mail.initialize(KxbString(dir_.path().c_str()),
                              KxbString(server.msmtpCommand("sender@example.com").c_str())));
  mail.setTo(KxbString("rcpt@example.com"));
  mail.setFrom(KxbString("sender@example.com"));
  const std::string subject = "Grüße – Überweisung № 42 ✓";
  mail.setSubject(KxbString(subject.c_str()));
  mail.addMessage(KxbString("Plain ASCII text, two lines.\r\nSecond line."));
  const std::string accented = "Grüße aus Köln: ça va? Ελληνικά, 日本語.";
  mail.addMessage(KxbString(accented.c_str()));
  for (size_t size : sizes) {
    std::string name = "random" + std::to_string(size) + ".bin";
    dir_.write(name, randomBytes(size, static_cast<unsigned>(size) + 1));
    mail.addAttachment(KxbString(dir_.path(name).c_str()));
  }
  ASSERT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
  EXPECT_EQ(0, mail.getExitCode());

  std::vector<std::string> received = server.messages(1);
  ASSERT_EQ(1u, received.size());
  EXPECT_EQ("sender@example.com\nrcpt@example.com\n",
            dir_.read("server/1.env"));
  kxb_test::ParsedMail parsed = kxb_test::parseMail(received[0], dir_.path());
  ASSERT_EQ("", parsed.error);
  EXPECT_EQ("rcpt@example.com", parsed.to);
  EXPECT_EQ("sender@example.com", parsed.from);
  EXPECT_EQ(subject, parsed.subject);
  EXPECT_TRUE(parsed.multipart);
  // The preamble line right after the MIME headers reads as the start of
  // the body; the parser notes that and nothing else.
  EXPECT_EQ("MissingHeaderBodySeparatorDefect", parsed.defects);
  ASSERT_EQ(6u, parsed.parts.size());
  EXPECT_EQ("text/plain|us-ascii|-|7bit|", parsed.parts[0]);
  // The parser hands out line ends of text parts as "\n".
  EXPECT_EQ("Plain ASCII text, two lines.\nSecond line.", parsed.payloads[0]);
  EXPECT_EQ("text/plain|utf-8|-|base64|", parsed.parts[1]);
  EXPECT_EQ(accented, parsed.payloads[1]);
  for (size_t i = 0; i < sizes.size(); ++i) {
    std::string name = "random" + std::to_string(sizes[i]) + ".bin";
    EXPECT_EQ("application/octet-stream|-|" + name + "|base64|", parsed.parts[i + 2]);
    EXPECT_EQ(sizes[i], parsed.payloads[i + 2].size()) << name;
    EXPECT_TRUE(dir_.read(name) == parsed.payloads[i + 2]) << name << " differs";
  }
}

// A non-ASCII text part is base64 on one line. Up to 747 bytes that line
// stays within the 998 characters mail allows; beyond, the server refuses
// the mail and msmtp's report makes sendMail fail.
TEST_F(EmailDeliveryTest, LongNonAsciiTextPartIsRefusedByTheServer) {
  kxb_test::MailServer server(dir_.path("server"));
  ASSERT_NE(0, server.port()) << server.error();
  auto send = [&](const std::string& text) {
    KxbEmail mail;
    EXPECT_TRUE(mail.initialize(KxbString(dir_.path().c_str()),
                                KxbString(server.msmtpCommand("s@example.com").c_str())));
    mail.setTo(KxbString("r@example.com"));
    mail.setSubject(KxbString("long"));
    mail.addMessage(KxbString(text.c_str()));
    bool sent = mail.sendMail();
    return std::make_pair(sent, std::string(mail.getErrorMessage().asCstr()));
  };
  std::string fits;  // 747 bytes: 996 base64 characters
  while (fits.size() < 745) fits += "é";
  fits += "a";
  ASSERT_EQ(747u, fits.size());
  auto accepted = send(fits);
  EXPECT_TRUE(accepted.first) << accepted.second;
  std::vector<std::string> received = server.messages(1);
  ASSERT_EQ(1u, received.size());
  kxb_test::ParsedMail parsed = kxb_test::parseMail(received[0], dir_.path());
  ASSERT_EQ(1u, parsed.payloads.size()) << parsed.error;
  EXPECT_EQ(fits, parsed.payloads[0]);

  auto refused = send(fits + "b");  // 748 bytes: 1,000 characters
  EXPECT_FALSE(refused.first);
  EXPECT_EQ(0u, refused.second.rfind("The mail program reported an error: ", 0))
      << refused.second;
  EXPECT_NE(std::string::npos, refused.second.find("500 Line too long"))
      << refused.second;
  EXPECT_EQ(1u, server.messages(2, 1).size()) << "nothing more was delivered";
}

}  // namespace
