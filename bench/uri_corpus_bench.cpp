// URI parsing and building over a corpus of realistic texts.
//
// A fixed-seed generator writes 2,000 texts of each kind (14,000 in all):
// data ("kxd://", "kxf://"), repository ("kxr://"), server reference
// ("rqsref://"), work table ("kxwt://"), Hadoop ("hadoop://") and generic
// texts (http, https, file, ftp) with real-looking hosts, paths of several
// segments, some %XX escapes, queries and fragments. Per kind:
//
//   Parse/<kind>       getURIFromURIString and release
//   ParseString/<kind> the same plus getURIString and getEscapedURIString
//   Build/<kind>       a new object from the parsed components (the kinds
//                      with a component builder) and its getURIString
//
// items_per_second is texts per second. On the generic texts the same work
// is measured for uriparser (uriParseSingleUriA; uriToStringA to build back)
// and GLib's GUri (g_uri_parse with G_URI_FLAGS_NONE; g_uri_to_string),
// when they were found at configure time (KXB_HAVE_URIPARSER,
// KXB_HAVE_GURI).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "kxbmempool.h"
#include "kxburi.h"

#if KXB_HAVE_URIPARSER
#include <uriparser/Uri.h>
#endif
#if KXB_HAVE_GURI
#include <glib.h>
#endif

namespace {

const bool g_pool = KxbMemPool::initialize();

constexpr int kTextsPerKind = 2000;

enum Kind { kData, kRepos, kRQSRef, kWorkTable, kHadoop, kGeneric, kKinds };
const char* const kKindNames[kKinds] = {"data",      "repos",  "rqsref",
                                        "worktable", "hadoop", "generic"};

// Appends the pieces to *out (a new string when null) and returns the
// result. (Chains of operator+ over literals trip a false -Wrestrict in
// g++ 12, GCC bug 105329.)
template <class... Pieces>
std::string cat(std::string* out, const Pieces&... pieces) {
  std::string local;
  std::string& s = out != nullptr ? *out : local;
  (s.append(pieces), ...);
  return s;
}

class Generator {
 public:
  explicit Generator(uint32_t seed) : rng_(seed) {}

  int below(int n) { return static_cast<int>(rng_() % static_cast<uint32_t>(n)); }
  bool chance(int percent) { return below(100) < percent; }
  template <size_t N>
  const char* pick(const char* const (&list)[N]) {
    return list[below(static_cast<int>(N))];
  }

  // A path segment: a word, sometimes two joined by an escaped space or a
  // dash, sometimes with a number or a non-ASCII name written as %XX.
  std::string segment() {
    static const char* const kWords[] = {
        "reports", "2024",    "sales",   "archive", "users",  "docs",
        "images",  "finance", "Q3",      "export",  "data",   "weekly",
        "orders",  "staging", "public",  "release", "v2",     "summary",
        "logs",    "Europe",  "invoices", "backup", "team",   "shared"};
    std::string s = pick(kWords);
    const int form = below(10);
    if (form == 0) {
      s += "%20";
      s += pick(kWords);
    } else if (form == 1) {
      s += "-";
      s += std::to_string(below(1000));
    } else if (form == 2) {
      s += "_caf%C3%A9";
    }
    return s;
  }

  std::string path(int minSegments, int maxSegments) {
    const int n = minSegments + below(maxSegments - minSegments + 1);
    std::string p;
    for (int i = 0; i < n; ++i) {
      if (i > 0) p += '/';
      p += segment();
    }
    return p;
  }

  std::string host() {
    static const char* const kNames[] = {"www", "api", "files", "cdn",
                                         "intranet", "docs", "mirror", "git"};
    static const char* const kDomains[] = {
        "example.com", "contoso.net", "acme-corp.io", "university.edu",
        "data.gov",    "shop.co.uk",  "cloud.example.org"};
    std::string h = pick(kNames);
    h += '.';
    h += pick(kDomains);
    if (chance(15)) cat(&h, ":", std::to_string(1024 + below(60000)));
    return h;
  }

