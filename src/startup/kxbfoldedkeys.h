// Case-insensitive lookup of ASCII keys by hash, beside the ordered maps that
// configuration files and option sets keep as their order of record.
//
// For two keys made only of ASCII characters, case-insensitive equality is
// equality once A-Z are lowered, so such a key can be folded once and then
// hashed and compared as bytes. KxbFoldedKey does the folding and hashing in
// one pass, eight bytes at a time; KxbFoldedKeyIndex maps folded keys to
// positions (uint32_t) in an open-addressing table whose slots point into
// one arena of folded key bytes, so a lookup touches a slot and the key's
// bytes and allocates nothing.
//
// Keys holding a byte above 0x7F are not folded (ascii() is false): the
// caller looks them up in its ordered map instead, and must also consult it
// after a miss here while it holds such keys, because an ASCII key can equal
// a non-ASCII one case-insensitively ("STRASSE" and "Straße").
//
// Thread safety: none; the owner guards it. Failures: insert throws
// std::bad_alloc and then leaves the index unchanged.
#ifndef KXB_SRC_STARTUP_KXBFOLDEDKEYS_H_
#define KXB_SRC_STARTUP_KXBFOLDEDKEYS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// One key as looked up: its bytes, and their folded hash when ASCII.
class KxbFoldedKey {
 public:
  KxbFoldedKey(const char* bytes, size_t length);

  bool ascii() const { return ascii_; }
  const char* bytes() const { return bytes_; }
  size_t length() const { return length_; }
  // Meaningful only when ascii().
  uint64_t hash() const { return hash_; }
  // Whether `folded` (length() bytes, already folded) is this key folded.
  bool matches(const char* folded) const;

 private:
  const char* bytes_;
  size_t length_;
  uint64_t hash_;
  bool ascii_;
};

class KxbFoldedKeyIndex {
 public:
  static constexpr long kAbsent = -1;

  // The position of `key` (ascii() must be true), or kAbsent.
  long find(const KxbFoldedKey& key) const;
  // Adds `key` (ascii(), not yet present) at `position`. Throws
  // std::bad_alloc, leaving the index unchanged.
  void insert(const KxbFoldedKey& key, uint32_t position);
  // Removes the key at `position`, if any, and moves every later position
  // down by one. Linear in the number of keys; never fails.
  void removePosition(uint32_t position);
  void clear();
  size_t size() const { return used_; }

 private:
  static constexpr uint32_t kEmpty = UINT32_MAX;
  struct Slot {
    uint32_t tag;       // low half of the key's hash; its low bits pick
                        // the slot the key's probe starts at
    uint32_t position;  // kEmpty for a free slot
    uint32_t offset;    // of the folded bytes in arena_
    uint32_t length;
  };

  // Places `slot` in slots_ (which has room) by linear probing.
  void place(const Slot& slot);
  // Drops the bytes of removed keys from the arena (kept when memory for
  // the new arena cannot be had).
  void compact();

  std::vector<Slot> slots_;  // a power of two long, at most half used
  std::string arena_;        // folded keys, back to back
  size_t used_ = 0;
  size_t garbage_ = 0;       // arena bytes of removed keys
};

#endif  // KXB_SRC_STARTUP_KXBFOLDEDKEYS_H_
