// libFuzzer target for the URI component builders and the text splitters:
// objects of every kind built from arbitrary components (getFullURI and the
// kind builders), every accessor and string form computed and released, and
// the texts the builders promise to read back checked; the splitters and the
// password masking run on the raw input. Any violation aborts.
//
// Input: up to eight lines, used as scheme, host, path, query, fragment and
// three more values (user, password, type); the last two bytes pick a port
// and a buffer size.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <string_view>
#include <vector>

#include "kxbmempool.h"
#include "kxburi.h"
#include "kxlog.h"
#include "np_uchar.h"
#include "uri_fuzz_util.h"

namespace {

using kxb_fuzz::bytesOf;
using kxb_fuzz::isValidUtf8;

// Every accessor and string form of any kind; nothing may come back null
// where the interface promises a string.
void touch(KxURI* uri) {
  kxb_fuzz::touchGeneric(uri);
  if (KxReposURI* repos = uri->asReposURI()) {
    repos->getName();
    repos->getUnusedComponent();
    CHECK(!repos->getPathURIString().isNull());
    KxURIPtr<KxReposURI> parent(repos->getParent());
    if (parent) touch(parent.get());
    KxURIPtr<KxReposURI> root(repos->getRoot());
    CHECK(root && root->isRootFolder());
  }
  if (auto* rqs = dynamic_cast<KxRQSRefURI*>(uri)) {
    rqs->getServer();
    rqs->getName();
    rqs->getObjectType();
    rqs->getServiceType();
    CHECK(!rqs->getPathURIString().isNull());
    KxURIPtr<KxRQSRefURI> parent(rqs->getParent());
    if (parent) touch(parent.get());
  }
  if (auto* hadoop = dynamic_cast<KxHadoopURI*>(uri)) {
    int port = -1;
    int64_t size = -1;
    hadoop->getPort(&port, nullptr);
    hadoop->getBufferSize(&size, nullptr);
    CHECK(!hadoop->getMaskedURIString().isNull());
  }
  KxbString error;
  CHECK(uri->addQueryValue(KxbString("k", true), KxbString("v", true), &error));
  CHECK(!uri->getEscapedURIString().isNull());
}

bool has(const std::string& s, const char* any) {
  return s.find_first_of(any) != std::string::npos;
}

void fuzzFullURI(const std::vector<std::string>& f) {
  const KxbString scheme(f[0].c_str()), host(f[1].c_str()), path(f[2].c_str()),
      query(f[3].c_str()), fragment(f[4].c_str());
  KxURIPtr<KxURI> uri(getFullURI(scheme, host, path, query, fragment));
  CHECK(uri != nullptr);
  const bool generic =
      uri->asDataURI() == nullptr && uri->asReposURI() == nullptr &&
      dynamic_cast<KxRQSRefURI*>(uri.get()) == nullptr &&
      dynamic_cast<KxWorkTableURI*>(uri.get()) == nullptr;
  if (generic) {
    CHECK(uri->getScheme().compare(scheme) == 0);
    CHECK(uri->getHost().compare(host) == 0);
    CHECK(uri->getPath().isNull() == f[2].empty());
    CHECK(bytesOf(uri->getPath()).find('\\') == std::string_view::npos);
    // The escaped text of a generic URI with a plain scheme and host reads
    // back to the same components. The escaping leaves "%" alone, "#" in a
    // query and "?" in a fragment (which the parser takes for the query when
    // there is none), so those are left out.
    const bool plain = !f[0].empty() && !f[1].empty() &&
                       !has(f[0], ":/?#%") && !has(f[1], "/?#%") &&
                       f[0].find_first_not_of("abcdefghijklmnopqrstuvwxyz") ==
                           std::string::npos &&
                       f[0] != "kxr" && f[0] != "kxd" && f[0] != "kxf" &&
                       f[0] != "kxwt" && f[0] != "hadoop" && f[0] != "rqsref" &&
                       !has(f[2], "%") && !has(f[3], "#%") &&
                       !has(f[4], f[3].empty() ? "%?" : "%") &&
                       isValidUtf8(f[2].c_str()) && isValidUtf8(f[3].c_str()) &&
                       isValidUtf8(f[4].c_str());
    if (plain) {
      KxURIPtr<KxURI> back(getURIFromURIString(uri->getEscapedURIString()));
      CHECK(back != nullptr);
      CHECK(back->getScheme().compare(scheme) == 0);
      CHECK(back->getHost().compare(host) == 0);
      CHECK(bytesOf(back->getPath()) == bytesOf(uri->getPath()));
      if (!f[3].empty()) CHECK(back->getQuery().compare(query) == 0);
      if (!f[4].empty()) CHECK(back->getFragment().compare(fragment) == 0);
    }
  }
  touch(uri.get());
  KxURIPtr<KxURI> shortForm(getURI(scheme, host, path));
  CHECK(shortForm != nullptr);
  touch(shortForm.get());
}

void fuzzKindBuilders(const std::vector<std::string>& f, int port,
                      int64_t bufferSize) {
  const KxbString a(f[1].c_str()), b(f[2].c_str()), c(f[3].c_str()),
      d(f[4].c_str()), e(f[5].c_str()), g(f[6].c_str()), h(f[7].c_str());
  {
    KxURIPtr<KxReposURI> repos(getReposURIFromComponents(a, b, h));
    CHECK(repos != nullptr);
    CHECK(repos->getObjectType().compare(h) == 0);
    touch(repos.get());
  }
  {
    KxURIPtr<KxRQSRefURI> rqs(getRQSRefURIFromComponents(a, b, c));
    CHECK(rqs != nullptr);
    CHECK(rqs->getScheme().compare("rqsref") == 0);
    touch(rqs.get());
  }
  for (const char* scheme : {"kxd", "kxf"}) {
    KxURIPtr<KxDataURI> data(getDataURIFromComponents(
        KxbString(scheme, true), a, b, c, d, e, g, h));
    CHECK(data != nullptr);
    touch(data.get());
  }
  {
    KxbString error;
    KxURIPtr<KxHadoopURI> hadoop(getHadoopURIFromComponents(
        a, port, b, c, e, g, d, bufferSize, &error));
    if (hadoop == nullptr) {
      CHECK(!error.isNull());
    } else {
      touch(hadoop.get());
      // The builder escapes what it writes so that it reads back unchanged.
      const bool valid = isValidUtf8(f[2].c_str()) && isValidUtf8(f[3].c_str()) &&
                         isValidUtf8(f[4].c_str()) && isValidUtf8(f[5].c_str()) &&
                         isValidUtf8(f[6].c_str());
      if (valid) {
        KxURIPtr<KxURI> again(getURIFromURIString(hadoop->getURIString()));
        auto* back = dynamic_cast<KxHadoopURI*>(again.get());
        CHECK(back != nullptr);
        CHECK(bytesOf(back->getNameNode()) == bytesOf(a));
        CHECK(bytesOf(back->getPath()) == bytesOf(b));
        CHECK(bytesOf(back->getConfig()) == bytesOf(c));
        CHECK(bytesOf(back->getUser()) == bytesOf(e));
        CHECK(bytesOf(back->getPassword()) == bytesOf(g));
        CHECK(bytesOf(back->getDomain()) == bytesOf(d));
        int backPort = -1;
        CHECK(back->getPort(&backPort, nullptr) && backPort == port);
        int64_t size = -1;
        CHECK(back->getBufferSize(&size, nullptr) && size == bufferSize);
        // No password survives masking.
        if (!f[6].empty()) {
          const KxbString masked = back->getMaskedURIString();
          CHECK(bytesOf(back->getPassword()) == bytesOf(g));
          CHECK(bytesOf(masked).find("kxPass=********") != std::string_view::npos);
        }
      }
    }
  }
  {
    KxURIPtr<KxWorkTableURI> table(getWorkTableURIFromComponents(b));
    CHECK(table != nullptr);
    touch(table.get());
  }
}

void fuzzSplitters(const KxbString& text) {
  KxbString s1, s2, s3, s4, s5, s6, s7, s8;
  if (getPathURLComponentsFromString(text, &s1, &s2, &s3, &s4)) {
    CHECK(s1.compare("kxr") == 0);
  }
  getPathURLComponentsFromString(text, nullptr, nullptr, nullptr, nullptr);
  if (getDataURIComponentsFromString(text, &s1, &s2, &s3, &s4, &s5, &s6, &s7,
                                     &s8)) {
    CHECK(s1.compare("kxd") == 0 || s1.compare("kxf") == 0);
  }
  CHECK(getRQSRefURIComponentsFromString(text, &s1, &s2, &s3, &s4));
  const KxbString masked = getMaskedHadoopURIString(text);
  CHECK(masked.isNull() == text.isNull());
  KxbString back;
  convertSlashesToBackSlashes(text, &back);
  if (!back.isNull()) CHECK(bytesOf(back).find('/') == std::string_view::npos);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (kxlogInitialize() != 0 || !KxbMemPool::initialize()) abort();
  kxlogSetLevel(kxlogGetLogger("KX.Base.URI.WorkTable"), KXLOG_ERROR);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  int port = 0;
  int64_t bufferSize = 0;
  if (size >= 2) {
    port = data[size - 2] * 257;          // 0 .. 65535
    bufferSize = data[size - 1] * 1000;   // 0 or a few KB
    size -= 2;
  }
  // Texts are C strings: NUL bytes are dropped.
  std::string input;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] != 0) input.push_back(static_cast<char>(data[i]));
  }
  std::vector<std::string> fields;
  size_t at = 0;
  while (fields.size() < 8) {
    const size_t end = input.find('\n', at);
    if (at > input.size()) {
      fields.emplace_back();
      continue;
    }
    fields.push_back(input.substr(at, end == std::string::npos ? end : end - at));
    at = end == std::string::npos ? input.size() + 1 : end + 1;
  }
  fuzzFullURI(fields);
  fuzzKindBuilders(fields, port, bufferSize);
  fuzzSplitters(KxbString(input.c_str()));
  return 0;
}
