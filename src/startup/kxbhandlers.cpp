// The assertion and shutdown handler registries.
#include <new>

#include "kxbstartup.h"
#include "kxlog.h"
#include "np_mem.h"
#include "startup/kxbglobals.h"

namespace {

template <typename Handler>
struct HandlerNode {
  Handler handler;
  void* userData;
  HandlerNode* next;
};

// Nodes are never freed: a handler stays registered for the whole process.
HandlerNode<KxbAssertionHandler>* g_assertionHandlers = nullptr;
HandlerNode<KxbShutdownHandler>* g_shutdownHandlers = nullptr;

template <typename Handler>
void pushHandler(HandlerNode<Handler>** list, Handler handler, void* userData) {
  KxbGlobalMutexHold hold;
  auto* node = new (std::nothrow) HandlerNode<Handler>{handler, userData, *list};
  if (node == nullptr) {
    np_mem_note_failure();  // the handler is not registered
    return;
  }
  *list = node;
}

void logAssertion(const char* message, const char* file, int line, void*) {
  kxlogWrite(kxlogGetLogger("KX.Base"), KXLOG_ERROR, "kxbupdown", __LINE__,
             "ASSERT %s %d: %s", file, line, message);
}

}  // namespace

KxbGlobals& kxbGlobals() {
  static KxbGlobals globals;
  return globals;
}

extern "C" void kxbRegisterAssertionHandler(KxbAssertionHandler handler,
                                            void* userData) {
  pushHandler(&g_assertionHandlers, handler, userData);
}

extern "C" void kxbRegisterShutdownHandler(KxbShutdownHandler handler,
                                           void* userData) {
  pushHandler(&g_shutdownHandlers, handler, userData);
}

extern "C" void kxbAssertFailure(const char* message, const char* file,
                                 int line) {
  KxbGlobalMutexHold hold;
  if (message == nullptr) message = "FAILURE";
  for (auto* node = g_assertionHandlers; node != nullptr; node = node->next) {
    node->handler(message, file, line, node->userData);
  }
}

void kxbRunShutdownHandlers() {
  for (auto* node = g_shutdownHandlers; node != nullptr; node = node->next) {
    node->handler(node->userData);
  }
}

void kxbRegisterDefaultAssertionHandler() {
  kxbRegisterAssertionHandler(logAssertion, nullptr);
}
