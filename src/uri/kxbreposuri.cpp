// KxReposURIImpl: "kxr" URIs of repository objects.
#include "kxbreposuri.h"

#include "uri/kxburi_internal.h"

using kxburi::bytesOf;
using kxburi::isEmpty;
using kxburi::literal;

namespace {

struct ReposMembers {
  KxbString scheme;
  KxbString repository;
  KxbString path;
  KxbString type;
};

// Splits a repository text; *isRepos tells whether the scheme was "kxr".
// `parts` receives the generic parse. False when memory ran out.
bool splitReposText(const KxbString& text, ReposMembers* m, bool* isRepos,
                    kxburi::UriParts* parts) {
  *m = ReposMembers();
  *isRepos = false;
  if (!kxburi::parseGeneric(text, parts)) return false;
  m->scheme = parts->scheme;
  if (m->scheme.compare("kxr", true) != 0) return true;
  *isRepos = true;
  bool ok = kxburi::unescapeOrRaw(bytesOf(parts->host), &m->repository);
  const std::string_view p = bytesOf(parts->path);
  if (p.empty()) {
    m->type = literal("Folder");
    m->path = literal("");
    return ok;
  }
  constexpr size_t npos = std::string_view::npos;
  const size_t open = p.rfind('(');
  const size_t close = p.rfind(')');
  std::string_view name;
  if (open != npos && open >= 1 && close != npos && close >= 1) {
    name = p.substr(0, open);
    // A ")" before the last "(" leaves no type text.
    ok &= kxburi::setSpan(&m->type, close > open
                                        ? p.substr(open + 1, close - open - 1)
                                        : std::string_view());
  } else if (p[0] == '(' && close != npos && close >= 1) {
    // A bare type in parentheses: the root folder seen as that type.
    ok &= kxburi::setSpan(&m->type, p.substr(1, close - 1));
  } else {
    m->type = literal("Folder");
  }
  ok &= kxburi::unescapeOrRaw(name, &m->path);
  return ok;
}

}  // namespace

class KxReposURIImpl : public kxburi::KxURIFields<KxReposURI> {
 public:
  KxReposURIImpl() { scheme_ = literal("kxr"); }

  // False when memory ran out.
  bool parse(const KxbString& text) {
    ReposMembers m;
    bool isRepos = false;
    kxburi::UriParts parts;
    if (!splitReposText(text, &m, &isRepos, &parts)) return false;
    scheme_ = m.scheme;
    if (!isRepos) return true;
    host_ = m.repository;
    path_ = m.path;
    objectType_ = m.type;
    uriText_ = text;
    query_ = parts.query;
    fragment_ = parts.fragment;
    return true;
  }

  // The builder's rules: repository and path unescaped, "\" made "/" in the
  // path, the type as given.
  bool setComponents(const KxbString& repository, const KxbString& path,
                     const KxbString& type) {
    bool ok = kxburi::unescapeOrRaw(bytesOf(repository), &host_);
    KxbString unescaped;
    ok &= kxburi::unescapeOrRaw(bytesOf(path), &unescaped);
    if (!isEmpty(unescaped)) {
      ok &= convertBackSlashesToSlashes(unescaped, &path_);
    }
    objectType_ = type;
    return ok;
  }

  void setNavigation(const KxbString& repository, const KxbString& path) {
    host_ = repository;
    path_ = path;
    objectType_ = literal("Folder");
  }

  KxbString getURIString() override {
    if (isEmpty(uriText_)) {
      KxbString built;
      if (!buildText(true, path_, &built)) return KxbString();
      uriText_ = built;
    }
    return uriText_;
  }

  KxbString getEscapedURIString() override {
    KxbString path, out;
    if (!kxburi::escapeOrRaw(path_, "", &path) || !buildText(true, path, &out)) {
      return KxbString();
    }
    return out;
  }

  KxReposURI* asReposURI() override { return this; }

  bool addQueryValue(const KxbString& name, const KxbString& value,
                     KxbString* error) override {
    return addToQuery(name, value, error, false);
  }

  KxbString getObjectType() const override { return objectType_; }
  KxbString getRepository() const override { return host_; }

  KxReposURI* getParent() override {
    if (isEmpty(path_)) return nullptr;
    KxbString parent;
    if (!kxburi::parentPath(path_, &parent)) return nullptr;
    KxReposURIImpl* uri = kxburi::poolNew<KxReposURIImpl>();
    if (uri != nullptr) uri->setNavigation(host_, parent);
    return uri;
  }

  KxReposURI* getRoot() override {
    KxReposURIImpl* uri = kxburi::poolNew<KxReposURIImpl>();
    if (uri != nullptr) uri->setNavigation(host_, KxbString());
    return uri;
  }

  KxbString getUnusedComponent() const override { return literal(""); }

  KxbString getPathURIString() const override {
    KxbString out;
    if (!buildText(false, path_, &out)) return KxbString();
    return out;
  }

  KxbString getName() const override {
    KxbString name;
    if (!kxburi::lastSegment(path_, &name)) return KxbString();
    return name;
  }

  bool isRootFolder() const override {
    return isEmpty(path_) && objectType_.compare("Folder", true) == 0;
  }

 private:
  // "scheme://repository/path(type)", or without the repository
  // "scheme:///path(type)"; "kxr" stands in for an empty scheme.
  bool buildText(bool withRepository, const KxbString& path,
                 KxbString* out) const {
    const bool hasScheme = !isEmpty(scheme_);
    if (withRepository) {
      return hasScheme ? kxburi::format(out, "%s://%s/%s(%s)", scheme_.asCstr(),
                                        host_.asCstr(), path.asCstr(),
                                        objectType_.asCstr())
                       : kxburi::format(out, "kxr://%s/%s(%s)", host_.asCstr(),
                                        path.asCstr(), objectType_.asCstr());
    }
    return hasScheme ? kxburi::format(out, "%s:///%s(%s)", scheme_.asCstr(),
                                      path.asCstr(), objectType_.asCstr())
                     : kxburi::format(out, "kxr:///%s(%s)", path.asCstr(),
                                      objectType_.asCstr());
  }

  KxbString objectType_;
};

KxURI* kxburi::newReposURIFromText(const KxbString& text) {
  KxReposURIImpl* uri = poolNew<KxReposURIImpl>();
  if (uri != nullptr && !uri->parse(text)) {
    uri->release();
    return nullptr;
  }
  return uri;
}

bool getPathURLComponentsFromString(const KxbString& text, KxbString* scheme,
                                    KxbString* repository, KxbString* path,
                                    KxbString* type) {
  ReposMembers m;
  bool isRepos = false;
  kxburi::UriParts parts;
  const bool ok = splitReposText(text, &m, &isRepos, &parts);
  if (scheme != nullptr) *scheme = m.scheme;
  if (!ok || !isRepos) return false;
  if (repository != nullptr) *repository = m.repository;
  if (path != nullptr) *path = m.path;
  if (type != nullptr) *type = m.type;
  return true;
}

KxReposURI* getReposURIFromComponents(const KxbString& repository,
                                      const KxbString& path,
                                      const KxbString& type) {
  KxReposURIImpl* uri = kxburi::poolNew<KxReposURIImpl>();
  if (uri != nullptr && !uri->setComponents(repository, path, type)) {
    uri->release();
    return nullptr;
  }
  return uri;
}
