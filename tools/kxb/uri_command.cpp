// kxb uri: the kind and components of a URI text, or a URI built from
// components.
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "kxburi.h"
#include "kxbstring.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr const char* kUriUsage =
    "usage: kxb uri TEXT\n"
    "       kxb uri --build KIND [KEY=VALUE...]\n"
    "KIND and KEYs:\n"
    "  uri     scheme host path query fragment (the scheme picks the kind)\n"
    "  data    scheme (default kxd) server dataSource sourceType part1 part2\n"
    "          part3 objectName\n"
    "  repos   repository path type\n"
    "  rqsref  server path query\n"
    "  hadoop  nameNode port path kxCfg kxUser kxPass kxDomain kxBufSz\n"
    "  kxwt    table start count";

// One "name: value" line; null shows as (null), text in double quotes.
void printField(const char* name, const KxbString& value) {
  if (value.isNull()) {
    std::printf("%-12s (null)\n", name);
  } else {
    std::printf("%-12s \"%s\"\n", name, value.asCstr());
  }
}

// Passwords never reach the terminal in clear.
KxbString masked(const KxbString& text) { return getMaskedHadoopURIString(text); }

void printURI(KxURI* uri) {
  KxDataURI* data = uri->asDataURI();
  KxReposURI* repos = uri->asReposURI();
  KxRQSRefURI* rqsref = dynamic_cast<KxRQSRefURI*>(uri);
  KxHadoopURI* hadoop = dynamic_cast<KxHadoopURI*>(uri);
  KxWorkTableURI* table = dynamic_cast<KxWorkTableURI*>(uri);
  const char* kind = data != nullptr     ? "data"
                     : repos != nullptr  ? "repository"
                     : rqsref != nullptr ? "server reference"
                     : hadoop != nullptr ? "hadoop"
                     : table != nullptr  ? "work table"
                                         : "generic";
  std::printf("%-12s %s\n", "kind:", kind);
  printField("scheme:", uri->getScheme());
  printField("host:", uri->getHost());
  printField("path:", uri->getPath());
  KxbString query = uri->getQuery();
  if (hadoop != nullptr) {
    // The unescaped query may hold a password with "&" in it: every copy of
    // the password's text goes.
    const KxbString password = hadoop->getPassword();
    if (password.length() > 0) {
      query = query.replace(password, KxbString("********", true));
    }
    query = masked(query);
  }
  printField("query:", query);
  printField("fragment:", uri->getFragment());
  if (hadoop != nullptr) {
    printField("string:", hadoop->getMaskedURIString());
    printField("escaped:", masked(uri->getEscapedURIString()));
  } else {
    printField("string:", uri->getURIString());
    printField("escaped:", uri->getEscapedURIString());
  }
  KxbString native;
  if (getNativePath(uri, &native)) printField("native:", native);

  if (data != nullptr) {
    printField("server:", data->getServer());
    printField("dataSource:", data->getDataSource());
    printField("sourceType:", data->getSourceType());
    printField("part1:", data->getPart1());
    printField("part2:", data->getPart2());
    printField("part3:", data->getPart3());
    printField("objectName:", data->getObjectName());
  } else if (repos != nullptr) {
    printField("repository:", repos->getRepository());
    printField("type:", repos->getObjectType());
    printField("name:", repos->getName());
    printField("pathString:", repos->getPathURIString());
    std::printf("%-12s %s\n", "rootFolder:", repos->isRootFolder() ? "yes" : "no");
    KxURIPtr<KxReposURI> parent(repos->getParent());
    printField("parent:", parent ? parent->getURIString() : KxbString());
  } else if (rqsref != nullptr) {
    printField("server:", rqsref->getServer());
    printField("name:", rqsref->getName());
    printField("objectType:", rqsref->getObjectType());
    printField("serviceType:", rqsref->getServiceType());
    printField("pathString:", rqsref->getPathURIString());
    KxURIPtr<KxRQSRefURI> parent(rqsref->getParent());
    printField("parent:", parent ? parent->getURIString() : KxbString());
  } else if (hadoop != nullptr) {
    printField("nameNode:", hadoop->getNameNode());
    int port = 0;
    KxbString error;
    if (hadoop->getPort(&port, &error)) {
      std::printf("%-12s %d\n", "port:", port);
    } else {
      std::printf("%-12s invalid: %s\n", "port:", error.asCstr());
    }
    printField("kxCfg:", hadoop->getConfig());
    printField("kxUser:", hadoop->getUser());
    KxbString password = hadoop->getPassword();
    printField("kxPass:", password.isNull() || password.length() == 0
                              ? password
                              : KxbString("********", true));
    printField("kxDomain:", hadoop->getDomain());
    int64_t size = 0;
    if (hadoop->getBufferSize(&size, &error)) {
      std::printf("%-12s %lld\n", "kxBufSz:", static_cast<long long>(size));
    } else {
      std::printf("%-12s invalid: %s\n", "kxBufSz:", error.asCstr());
    }
  } else if (table != nullptr) {
    printField("table:", table->getTableName());
    KxbString name;
    KxbString value;
    kxbType type = Unknown;
    for (int i = 0; table->getColumn(i, &name, &value, &type); ++i) {
      const char* word = kxbTypeToString(type);
      if (value.isNull()) {
        std::printf("%-12s \"%s\" %s (null)\n", "column:", name.asCstr(), word);
      } else {
        std::printf("%-12s \"%s\" %s \"%s\"\n", "column:", name.asCstr(), word,
                    value.asCstr());
      }
    }
    int64_t start = 0;
    int64_t count = 0;
    if (table->getRange(&start, &count)) {
      std::printf("%-12s start %lld count %lld\n", "range:",
                  static_cast<long long>(start), static_cast<long long>(count));
    } else {
      std::printf("%-12s none\n", "range:");
    }
  }
}

