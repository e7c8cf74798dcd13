// The authentication toolkit's settings: the kernel key table and the
// location of the authenticating server.
//
// Start-up hands both over (every "ZKN/" option becomes a key; the
// BASE/AUTH_SERVER_* options become the server location), and the identity
// subsystem reads them back when it authenticates.
//
// Thread safety: every function may be called from any thread; one
// process-wide mutex guards both tables.
#ifndef KXB_PLATFORM_RK_AUTH_H_
#define KXB_PLATFORM_RK_AUTH_H_

#ifdef __cplusplus
extern "C" {
#endif

// Keeps `value` under `name` (names compared exactly, case included),
// replacing an earlier value; a null value removes the key. 0 on success;
// 1 for a null or empty name or when memory ran out (the table unchanged).
int rkSetKeyValue(const char* name, const char* value);
// The value kept under `name`, or null when there is none. The text stays
// valid for the life of the process, even after the key is changed.
const char* rkGetKeyValue(const char* name);

// Results of rkSetAuthServerLoc.
#define RK_AUTH_LOC_SERVER 0   // host= and port= name the server
#define RK_AUTH_LOC_PROFILE 1  // profile= names a metadata profile
#define RK_AUTH_LOC_INVALID 2  // see the text in the error buffer

// Reads `location` as comma-separated name=value attributes (names compared
// ignoring case, blanks around names and values dropped; other attributes,
// such as pass=, are allowed and kept with the location):
//   - a non-empty profile= attribute: the location comes from a metadata
//     profile; result RK_AUTH_LOC_PROFILE (whatever else it holds);
//   - otherwise a non-empty host= and a port= that is a decimal number from
//     1 to 65535: result RK_AUTH_LOC_SERVER;
//   - anything else (a null or empty location, a piece without "=", a
//     missing or empty host, a missing or bad port, an empty profile):
//     RK_AUTH_LOC_INVALID, with a sentence saying what is wrong written into
//     `errorBuffer`. Passwords never appear in it.
// `errorLength` holds the buffer's size on entry and receives the length of
// the text written (0 when none); the text is cut to fit and always
// terminated. A null buffer or length is allowed (no text then).
// An accepted location replaces the one kept before, together with
// `repositoryName`, `user`, `password` (each may be null) and `sspi`
// (non-zero: use the operating system's single sign-on). A rejected one
// leaves the kept location as it was.
int rkSetAuthServerLoc(const char* location, const char* repositoryName,
                       const char* user, const char* password, int sspi,
                       char* errorBuffer, int* errorLength);

// What rkSetAuthServerLoc accepted last. The texts stay valid for the life
// of the process; absent ones are null.
typedef struct rkAuthServerLoc {
  int fromProfile;         // 1 when profile= named a metadata profile
  const char* location;    // the location as given
  const char* profile;     // profile= value
  const char* host;        // host= value
  int port;                // 0 with a profile
  const char* repository;  // repositoryName
  const char* user;
  const char* password;
  int sspi;
} rkAuthServerLoc;

// 1 and *out filled when a location was accepted; 0 (out untouched) when
// none was.
int rkGetAuthServerLoc(rkAuthServerLoc* out);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_RK_AUTH_H_
