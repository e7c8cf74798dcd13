// Text files over strings (RawString), the convenience overloads of
// KxbTxtFile and the layout of the interfaces shared with the text IO
// library.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kx_fault.h"
#include "kxbmessage.h"
#include "kxbpath.h"
#include "kxbtxtfile.h"
#include "services/kxbtxtfile_io.h"
#include "support/textio_env.h"
#include "support/vtable_slot.h"

namespace {

const bool kTextIO = kxb_test::useTextIO();

std::string readAllFromString(KxbString* text) {
  KxbTxtFile* file = kxbTxtFileOpenString(text, KXB_TXT_READ, nullptr);
  EXPECT_NE(nullptr, file);
  if (file == nullptr) return "<none>";
  std::string all;
  KxbString line;
  bool sawLineEnd;
  while (file->readLine(-1, &line, &sawLineEnd) > 0 || sawLineEnd) {
    all += std::string(line.asCstr()) + (sawLineEnd ? "|" : "");
  }
  file->release();
  return all;
}

TEST(RawString, ReadHandsOutPointersIntoTheTargetAndAdvances) {
  KxbString text("abcdef");
  RawString* stream = RawString::create(&text);
  ASSERT_NE(nullptr, stream);
  EXPECT_TRUE(stream->ready());
  EXPECT_TRUE(stream->getName().isNull());
  EXPECT_EQ(6, stream->size());
  const char* data = nullptr;
  EXPECT_EQ(2, stream->read(&data, 0, 2));
  EXPECT_EQ(text.asCstr(), data);  // no copy
  // 0 or a negative maximum, or one not below what is left: everything.
  EXPECT_EQ(4, stream->read(&data, 0, 4));
  EXPECT_EQ(text.asCstr() + 2, data);
  EXPECT_EQ(0, stream->read(&data, 0, 4));
  EXPECT_EQ(2, stream->seek(-4));
  EXPECT_EQ(4, stream->read(&data, 0, 0));
  EXPECT_EQ(4, stream->seek(-2));
  EXPECT_EQ(2, stream->read(&data, 0, -1));
  stream->close();
}

TEST(RawString, SeekPastTheEndFailsAndKeepsThePosition) {
  KxbString text("abc");
  RawString* stream = RawString::create(&text);
  ASSERT_NE(nullptr, stream);
  EXPECT_EQ(1, stream->seek(1));
  EXPECT_EQ(-1, stream->seek(3));
  EXPECT_STREQ(kxb_get_message("Base Services", 654, "t", 0, -1).asCstr(),
               stream->getErrorMessage().asCstr());
  const char* data;
  EXPECT_EQ(2, stream->read(&data, 0, 10));
  EXPECT_STREQ("bc", data);
  // Before the start is accepted; reading there fails.
  EXPECT_EQ(-2, stream->seek(-5));
  EXPECT_EQ(-1, stream->read(&data, 0, 1));
  stream->close();
}

TEST(RawString, OpenModesAndWritesChangeTheTarget) {
  KxbString text("abc");
  RawString* stream = RawString::create(&text);
  ASSERT_NE(nullptr, stream);
  EXPECT_TRUE(stream->open(KXB_TXT_APPEND, 0, 0));
  EXPECT_EQ(1, stream->write("d", 1));
  EXPECT_STREQ("abcd", text.asCstr());
  EXPECT_EQ(4, stream->size());
  EXPECT_TRUE(stream->open(KXB_TXT_WRITE, 0, 0));
  EXPECT_STREQ("", text.asCstr());
  EXPECT_EQ(0, stream->size());
  // The count is bytes: a character cut between writes joins up.
  EXPECT_EQ(1, stream->write("\xC3", 1));
  EXPECT_EQ(1, stream->write("\xA9x", 1));
  EXPECT_STREQ("\xC3\xA9", text.asCstr());
  EXPECT_EQ(1, text.length());
  const char* data;
  EXPECT_EQ(0, stream->read(&data, 0, 5));  // the position is at the end
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_EQ(-1, stream->write(std::string(3000, 'y').c_str(), 3000));
  EXPECT_STREQ(kxb_get_message("Base Services", 444, "t", 0).asCstr(),
               stream->getErrorMessage().asCstr());
  EXPECT_STREQ("\xC3\xA9", text.asCstr());
  stream->close();
  EXPECT_STREQ("\xC3\xA9", text.asCstr());  // the target stays
}

TEST(TxtFileOpenString, ReadsWritesAndAppendsTheCallersString) {
  KxbString none;
  EXPECT_EQ("", readAllFromString(&none));
  EXPECT_TRUE(none.isNull());

  KxbString text("one\r\ntwo\nthree");
  EXPECT_EQ("one|two|three", readAllFromString(&text));

  KxbString error;
  KxbTxtFile* file = kxbTxtFileOpenString(&text, KXB_TXT_WRITE, &error);
  ASSERT_NE(nullptr, file);
  EXPECT_STREQ("", text.asCstr());
  EXPECT_TRUE(file->write(KxbString()));
  EXPECT_TRUE(file->writeln(KxbString()));
  EXPECT_TRUE(file->write("x"));
  EXPECT_TRUE(file->writeln(KxbString("y")));
  EXPECT_TRUE(file->close());
  file->release();
  EXPECT_STREQ("\nxy\n", text.asCstr());

  file = kxbTxtFileOpenString(&text, KXB_TXT_APPEND, &error);
  ASSERT_NE(nullptr, file);
  EXPECT_TRUE(file->writeln("z"));
  file->release();  // releasing an open string file closes it
  EXPECT_STREQ("\nxy\nz\n", text.asCstr());
}

TEST(TxtFileOpenString, FailureToMakeTheStreamGivesMessage29) {
  KxbString text("abc");
  KxbString error;
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
  EXPECT_EQ(nullptr, kxbTxtFileOpenString(&text, KXB_TXT_READ, &error));
  EXPECT_STREQ(kxb_get_message("Base Services", 29, "t", 0, "String as file")
                   .asCstr(),
               error.asCstr());
  EXPECT_EQ(nullptr, kxbTxtFileOpenString(nullptr, KXB_TXT_READ, nullptr));
}

// A stream that hands out one byte per read and counts its calls, to check
// that the text IO library carries cut characters and line ends, and closes
// a stream it was given.
class TrickleStream : public KxbIORaw {
 public:
  TrickleStream(std::string bytes, bool* closed, bool failOpen = false)
      : bytes_(std::move(bytes)), closed_(closed), failOpen_(failOpen) {}
  bool ready() override { return true; }
  int read(const char** data, int, int) override {
    if (at_ >= bytes_.size()) return 0;
    *data = bytes_.data() + at_++;
    return 1;
  }
  KxbString getErrorMessage() override { return KxbString("trickle failed"); }
  KxbString getName() override { return KxbString("trickle"); }
  bool open(KxbTxtFileOpenMode, int, int) override { return !failOpen_; }
  int write(const char*, int count) override { return count; }
  void close() override {
    *closed_ = true;
    delete this;
  }
  int64_t size() override { return static_cast<int64_t>(bytes_.size()); }
  int64_t seek(int64_t) override { return -1; }

