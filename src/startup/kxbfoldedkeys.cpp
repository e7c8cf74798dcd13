// Folded ASCII keys and their hash index. See kxbfoldedkeys.h.
#include "startup/kxbfoldedkeys.h"
#include "np_mem.h"

#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kHighBits = 0x8080808080808080ull;
constexpr uint64_t kMultiplier = 0x9E3779B97F4A7C15ull;

// Eight bytes as one little-endian word.
inline uint64_t loadWord(const char* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, 8);
  return word;
}

// The last 1 to 7 bytes of a key as one word, zero-padded, without reading
// past them: two overlapping 4-byte loads, or three single bytes.
inline uint64_t loadTail(const char* bytes, size_t count) {
  if (count >= 4) {
    uint32_t low, high;
    std::memcpy(&low, bytes, 4);
    std::memcpy(&high, bytes + count - 4, 4);
    return low | (static_cast<uint64_t>(high) << (8 * (count - 4)));
  }
  const unsigned char* b = reinterpret_cast<const unsigned char*>(bytes);
  return b[0] | (static_cast<uint64_t>(b[count / 2]) << (8 * (count / 2))) |
         (static_cast<uint64_t>(b[count - 1]) << (8 * (count - 1)));
}

// Lowers the A-Z bytes of a word of ASCII bytes. Adding 0x3F sets the high
// bit of every byte from 'A' up, adding 0x25 that of every byte above 'Z';
// neither can carry into the next byte while every byte is below 0x80.
inline uint64_t foldWord(uint64_t word) {
  uint64_t fromA = word + (0x80 - 'A') * kOnes;
  uint64_t aboveZ = word + (0x80 - 'Z' - 1) * kOnes;
  uint64_t upper = fromA & ~aboveZ & kHighBits;
  return word | (upper >> 2);
}

inline uint64_t mixWord(uint64_t hash, uint64_t word) {
  hash = (hash ^ word) * kMultiplier;
  return hash ^ (hash >> 32);
}

// The finaliser of MurmurHash3: every input bit reaches every output bit.
inline uint64_t finish(uint64_t hash) {
  hash ^= hash >> 33;
  hash *= 0xFF51AFD7ED558CCDull;
  hash ^= hash >> 33;
  hash *= 0xC4CEB9FE1A85EC53ull;
  return hash ^ (hash >> 33);
}

// The low half of a hash: kept in the slot, and its low bits pick the slot.
inline uint32_t tagOf(uint64_t hash) { return static_cast<uint32_t>(hash); }

}  // namespace

// A key with a byte above 0x7F is not ASCII and its hash is never used, so
// the words are folded as they come.
KxbFoldedKey::KxbFoldedKey(const char* bytes, size_t length)
    : bytes_(bytes), length_(length), hash_(0), ascii_(true) {
  uint64_t hash = length;
  uint64_t seen = 0;
  size_t at = 0;
  for (; at + 8 <= length; at += 8) {
    uint64_t word = loadWord(bytes + at);
    seen |= word;
    hash = mixWord(hash, foldWord(word));
  }
  if (at < length) {
    uint64_t word = loadTail(bytes + at, length - at);
    seen |= word;
    hash = mixWord(hash, foldWord(word));
  }
  ascii_ = (seen & kHighBits) == 0;
  hash_ = finish(hash);
}

bool KxbFoldedKey::matches(const char* folded) const {
  size_t at = 0;
  for (; at + 8 <= length_; at += 8) {
    if (loadWord(folded + at) != foldWord(loadWord(bytes_ + at))) return false;
  }
  if (at == length_) return true;
  size_t rest = length_ - at;
  return loadTail(folded + at, rest) == foldWord(loadTail(bytes_ + at, rest));
}

long KxbFoldedKeyIndex::find(const KxbFoldedKey& key) const {
  if (used_ == 0) return kAbsent;
  const size_t mask = slots_.size() - 1;
  const uint32_t tag = tagOf(key.hash());
  for (size_t i = tag & mask;; i = (i + 1) & mask) {
    const Slot& slot = slots_[i];
    if (slot.position == kEmpty) return kAbsent;
    if (slot.tag == tag && slot.length == key.length() &&
        key.matches(arena_.data() + slot.offset)) {
      return static_cast<long>(slot.position);
    }
  }
}

void KxbFoldedKeyIndex::place(const Slot& slot) {
  const size_t mask = slots_.size() - 1;
  size_t i = slot.tag & mask;
  while (slots_[i].position != kEmpty) i = (i + 1) & mask;
  slots_[i] = slot;
}

void KxbFoldedKeyIndex::insert(const KxbFoldedKey& key, uint32_t position) {
  if (arena_.size() + key.length() > std::numeric_limits<uint32_t>::max() ||
      position == kEmpty) {
    throw std::bad_alloc();
  }
  // Both allocations come first, so that a failure leaves the index as it
  // was.
  arena_.reserve(arena_.size() + key.length());
  if ((used_ + 1) * 2 > slots_.size()) {
    std::vector<Slot> grown(slots_.empty() ? 16 : slots_.size() * 2,
                            Slot{0, kEmpty, 0, 0});
    grown.swap(slots_);
    for (const Slot& slot : grown) {
      if (slot.position != kEmpty) place(slot);
    }
  }
  const size_t offset = arena_.size();
  for (size_t i = 0; i < key.length(); ++i) {
    unsigned char c = static_cast<unsigned char>(key.bytes()[i]);
    arena_.push_back(static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c));
  }
  place(Slot{tagOf(key.hash()), position, static_cast<uint32_t>(offset),
             static_cast<uint32_t>(key.length())});
  ++used_;
}

void KxbFoldedKeyIndex::removePosition(uint32_t position) {
  const size_t mask = slots_.size() - 1;
  size_t hole = slots_.size();
  for (size_t i = 0; i < slots_.size(); ++i) {
    Slot& slot = slots_[i];
    if (slot.position == kEmpty) continue;
    if (slot.position == position) {
      hole = i;
    } else if (slot.position > position) {
      --slot.position;
    }
  }
  if (hole == slots_.size()) return;
  garbage_ += slots_[hole].length;
  slots_[hole].position = kEmpty;
  --used_;
  // Backward-shift deletion: every later slot of the cluster whose home is
  // not between the hole and itself moves into the hole, so that no probe
  // sequence is cut by it.
  for (size_t j = (hole + 1) & mask; slots_[j].position != kEmpty;
       j = (j + 1) & mask) {
    size_t home = slots_[j].tag & mask;
    bool stays = hole <= j ? (hole < home && home <= j) : (hole < home || home <= j);
    if (stays) continue;
    slots_[hole] = slots_[j];
    slots_[j].position = kEmpty;
    hole = j;
  }
  if (garbage_ * 2 > arena_.size()) compact();
}

void KxbFoldedKeyIndex::compact() {
  std::string packed;
  try {
    packed.reserve(arena_.size() - garbage_);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return;  // keeps the unused bytes until a later removal
  }
  for (Slot& slot : slots_) {
    if (slot.position == kEmpty) continue;
    const size_t offset = packed.size();
    packed.append(arena_, slot.offset, slot.length);
    slot.offset = static_cast<uint32_t>(offset);
  }
  arena_.swap(packed);
  garbage_ = 0;
}

void KxbFoldedKeyIndex::clear() {
  slots_.clear();
  arena_.clear();
  used_ = 0;
  garbage_ = 0;
}
