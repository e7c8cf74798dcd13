// KxHadoopURIImpl: "hadoop" URIs of files on a Hadoop cluster, with the
// connection settings carried as query keys.
#include "kxbhadoopuri.h"

#include <cstring>

#include "core/kxbstring_internal.h"
#include "kxs_ascii.h"
#include "uri/kxburi_internal.h"

using kxburi::bytesOf;
using kxburi::isEmpty;
using kxburi::literal;

namespace {

constexpr char kMask[] = "********";
constexpr char kHexDigits[] = "0123456789ABCDEF";

// The characters the builder escapes besides non-ASCII bytes. "%" is among
// them so that every value reads back unchanged.
constexpr char kPathEscapes[] = " ?#%";
constexpr char kValueEscapes[] = " &=#%";

// The authority split into host and port text.
struct Authority {
  std::string_view host;
  std::string_view port;  // the text after ":", empty when none
  bool malformed = false;  // text after "]" that is not ":port"
};

Authority splitAuthority(std::string_view authority) {
  Authority a;
  if (!authority.empty() && authority[0] == '[') {
    const size_t close = authority.find(']');
    if (close == std::string_view::npos) {
      a.host = authority.substr(1);
      a.malformed = true;
      return a;
    }
    a.host = authority.substr(1, close - 1);
    const std::string_view rest = authority.substr(close + 1);
    if (!rest.empty() && rest[0] == ':') {
      a.port = rest.substr(1);
    } else if (!rest.empty()) {
      a.port = rest;
      a.malformed = true;
    }
    return a;
  }
  const size_t colon = authority.find(':');
  a.host = authority.substr(0, colon);
  if (colon != std::string_view::npos) a.port = authority.substr(colon + 1);
  return a;
}

// Yields the bytes of a text as unescaping decodes them.
class Decoder {
 public:
  explicit Decoder(std::string_view text) : text_(text) {}
  bool next(char* c) {
    while (pending_ == 0 && i_ < text_.size()) {
      const char byte = text_[i_];
      if (byte == '%' && i_ + 2 < text_.size()) {
        const int high = hex(text_[i_ + 1]);
        const int low = hex(text_[i_ + 2]);
        if (high >= 0 && low >= 0) {
          const char decoded = static_cast<char>(high * 16 + low);
          i_ += 3;
          if (decoded == '\0') continue;  // dropped, as by unescaping
          *c = decoded;
          return true;
        }
        // Not an escape: the three bytes stand as they are.
        pending_ = 3;
      } else {
        pending_ = 1;
      }
    }
    if (pending_ == 0) return false;
    *c = text_[i_++];
    --pending_;
    return true;
  }

 private:
  static int hex(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }

  std::string_view text_;
  size_t i_ = 0;
  int pending_ = 0;
};

// Whether `name` reads "kxpass" ignoring ASCII case.
bool isPasswordName(const char* name, size_t length) {
  return kxs_ascii::equalNoCase(std::string_view(name, length), "kxpass");
}

bool isPasswordName(std::string_view raw) {
  char name[8];
  size_t length = 0;
  Decoder decoder(raw);
  char c;
  while (decoder.next(&c)) {
    if (length == sizeof name) return false;
    name[length++] = c;
  }
  return isPasswordName(name, length);
}

bool appendBytes(KxbString* out, std::string_view bytes) {
  if (bytes.empty()) return true;
  return KxbStringAccess::appendBytes(*out, bytes.data(),
                                      static_cast<int>(bytes.size()));
}

// Appends `bytes` with every non-ASCII byte and every byte of `set` written
// as %XX. Works on any bytes, valid UTF-8 or not.
bool appendEscaped(KxbString* out, std::string_view bytes, const char* set) {
  char chunk[192];
  size_t used = 0;
  for (char c : bytes) {
    if (used + 3 > sizeof chunk) {
      if (!appendBytes(out, std::string_view(chunk, used))) return false;
      used = 0;
    }
    const unsigned char u = static_cast<unsigned char>(c);
    if (u >= 0x80 || std::strchr(set, c) != nullptr) {
      chunk[used++] = '%';
      chunk[used++] = kHexDigits[u >> 4];
      chunk[used++] = kHexDigits[u & 0x0F];
    } else {
      chunk[used++] = c;
    }
  }
  return appendBytes(out, std::string_view(chunk, used));
}

bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' ||
         c == '\f';
}

void setError(KxbString* error, const KxbString& text) {
  if (error != nullptr) *error = text;
}

}  // namespace

class KxHadoopURIImpl : public kxburi::KxURIFields<KxHadoopURI> {
 public:
  KxHadoopURIImpl() = default;

  // False when memory ran out.
  bool parse(const KxbString& text) {
    kxburi::UriParts parts;
    if (!kxburi::parseGeneric(text, &parts)) return false;
    takeParts(parts);
    rawQuery_ = parts.rawQuery;
    return true;
  }