// KEY=VALUE arguments checked against the keys of the kind.
class Components {
 public:
  explicit Components(std::vector<std::string> keys) : keys_(std::move(keys)) {
    values_.resize(keys_.size());
    given_.resize(keys_.size(), false);
  }
  // False (with a message printed) for a malformed or unknown pair.
  bool read(int argc, char** argv) {
    for (int i = 0; i < argc; ++i) {
      const char* equals = std::strchr(argv[i], '=');
      if (equals == nullptr || equals == argv[i]) {
        std::fprintf(stderr, "kxb: expected KEY=VALUE, got '%s'\n", argv[i]);
        return false;
      }
      const std::string key(argv[i], static_cast<size_t>(equals - argv[i]));
      size_t k = 0;
      while (k < keys_.size() && keys_[k] != key) ++k;
      if (k == keys_.size()) {
        std::fprintf(stderr, "kxb: unknown key '%s' for this kind\n", key.c_str());
        return false;
      }
      values_[k] = KxbString(equals + 1, true);
      given_[k] = true;
    }
    return true;
  }
  // The value of `key`; null when it was not given.
  KxbString get(const char* key) const {
    for (size_t k = 0; k < keys_.size(); ++k) {
      if (keys_[k] == key) return values_[k];
    }
    return KxbString();
  }
  bool given(const char* key) const {
    for (size_t k = 0; k < keys_.size(); ++k) {
      if (keys_[k] == key) return given_[k];
    }
    return false;
  }

 private:
  std::vector<std::string> keys_;
  std::vector<KxbString> values_;
  std::vector<bool> given_;
};

int buildURI(int argc, char** argv) {
  if (argc < 1) return fail(2, kUriUsage);
  const std::string kind = argv[0];
  --argc;
  ++argv;
  KxURI* uri = nullptr;
  KxbString error;
  if (kind == "uri") {
    Components c({"scheme", "host", "path", "query", "fragment"});
    if (!c.read(argc, argv)) return 2;
    uri = getFullURI(c.get("scheme"), c.get("host"), c.get("path"),
                     c.get("query"), c.get("fragment"));
    if (uri == nullptr) error = KxbString("no URI for these components", true);
  } else if (kind == "data") {
    Components c({"scheme", "server", "dataSource", "sourceType", "part1",
                  "part2", "part3", "objectName"});
    if (!c.read(argc, argv)) return 2;
    uri = getDataURIFromComponents(
        c.given("scheme") ? c.get("scheme") : KxbString("kxd", true),
        c.get("server"), c.get("dataSource"), c.get("sourceType"),
        c.get("part1"), c.get("part2"), c.get("part3"), c.get("objectName"));
  } else if (kind == "repos") {
    Components c({"repository", "path", "type"});
    if (!c.read(argc, argv)) return 2;
    uri = getReposURIFromComponents(c.get("repository"), c.get("path"),
                                    c.get("type"));
  } else if (kind == "rqsref") {
    Components c({"server", "path", "query"});
    if (!c.read(argc, argv)) return 2;
    uri = getRQSRefURIFromComponents(c.get("server"), c.get("path"),
                                     c.get("query"));
  } else if (kind == "hadoop") {
    Components c({"nameNode", "port", "path", "kxCfg", "kxUser", "kxPass",
                  "kxDomain", "kxBufSz"});
    if (!c.read(argc, argv)) return 2;
    bool badPort = false;
    bool badSize = false;
    const int port = c.given("port") ? c.get("port").asInt(&badPort) : 0;
    const int64_t size =
        c.given("kxBufSz") ? c.get("kxBufSz").asInt64(&badSize) : 0;
    if (badPort) return fail(2, "port must be a whole number");
    if (badSize) return fail(2, "kxBufSz must be a whole number");
    uri = getHadoopURIFromComponents(c.get("nameNode"), port, c.get("path"),
                                     c.get("kxCfg"), c.get("kxUser"),
                                     c.get("kxPass"), c.get("kxDomain"), size,
                                     &error);
  } else if (kind == "kxwt") {
    Components c({"table", "start", "count"});
    if (!c.read(argc, argv)) return 2;
    bool badStart = false;
    bool badCount = false;
    const int64_t start = c.given("start") ? c.get("start").asInt64(&badStart) : -1;
    const int64_t count = c.given("count") ? c.get("count").asInt64(&badCount) : -1;
    if (badStart || badCount) return fail(2, "start and count must be whole numbers");
    uri = getWorkTableURIFromComponents(c.get("table"), start, count);
  } else {
    return fail(2, kUriUsage);
  }
  if (uri == nullptr) {
    return fail(1, error.isNull() ? "out of memory" : error.asCstr());
  }
  printURI(uri);
  uri->release();
  return 0;
}

}  // namespace

int runUri(int argc, char** argv) {
  if (argc >= 1 && std::strcmp(argv[0], "--build") == 0) {
    return buildURI(argc - 1, argv + 1);
  }
  if (argc != 1) return fail(2, kUriUsage);
  KxURIPtr<KxURI> uri(getURIFromURIString(KxbString(argv[0], true)));
  if (!uri) {
    return fail(1,
                "not a URI: it needs a scheme followed by \"://\" (a work-table "
                "URI also fails when a column is refused; see the log)");
  }
  printURI(uri.get());
  return 0;
}

}  // namespace kxb_tool
