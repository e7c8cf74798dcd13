// The generic URI kind, the generic parser every kind builds on, the
// factories that pick a kind, and native paths.
#include <string_view>
#include <utility>

#include "kxburi.h"
#include "uri/kxburi_internal.h"

namespace kxburi {

namespace {

// *out = the scheme `bytes`; the common ones are taken from literals, which
// costs no allocation.
bool setScheme(std::string_view bytes, KxbString* out) {
  static const KxbString kCommon[] = {
      literal("http"), literal("https"), literal("file"),   literal("ftp"),
      literal("kxd"),  literal("kxf"),   literal("kxr"),    literal("kxwt"),
      literal("hadoop"), literal("rqsref")};
  for (const KxbString& common : kCommon) {
    if (bytes == bytesOf(common)) {
      *out = common;
      return true;
    }
  }
  return setSpan(out, bytes);
}

}  // namespace

bool parseGeneric(const KxbString& text, UriParts* parts) {
  *parts = UriParts();
  parts->text = text;
  const std::string_view u = bytesOf(text);
  if (u.empty()) return true;
  constexpr size_t npos = std::string_view::npos;
  bool ok = true;

  const size_t colon = u.find(':');
  if (colon != npos && colon > 0) ok &= setScheme(u.substr(0, colon), &parts->scheme);

  // The authority starts after the first "//" behind the ":" and runs to the
  // next "/"; without both there is nothing more to find.
  const size_t slashes = u.find("//", (colon == npos ? 0 : colon) + 1);
  if (slashes == npos) return ok;
  const size_t hostStart = slashes + 2;
  const size_t pathSlash = u.find('/', hostStart);
  if (pathSlash == npos) return ok;

  // The "?" is looked for after the path's "/", the "#" after the "?", so a
  // "#" before the first "?" belongs to the path.
  size_t pathEnd = u.size();
  const size_t question = u.find('?', pathSlash);
  if (question == npos) {
    const size_t hash = u.find('#', pathSlash);
    if (hash != npos) {
      ok &= unescapeOrRaw(u.substr(hash + 1), &parts->fragment);
      pathEnd = hash;
    }
  } else {
    const size_t hash = u.find('#', question);
    size_t queryEnd = u.size();
    if (hash != npos) {
      ok &= unescapeOrRaw(u.substr(hash + 1), &parts->fragment);
      queryEnd = hash;
    }
    // "?" right before "#" leaves the query null; "?" at the end gives "".
    const std::string_view raw = u.substr(question + 1, queryEnd - question - 1);
    if (!raw.empty() || hash == npos) {
      ok &= unescapeOrRaw(raw, &parts->query);
      // Unescaping only ever shortens a text, so a query of the same size
      // is the raw text itself and can share its body.
      if (bytesOf(parts->query).size() == raw.size()) {
        parts->rawQuery = parts->query;
      } else {
        ok &= setSpan(&parts->rawQuery, raw);
      }
    }
    pathEnd = question;
  }
  if (pathSlash > hostStart) {
    ok &= setSpan(&parts->host, u.substr(hostStart, pathSlash - hostStart));
  }
  ok &= unescapeOrRaw(u.substr(pathSlash + 1, pathEnd - pathSlash - 1),
                      &parts->path);
  return ok;
}

bool buildPlainForm(const KxbString& scheme, const KxbString& host,
                    const KxbString& path, KxbString* out) {
  const bool hasScheme = !isEmpty(scheme);
  const bool hasHost = !isEmpty(host);
  const std::string_view p = bytesOf(path);
  if (hasScheme && hasHost) {
    return concat(out, {bytesOf(scheme), "://", bytesOf(host), "/", p});
  }
  if (hasScheme) return concat(out, {bytesOf(scheme), ":///", p});
  if (hasHost) return concat(out, {"//", bytesOf(host), "/", p});
  return concat(out, {"/", p});
}

bool lastSegment(const KxbString& path, KxbString* name) {
  const std::string_view p = bytesOf(path);
  if (p.empty()) return setSpan(name, p);
  const size_t last = p.rfind('/');
  if (last == std::string_view::npos || last < 1) {
    *name = path;
    return true;
  }
  return setSpan(name, p.substr(last + 1));
}

bool parentPath(const KxbString& path, KxbString* parent) {
  const std::string_view p = bytesOf(path);
  const size_t last = p.rfind('/');
  if (last == std::string_view::npos || last < 1) {
    parent->setNull();
    return true;
  }
  return setSpan(parent, p.substr(0, last));
}

bool queryValue(const KxbString& query, const char* key, bool allowDuplicates,
                KxbString* value) {
  value->setNull();
  if (isEmpty(query)) return true;
  KxURIQueryHandler* handler = getURIQueryHandler(query, allowDuplicates);
  if (handler == nullptr) return false;
  KxbString name;
  KxbString found;
  for (int i = 0; handler->getValueAt(i, &name, &found); ++i) {
    if (name.compare(key, true) == 0) {
      *value = found;
      break;
    }
  }
  handler->release();
  return true;
}

}  // namespace kxburi

using kxburi::bytesOf;
using kxburi::isEmpty;

// The kind for every scheme without one of its own.
class KxURIImpl : public kxburi::KxURIFields<KxURI> {
 public:
  KxURIImpl() = default;

  // Fills the members by the generic parser. False when memory ran out.
  bool parse(const KxbString& text) {
    kxburi::UriParts parts;
    if (!kxburi::parseGeneric(text, &parts)) return false;
    takeParts(std::move(parts));
    return true;
  }

