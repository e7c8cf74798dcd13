// Helpers of the URI tests: strings shown with null made visible, and a
// full description of a URI object for comparisons.
#ifndef KXB_TESTS_URI_URI_TEST_UTIL_H_
#define KXB_TESTS_URI_URI_TEST_UTIL_H_

#include <cstdint>
#include <string>

#include "kxburi.h"
#include "kxbstring.h"

namespace kxb_test {

// The marker `show` gives for a null string.
inline const char* const kNull = "(null)";

// The text of `s`, or "(null)" for a null string.
inline std::string show(const KxbString& s) {
  if (s.isNull()) return kNull;
  return std::string(s.asCstr(), static_cast<size_t>(s.cStrSize() - 1));
}

// A string holding exactly `text` (may hold any bytes but NUL).
inline KxbString text(const std::string& t) { return KxbString(t.c_str()); }

// Every accessor of the object and of its kind, one "name=value" per line.
// Calls getURIString (which stores a built text) but changes nothing else.
inline std::string describe(KxURI* uri) {
  if (uri == nullptr) return "null object";
  std::string d;
  auto add = [&d](const char* name, const KxbString& value) {
    d += name;
    d += "=";
    d += show(value);
    d += "\n";
  };
  add("scheme", uri->getScheme());
  add("host", uri->getHost());
  add("path", uri->getPath());
  add("query", uri->getQuery());
  add("fragment", uri->getFragment());
  add("string", uri->getURIString());
  add("escaped", uri->getEscapedURIString());
  if (KxDataURI* data = uri->asDataURI()) {
    add("server", data->getServer());
    add("dataSource", data->getDataSource());
    add("sourceType", data->getSourceType());
    add("part1", data->getPart1());
    add("part2", data->getPart2());
    add("part3", data->getPart3());
    add("objectName", data->getObjectName());
  }
  if (KxReposURI* repos = uri->asReposURI()) {
    add("type", repos->getObjectType());
    add("repository", repos->getRepository());
    add("name", repos->getName());
    add("pathString", repos->getPathURIString());
    d += repos->isRootFolder() ? "root\n" : "not root\n";
  }
  if (auto* rqs = dynamic_cast<KxRQSRefURI*>(uri)) {
    add("server", rqs->getServer());
    add("name", rqs->getName());
    add("objectType", rqs->getObjectType());
    add("serviceType", rqs->getServiceType());
    add("pathString", rqs->getPathURIString());
  }
  if (auto* hadoop = dynamic_cast<KxHadoopURI*>(uri)) {
    add("nameNode", hadoop->getNameNode());
    int port = -1;
    KxbString error;
    const bool portSet = hadoop->getPort(&port, &error);
    d += "port=" + std::to_string(portSet) + "," + std::to_string(port) + "\n";
    add("kxCfg", hadoop->getConfig());
    add("kxUser", hadoop->getUser());
    add("kxPass", hadoop->getPassword());
    add("kxDomain", hadoop->getDomain());
    int64_t size = -1;
    const bool sizeSet = hadoop->getBufferSize(&size, &error);
    d += "kxBufSz=" + std::to_string(sizeSet) + "," + std::to_string(size) + "\n";
    add("masked", hadoop->getMaskedURIString());
  }
  if (auto* table = dynamic_cast<KxWorkTableURI*>(uri)) {
    add("table", table->getTableName());
    KxbString name;
    KxbString value;
    kxbType type = Unknown;
    for (int i = 0; table->getColumn(i, &name, &value, &type); ++i) {
      add("column", name);
      add("value", value);
      d += "type=" + std::to_string(type) + "\n";
    }
    int64_t start = 0;
    int64_t count = 0;
    const bool set = table->getRange(&start, &count);
    d += "range=" + std::to_string(set) + "," + std::to_string(start) + "," +
         std::to_string(count) + "\n";
  }
  return d;
}

}  // namespace kxb_test

#endif  // KXB_TESTS_URI_URI_TEST_UTIL_H_