 private:
  std::string bytes_;
  size_t at_ = 0;
  bool* closed_;
  bool failOpen_;
};

TEST(TxtFileOpenStream, ByteByByteStreamsDecodeLikeFiles) {
  bool closed = false;
  std::string bytes("\xFF\xFE" "a\0\r\0\n\0\x3D\xD8\x00\xDE\r\0", 14);
  KxbTxtFile* file = kxbTxtFileOpenStream(new TrickleStream(bytes, &closed),
                                          KXB_TXT_READ, -1, 0, nullptr);
  ASSERT_NE(nullptr, file);
  EXPECT_STREQ("trickle", file->getName().asCstr());
  KxbString line;
  bool sawLineEnd;
  EXPECT_EQ(1, file->readLine(-1, &line, &sawLineEnd));
  EXPECT_EQ(KXB_TXT_END_CRLF, file->lastLineEnd());
  EXPECT_EQ(1, file->readLine(-1, &line, &sawLineEnd));
  EXPECT_STREQ("\xF0\x9F\x98\x80", line.asCstr());
  EXPECT_TRUE(sawLineEnd);
  EXPECT_EQ(0, file->readLine(-1, &line, &sawLineEnd));
  EXPECT_FALSE(sawLineEnd);
  EXPECT_FALSE(closed);
  file->release();
  EXPECT_TRUE(closed);
}

TEST(TxtFileOpenStream, AStreamThatCannotOpenIsClosedAndNamed) {
  bool closed = false;
  KxbString error;
  EXPECT_EQ(nullptr,
            kxbTxtFileOpenStream(new TrickleStream("", &closed, true),
                                 KXB_TXT_READ, -1, 0, &error));
  EXPECT_TRUE(closed);
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "trickle failed"));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "'trickle'"));
}

// Records which pure slot the convenience overloads call.
class RecordingFile : public KxbTxtFile {
 public:
  std::vector<std::string> calls;

  bool close() override { return true; }
  bool flush() override { return true; }
  KxbString getErrorMessage() override { return KxbString(); }
  KxbString getName() override { return KxbString(); }
  KxbTxtFileOpenMode getMode() override { return KXB_TXT_WRITE; }
  bool isOpen() override { return true; }
  bool atEnd() override { return true; }
  int getLineCount() override { return 0; }
  int read(char*, int) override { return 0; }
  int readLine(int, KxbString*, bool*) override { return 0; }
  int getEncoding() override { return 0; }
  void release() override {}
  int64_t getByteCount() override { return 0; }
  int lastLineEnd() override { return 0; }
  int getSystemError() override { return 0; }

