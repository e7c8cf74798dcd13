// KxbSingleton and KxbAutoSingleton. See kxbsingleton.h.
#include "kxbsingleton.h"

#include <cstring>
#include <map>
#include <new>
#include <string>

#include "kx_atomic.h"
#include "kxbstartup.h"
#include "np_mem.h"
#include "startup/kxbglobals.h"

namespace {
constexpr size_t kMaxName = 255;

void copyName(char (&out)[kMaxName + 1], const char* id) {
  size_t n = strnlen(id, kMaxName);
  std::memcpy(out, id, n);
  out[n] = '\0';
}

void raise(const char* message, int line) {
  kxbAssertFailure(message, "kxbsingleton", line);
}
}  // namespace

struct SingleItem {
  char id[kMaxName + 1];
  int refcount;
  void* value;
};

SingleItem* KxbSingleton::mPool = nullptr;
int KxbSingleton::mCount = 0;

// ---------------------------------------------------------------------------
// KxbSingleton

void KxbSingleton::createRef(const char* id, void* value) {
  if (id == nullptr) id = "";
  int freeRecord = -1;
  for (int i = 0; i < mCount; ++i) {
    if (std::strcmp(mPool[i].id, id) == 0) {
      raise("id already exists", __LINE__);
      return;
    }
    if (freeRecord < 0 && mPool[i].id[0] == '\0') freeRecord = i;
  }
  if (freeRecord < 0) {
    // No spare capacity: the table grows by exactly one record. Without
    // memory the name is not registered.
    if (!resize(mCount + 1)) return;
    freeRecord = mCount++;
  }
  SingleItem& item = mPool[freeRecord];
  copyName(item.id, id);
  item.refcount = 1;
  item.value = value;
}

void* KxbSingleton::getRef(const char* id) {
  if (id == nullptr) id = "";
  for (int i = 0; i < mCount; ++i) {
    if (std::strcmp(mPool[i].id, id) == 0) {
      ++mPool[i].refcount;
      return mPool[i].value;
    }
  }
  return nullptr;
}

bool KxbSingleton::decRef(const char* id) {
  if (id == nullptr) id = "";
  bool matched = false;
  bool freed = false;
  int idle = 0;
  for (int i = 0; i < mCount; ++i) {
    SingleItem& item = mPool[i];
    if (std::strcmp(item.id, id) == 0) {
      matched = true;
      if (item.refcount > 0) {
        --item.refcount;
      } else {
        raise("refcount", __LINE__);
      }
      freed = item.refcount == 0;
      if (freed) item.id[0] = '\0';
    }
    if (item.refcount == 0) ++idle;
  }
  if (!matched) {
    raise("bad id", __LINE__);
    return false;
  }
  if (idle == mCount) {
    np_mem_free(mPool);
    mPool = nullptr;
    mCount = 0;
  }
  return freed;
}

bool KxbSingleton::resize(int n) {
  SingleItem* items =
      static_cast<SingleItem*>(np_mem_alloc(sizeof(SingleItem) * n));
  if (items == nullptr) return false;
  std::memset(items, 0, sizeof(SingleItem) * n);
  if (mCount > 0) std::memcpy(items, mPool, sizeof(SingleItem) * mCount);
  np_mem_free(mPool);
  mPool = items;
  return true;
}

// ---------------------------------------------------------------------------
// KxbAutoSingleton

struct KxbAutoSingletonEntry {
  kxLock lock;
  char name[kMaxName + 1];
  int refcount;
  void* instance;
};

namespace {

// Byte-wise, case-sensitive order of the names.
struct NameLess {
  bool operator()(const char* a, const char* b) const {
    return std::strcmp(a, b) < 0;
  }
};
using EntryMap = std::map<const char*, KxbAutoSingletonEntry*, NameLess>;

// Created with the first entry, deleted with the last.
EntryMap* g_entries = nullptr;

KxbAutoSingletonEntry* findEntry(const char* name) {
  if (g_entries == nullptr) return nullptr;
  auto it = g_entries->find(name);
  return it == g_entries->end() ? nullptr : it->second;
}

// Removes the entry from the map (deleting an empty map) and frees it.
void removeEntry(KxbAutoSingletonEntry* entry) {
  g_entries->erase(entry->name);
  if (g_entries->empty()) {
    delete g_entries;
    g_entries = nullptr;
  }
  kxLockDestroy(entry->lock);
  delete entry;
}

}  // namespace

KxbAutoSingleton::KxbAutoSingleton() : entry_(nullptr), instance_(nullptr) {}

bool KxbAutoSingleton::initialize(bool* created) {
  if (created != nullptr) *created = false;
  if (entry_ != nullptr) return false;
  kxLockHold mutex(kxbGlobals().singletonMutex);
  const char* name = singletonName();
  if (name == nullptr || *name == '\0') return false;

  if (KxbAutoSingletonEntry* entry = findEntry(name)) {
    ++entry->refcount;
    mutex.release();
    // Waits until a creation under way on another thread has finished.
    kxLockGet(entry->lock, 1, 1);
    kxLockRelease(entry->lock);
    entry_ = entry;
    instance_ = entry->instance;
    return true;
  }

  auto* entry = new (std::nothrow) KxbAutoSingletonEntry{nullptr, {}, 0, nullptr};
  if (entry == nullptr) {
    np_mem_note_failure();
    return false;
  }
  copyName(entry->name, name);
  try {
    if (g_entries == nullptr) g_entries = new EntryMap;
    g_entries->emplace(entry->name, entry);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    if (g_entries != nullptr && g_entries->empty()) {
      delete g_entries;
      g_entries = nullptr;
    }
    delete entry;
    return false;
  }
  entry->lock = kxLockCreate(1, 0);
  if (entry->lock == nullptr) {
    removeEntry(entry);
    return false;
  }
  entry->refcount = 1;
  mutex.release();
  entry->instance = createInstance();
  kxLockRelease(entry->lock);
  if (created != nullptr) *created = true;
  entry_ = entry;
  instance_ = entry->instance;
  return true;
}

void KxbAutoSingleton::terminate() {
  kxLockHold mutex(kxbGlobals().singletonMutex);
  if (entry_ == nullptr) return;
  if (entry_->refcount < 2) {
    KxbAutoSingletonEntry* entry = entry_;
    entry_ = nullptr;
    removeEntry(entry);
    mutex.release();
    destroyInstance(instance_);
    return;
  }
  --entry_->refcount;
}

bool KxbAutoSingleton::cleanupOnly() {
  if (entry_ != nullptr) return false;
  kxLockHold mutex(kxbGlobals().singletonMutex);
  const char* name = singletonName();
  if (name == nullptr || *name == '\0') return false;
  KxbAutoSingletonEntry* entry = findEntry(name);
  if (entry == nullptr) return true;
  kxLockGet(entry->lock, 1, 1);
  kxLockRelease(entry->lock);
  if (entry->refcount < 2) {
    void* instance = entry->instance;
    removeEntry(entry);
    mutex.release();
    instance_ = instance;
    destroyInstance(instance);
  } else {
    --entry->refcount;
  }
  return true;
}

void KxbAutoSingleton::lock() {
  if (entry_ != nullptr) kxLockGet(entry_->lock, 1, 1);
}

void KxbAutoSingleton::unlock() {
  if (entry_ != nullptr) kxLockRelease(entry_->lock);
}
