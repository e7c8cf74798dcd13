// KxHadoopURI: name node, query keys, masking and the builder.
#include <string>

#include <gtest/gtest.h>

#include "kxburi.h"
#include "uri/uri_test_util.h"

namespace {

using kxb_test::kNull;
using kxb_test::show;
using kxb_test::text;

KxbString s(const char* t) { return KxbString(t, true); }

KxURIPtr<KxHadoopURI> parseHadoop(const std::string& t) {
  KxURI* uri = getURIFromURIString(text(t));
  auto* hadoop = dynamic_cast<KxHadoopURI*>(uri);
  if (hadoop == nullptr && uri != nullptr) uri->release();
  return KxURIPtr<KxHadoopURI>(hadoop);
}

int portOf(KxHadoopURI* uri, bool* ok, std::string* error = nullptr) {
  int port = -1;
  KxbString message;
  *ok = uri->getPort(&port, &message);
  if (error != nullptr) *error = show(message);
  return port;
}

int64_t bufferSizeOf(KxHadoopURI* uri, bool* ok, std::string* error = nullptr) {
  int64_t size = -1;
  KxbString message;
  *ok = uri->getBufferSize(&size, &message);
  if (error != nullptr) *error = show(message);
  return size;
}

TEST(UriHadoop, ParsedTextGivesNameNodePathAndEveryKey) {
  const std::string t =
      "hadoop://nn.example.com:8020/user/etl/in%20put.csv?kxCfg=prod&"
      "kxUser=etl&kxPass=s%26cr%3Dt%25&kxDomain=CORP&kxBufSz=65536#part";
  auto uri = parseHadoop(t);
  ASSERT_TRUE(uri);
  EXPECT_EQ("hadoop", show(uri->getScheme()));
  EXPECT_EQ("nn.example.com:8020", show(uri->getHost()));
  EXPECT_EQ("nn.example.com", show(uri->getNameNode()));
  bool ok = false;
  EXPECT_EQ(8020, portOf(uri.get(), &ok));
  EXPECT_TRUE(ok);
  EXPECT_EQ("user/etl/in put.csv", show(uri->getPath()));
  EXPECT_EQ("part", show(uri->getFragment()));
  EXPECT_EQ("prod", show(uri->getConfig()));
  EXPECT_EQ("etl", show(uri->getUser()));
  // Values are read from the query as written: "&", "=" and "%" survive.
  EXPECT_EQ("s&cr=t%", show(uri->getPassword()));
  EXPECT_EQ("CORP", show(uri->getDomain()));
  EXPECT_EQ(65536, bufferSizeOf(uri.get(), &ok));
  EXPECT_TRUE(ok);
  // The generic view of the query is unescaped as for every kind.
  EXPECT_EQ("kxCfg=prod&kxUser=etl&kxPass=s&cr=t%&kxDomain=CORP&kxBufSz=65536",
            show(uri->getQuery()));
  EXPECT_EQ(t, show(uri->getURIString()));
  EXPECT_EQ("hadoop://nn.example.com:8020/user/etl/in%20put.csv?kxCfg=prod&"
            "kxUser=etl&kxPass=s%26cr%3Dt%25&kxDomain=CORP&kxBufSz=65536#part",
            show(uri->getEscapedURIString()));
  EXPECT_EQ(nullptr, uri->asReposURI());
  EXPECT_EQ(nullptr, uri->asDataURI());

  // Absent keys are null; the first of a repeated key wins; names are exact.
  auto sparse = parseHadoop("hadoop://nn/p?kxuser=a&kxUser=b&kxUser=c");
  EXPECT_EQ("b", show(sparse->getUser()));
  EXPECT_EQ(kNull, show(sparse->getPassword()));
  EXPECT_EQ(kNull, show(sparse->getConfig()));
  EXPECT_EQ(0, bufferSizeOf(sparse.get(), &ok));
  EXPECT_TRUE(ok);
  EXPECT_EQ(0, portOf(sparse.get(), &ok));
  EXPECT_TRUE(ok);
}

TEST(UriHadoop, PortsOutsideTheRangeOrNotNumbersAreClearFailures) {
  const struct {
    const char* host;
    const char* nameNode;
    int port;
    bool ok;
  } cases[] = {
      {"nn:1", "nn", 1, true},
      {"nn:65535", "nn", 65535, true},
      {"nn:", "nn", 0, true},
      {"[::1]:9000", "::1", 9000, true},
      {"[fe80::1]", "fe80::1", 0, true},
      {"nn:0", "nn", 0, false},
      {"nn:65536", "nn", 0, false},
      {"nn:99999999999", "nn", 0, false},
      {"nn:80a", "nn", 0, false},
      {"nn:-1", "nn", 0, false},
      {"a:b:c", "a", 0, false},
      {"[::1]x", "::1", 0, false},
  };
  for (const auto& c : cases) {
    auto uri = parseHadoop(std::string("hadoop://") + c.host + "/p");
    ASSERT_TRUE(uri) << c.host;
    EXPECT_EQ(c.nameNode, show(uri->getNameNode())) << c.host;
    bool ok = !c.ok;
    std::string error;
    EXPECT_EQ(c.port, portOf(uri.get(), &ok, &error)) << c.host;
    EXPECT_EQ(c.ok, ok) << c.host;
    if (!c.ok) {
      EXPECT_NE(std::string::npos, error.find("Invalid port")) << error;
    }
  }
  auto noHost = parseHadoop("hadoop:///p");
  EXPECT_EQ(kNull, show(noHost->getNameNode()));
}

TEST(UriHadoop, BufferSizesThatAreNotPositiveNumbersAreClearFailures) {
  for (const char* bad : {"64k", "-1", "0", "", "1.5", "99999999999999999999"}) {
    auto uri = parseHadoop(std::string("hadoop://nn/p?kxBufSz=") + bad);
    ASSERT_TRUE(uri) << bad;
    bool ok = true;
    std::string error;
    EXPECT_EQ(0, bufferSizeOf(uri.get(), &ok, &error)) << bad;
    EXPECT_FALSE(ok) << bad;
    EXPECT_NE(std::string::npos, error.find(std::string("'") + bad + "'")) << error;
    int64_t size = -1;
    EXPECT_FALSE(uri->getBufferSize(&size, nullptr));
  }
  auto large = parseHadoop("hadoop://nn/p?kxBufSz=9223372036854775807");
  bool ok = false;
  EXPECT_EQ(INT64_MAX, bufferSizeOf(large.get(), &ok));
  EXPECT_TRUE(ok);
}

TEST(UriHadoop, MaskingHidesEveryPasswordValueAndNothingElse) {
  const struct {
    const char* input;
    const char* masked;
  } cases[] = {
      {"hadoop://nn/p?kxUser=u&kxPass=secret&kxBufSz=1",
       "hadoop://nn/p?kxUser=u&kxPass=********&kxBufSz=1"},
      {"hadoop://nn/p?kxPass=secret", "hadoop://nn/p?kxPass=********"},
      {"hadoop://nn/p?kxPass=sec%26ret#frag", "hadoop://nn/p?kxPass=********#frag"},
      // Any case, escaped names, and a "=" that is itself escaped.
      {"hadoop://nn/p?KXPASS=a&kx%50ass=b", "hadoop://nn/p?KXPASS=********&kx%50ass=********"},
      {"hadoop://nn/p?kxPass%3Dsecret&x=1", "hadoop://nn/p?kxPass=********&x=1"},
      {"hadoop://nn/p?kxPass=a?kxPass=b", "hadoop://nn/p?kxPass=********"},
      // A bare query is masked as well.
      {"kxPass=secret&a=b", "kxPass=********&a=b"},
      // Empty values and other keys stay as they are.
      {"hadoop://nn/p?kxPass=&kxPassword=x&mykxPass=y",
       "hadoop://nn/p?kxPass=&kxPassword=x&mykxPass=y"},
      {"hadoop://nn/kxPass=x", "hadoop://nn/kxPass=x"},
      {"", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.masked, show(getMaskedHadoopURIString(s(c.input)))) << c.input;
  }
  EXPECT_EQ(kNull, show(getMaskedHadoopURIString(KxbString())));

  auto uri = parseHadoop("hadoop://nn/p?kxUser=u&kxPass=s3cret");
  ASSERT_TRUE(uri);
  const std::string masked = show(uri->getMaskedURIString());
  EXPECT_EQ("hadoop://nn/p?kxUser=u&kxPass=********", masked);
  EXPECT_EQ("s3cret", show(uri->getPassword()));
}

TEST(UriHadoop, BuilderWritesEscapedTextThatReadsBackUnchanged) {
  KxbString error;
  auto uri = KxURIPtr<KxHadoopURI>(getHadoopURIFromComponents(
      s("nn"), 8020, s("data/in file%.csv"), s("prod"), s("etl"),
      s("p&w=d%#"), s("CORP"), 4096, &error));
  ASSERT_TRUE(uri) << show(error);
  EXPECT_EQ("hadoop://nn:8020/data/in%20file%25.csv?kxCfg=prod&kxUser=etl&"
            "kxPass=p%26w%3Dd%25%23&kxDomain=CORP&kxBufSz=4096",
            show(uri->getURIString()));
  EXPECT_EQ("nn", show(uri->getNameNode()));
  bool ok = false;
  EXPECT_EQ(8020, portOf(uri.get(), &ok));
  EXPECT_EQ("data/in file%.csv", show(uri->getPath()));
  EXPECT_EQ("prod", show(uri->getConfig()));
  EXPECT_EQ("etl", show(uri->getUser()));
  EXPECT_EQ("p&w=d%#", show(uri->getPassword()));
  EXPECT_EQ("CORP", show(uri->getDomain()));
  EXPECT_EQ(4096, bufferSizeOf(uri.get(), &ok));
  EXPECT_EQ("hadoop://nn:8020/data/in%20file%25.csv?kxCfg=prod&kxUser=etl&"
            "kxPass=********&kxDomain=CORP&kxBufSz=4096",
            show(uri->getMaskedURIString()));

  // Parsing the text again gives the same object.
  auto back = parseHadoop(show(uri->getURIString()));
  ASSERT_TRUE(back);
  EXPECT_EQ(kxb_test::describe(uri.get()), kxb_test::describe(back.get()));

  // Empty components are left out; IPv6 addresses are bracketed; non-ASCII
  // and even non-UTF-8 bytes survive.
  auto minimal = KxURIPtr<KxHadoopURI>(getHadoopURIFromComponents(
      s(""), 0, s("/abs/p\xC3\xA9\xFF"), s(""), s(""), s(""), s(""), 0, nullptr));
  ASSERT_TRUE(minimal);
  EXPECT_EQ("hadoop:////abs/p%C3%A9%FF", show(minimal->getURIString()));
  EXPECT_EQ("/abs/p\xC3\xA9\xFF", show(minimal->getPath()));
  auto ipv6 = KxURIPtr<KxHadoopURI>(getHadoopURIFromComponents(
      s("fe80::1"), 9000, s("x"), s(""), s("u"), s(""), s(""), 0, nullptr));
  ASSERT_TRUE(ipv6);
  EXPECT_EQ("hadoop://[fe80::1]:9000/x?kxUser=u", show(ipv6->getURIString()));
  EXPECT_EQ("fe80::1", show(ipv6->getNameNode()));
}

TEST(UriHadoop, BuilderRefusesBadComponentsWithAMessage) {
  const struct {
    const char* nameNode;
    int port;
    int64_t bufferSize;
    const char* words;
  } cases[] = {
      {"a/b", 0, 0, "name node"},   {"a b", 0, 0, "name node"},
      {"u@nn", 0, 0, "name node"},  {"nn?", 0, 0, "name node"},
      {"[::1]", 0, 0, "name node"}, {"nn", -1, 0, "port"},
      {"nn", 65536, 0, "port"},     {"", 8020, 0, "name node"},
      {"nn", 0, -5, "buffer size"},
  };
  for (const auto& c : cases) {
    KxbString error;
    EXPECT_EQ(nullptr, getHadoopURIFromComponents(s(c.nameNode), c.port, s("p"),
                                                  s(""), s(""), s(""), s(""),
                                                  c.bufferSize, &error))
        << c.nameNode << " " << c.port;
    EXPECT_NE(std::string::npos, show(error).find(c.words)) << show(error);
    EXPECT_EQ(nullptr, getHadoopURIFromComponents(s(c.nameNode), c.port, s("p"),
                                                  s(""), s(""), s(""), s(""),
                                                  c.bufferSize, nullptr));
  }
}

TEST(UriHadoop, AddedValuesReplaceKeysAndShowInTheEscapedString) {
  auto uri = parseHadoop("hadoop://nn/p?kxUser=a&kxPass=old");
  ASSERT_TRUE(uri);
  KxbString error;
  EXPECT_TRUE(uri->addQueryValue(s("kxUser"), s("b"), &error));
  EXPECT_TRUE(uri->addQueryValue(s("kxPass"), s("n&w %41"), &error));
  EXPECT_TRUE(uri->addQueryValue(s("kxBufSz"), s("128"), &error));
  EXPECT_EQ("b", show(uri->getUser()));
  EXPECT_EQ("n&w %41", show(uri->getPassword()));
  bool ok = false;
  EXPECT_EQ(128, bufferSizeOf(uri.get(), &ok));
  EXPECT_EQ("kxUser=b&kxPass=n&w %41&kxBufSz=128", show(uri->getQuery()));
  EXPECT_EQ("hadoop://nn/p?kxUser=a&kxPass=old", show(uri->getURIString()));
  EXPECT_EQ("hadoop://nn/p?kxUser=b&kxPass=n%26w%20%2541&kxBufSz=128",
            show(uri->getEscapedURIString()));
  auto back = parseHadoop(show(uri->getEscapedURIString()));
  EXPECT_EQ("n&w %41", show(back->getPassword()));
}

}  // namespace
