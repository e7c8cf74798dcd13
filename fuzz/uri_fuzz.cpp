// libFuzzer target for the URI family, the query handler, escaping and the
// attribute parser: arbitrary text in, every object made and released, the
// invariants that tie the functions together checked; any violation aborts.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <string_view>

#include "kxbmempool.h"
#include "kxbparse.h"
#include "kxburi.h"
#include "kxlog.h"
#include "np_uchar.h"
#include "uri_fuzz_util.h"

namespace {

using kxb_fuzz::bytesOf;
using kxb_fuzz::isValidUtf8;

// Every accessor once; strings must be non-null (memory does not run out).
void touch(KxURI* uri) {
  kxb_fuzz::touchGeneric(uri);
  if (KxReposURI* repos = uri->asReposURI()) {
    repos->getName();
    CHECK(!repos->getPathURIString().isNull());
    repos->isRootFolder();
    KxReposURI* parent = repos->getParent();
    if (parent != nullptr) {
      CHECK(parent->getObjectType().compare("Folder") == 0);
      parent->getURIString();
      parent->release();
    }
    KxReposURI* root = repos->getRoot();
    CHECK(root != nullptr && root->isRootFolder());
    root->release();
  }
  if (auto* rqs = dynamic_cast<KxRQSRefURI*>(uri)) {
    rqs->getName();
    rqs->getObjectType();
    rqs->getServiceType();
    CHECK(!rqs->getPathURIString().isNull());
    KxRQSRefURI* parent = rqs->getParent();
    if (parent != nullptr) {
      parent->getEscapedURIString();
      parent->release();
    }
  }
  if (auto* hadoop = dynamic_cast<KxHadoopURI*>(uri)) {
    int port = -1;
    int64_t size = -1;
    KxbString error;
    if (!hadoop->getPort(&port, &error)) CHECK(port == 0 && !error.isNull());
    if (!hadoop->getBufferSize(&size, &error)) CHECK(size == 0);
    CHECK(size >= 0);
    hadoop->getNameNode();
    hadoop->getConfig();
    hadoop->getUser();
    hadoop->getDomain();
    // No exact "kxPass=" pair of the masked text keeps a value.
    const KxbString masked = hadoop->getMaskedURIString();
    const std::string_view m = bytesOf(masked);
    for (size_t at = m.find("kxPass="); at != std::string_view::npos;
         at = m.find("kxPass=", at + 1)) {
      if (at > 0 && m[at - 1] != '?' && m[at - 1] != '&') continue;
      const size_t start = at + 7;
      size_t end = m.find_first_of("&#", start);
      if (end == std::string_view::npos) end = m.size();
      const std::string_view value = m.substr(start, end - start);
      CHECK(value.empty() || value == "********");
    }
  }
  auto* table = dynamic_cast<KxWorkTableURI*>(uri);
  if (table != nullptr &&
      bytesOf(table->getTableName()).find_first_of("?#") == std::string_view::npos) {
    // The rebuilt text reads back to the same columns and range (a "#" may
    // stand in a table name followed by "?", and the text does not escape
    // it).
    KxURI* again = getURIFromURIString(table->getURIString());
    auto* back = dynamic_cast<KxWorkTableURI*>(again);
    CHECK(back != nullptr);
    CHECK(back->getColumnCount() == table->getColumnCount());
    KxbString name1, value1, name2, value2;
    for (int i = 0; i < table->getColumnCount(); ++i) {
      CHECK(table->getColumn(i, &name1, &value1, nullptr));
      CHECK(back->getColumn(i, &name2, &value2, nullptr));
      CHECK(name1.compare(name2) == 0);
      CHECK(bytesOf(value1) == bytesOf(value2));
    }
    int64_t start1 = 0, count1 = 0, start2 = 0, count2 = 0;
    CHECK(table->getRange(&start1, &count1) == back->getRange(&start2, &count2));
    CHECK(start1 == start2 && count1 == count2);
    again->release();
  }
  KxbString error;
  CHECK(uri->addQueryValue(KxbString("k", true), KxbString("v", true), &error));
}

void fuzzUri(const KxbString& text) {
  KxURI* uri = getURIFromURIString(text);
  if (uri == nullptr) return;
  const bool keepsText = uri->asDataURI() != nullptr ||
                         uri->asReposURI() != nullptr ||
                         dynamic_cast<KxRQSRefURI*>(uri) != nullptr;
  // Every kind that stores the text returns it unchanged.
  if (keepsText) CHECK(uri->getURIString().compare(text) == 0);
  touch(uri);
  // The escaped text of a generic URI parses back to the same kind.
  const KxbString escaped = uri->getEscapedURIString();
  uri->release();
  KxURI* again = getURIFromURIString(escaped);
  if (again != nullptr) {
    touch(again);
    again->release();
  }
}

void fuzzEscaping(const KxbString& text) {
  // With "%" in the set, escaping is undone by unescaping for any valid text.
  KxbString escaped("", true);
  const bool ok = getEscapeStringForURI(text, "% ?#&=", 6, &escaped, nullptr);
  CHECK(ok == isValidUtf8(text.asCstr()));
  if (ok) {
    KxbString back;
    CHECK(getUnEscapeStringFromURI(escaped, &back));
    CHECK(back.compare(text) == 0 || (text.isNull() && back.length() == 0));
    CHECK(isValidUtf8(escaped.asCstr()));
  }
  KxbString unescaped;
  CHECK(getUnEscapeStringFromURI(text, &unescaped));
  CHECK(bytesOf(unescaped).size() <= bytesOf(text).size());
  KxbString converted;
  if (convertBackSlashesToSlashes(text, &converted)) {
    CHECK(bytesOf(converted).size() == bytesOf(text).size());
    CHECK(bytesOf(converted).find('\\') == std::string_view::npos);
  }
}

void fuzzQuery(const KxbString& text) {
  KxURIQueryHandler* handler = getURIQueryHandler(text, false);
  CHECK(handler != nullptr);
  const KxbString query = handler->toString();
  CHECK(!query.isNull());
  // When nothing was decoded on the way in, the text reads back to the same
  // pairs.
  if (bytesOf(text).find('%') == std::string_view::npos &&
      isValidUtf8(text.asCstr())) {
    KxURIQueryHandler* back = getURIQueryHandler(query, false);
    CHECK(back != nullptr);
    CHECK(back->getCount() == handler->getCount());
    KxbString name1, value1, name2, value2;
    for (int i = 0; i < handler->getCount(); ++i) {
      CHECK(handler->getValueAt(i, &name1, &value1));
      CHECK(back->getValueAt(i, &name2, &value2));
      CHECK(name1.compare(name2) == 0 && value1.compare(value2) == 0);
    }
    back->release();
  }
  handler->release();
}

void fuzzAttributes(const KxbString& text, char separator) {
  KxbParse parse;
  CHECK(parse.parse(text, separator));
  for (int i = 0; i < parse.getAttributeCount(); ++i) {
    KxbString name, value, raw;
    CHECK(parse.getAttribute(i, &name, &value));
    CHECK(parse.getAttributeRaw(i, &raw));
    CHECK(bytesOf(raw).size() >= bytesOf(name).size() + bytesOf(value).size());
  }
  KxbString raw;
  CHECK(!parse.getAttributeRaw(parse.getAttributeCount(), &raw));
  KxbParse copy(parse);
  CHECK(copy.getAttributeCount() == parse.getAttributeCount());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (kxlogInitialize() != 0 || !KxbMemPool::initialize()) abort();
  // Refused work-table columns are logged; keep the run quiet.
  kxlogSetLevel(kxlogGetLogger("KX.Base.URI.WorkTable"), KXLOG_ERROR);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Texts are C strings: the input ends at its first NUL.
  const std::string input(reinterpret_cast<const char*>(data), size);
  const KxbString text(input.c_str());
  fuzzUri(text);
  for (const char* prefix : {"kxd://", "kxf://", "kxr://", "rqsref://", "hadoop://",
                             "kxwt://", "abc://h/"}) {
    fuzzUri(KxbString((prefix + std::string(input.c_str())).c_str()));
  }
  fuzzEscaping(text);
  fuzzQuery(text);
  fuzzAttributes(text, size > 0 ? static_cast<char>(data[0]) : ';');
  fuzzAttributes(text, ';');
  return 0;
}