  using KxbTxtFile::write;
  using KxbTxtFile::writeln;
  bool write(const char* data, int bytes, int extra) override {
    return record("write3", data, bytes, extra);
  }
  bool write(const char* data, int bytes) override {
    return record("write2", data, bytes, -1);
  }
  bool writeln(const char* data, int bytes, int extra) override {
    return record("writeln3", data, bytes, extra);
  }
  bool writeln(const char* data, int bytes) override {
    return record("writeln2", data, bytes, -1);
  }

 private:
  bool record(const char* slot, const char* data, int bytes, int extra) {
    calls.push_back(std::string(slot) + "(" +
                    (data == nullptr ? "none" : std::string(data, bytes)) +
                    "," + std::to_string(bytes) +
                    (extra >= 0 ? "," + std::to_string(extra) : "") + ")");
    return true;
  }
};

TEST(TxtFileOverloads, ConvertTheirArgumentAndCallTheRightSlot) {
  RecordingFile file;
  KxbTxtFile& base = file;
  EXPECT_TRUE(base.write(KxbString()));
  EXPECT_TRUE(base.write(KxbString("")));
  EXPECT_TRUE(base.write(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(base.write(KxbString("\xC3\xA9t\xC3\xA9")));
  EXPECT_TRUE(base.write("abc"));
  EXPECT_TRUE(base.write(KxbString(), 7));
  EXPECT_TRUE(base.write(KxbString("ab"), 7));
  EXPECT_TRUE(base.writeln(KxbString()));
  EXPECT_TRUE(base.writeln(KxbString("ab")));
  EXPECT_TRUE(base.writeln(KxbString(), 3));
  EXPECT_TRUE(base.writeln(KxbString("ab"), 3));
  EXPECT_TRUE(base.writeln(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(base.writeln("xyz"));
  EXPECT_EQ((std::vector<std::string>{
                "write2(\xC3\xA9t\xC3\xA9,5)", "write2(abc,3)",
                "write3(none,0,7)", "write3(ab,2,7)", "writeln2(none,0)",
                "writeln2(ab,2)", "writeln3(none,0,3)", "writeln3(ab,2,3)",
                "writeln2(none,0)", "writeln2(xyz,3)"}),
            file.calls);
}

TEST(InterfaceLayout, VirtualSlotsAreInTheSharedOrder) {
  using kxb_test::vtableSlot;
  using F = KxbTxtFile;
  EXPECT_EQ(0, vtableSlot(&F::close));
  EXPECT_EQ(2, vtableSlot(&F::getErrorMessage));
  EXPECT_EQ(9, vtableSlot(&F::readLine));
  EXPECT_EQ(11, vtableSlot(&F::release));
  EXPECT_EQ(15, vtableSlot(static_cast<bool (F::*)(const KxbString&, int)>(&F::write)));
  EXPECT_EQ(16, vtableSlot(static_cast<bool (F::*)(const char*, int, int)>(&F::write)));
  EXPECT_EQ(17, vtableSlot(static_cast<bool (F::*)(const KxbString&)>(&F::write)));
  EXPECT_EQ(18, vtableSlot(static_cast<bool (F::*)(const char*, int)>(&F::write)));
  EXPECT_EQ(19, vtableSlot(static_cast<bool (F::*)(const char*)>(&F::write)));
  EXPECT_EQ(20, vtableSlot(static_cast<bool (F::*)(const KxbString&, int)>(&F::writeln)));
  EXPECT_EQ(21, vtableSlot(static_cast<bool (F::*)(const char*, int, int)>(&F::writeln)));
  EXPECT_EQ(22, vtableSlot(static_cast<bool (F::*)(const KxbString&)>(&F::writeln)));
  EXPECT_EQ(23, vtableSlot(static_cast<bool (F::*)(const char*, int)>(&F::writeln)));
  EXPECT_EQ(24, vtableSlot(static_cast<bool (F::*)(const char*)>(&F::writeln)));

  EXPECT_EQ(0, vtableSlot(&KxbIORaw::ready));
  EXPECT_EQ(1, vtableSlot(&KxbIORaw::read));
  EXPECT_EQ(2, vtableSlot(&KxbIORaw::getErrorMessage));
  EXPECT_EQ(3, vtableSlot(&KxbIORaw::getName));
  EXPECT_EQ(4, vtableSlot(&KxbIORaw::open));
  EXPECT_EQ(5, vtableSlot(&KxbIORaw::write));
  EXPECT_EQ(6, vtableSlot(&KxbIORaw::close));
  EXPECT_EQ(7, vtableSlot(&KxbIORaw::size));
  EXPECT_EQ(8, vtableSlot(&KxbIORaw::seek));

  EXPECT_EQ(0, vtableSlot(&KxbTextIO::openDirectory));
  EXPECT_EQ(1, vtableSlot(&KxbTextIO::openFile));
  EXPECT_EQ(2, vtableSlot(&KxbTextIO::openStream));
  EXPECT_EQ(3, vtableSlot(&KxbTextIO::release));
}

}  // namespace
