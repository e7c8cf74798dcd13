// Named, process-wide shared objects.
//
// KxbSingleton: a flat, reference-counted table mapping a name (at most 255
// bytes, compared byte for byte) to a pointer the caller owns; the table
// never frees the pointers. It takes no lock: its callers serialise access.
// Misuse is reported through kxbAssertFailure ("id already exists",
// "refcount", "bad id", source "kxbsingleton") and otherwise ignored.
//
// KxbAutoSingleton: a base class whose subclasses name, create and destroy
// one shared instance. The first object to initialise under a name creates
// the instance (createInstance runs once, outside the registry's mutex, while
// the name's own lock makes later sharers wait until it returned); later
// objects share it; the last to terminate destroys it (destroyInstance, also
// outside the mutex, so both may use other singletons). Thread-safe, between
// library initialisation and shutdown (the registry's mutex lives there).
#ifndef KXB_INCLUDE_KXBSINGLETON_H_
#define KXB_INCLUDE_KXBSINGLETON_H_

struct SingleItem;
struct KxbAutoSingletonEntry;

class KxbSingleton {
 public:
  // Registers `id` with one reference. An id already present asserts.
  void createRef(const char* id, void* value);
  // The value of `id` with one more reference, or null when unknown.
  void* getRef(const char* id);
  // Drops one reference; true when the record became free. An unknown id
  // asserts "bad id" and gives false.
  bool decRef(const char* id);

 private:
  // Reallocates the table to `n` records; false when memory ran out.
  bool resize(int n);

  static SingleItem* mPool;
  static int mCount;
};

class KxbAutoSingleton {
 public:
  KxbAutoSingleton();
  KxbAutoSingleton(const KxbAutoSingleton& other) = default;
  KxbAutoSingleton& operator=(const KxbAutoSingleton& other) = default;
  virtual ~KxbAutoSingleton() = default;

  // Joins (or creates) the shared instance. *created (when given) tells
  // whether this call created it. False when this object already holds an
  // entry, the name is null or empty, or memory or the entry lock failed.
  virtual bool initialize(bool* created);
  // Leaves the shared instance; the last one out destroys it.
  virtual void terminate();
  virtual const char* singletonName() = 0;
  virtual void* createInstance() = 0;
  virtual void destroyInstance(void* instance) = 0;

  // Drops one reference on behalf of an object that never initialised;
  // destroys the instance when that was the last. False when this object
  // holds an entry or has no name; true otherwise.
  bool cleanupOnly();
  // Take and release the shared instance's lock, to serialise its users.
  void lock();
  void unlock();

 protected:
  // The shared instance as this object last saw it.
  void* instance() const { return instance_; }

 private:
  KxbAutoSingletonEntry* entry_;
  void* instance_;
};

#endif  // KXB_INCLUDE_KXBSINGLETON_H_
