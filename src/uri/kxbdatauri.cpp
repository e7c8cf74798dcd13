// KxDataURIImpl: "kxd" and "kxf" URIs split into their seven members and
// rebuilt from them.
#include "kxbdatauri.h"

#include "uri/kxburi_internal.h"

using kxburi::bytesOf;
using kxburi::isEmpty;

namespace {

// Byte positions as signed numbers, a missing one being -1, so that the
// span tests below read as differences.
using Pos = long long;

Pos position(size_t index) {
  return index == std::string_view::npos ? -1 : static_cast<Pos>(index);
}

std::string_view span(std::string_view text, Pos from, Pos to) {
  return text.substr(static_cast<size_t>(from), static_cast<size_t>(to - from));
}

bool isScheme(const KxbString& scheme, const char* word) {
  return scheme.compare(word, true) == 0;
}

// The members of a data URI text.
struct DataMembers {
  KxbString scheme;
  KxbString dataSource;
  KxbString sourceType;
  KxbString part1;
  KxbString part2;
  KxbString part3;
  KxbString objectName;
  KxbString server;
};

// Splits the host at its first "." (one at index 0 does not count) into
// *before (unescaped) and *after (as written; `noDot` when there is none).
bool splitHost(std::string_view host, const char* noDot, KxbString* before,
               KxbString* after) {
  const Pos dot = position(host.find('.'));
  if (dot < 1) {
    *after = kxburi::literal(noDot);
    return kxburi::unescapeOrRaw(host, before);
  }
  return kxburi::unescapeOrRaw(host.substr(0, static_cast<size_t>(dot)),
                               before) &&
         kxburi::setSpan(after, host.substr(static_cast<size_t>(dot) + 1));
}

// Fills *m from `text`; *isData tells whether the scheme was "kxd" or "kxf".
// False when memory ran out.
bool splitDataText(const KxbString& text, DataMembers* m, bool* isData) {
  *m = DataMembers();
  *isData = false;
  kxburi::UriParts parts;
  if (!kxburi::parseGeneric(text, &parts)) return false;
  m->scheme = parts.scheme;
  const std::string_view host = bytesOf(parts.host);
  const std::string_view path = bytesOf(parts.path);
  const Pos length = static_cast<Pos>(path.size());
  bool ok = true;
  if (isScheme(m->scheme, "kxd")) {
    *isData = true;
    ok &= splitHost(host, "ODBC", &m->dataSource, &m->sourceType);
    m->server = kxburi::literal("");
    // Paths of up to 3 bytes name nothing.
    if (length > 3) {
      const Pos s1 = position(path.find('/'));
      const Pos s2 = position(path.find('/', s1 < 1 ? 1 : s1 + 1));
      const Pos last = position(path.rfind('/'));
      if (s1 > 0) ok &= kxburi::unescapeOrRaw(span(path, 0, s1), &m->part1);
      if (s2 - s1 > 1) {
        ok &= kxburi::unescapeOrRaw(span(path, s1 + 1, s2), &m->part2);
      }
      if (last - s2 > 1) {
        ok &= kxburi::unescapeOrRaw(span(path, s2 + 1, last), &m->part3);
      }
      if (length - last > 1) {
        ok &= kxburi::unescapeOrRaw(span(path, last + 1, length),
                                    &m->objectName);
      }
    }
  } else if (isScheme(m->scheme, "kxf")) {
    *isData = true;
    ok &= splitHost(host, "", &m->server, &m->sourceType);
    // Paths of up to 4 bytes name nothing.
    if (length > 4) {
      const Pos s1 = position(path.find('/'));
      const Pos s2 = position(path.find('/', s1 < 1 ? 1 : s1 + 1));
      const Pos s3 = position(path.find('/', s2 < 1 ? 2 : s2 + 1));
      const Pos last = position(path.rfind('/'));
      if (s1 > 0) {
        ok &= kxburi::unescapeOrRaw(span(path, 0, s1), &m->dataSource);
      }
      if (s2 - s1 > 1) {
        ok &= kxburi::unescapeOrRaw(span(path, s1 + 1, s2), &m->part1);
      }
      if (s3 - s2 > 1) {
        ok &= kxburi::unescapeOrRaw(span(path, s2 + 1, s3), &m->part2);
      }
      if (last - s3 > 1) {
        ok &= kxburi::unescapeOrRaw(span(path, s3 + 1, last), &m->part3);
      }
      if (length - last > 1) {
        ok &= kxburi::unescapeOrRaw(span(path, last + 1, length),
                                    &m->objectName);
      }
    }
  }
  return ok;
}

// The text of a data URI from its members; the empty string for a scheme
// other than "kxd" and "kxf". The form is chosen by the last non-empty
// member; those before it are written even when empty.
bool buildDataURIText(const KxbString& scheme, const KxbString& server,
                      const KxbString& sourceType, const KxbString& dataSource,
                      const KxbString& part1, const KxbString& part2,
                      const KxbString& part3, const KxbString& objectName,
                      KxbString* out) {
  const char* s = scheme.asCstr();
  const char* sv = server.asCstr();
  const char* st = sourceType.asCstr();
  const char* ds = dataSource.asCstr();
  const char* p1 = part1.asCstr();
  const char* p2 = part2.asCstr();
  const char* p3 = part3.asCstr();
  const char* on = objectName.asCstr();
  const int last = !isEmpty(objectName) ? 4
                   : !isEmpty(part3)    ? 3
                   : !isEmpty(part2)    ? 2
                   : !isEmpty(part1)    ? 1
                                        : 0;
  using kxburi::format;
  if (isEmpty(scheme)) {
    *out = kxburi::literal("");
    return true;
  }
  if (isScheme(scheme, "kxd")) {
    if (!isEmpty(dataSource)) {
      switch (last) {
        case 4: return format(out, "%s://%s.%s/%s/%s/%s/%s", s, ds, st, p1, p2, p3, on);
        case 3: return format(out, "%s://%s.%s/%s/%s/%s/", s, ds, st, p1, p2, p3);
        case 2: return format(out, "%s://%s.%s/%s/%s/", s, ds, st, p1, p2);
        case 1: return format(out, "%s://%s.%s/%s/", s, ds, st, p1);
        default: return format(out, "%s://%s.%s/", s, ds, st);
      }
    }
    switch (last) {
      // The "%/" is an old slip in this pattern, kept as it has always been
      // written: the formatter copies it and the object name is not used.
      case 4: return format(out, "%s:///%s/%/%s/%s", s, p1, p2, p3, on);
      case 3: return format(out, "%s:///%s/%s/%s/", s, p1, p2, p3);
      case 2: return format(out, "%s:///%s/%s/", s, p1, p2);
      case 1: return format(out, "%s:///%s/", s, p1);
      default: return format(out, "%s:///", s);
    }
  }
  if (isScheme(scheme, "kxf")) {
    if (!isEmpty(server)) {
      const int lastWithSource = last > 0 ? last + 1 : !isEmpty(dataSource) ? 1 : 0;
      switch (lastWithSource) {
        case 5: return format(out, "%s://%s.%s/%s/%s/%s/%s/%s", s, sv, st, ds, p1, p2, p3, on);
        case 4: return format(out, "%s://%s.%s/%s/%s/%s/%s/", s, sv, st, ds, p1, p2, p3);
        case 3: return format(out, "%s://%s.%s/%s/%s/%s/", s, sv, st, ds, p1, p2);
        case 2: return format(out, "%s://%s.%s/%s/%s/", s, sv, st, ds, p1);
        case 1: return format(out, "%s://%s.%s/%s/", s, sv, st, ds);
        default: return format(out, "%s://%s.%s/", s, sv, st);
      }
    }
    switch (last) {
      case 4: return format(out, "%s:///%s/%s/%s/%s/%s", s, ds, p1, p2, p3, on);
      case 3: return format(out, "%s:///%s/%s/%s/%s/", s, ds, p1, p2, p3);
      case 2: return format(out, "%s:///%s/%s/%s/", s, ds, p1, p2);
      case 1: return format(out, "%s:///%s/%s/", s, ds, p1);
      default: return format(out, "%s:///%s/", s, ds);
    }
  }
  *out = kxburi::literal("");
  return true;
}

}  // namespace