  KxbString getURIString() override {
    if (isEmpty(uriText_)) {
      KxbString built = getEscapedURIString();
      if (built.isNull()) return built;
      uriText_ = built;
    }
    return uriText_;
  }

  KxbString getEscapedURIString() override {
    KxbString out;
    KxbString path;
    if (!isEmpty(path_) && !appendEscaped(&path, bytesOf(path_), kPathEscapes)) {
      return KxbString();
    }
    if (!kxburi::buildPlainForm(scheme_, host_, path, &out)) return KxbString();
    if (!isEmpty(rawQuery_) &&
        !(kxburi::append(&out, "?") && kxburi::append(&out, rawQuery_))) {
      return KxbString();
    }
    if (!isEmpty(fragment_) &&
        !(kxburi::append(&out, "#") &&
          appendEscaped(&out, bytesOf(fragment_), kPathEscapes))) {
      return KxbString();
    }
    return out;
  }

  // Works on the query as written, so that values keep their escapes. The
  // first pair of the name takes the value (the one the accessors read);
  // later pairs of the name stay as they are.
  bool addQueryValue(const KxbString& name, const KxbString& value,
                     KxbString* error) override {
    bool ok = false;
    KxURIQueryHandler* handler = getURIQueryHandler(rawQuery_, true);
    if (handler != nullptr) {
      KxbString rawQuery = literal("");
      KxbString pairName;
      KxbString pairValue;
      bool replaced = false;
      ok = true;
      for (int i = 0; ok && handler->getValueAt(i, &pairName, &pairValue); ++i) {
        if (!replaced && pairName.compare(name, true) == 0) {
          pairValue = value;
          replaced = true;
        }
        ok = appendPair(&rawQuery, pairName, pairValue);
      }
      handler->release();
      if (ok && !replaced) ok = appendPair(&rawQuery, name, value);
      KxbString query;
      if (ok) ok = kxburi::unescapeBytes(bytesOf(rawQuery), &query);
      if (ok) {
        rawQuery_ = rawQuery;
        query_ = query;
      }
    }
    if (!ok) setError(error, literal("Error adding query value"));
    return ok;
  }

  KxbString getNameNode() const override {
    if (host_.isNull()) return KxbString();
    KxbString host;
    if (!kxburi::setSpan(&host, splitAuthority(bytesOf(host_)).host)) {
      return KxbString();
    }
    return host;
  }

  bool getPort(int* port, KxbString* error) const override {
    *port = 0;
    const Authority a = splitAuthority(bytesOf(host_));
    if (a.port.empty() && !a.malformed) return true;
    int value = 0;
    bool valid = !a.malformed && a.port.size() <= 5;
    for (char c : a.port) {
      if (!valid) break;
      valid = c >= '0' && c <= '9';
      value = value * 10 + (c - '0');
    }
    if (!valid || value < 1 || value > 65535) {
      const std::string_view bad = a.port;
      KxbString text;
      KxbStringAccess::appendBytes(text, bad.data(), static_cast<int>(bad.size()));
      setError(error, kxbStringFormat(
                          "Invalid port '%s' in Hadoop URI: expected a number "
                          "from 1 to 65535",
                          text.asCstr()));
      return false;
    }
    *port = value;
    return true;
  }

  KxbString getConfig() const override { return queryKey("kxCfg"); }
  KxbString getUser() const override { return queryKey("kxUser"); }
  KxbString getPassword() const override { return queryKey("kxPass"); }
  KxbString getDomain() const override { return queryKey("kxDomain"); }

  bool getBufferSize(int64_t* size, KxbString* error) const override {
    *size = 0;
    const KxbString text = queryKey("kxBufSz");
    if (text.isNull()) return true;
    bool failed = false;
    const int64_t value = text.asInt64(&failed);
    if (failed || value <= 0) {
      setError(error, kxbStringFormat(
                          "Invalid buffer size '%s' in Hadoop URI (kxBufSz): "
                          "expected a positive whole number",
                          text.asCstr()));
      return false;
    }
    *size = value;
    return true;
  }

  KxbString getMaskedURIString() override {
    return getMaskedHadoopURIString(getURIString());
  }

 private:
  KxbString queryKey(const char* key) const {
    KxbString value;
    if (!kxburi::queryValue(rawQuery_, key, true, &value)) return KxbString();
    return value;
  }

  // Appends "name=value" (after a "&" unless first), escaped.
  static bool appendPair(KxbString* query, const KxbString& name,
                         const KxbString& value) {
    return (isEmpty(*query) || kxburi::append(query, "&")) &&
           appendEscaped(query, bytesOf(name), kValueEscapes) &&
           kxburi::append(query, "=") &&
           appendEscaped(query, bytesOf(value), kValueEscapes);
  }

  // The query as written in the text, before unescaping.
  KxbString rawQuery_;
};

KxURI* kxburi::newHadoopURIFromText(const KxbString& text) {
  KxHadoopURIImpl* uri = poolNew<KxHadoopURIImpl>();
  if (uri != nullptr && !uri->parse(text)) {
    uri->release();
    return nullptr;
  }
  return uri;
}

