// KxURIQueryHandlerImpl: the pairs of a query text in a doubly linked list.
#include "kxburiquery.h"

#include <new>

#include "kxbmempool.h"
#include "uri/kxburi_internal.h"

using kxburi::bytesOf;
using kxburi::isEmpty;

class KxURIQueryHandlerImpl : public KxURIQueryHandler {
 public:
  explicit KxURIQueryHandlerImpl(bool allowDuplicates)
      : allowDuplicates_(allowDuplicates) {}

  void release() override {
    this->~KxURIQueryHandlerImpl();
    KxbMemPool::freeBytes(this);
  }

  bool addValue(const KxbString& name, const KxbString& value) override {
    if (!allowDuplicates_) {
      for (Node* node = head_; node != nullptr; node = node->next) {
        if (node->name.compare(name, true) == 0) {
          node->value = value;
          return true;
        }
      }
    }
    Node* node = kxburi::poolNew<Node>();
    if (node == nullptr) return false;
    node->name = name;
    node->value = value;
    node->previous = tail_;
    if (tail_ != nullptr) {
      tail_->next = node;
    } else {
      head_ = node;
    }
    tail_ = node;
    ++count_;
    return true;
  }

  int getCount() const override { return count_; }

  bool getValueAt(int index, KxbString* name, KxbString* value) const override {
    if (index < 0) return false;
    const Node* node = head_;
    for (int i = 0; node != nullptr && i < index; ++i) node = node->next;
    if (node == nullptr) return false;
    if (name != nullptr) *name = node->name;
    if (value != nullptr) *value = node->value;
    return true;
  }

  KxbString toString() const override {
    KxbString out = kxburi::literal("");
    KxbString name;
    KxbString value;
    for (const Node* node = head_; node != nullptr; node = node->next) {
      if (!kxburi::escapeOrRaw(node->name, kPairEscapes, &name) ||
          !kxburi::escapeOrRaw(node->value, kPairEscapes, &value)) {
        return KxbString();
      }
      if ((!isEmpty(out) && !kxburi::append(&out, "&")) ||
          !kxburi::append(&out, name) || !kxburi::append(&out, "=") ||
          !kxburi::append(&out, value)) {
        return KxbString();
      }
    }
    return out;
  }

  bool parse(const KxbString& query) override {
    bool anyFailed = false;
    return parseSegments(query, &anyFailed);
  }

  // parse, also telling whether any segment ran out of memory.
  bool parseAll(const KxbString& query) {
    bool anyFailed = false;
    parseSegments(query, &anyFailed);
    return !anyFailed;
  }

 protected:
  ~KxURIQueryHandlerImpl() override {
    Node* node = head_;
    while (node != nullptr) {
      Node* next = node->next;
      node->~Node();
      KxbMemPool::freeBytes(node);
      node = next;
    }
  }

 private:
  static constexpr const char* kPairEscapes = " &=#";

  struct Node {
    KxbString name;
    KxbString value;
    Node* previous = nullptr;
    Node* next = nullptr;
  };

  // Walks the segments between "&" one after the other; each segment's
  // result replaces the one before, so the last decides.
  bool parseSegments(const KxbString& query, bool* anyFailed) {
    std::string_view rest = bytesOf(query);
    bool result = true;
    for (;;) {
      result = true;
      const size_t amp = rest.find('&');
      const size_t end = amp == std::string_view::npos ? rest.size() : amp;
      if (end > 0) {
        // The "=" is looked for in all the remaining text, so it may lie in
        // a later segment: the name then spans the "&" and the value is
        // empty.
        const size_t equals = rest.find('=');
        if (equals != std::string_view::npos && equals > 0) {
          const std::string_view value =
              equals < end ? rest.substr(equals + 1, end - equals - 1)
                           : std::string_view();
          KxbString name;
          KxbString decoded;
          if (!kxburi::unescapeOrRaw(rest.substr(0, equals), &name) ||
              !kxburi::unescapeOrRaw(value, &decoded)) {
            result = false;
          } else {
            result = addValue(name, decoded);
          }
          if (!result) *anyFailed = true;
        }
      }
      if (amp == std::string_view::npos) return result;
      rest.remove_prefix(amp + 1);
    }
  }

  Node* head_ = nullptr;
  Node* tail_ = nullptr;
  int32_t count_ = 0;
  bool allowDuplicates_;
};

KxURIQueryHandler* getURIQueryHandler(const KxbString& query,
                                      bool allowDuplicates) {
  KxURIQueryHandlerImpl* handler =
      kxburi::poolNew<KxURIQueryHandlerImpl>(allowDuplicates);
  if (handler == nullptr) return nullptr;
  if (!isEmpty(query) && !handler->parseAll(query)) {
    handler->release();
    return nullptr;
  }
  return handler;
}