class KxDataURIImpl : public kxburi::KxURIFields<KxDataURI> {
 public:
  KxDataURIImpl() = default;

  // Splits `text` into the members; for a data scheme also stores the text
  // and fills host and path. False when memory ran out.
  bool parse(const KxbString& text) {
    DataMembers m;
    bool isData = false;
    if (!splitDataText(text, &m, &isData)) return false;
    scheme_ = m.scheme;
    if (!isData) return true;
    dataSource_ = m.dataSource;
    sourceType_ = m.sourceType;
    part1_ = m.part1;
    part2_ = m.part2;
    part3_ = m.part3;
    objectName_ = m.objectName;
    server_ = m.server;
    uriText_ = text;
    return normalizeComponents();
  }

  // Each member unescaped (raw when that runs out of memory, which is then
  // reported).
  bool setComponents(const KxbString& scheme, const KxbString& server,
                     const KxbString& dataSource, const KxbString& sourceType,
                     const KxbString& part1, const KxbString& part2,
                     const KxbString& part3, const KxbString& objectName) {
    scheme_ = scheme;
    bool ok = kxburi::unescapeOrRaw(bytesOf(server), &server_);
    ok &= kxburi::unescapeOrRaw(bytesOf(dataSource), &dataSource_);
    ok &= kxburi::unescapeOrRaw(bytesOf(sourceType), &sourceType_);
    ok &= kxburi::unescapeOrRaw(bytesOf(part1), &part1_);
    ok &= kxburi::unescapeOrRaw(bytesOf(part2), &part2_);
    ok &= kxburi::unescapeOrRaw(bytesOf(part3), &part3_);
    ok &= kxburi::unescapeOrRaw(bytesOf(objectName), &objectName_);
    return ok;
  }

