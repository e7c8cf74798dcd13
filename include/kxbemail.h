// KxbEmail: composing an e-mail as a MIME text file and handing it to an
// external mail program.
//
// The library speaks no mail protocol. The host gives a command template in
// which "%T" stands for the recipients and "%B" for the path of the composed
// file, for example
//     msmtp --host=mail.example.com -- %T < %B
// sendMail writes the file, fills the template, runs it through "/bin/sh -c"
// with standard input from /dev/null and standard output and error going to
// a second temporary file, waits up to 10 seconds, and treats any output of
// the mail program as a failure. The To value is put into the command as it
// stands: the template decides how it is quoted.
//
// The composed file (CRLF line ends throughout):
//     To: <to>
//     From: <from>                  (only when From is not null)
//     Subject: <subject>
// and, when there are text parts or attachments:
//     Content-Type: multipart/mixed; boundary="KX_EMAIL_00"
//     MIME-version: 1.0
//     This is a multi-part message in MIME format.
//     <empty line>
//     --KX_EMAIL_00                 (for each text part)
//     Content-Type: text/plain; charset=US-ASCII | UTF-8
//     Content-Transfer-Encoding: 7bit | base64
//     <empty line>
//     <the text, or its base64 on one line>
//     --KX_EMAIL_00                 (for each attachment)
//     Content-Type: application/octet-stream
//     Content-Transfer-Encoding: base64
//     Content-Disposition: attachment; filename="<name>"
//     <empty line>
//     <base64 lines of 76 characters (57 bytes each); the last shorter>
//     --KX_EMAIL_00--
// A header value with a non-ASCII character or a line break (CR or LF) is
// written as one encoded word "=?UTF-8?B?<base64 of all its bytes>?=",
// however long: a raw line break would let the rest of the value pass for
// headers of its own. A text part with a
// non-ASCII character is base64 on a single line: such a part longer than
// 747 bytes exceeds the 998-character line limit of mail, and servers that
// enforce it refuse the mail ("500 Line too long"); the mail program's
// report then makes sendMail fail. Keep non-ASCII text parts short, or send
// long texts as attachments. The preamble line follows the MIME headers
// without an empty line between them; readers take it as the start of the
// body and the message parses as intended.
//
// Lifecycle: initialize(tempDirectory, command) makes the two temporary
// files ("cmd_email" prefix; an empty directory means the system's). Then
// set the fields and call sendMail, which closes the mail file: call
// initialize again before composing the next mail on the same object
// (initialize removes the files of the previous mail unless the mail program
// was left running). sendMail replaces "%T" and "%B" in the stored command
// once: the placeholders are used up by the first send. The object deletes
// both files when it is destroyed, except after a send whose mail program
// was still running when the wait ended (getEmailFile() then names the file
// it is reading).
//
// Failures return false and keep a catalogue message of the set "Base
// Services" for getErrorMessage(), kept until a later failure replaces it:
// 332 a temporary file cannot be made (error code and reason); 449 a header
// cannot be written; 450 no recipient (To is null); 451 no subject; 448,
// 452 writing the boundaries or parts failed; 453, 454 the output file
// cannot be rewound or emptied; 471 an attachment cannot be opened; 97 one
// cannot be read; 444 out of memory; 380 the mail program cannot be
// started; 377 waiting for it failed; 378 it ended with a non-zero status or
// a signal; 333 it printed something (its output, one line). A failure while
// writing a text part leaves its error message but does not stop the mail.
// A header value whose encoding runs out of memory fails the send (444).
//
// Copies: a copy takes every value (fields, lists, command, paths, the
// delete-on-destroy setting, exit code, error message) but not the open
// files, which stay with the original; it names the same temporary files,
// and the first of the two destroyed with delete-on-destroy set removes
// them. Call initialize on a copy before sending with it.
//
// Thread safety: an object is used by one thread at a time; separate objects
// may send at the same time.
#ifndef KXB_INCLUDE_KXBEMAIL_H_
#define KXB_INCLUDE_KXBEMAIL_H_

#include <vector>

#include "kxbstring.h"

struct np_fio_file;

class KxbEmail {
 public:
  KxbEmail();
  KxbEmail(const KxbEmail& other);
  KxbEmail& operator=(const KxbEmail& other);
  ~KxbEmail();

  // Stores the directory and command template, empties both lists, and
  // makes the mail file and the output file. False with message 332 when
  // either cannot be made (a file already made is removed again).
  bool initialize(KxbString tempDirectory, KxbString mailCommand);

  void setTo(KxbString to);
  void setFrom(KxbString from);
  void setSubject(KxbString subject);
  // Text parts and attachment paths, sent in the order added.
  void addMessage(KxbString text);
  void addAttachment(KxbString path);
  void clearMessages();
  void clearAttachments();

  // Composes the mail, runs the mail program and checks what it did. True
  // when it ended with status 0 and printed nothing, or was still running
  // after 10 seconds.
  bool sendMail();

  // The mail program's exit code (0 while it runs).
  int getExitCode();
  // The path of the composed mail file.
  KxbString getEmailFile();
  KxbString getErrorMessage();

 private:
  bool writeEmailTextFile();
  bool writeTo();
  bool writeFrom();
  bool writeSubject();
  bool writeValue(const char* name, KxbString value);
  bool writeBody();
  bool writeMultipartHeader();
  bool writeBoundary(bool last);
  bool writeMessage(int index);
  bool writeAttachment(int index);
  KxbString encodeHeaderValue(KxbString value);
  KxbString encodeBody(KxbString text);
  int scanStr(KxbString text, int* nonAscii);

  bool readOutput(bool result);
  void closeFiles();
  void removeFiles();
  void copyFrom(const KxbEmail& other);

  bool deleteFilesOnDestroy;
  KxbString errorMessage_;
  KxbString mailCommand;
  KxbString to_;
  KxbString from_;
  KxbString subject_;
  std::vector<KxbString>* messages_;
  std::vector<KxbString>* attachments_;
  KxbString boundary_;
  KxbString tempDirectory;
  char mailFilePath[1024];
  char outputFilePath[1024];
  np_fio_file* mailFile_;
  np_fio_file* outputFile_;
  int exitCode_;
};

#endif  // KXB_INCLUDE_KXBEMAIL_H_