  std::string query(int pairs) {
    static const char* const kKeys[] = {"id", "lang", "page", "sort", "q",
                                        "format", "limit", "ref"};
    static const char* const kValues[] = {"en", "42", "asc", "json",
                                          "a%20b", "100", "caf%C3%A9", "x-1"};
    std::string q;
    for (int i = 0; i < pairs; ++i) {
      if (i > 0) q += '&';
      q += pick(kKeys);
      q += '=';
      q += pick(kValues);
    }
    return q;
  }

  std::string text(Kind kind) {
    static const char* const kSources[] = {"SalesWarehouse", "CRM", "Finance",
                                           "Inventory", "HR_Main"};
    static const char* const kTypes[] = {"ODBC", "MYSQL", "ORACLE", "PG"};
    static const char* const kObjectTypes[] = {"Job", "Folder", "Report",
                                               "Connection", "Flow"};
    switch (kind) {
      case kData: {
        std::string t;
        if (chance(50)) {
          t = "kxd://";
          t += pick(kSources);
          if (chance(70)) t += std::string(".") + pick(kTypes);
          cat(&t, "/", path(3, 5));
        } else {
          t = "kxf://";
          t += host().substr(0, 12);
          if (chance(60)) t += std::string(".") + pick(kTypes);
          cat(&t, "/", pick(kSources), "/", path(3, 5));
        }
        return t;
      }
      case kRepos:
        return cat(nullptr, "kxr://", pick(kSources), "/", path(1, 4), "(",
                   pick(kObjectTypes), ")");
      case kRQSRef:
        return cat(nullptr, "rqsref://", host(), "/", path(2, 4), "?ObjectType=",
                   pick(kObjectTypes), "&ServiceType=batch",
                   chance(30) ? "#run" : "");
      case kWorkTable: {
        static const char* const kCols[] = {"id", "name", "city", "amount",
                                            "status", "region"};
        std::string t = cat(nullptr, "kxwt://", segment());
        if (chance(70)) {
          t += '?';
          const int n = 1 + below(3);
          for (int i = 0; i < n; ++i) {
            if (i > 0) t += ',';
            t += kCols[(i * 2 + below(2)) % 6];
            if (chance(50)) t += "=String'O%27Brien'";
          }
        }
        if (chance(50)) {
          cat(&t, "#start=", std::to_string(below(10000)));
          if (chance(50)) cat(&t, ",count=", std::to_string(1 + below(500)));
        }
        return t;
      }
      case kHadoop: {
        std::string t = cat(nullptr, "hadoop://namenode",
                            std::to_string(below(20)), ".cluster.example.com");
        if (chance(70)) t += ":8020";
        cat(&t, "/user/", path(2, 5));
        if (chance(60)) {
          t += "?kxUser=etl&kxCfg=prod";
          if (chance(50)) cat(&t, "&kxBufSz=", std::to_string(4096 << below(8)));
        }
        return t;
      }
      case kGeneric:
      default: {
        static const char* const kSchemes[] = {"http", "https", "https",
                                               "file", "ftp"};
        const std::string scheme = pick(kSchemes);
        std::string t = scheme + "://";
        if (scheme != "file" || chance(20)) t += host();
        cat(&t, "/", path(2, 6));
        if (chance(30)) t += ".html";
        if (scheme.compare(0, 4, "http") == 0 && chance(60)) {
          cat(&t, "?", query(1 + below(4)));
        }
        if (chance(25)) cat(&t, "#section-", std::to_string(below(20)));
        return t;
      }
    }
  }

