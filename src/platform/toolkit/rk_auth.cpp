#include "np_mem.h"
#include "rk_auth.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace {

struct State {
  std::mutex mutex;
  // Every text ever handed out, so that returned pointers stay valid.
  std::set<std::string> texts;
  std::unordered_map<std::string, const char*> keys;
  bool haveLocation = false;
  rkAuthServerLoc location{};
};

State& state() {
  static State* s = new State;
  return *s;
}

// The interned copy of `text` (null for null). Caller holds the mutex.
const char* intern(State& s, const char* text) {
  if (text == nullptr) return nullptr;
  return s.texts.emplace(text).first->c_str();
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
    text.remove_prefix(1);
  }
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
    text.remove_suffix(1);
  }
  return text;
}

// Attribute names are ASCII; compared ignoring case.
bool sameName(std::string_view a, const char* b) {
  if (a.size() != std::strlen(b)) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char c = a[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    if (c != b[i]) return false;
  }
  return true;
}

// A port is 1 to 65535 written in decimal digits only.
int parsePort(std::string_view text) {
  if (text.empty() || text.size() > 5) return 0;
  int port = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return 0;
    port = port * 10 + (c - '0');
  }
  return port <= 65535 ? port : 0;
}

int reject(char* buffer, int* length, const char* text) {
  if (buffer != nullptr && length != nullptr && *length > 0) {
    std::snprintf(buffer, static_cast<size_t>(*length), "%s", text);
    *length = static_cast<int>(std::strlen(buffer));
  } else if (length != nullptr) {
    *length = 0;
  }
  return RK_AUTH_LOC_INVALID;
}

int reject(char* buffer, int* length, const std::string& text) {
  return reject(buffer, length, text.c_str());
}

}  // namespace

extern "C" int rkSetKeyValue(const char* name, const char* value) {
  if (name == nullptr || *name == '\0') return 1;
  State& s = state();
  try {
    std::lock_guard<std::mutex> hold(s.mutex);
    if (value == nullptr) {
      s.keys.erase(name);
    } else {
      s.keys[name] = intern(s, value);
    }
    return 0;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return 1;
  }
}

extern "C" const char* rkGetKeyValue(const char* name) {
  if (name == nullptr) return nullptr;
  State& s = state();
  try {
    std::lock_guard<std::mutex> hold(s.mutex);
    auto found = s.keys.find(name);
    return found == s.keys.end() ? nullptr : found->second;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return nullptr;
  }
}

extern "C" int rkSetAuthServerLoc(const char* location,
                                  const char* repositoryName, const char* user,
                                  const char* password, int sspi,
                                  char* errorBuffer, int* errorLength) {
  if (errorLength != nullptr && errorBuffer == nullptr) *errorLength = 0;
  if (errorBuffer != nullptr && errorLength != nullptr && *errorLength > 0) {
    errorBuffer[0] = '\0';
  }
  if (location == nullptr || trim(location).empty()) {
    return reject(errorBuffer, errorLength,
                  "The authentication server location is empty.");
  }
  try {
    std::string_view rest(location);
    std::string_view host, port, profile;
    bool haveHost = false, havePort = false, haveProfile = false;
    while (true) {
      size_t comma = rest.find(',');
      std::string_view piece = trim(rest.substr(0, comma));
      if (!piece.empty()) {
        size_t equals = piece.find('=');
        if (equals == std::string_view::npos) {
          return reject(errorBuffer, errorLength,
                        "The authentication server location has the piece '" +
                            std::string(piece) +
                            "', which is not of the form name=value.");
        }
        std::string_view name = trim(piece.substr(0, equals));
        std::string_view value = trim(piece.substr(equals + 1));
        if (sameName(name, "host")) {
          host = value;
          haveHost = true;
        } else if (sameName(name, "port")) {
          port = value;
          havePort = true;
        } else if (sameName(name, "profile")) {
          profile = value;
          haveProfile = true;
        }
      }
      if (comma == std::string_view::npos) break;
      rest.remove_prefix(comma + 1);
    }
    int portNumber = 0;
    if (haveProfile) {
      if (profile.empty()) {
        return reject(errorBuffer, errorLength,
                      "The profile= attribute of the authentication server "
                      "location names no profile.");
      }
    } else {
      if (!haveHost || host.empty()) {
        return reject(errorBuffer, errorLength,
                      "The authentication server location names no host "
                      "(host=) and no metadata profile (profile=).");
      }
      if (!havePort) {
        return reject(errorBuffer, errorLength,
                      "The authentication server location names no port "
                      "(port=).");
      }
      portNumber = parsePort(port);
      if (portNumber == 0) {
        return reject(errorBuffer, errorLength,
                      "The port '" + std::string(port) +
                          "' of the authentication server location is not a "
                          "number from 1 to 65535.");
      }
    }
    State& s = state();
    std::lock_guard<std::mutex> hold(s.mutex);
    rkAuthServerLoc kept{};
    kept.fromProfile = haveProfile ? 1 : 0;
    kept.location = intern(s, location);
    kept.profile = haveProfile ? intern(s, std::string(profile).c_str()) : nullptr;
    kept.host = haveHost ? intern(s, std::string(host).c_str()) : nullptr;
    kept.port = haveProfile ? 0 : portNumber;
    kept.repository = intern(s, repositoryName);
    kept.user = intern(s, user);
    kept.password = intern(s, password);
    kept.sspi = sspi != 0 ? 1 : 0;
    s.location = kept;
    s.haveLocation = true;
    if (errorLength != nullptr) *errorLength = 0;
    return haveProfile ? RK_AUTH_LOC_PROFILE : RK_AUTH_LOC_SERVER;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return reject(errorBuffer, errorLength,
                  "Out of memory while reading the authentication server "
                  "location.");
  }
}

extern "C" int rkGetAuthServerLoc(rkAuthServerLoc* out) {
  if (out == nullptr) return 0;
  State& s = state();
  std::lock_guard<std::mutex> hold(s.mutex);
  if (!s.haveLocation) return 0;
  *out = s.location;
  return 1;
}
