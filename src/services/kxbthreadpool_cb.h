// The bridge between the platform's thread-pool records and work objects:
// the callback given to a running item and the two-entry table every
// enqueued record points to. Private to the library (the tests reach it
// through the internal include path).
#ifndef KXB_SRC_SERVICES_KXBTHREADPOOL_CB_H_
#define KXB_SRC_SERVICES_KXBTHREADPOOL_CB_H_

#include "kx_tp.h"
#include "kxbthreadpool.h"

// Wraps the platform callback of one run; built on that run's stack.
class ThreadPoolCB : public KxbThreadPoolCallback {
 public:
  explicit ThreadPoolCB(kxTPCallback* platform) : platform_(platform) {}

  int complete(bool value) override;
  bool enqueue(KxbThreadPoolWork* work) override;
  bool status() override;

  bool done() const { return done_; }

 private:
  kxTPCallback* platform_;
  bool done_ = false;
};

// The static table: entry 0 signals, entry 1 runs (see kx_tp.h).
const kxTPEntries* kxbThreadPoolEntryTable();

// Writes the work's record (entry table and context) and returns it.
kxTPWork* kxbThreadPoolRecord(KxbThreadPoolWork* work);

#endif  // KXB_SRC_SERVICES_KXBTHREADPOOL_CB_H_