 private:
  std::mt19937 rng_;
};

struct Corpus {
  std::vector<std::string> texts[kKinds];
  std::vector<KxbString> strings[kKinds];
};

const Corpus& corpus() {
  static const Corpus* c = [] {
    auto* made = new Corpus;
    Generator gen(20240611u);
    for (int k = 0; k < kKinds; ++k) {
      for (int i = 0; i < kTextsPerKind; ++i) {
        made->texts[k].push_back(gen.text(static_cast<Kind>(k)));
        made->strings[k].emplace_back(made->texts[k].back().c_str());
      }
    }
    return made;
  }();
  return *c;
}

void Parse(benchmark::State& state) {
  const auto& texts = corpus().strings[state.range(0)];
  for (auto _ : state) {
    for (const KxbString& text : texts) {
      KxURI* uri = getURIFromURIString(text);
      benchmark::DoNotOptimize(uri);
      if (uri == nullptr) {
        state.SkipWithError("a corpus text did not parse");
        return;
      }
      uri->release();
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
  state.SetLabel(kKindNames[state.range(0)]);
}

void ParseString(benchmark::State& state) {
  const auto& texts = corpus().strings[state.range(0)];
  for (auto _ : state) {
    for (const KxbString& text : texts) {
      KxURI* uri = getURIFromURIString(text);
      if (uri == nullptr) {
        state.SkipWithError("a corpus text did not parse");
        return;
      }
      benchmark::DoNotOptimize(uri->getURIString());
      benchmark::DoNotOptimize(uri->getEscapedURIString());
      uri->release();
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
  state.SetLabel(kKindNames[state.range(0)]);
}

// A new object of the same kind from the components of `uri`.
KxURI* buildFrom(Kind kind, KxURI* uri) {
  switch (kind) {
    case kData: {
      KxDataURI* d = uri->asDataURI();
      return getDataURIFromComponents(d->getScheme(), d->getServer(),
                                      d->getDataSource(), d->getSourceType(),
                                      d->getPart1(), d->getPart2(),
                                      d->getPart3(), d->getObjectName());
    }
    case kRepos: {
      KxReposURI* r = uri->asReposURI();
      return getReposURIFromComponents(r->getRepository(), r->getPath(),
                                       r->getObjectType());
    }
    case kRQSRef: {
      auto* r = static_cast<KxRQSRefURI*>(uri);
      return getRQSRefURIFromComponents(r->getServer(), r->getPath(),
                                        r->getQuery());
    }
    case kWorkTable: {
      auto* w = static_cast<KxWorkTableURI*>(uri);
      int64_t start = -1, count = -1;
      if (!w->getRange(&start, &count)) start = count = -1;
      KxWorkTableURI* made =
          getWorkTableURIFromComponents(w->getTableName(), start, count);
      if (made == nullptr) return nullptr;
      KxbString name, value;
      kxbType type;
      for (int i = 0; w->getColumn(i, &name, &value, &type); ++i) {
        if (!made->addColumn(name, value, type, nullptr)) {
          made->release();
          return nullptr;
        }
      }
      return made;
    }
    case kHadoop: {
      auto* h = static_cast<KxHadoopURI*>(uri);
      int port = 0;
      int64_t size = 0;
      h->getPort(&port, nullptr);
      h->getBufferSize(&size, nullptr);
      return getHadoopURIFromComponents(h->getNameNode(), port, h->getPath(),
                                        h->getConfig(), h->getUser(),
                                        h->getPassword(), h->getDomain(), size,
                                        nullptr);
    }
    case kGeneric:
    default:
      return getFullURI(uri->getScheme(), uri->getHost(), uri->getPath(),
                        uri->getQuery(), uri->getFragment());
  }
}

void Build(benchmark::State& state) {
  const Kind kind = static_cast<Kind>(state.range(0));
  const auto& texts = corpus().strings[kind];
  std::vector<KxURI*> parsed;
  for (const KxbString& text : texts) parsed.push_back(getURIFromURIString(text));
  for (auto _ : state) {
    for (KxURI* uri : parsed) {
      KxURI* made = buildFrom(kind, uri);
      if (made == nullptr) {
        state.SkipWithError("a component builder failed");
        break;
      }
      benchmark::DoNotOptimize(made->getURIString());
      made->release();
    }
  }
  for (KxURI* uri : parsed) uri->release();
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
  state.SetLabel(kKindNames[kind]);
}

void AllKinds(benchmark::internal::Benchmark* b) {
  for (int k = 0; k < kKinds; ++k) b->Arg(k);
}
BENCHMARK(Parse)->Apply(AllKinds);
BENCHMARK(ParseString)->Apply(AllKinds);
BENCHMARK(Build)->Apply(AllKinds);

#if KXB_HAVE_URIPARSER
// uriparser only finds the component ranges; freeing releases nothing the
// caller asked for. ToString also writes the text back.
void UriParser_Parse(benchmark::State& state) {
  const auto& texts = corpus().texts[kGeneric];
  for (auto _ : state) {
    for (const std::string& text : texts) {
      UriUriA uri;
      const char* error = nullptr;
      if (uriParseSingleUriA(&uri, text.c_str(), &error) != URI_SUCCESS) {
        state.SkipWithError("uriparser refused a corpus text");
        return;
      }
      benchmark::DoNotOptimize(uri.hostText.first);
      uriFreeUriMembersA(&uri);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
  state.SetLabel("generic");
}
BENCHMARK(UriParser_Parse);

void UriParser_ParseString(benchmark::State& state) {
  const auto& texts = corpus().texts[kGeneric];
  std::string buffer(4096, '\0');
  for (auto _ : state) {
    for (const std::string& text : texts) {
      UriUriA uri;
      const char* error = nullptr;
      if (uriParseSingleUriA(&uri, text.c_str(), &error) != URI_SUCCESS) {
        state.SkipWithError("uriparser refused a corpus text");
        return;
      }
      int written = 0;
      uriToStringA(buffer.data(), &uri, static_cast<int>(buffer.size()), &written);
      benchmark::DoNotOptimize(buffer.data());
      uriFreeUriMembersA(&uri);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
  state.SetLabel("generic");
}
BENCHMARK(UriParser_ParseString);
#endif

#if KXB_HAVE_GURI
// GUri copies and decodes every component, as the generic kind does.
void GUri_Parse(benchmark::State& state) {
  const auto& texts = corpus().texts[kGeneric];
  for (auto _ : state) {
    for (const std::string& text : texts) {
      GUri* uri = g_uri_parse(text.c_str(), G_URI_FLAGS_NONE, nullptr);
      if (uri == nullptr) {
        state.SkipWithError("GUri refused a corpus text");
        return;
      }
      benchmark::DoNotOptimize(uri);
      g_uri_unref(uri);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
  state.SetLabel("generic");
}
BENCHMARK(GUri_Parse);

void GUri_ParseString(benchmark::State& state) {
  const auto& texts = corpus().texts[kGeneric];
  for (auto _ : state) {
    for (const std::string& text : texts) {
      GUri* uri = g_uri_parse(text.c_str(), G_URI_FLAGS_NONE, nullptr);
      if (uri == nullptr) {
        state.SkipWithError("GUri refused a corpus text");
        return;
      }
      char* back = g_uri_to_string(uri);
      benchmark::DoNotOptimize(back);
      g_free(back);
      g_uri_unref(uri);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
  state.SetLabel("generic");
}
BENCHMARK(GUri_ParseString);

// Building from components: g_uri_build with the parsed parts.
void GUri_Build(benchmark::State& state) {
  const auto& texts = corpus().texts[kGeneric];
  std::vector<GUri*> parsed;
  for (const std::string& text : texts) {
    parsed.push_back(g_uri_parse(text.c_str(), G_URI_FLAGS_NONE, nullptr));
  }
  for (auto _ : state) {
    for (GUri* uri : parsed) {
      GUri* made = g_uri_build(G_URI_FLAGS_NONE, g_uri_get_scheme(uri), nullptr,
                               g_uri_get_host(uri), g_uri_get_port(uri),
                               g_uri_get_path(uri), g_uri_get_query(uri),
                               g_uri_get_fragment(uri));
      char* back = g_uri_to_string(made);
      benchmark::DoNotOptimize(back);
      g_free(back);
      g_uri_unref(made);
    }
  }
  for (GUri* uri : parsed) g_uri_unref(uri);
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
  state.SetLabel("generic");
}
BENCHMARK(GUri_Build);
#endif

}  // namespace

BENCHMARK_MAIN();
