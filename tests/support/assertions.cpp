#include "support/assertions.h"

#include <atomic>

#include "kx_atomic.h"
#include "kxbstartup.h"
#include "startup/kxbglobals.h"

namespace kxb_test {
namespace {

// Handlers cannot be unregistered: one is registered for the process and
// hands assertions to the innermost living recorder.
std::atomic<AssertionRecorder*> g_current{nullptr};

}  // namespace

AssertionRecorder::AssertionRecorder(const char* unit)
    : unit_(unit != nullptr ? unit : ""), allUnits_(unit == nullptr) {
  static const bool registered = [] {
    kxbRegisterAssertionHandler(onAssertion, nullptr);
    return true;
  }();
  (void)registered;
  outer_ = g_current.exchange(this);
}

AssertionRecorder::~AssertionRecorder() { g_current.store(outer_); }

std::vector<std::string> AssertionRecorder::messages() const {
  std::lock_guard<std::mutex> hold(mutex_);
  return messages_;
}

void AssertionRecorder::onAssertion(const char* message, const char* file,
                                    int, void*) {
  for (AssertionRecorder* r = g_current.load(); r != nullptr; r = r->outer_) {
    if (r->allUnits_ || (file != nullptr && r->unit_ == file)) {
      std::lock_guard<std::mutex> hold(r->mutex_);
      r->messages_.push_back(message);
    }
  }
}

SingletonRegistryScope::SingletonRegistryScope() : owns_(false) {
  if (kxbGlobals().singletonMutex == nullptr) {
    kxbGlobals().singletonMutex = kxLockCreate(0, 0);
    owns_ = true;
  }
}

SingletonRegistryScope::~SingletonRegistryScope() {
  if (owns_) {
    kxLockDestroy(kxbGlobals().singletonMutex);
    kxbGlobals().singletonMutex = nullptr;
  }
}

}  // namespace kxb_test