  // Fills an empty path and host from the members. "kxd" joins the data
  // source and type only when the type is non-empty, "kxf" the server and
  // type only when the server is. False when memory ran out (the member
  // being filled stays empty).
  bool normalizeComponents() {
    bool ok = true;
    if (isScheme(scheme_, "kxd")) {
      if (isEmpty(path_)) {
        ok &= fill(&path_, "%s/%s/%s/", part1_, part2_, part3_);
      }
      if (isEmpty(host_)) {
        if (!isEmpty(sourceType_)) {
          ok &= fill(&host_, "%s.%s", dataSource_, sourceType_);
        } else {
          host_ = dataSource_;
        }
      }
    } else if (isScheme(scheme_, "kxf")) {
      if (isEmpty(path_)) {
        ok &= fill(&path_, "%s/%s/%s/%s/", dataSource_, part1_, part2_, part3_);
      }
      if (isEmpty(host_)) {
        if (!isEmpty(server_)) {
          ok &= fill(&host_, "%s.%s", server_, sourceType_);
        } else {
          host_ = server_;
        }
      }
    }
    return ok;
  }

  KxbString getURIString() override {
    if (isEmpty(uriText_)) {
      KxbString built;
      if (!normalizeComponents() ||
          !buildDataURIText(scheme_, server_, sourceType_, dataSource_, part1_,
                            part2_, part3_, objectName_, &built)) {
        return KxbString();
      }
      uriText_ = built;
    }
    return uriText_;
  }

  KxbString getEscapedURIString() override {
    KxbString dataSource, part1, part2, part3, objectName, out;
    if (!normalizeComponents() ||
        !kxburi::escapeOrRaw(dataSource_, "", &dataSource) ||
        !kxburi::escapeOrRaw(part1_, "", &part1) ||
        !kxburi::escapeOrRaw(part2_, "", &part2) ||
        !kxburi::escapeOrRaw(part3_, "", &part3) ||
        !kxburi::escapeOrRaw(objectName_, "", &objectName) ||
        !buildDataURIText(scheme_, server_, sourceType_, dataSource, part1,
                          part2, part3, objectName, &out)) {
      return KxbString();
    }
    return out;
  }

  KxDataURI* asDataURI() override { return this; }

  bool addQueryValue(const KxbString& name, const KxbString& value,
                     KxbString* error) override {
    return addToQuery(name, value, error, false);
  }

  KxbString getDataSource() const override { return dataSource_; }
  KxbString getSourceType() const override { return sourceType_; }
  KxbString getPart1() const override { return part1_; }
  KxbString getPart2() const override { return part2_; }
  KxbString getPart3() const override { return part3_; }
  KxbString getObjectName() const override { return objectName_; }
  KxbString getServer() const override { return server_; }

 private:
  template <class... Members>
  static bool fill(KxbString* out, const char* pattern,
                   const Members&... members) {
    if (kxburi::format(out, pattern, members.asCstr()...)) return true;
    out->setNull();
    return false;
  }

  KxbString dataSource_;
  KxbString sourceType_;
  KxbString part1_;
  KxbString part2_;
  KxbString part3_;
  KxbString objectName_;
  KxbString server_;
};

KxURI* kxburi::newDataURIFromText(const KxbString& text) {
  KxDataURIImpl* uri = poolNew<KxDataURIImpl>();
  if (uri != nullptr && !uri->parse(text)) {
    uri->release();
    return nullptr;
  }
  return uri;
}

bool getDataURIComponentsFromString(const KxbString& text, KxbString* scheme,
                                    KxbString* dataSource,
                                    KxbString* sourceType, KxbString* part1,
                                    KxbString* part2, KxbString* part3,
                                    KxbString* objectName, KxbString* server) {
  DataMembers m;
  bool isData = false;
  const bool ok = splitDataText(text, &m, &isData);
  if (scheme != nullptr) *scheme = m.scheme;
  if (!ok || !isData) return false;
  if (dataSource != nullptr) *dataSource = m.dataSource;
  if (sourceType != nullptr) *sourceType = m.sourceType;
  if (part1 != nullptr) *part1 = m.part1;
  if (part2 != nullptr) *part2 = m.part2;
  if (part3 != nullptr) *part3 = m.part3;
  if (objectName != nullptr) *objectName = m.objectName;
  if (server != nullptr) *server = m.server;
  return true;
}

KxDataURI* getDataURIFromComponents(const KxbString& scheme,
                                    const KxbString& server,
                                    const KxbString& dataSource,
                                    const KxbString& sourceType,
                                    const KxbString& part1,
                                    const KxbString& part2,
                                    const KxbString& part3,
                                    const KxbString& objectName) {
  KxDataURIImpl* uri = kxburi::poolNew<KxDataURIImpl>();
  if (uri != nullptr && !uri->setComponents(scheme, server, dataSource,
                                            sourceType, part1, part2, part3,
                                            objectName)) {
    uri->release();
    return nullptr;
  }
  return uri;
}