  // Setters used by getFullURI; they leave the stored text alone. False when
  // memory ran out.
  void setScheme(const KxbString& scheme) { scheme_ = scheme; }
  void setHost(const KxbString& host) { host_ = host; }
  // Every "\" becomes "/"; an empty path is stored as null.
  bool setPath(const KxbString& path) {
    if (isEmpty(path)) {
      path_.setNull();
      return true;
    }
    return convertBackSlashesToSlashes(path, &path_);
  }
  void setQuery(const KxbString& query) { query_ = query; }
  void setFragment(const KxbString& fragment) { fragment_ = fragment; }

  KxbString getURIString() override {
    if (isEmpty(uriText_)) {
      KxbString built;
      if (!kxburi::buildPlainForm(scheme_, host_, path_, &built)) {
        return KxbString();
      }
      uriText_ = built;
    }
    return uriText_;
  }

  KxbString getEscapedURIString() override {
    // The plain form with the path escaped, then "?query" and "#fragment"
    // when non-empty, written in one piece.
    const bool hasScheme = !isEmpty(scheme_);
    const bool hasHost = !isEmpty(host_);
    const std::string_view q = bytesOf(query_);
    const std::string_view f = bytesOf(fragment_);
    KxbString out;
    if (!kxburi::concatEscaped(
            &out, {{hasScheme ? bytesOf(scheme_) : ""},
                   {hasScheme ? (hasHost ? "://" : ":///")
                              : (hasHost ? "//" : "/")},
                   {hasHost ? bytesOf(host_) : ""},
                   {hasHost ? "/" : ""},
                   {bytesOf(path_), " ?#"},
                   {q.empty() ? "" : "?"},
                   {q, " ?"},
                   {f.empty() ? "" : "#"},
                   {f, " #"}})) {
      return KxbString();
    }
    return out;
  }

  bool addQueryValue(const KxbString& name, const KxbString& value,
                     KxbString* error) override {
    return addToQuery(name, value, error, true);
  }
};

namespace {

// A path that begins with a drive letter ("C:", "C:/..."), which has no
// POSIX counterpart.
bool isDrivePath(std::string_view path) {
  if (path.size() < 2 || path[1] != ':') return false;
  const char letter = path[0];
  const bool alpha =
      (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
  return alpha && (path.size() == 2 || path[2] == '/');
}

}  // namespace

KxURI* getURIFromURIString(const KxbString& text) {
  const std::string_view u = bytesOf(text);
  if (u.empty()) return nullptr;
  const size_t separator = u.find("://");
  if (separator == std::string_view::npos || separator < 1) return nullptr;
  // The kind is chosen by the text before the first "://", compared
  // case-sensitively: the same as testing the prefixes "kxr://" and so on.
  const std::string_view scheme = u.substr(0, separator);
  if (scheme == "kxr") return kxburi::newReposURIFromText(text);
  if (scheme == "kxd" || scheme == "kxf") return kxburi::newDataURIFromText(text);
  if (scheme == "kxwt") return kxburi::newWorkTableURIFromText(text);
  if (scheme == "hadoop") return kxburi::newHadoopURIFromText(text);
  if (scheme == "rqsref") return kxburi::newRQSRefURIFromText(text);
  KxURIImpl* uri = kxburi::poolNew<KxURIImpl>();
  if (uri == nullptr) return nullptr;
  if (!uri->parse(text)) {
    uri->release();
    return nullptr;
  }
  return uri;
}

KxURI* getFullURI(const KxbString& scheme, const KxbString& host,
                  const KxbString& path, const KxbString& query,
                  const KxbString& fragment) {
  // "kxr", "kxwt" and "rqsref" are matched ignoring case, "kxd" and "kxf"
  // exactly.
  if (scheme.compare("kxr", false) == 0) {
    return getReposURIFromComponents(host, path, kxburi::literal(""));
  }
  if (scheme.compare("kxd", true) == 0 || scheme.compare("kxf", true) == 0) {
    const KxbString empty = kxburi::literal("");
    return getDataURIFromComponents(scheme, host, path, empty, empty, empty,
                                    empty, empty);
  }
  if (scheme.compare("kxwt", false) == 0) {
    return getWorkTableURIFromComponents(path);
  }
  if (scheme.compare("rqsref", false) == 0) {
    return getRQSRefURIFromComponents(host, path, query);
  }
  KxURIImpl* uri = kxburi::poolNew<KxURIImpl>();
  if (uri == nullptr) return nullptr;
  uri->setScheme(scheme);
  uri->setHost(host);
  if (!uri->setPath(path)) {
    uri->release();
    return nullptr;
  }
  uri->setQuery(query);
  uri->setFragment(fragment);
  return uri;
}

KxURI* getURI(const KxbString& scheme, const KxbString& host,
              const KxbString& path) {
  const KxbString empty = kxburi::literal("");
  return getFullURI(scheme, host, path, empty, empty);
}

bool getNativePath(KxURI* uri, KxbString* nativePath) {
  if (uri == nullptr || nativePath == nullptr) return false;
  const KxbString host = uri->getHost();
  const KxbString rawPath = uri->getPath();
  KxbString path;
  if (!isEmpty(rawPath) && !convertBackSlashesToSlashes(rawPath, &path)) {
    nativePath->setNull();
    return false;
  }
  const std::string_view p = bytesOf(path);
  const char* rootSlash = (!p.empty() && p[0] == '/') ? "" : "/";
  const bool localFile = uri->getScheme().compare("file", false) == 0 &&
                         host.compare("localhost", false) == 0;
  bool ok;
  if (!isEmpty(host) && !localFile) {
    ok = kxburi::format(nativePath, "//%s%s%s", host.asCstr(), rootSlash,
                        path.asCstr());
  } else if (isDrivePath(p)) {
    *nativePath = path;
    ok = true;
  } else {
    ok = kxburi::format(nativePath, "%s%s", rootSlash, path.asCstr());
  }
  if (!ok) nativePath->setNull();
  return ok;
}
