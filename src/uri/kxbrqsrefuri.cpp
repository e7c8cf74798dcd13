// KxRQSRefURIImpl: "rqsref" URIs of objects on a server.
#include "kxbreposuri.h"

#include "uri/kxburi_internal.h"

using kxburi::bytesOf;
using kxburi::isEmpty;
using kxburi::literal;

class KxRQSRefURIImpl : public kxburi::KxURIFields<KxRQSRefURI> {
 public:
  KxRQSRefURIImpl() { scheme_ = literal("rqsref"); }

  // Host, path, query and fragment by the generic parser; the scheme stays
  // "rqsref". False when memory ran out.
  bool parse(const KxbString& text) {
    kxburi::UriParts parts;
    if (!kxburi::parseGeneric(text, &parts)) return false;
    host_ = parts.host;
    path_ = parts.path;
    query_ = parts.query;
    fragment_ = parts.fragment;
    uriText_ = text;
    return true;
  }

  bool setComponents(const KxbString& server, const KxbString& path,
                     const KxbString& query) {
    bool ok = kxburi::unescapeOrRaw(bytesOf(server), &host_);
    ok &= kxburi::unescapeOrRaw(bytesOf(path), &path_);
    if (!isEmpty(query)) query_ = query;
    return ok;
  }

  void setNavigation(const KxbString& server, const KxbString& path) {
    host_ = server;
    path_ = path;
  }

  KxbString getURIString() override {
    if (isEmpty(uriText_)) {
      KxbString built;
      if (!buildBase(path_, &built)) return KxbString();
      uriText_ = built;
    }
    return uriText_;
  }

  KxbString getEscapedURIString() override {
    KxbString path, fragment, out;
    if (!kxburi::escapeOrRaw(path_, " ?#", &path) ||
        !kxburi::escapeOrRaw(fragment_, " #", &fragment) ||
        !buildBase(path, &out)) {
      return KxbString();
    }
    if (!isEmpty(query_)) {
      // Names and values are re-escaped pair by pair.
      KxURIQueryHandler* handler = getURIQueryHandler(query_, false);
      if (handler == nullptr) return KxbString();
      KxbString query = handler->toString();
      handler->release();
      if (query.isNull()) return KxbString();
      if (!isEmpty(query) &&
          !(kxburi::append(&out, "?") && kxburi::append(&out, query))) {
        return KxbString();
      }
    }
    if (!isEmpty(fragment) &&
        !(kxburi::append(&out, "#") && kxburi::append(&out, fragment))) {
      return KxbString();
    }
    return out;
  }

  bool addQueryValue(const KxbString& name, const KxbString& value,
                     KxbString* error) override {
    return addToQuery(name, value, error, false);
  }

  KxbString getServer() const override { return host_; }

  KxRQSRefURI* getParent() override {
    if (isEmpty(path_)) return nullptr;
    KxbString parent;
    if (!kxburi::parentPath(path_, &parent)) return nullptr;
    KxRQSRefURIImpl* uri = kxburi::poolNew<KxRQSRefURIImpl>();
    if (uri != nullptr) uri->setNavigation(host_, parent);
    return uri;
  }

  KxbString getPathURIString() const override {
    KxbString out;
    // The scheme is never empty; "rqsref:///path()" stands in if it were.
    const bool ok = isEmpty(scheme_)
                        ? kxburi::format(&out, "rqsref:///%s()", path_.asCstr())
                        : kxburi::format(&out, "%s:///%s", scheme_.asCstr(),
                                         path_.asCstr());
    if (!ok) return KxbString();
    if (!isEmpty(query_) &&
        !(kxburi::append(&out, "?") && kxburi::append(&out, query_))) {
      return KxbString();
    }
    return out;
  }

  KxbString getName() const override {
    KxbString name;
    if (!kxburi::lastSegment(path_, &name)) return KxbString();
    return name;
  }

  KxbString getObjectType() const override { return queryKey("ObjectType"); }

  KxbString getServiceType() const override {
    if (isEmpty(query_)) return KxbString();
    return queryKey("ServiceType");
  }

 private:
  // "scheme://server/path"; "rqsref" stands in for an empty scheme.
  bool buildBase(const KxbString& path, KxbString* out) const {
    return isEmpty(scheme_)
               ? kxburi::format(out, "rqsref://%s/%s", host_.asCstr(),
                                path.asCstr())
               : kxburi::format(out, "%s://%s/%s", scheme_.asCstr(),
                                host_.asCstr(), path.asCstr());
  }

  KxbString queryKey(const char* key) const {
    KxbString value;
    if (!kxburi::queryValue(query_, key, false, &value)) return KxbString();
    return value;
  }
};

KxURI* kxburi::newRQSRefURIFromText(const KxbString& text) {
  KxRQSRefURIImpl* uri = poolNew<KxRQSRefURIImpl>();
  if (uri != nullptr && !uri->parse(text)) {
    uri->release();
    return nullptr;
  }
  return uri;
}

bool getRQSRefURIComponentsFromString(const KxbString& text, KxbString* server,
                                      KxbString* path, KxbString* query,
                                      KxbString* fragment) {
  kxburi::UriParts parts;
  if (!kxburi::parseGeneric(text, &parts)) return true;
  if (server != nullptr) *server = parts.host;
  if (path != nullptr) *path = parts.path;
  if (query != nullptr) *query = parts.query;
  if (fragment != nullptr) *fragment = parts.fragment;
  return true;
}

KxRQSRefURI* getRQSRefURIFromComponents(const KxbString& server,
                                        const KxbString& path,
                                        const KxbString& query) {
  KxRQSRefURIImpl* uri = kxburi::poolNew<KxRQSRefURIImpl>();
  if (uri != nullptr && !uri->setComponents(server, path, query)) {
    uri->release();
    return nullptr;
  }
  return uri;
}