KxHadoopURI* getHadoopURIFromComponents(
    const KxbString& nameNode, int port, const KxbString& path,
    const KxbString& config, const KxbString& user, const KxbString& password,
    const KxbString& domain, int64_t bufferSize, KxbString* error) {
  const std::string_view host = bytesOf(nameNode);
  for (char c : host) {
    if (std::strchr("/?#@[]", c) != nullptr || isSpace(c)) {
      setError(error, kxbStringFormat(
                          "Invalid name node '%s' for a Hadoop URI: it may not "
                          "hold '/', '?', '#', '@', '[', ']' or white space",
                          nameNode.asCstr()));
      return nullptr;
    }
  }
  if (port < 0 || port > 65535) {
    setError(error, kxbStringFormat("Invalid port %d for a Hadoop URI: expected "
                                    "0 (none) or a number from 1 to 65535",
                                    port));
    return nullptr;
  }
  if (port > 0 && host.empty()) {
    setError(error, literal("A Hadoop URI with a port needs a name node"));
    return nullptr;
  }
  if (bufferSize < 0) {
    setError(error, literal("Invalid buffer size for a Hadoop URI: it may not "
                            "be negative"));
    return nullptr;
  }

  KxbString text = literal("hadoop://");
  const bool ipv6 = host.find(':') != std::string_view::npos;
  bool ok = (!ipv6 || kxburi::append(&text, "[")) && appendBytes(&text, host) &&
            (!ipv6 || kxburi::append(&text, "]"));
  if (ok && port > 0) {
    KxbString portText;
    ok = kxburi::format(&portText, ":%d", port) && kxburi::append(&text, portText);
  }
  ok = ok && kxburi::append(&text, "/") &&
       appendEscaped(&text, bytesOf(path), kPathEscapes);

  KxbString bufferText;
  if (bufferSize > 0) {
    ok = ok && kxburi::format(&bufferText, "%I64i", bufferSize);
  }
  const struct {
    const char* key;
    const KxbString& value;
  } pairs[] = {{"kxCfg", config},     {"kxUser", user},
               {"kxPass", password},  {"kxDomain", domain},
               {"kxBufSz", bufferText}};
  bool first = true;
  for (const auto& pair : pairs) {
    if (!ok) break;
    if (isEmpty(pair.value)) continue;
    ok = kxburi::append(&text, first ? "?" : "&") &&
         kxburi::append(&text, pair.key) && kxburi::append(&text, "=") &&
         appendEscaped(&text, bytesOf(pair.value), kValueEscapes);
    first = false;
  }

  KxURI* uri = ok ? kxburi::newHadoopURIFromText(text) : nullptr;
  if (uri == nullptr) {
    setError(error, literal("Out of memory while building a Hadoop URI"));
    return nullptr;
  }
  return static_cast<KxHadoopURIImpl*>(uri);
}

KxbString getMaskedHadoopURIString(const KxbString& text) {
  if (text.isNull()) return KxbString();
  const std::string_view t = bytesOf(text);
  KxbString out = literal("");
  size_t copied = 0;
  bool ok = true;
  // Position `j` is the separator before a segment; the text's start counts
  // as one, so that a bare query text is masked as well.
  for (size_t j = 0; ok && j <= t.size(); ++j) {
    const bool first = j == 0;
    if (!first && t[j - 1] != '?' && t[j - 1] != '&') continue;
    const size_t start = j;
    size_t end = t.find_first_of("&#", start);
    if (end == std::string_view::npos) end = t.size();
    const std::string_view segment = t.substr(start, end - start);
    const size_t equals = segment.find('=');
    if (equals != std::string_view::npos) {
      // name=value: the name as written, unescaped, decides.
      if (equals + 1 < segment.size() &&
          isPasswordName(segment.substr(0, equals))) {
        ok = appendBytes(&out, t.substr(copied, start + equals + 1 - copied)) &&
             kxburi::append(&out, kMask);
        copied = end;
        j = end;
      }
      continue;
    }
    // No "=" as written: an escaped one may still split the pair.
    char name[8];
    size_t length = 0;
    bool sawEquals = false;
    bool hasValue = false;
    Decoder decoder(segment);
    char c;
    while (decoder.next(&c)) {
      if (sawEquals) {
        hasValue = true;
        break;
      }
      if (c == '=') {
        sawEquals = true;
      } else if (length < sizeof name) {
        name[length++] = c;
      } else {
        break;
      }
    }
    if (sawEquals && hasValue && isPasswordName(name, length)) {
      ok = appendBytes(&out, t.substr(copied, start - copied)) &&
           appendBytes(&out, std::string_view(name, length)) &&
           kxburi::append(&out, "=") && kxburi::append(&out, kMask);
      copied = end;
      j = end;
    }
  }
  ok = ok && appendBytes(&out, t.substr(copied));
  if (!ok) return KxbString();
  return out;
}
