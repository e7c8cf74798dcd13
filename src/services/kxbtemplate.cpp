// KxbTemplate: parsing template texts into tokens and rendering them.
#include "kxbtemplate.h"

#include <cstring>
#include <string_view>

#include "core/kxbstring_internal.h"
#include "kxbmempool.h"
#include "kxbmessage.h"
#include "kxlog.h"
#include "services/kxbtemplate_impl.h"
#include "np_mem.h"

namespace {

constexpr const char* kUnit = "kxbtemplate";
constexpr const char* kMessageSet = "Base Services";
constexpr int kOutOfMemory = 444;
constexpr int kIndexOutOfRange = 1420;
constexpr int kDuplicateName = 1666;
constexpr int kSingleCloser = 1758;
constexpr int kUnexpectedEnd = 1759;
constexpr int kBadNameCharacter = 1760;
constexpr int kNotFound = 1762;
constexpr int kEmptyName = 1763;

kxLogger* templateLogger() {
  static kxLogger* const logger = kxlogGetLogger("KX.Base.Template");
  return logger;
}

kxLogger* constantLogger() {
  static kxLogger* const logger =
      kxlogGetLogger("KX.Base.Template.TokenConstant");
  return logger;
}

kxLogger* variableLogger() {
  static kxLogger* const logger =
      kxlogGetLogger("KX.Base.Template.TokenVariable");
  return logger;
}

// Catalogue message `number` into *error, when the caller asked for it.
#define KXB_TEMPLATE_ERROR(error, number, ...)                              \
  do {                                                                      \
    if ((error) != nullptr) {                                               \
      *(error) = kxb_get_message(kMessageSet, (number), kUnit,              \
                                 __LINE__ __VA_OPT__(, ) __VA_ARGS__);      \
    }                                                                       \
  } while (0)

bool isWhiteSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' ||
         c == '\f';
}

// Bytes of the character starting at text[i]: a whole well-formed UTF-8
// sequence, else the one byte.
size_t characterBytes(std::string_view text, size_t i) {
  const unsigned char lead = static_cast<unsigned char>(text[i]);
  size_t size = lead >= 0xF0 && lead <= 0xF4   ? 4
                : lead >= 0xE0                 ? 3
                : lead >= 0xC2 && lead <= 0xDF ? 2
                                               : 1;
  if (lead >= 0xF5) size = 1;
  if (i + size > text.size()) return 1;
  for (size_t k = 1; k < size; ++k) {
    if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return 1;
  }
  return size;
}

// The bytes of `s`; comparing them orders names as KxbString::compare does
// (unsigned bytes), without its per-character work.
std::string_view bytesOf(const KxbString& s) {
  return std::string_view(s.asCstr(), static_cast<size_t>(s.cStrSize() - 1));
}

// *out = exactly these bytes (a fresh body); false when memory ran out.
bool copyBytes(std::string_view bytes, KxbString* out) {
  out->setNull();
  if (bytes.empty()) {
    *out = KxbString("", true);
    return true;
  }
  return KxbStringAccess::appendBytes(*out, bytes.data(),
                                      static_cast<int>(bytes.size()));
}

// Appends `text` to `output`; on failure output becomes null and *error
// gets message 444.
bool appendOrFail(KxbString& output, const KxbString& text, KxbString* error) {
  bool failed = false;
  output.append(text, &failed);
  if (!failed) return true;
  output.setNull();
  KXB_TEMPLATE_ERROR(error, kOutOfMemory);
  return false;
}

}  // namespace

// ---------------------------------------------------------------------------
// Pool allocation

void* KxbTemplatePooled::operator new(size_t size,
                                      const std::nothrow_t&) noexcept {
  void* block = nullptr;
  if (size > 0xFFFFFFFFu) return nullptr;
  KxbMemPool::getBytes(static_cast<unsigned>(size), &block);
  return block;
}

void KxbTemplatePooled::operator delete(void* block) noexcept {
  KxbMemPool::freeBytes(block);
}

// ---------------------------------------------------------------------------
// Tokens

bool TokenConstant::render(KxbString& output, KxbString* error) {
  if (kxlogIsEnabled(constantLogger(), KXLOG_PROGRESS)) {
    kxlogWrite(constantLogger(), KXLOG_PROGRESS, kUnit, __LINE__,
               "Appending: '%s'", text_.asCstr());
  }
  return appendOrFail(output, text_, error);
}

bool TokenVariable::render(KxbString& output, KxbString* error) {
  kxLogger* const logger = variableLogger();
  if (kxlogIsEnabled(logger, KXLOG_PROGRESS)) {
    kxlogWrite(logger, KXLOG_PROGRESS, kUnit, __LINE__,
               "Looking up variable: '%s'", name_.asCstr());
  }
  KxbTemplateVariable* variable =
      variable_ != nullptr ? variable_ : owner_->findVariable(name_);
  if (variable == nullptr) {
    KXB_TEMPLATE_ERROR(error, kNotFound, name_.asCstr());
    kxlogWrite(logger, KXLOG_RECOVERABLE, kUnit, __LINE__,
               "Failed to retrieve variable: '%s'", name_.asCstr());
    return false;
  }
  if (!variable->resolved) {
    KxbTemplateValueCB* callback = owner_->callback();
    if (callback != nullptr &&
        !callback->lookup(name_, &variable->value, error)) {
      kxlogWrite(logger, KXLOG_RECOVERABLE, kUnit, __LINE__,
                 "Failed to retrieve variable: '%s'", name_.asCstr());
      return false;
    }
    variable->resolved = true;
  }
  if (error != nullptr) error->setNull();
  if (kxlogIsEnabled(logger, KXLOG_PROGRESS)) {
    kxlogWrite(logger, KXLOG_PROGRESS, kUnit, __LINE__, "Appending: '%s'",
               variable->value.asCstr());
  }
  return appendOrFail(output, variable->value, error);
}

// ---------------------------------------------------------------------------
// The parse state machine

class KxbTemplateImpl::Parser {
 public:
  Parser(KxbTemplateImpl* owner, std::string_view text, KxbString* error)
      : owner_(owner), text_(text), error_(error) {}

  bool run();

 private:
  enum class State { kStart, kText, kOpener, kName, kCloser };

  bool addConstant(size_t from, size_t to);
  bool takeName(size_t to);
  bool failCloser(size_t at);

  KxbTemplateImpl* owner_;
  std::string_view text_;
  KxbString* error_;
  int line_ = 1;
  size_t runStart_ = 0;   // first byte of the current plain-text run
  size_t nameStart_ = 0;  // first byte of the current name
  char opener_ = 0;       // the opening character of the current variable
  char expected_ = 0;     // the closer that ends the current name
  char closer_ = 0;       // the single closing character just seen in text
};

bool KxbTemplateImpl::Parser::run() {
  State state = State::kStart;
  for (size_t i = 0; i < text_.size(); ++i) {
    const char c = text_[i];
    switch (state) {
      case State::kStart:
        runStart_ = i;
        state = State::kText;
        [[fallthrough]];
      case State::kText:
        if (c == '{' || c == '[') {
          if (i > runStart_ && !addConstant(runStart_, i)) return false;
          opener_ = c;
          state = State::kOpener;
        } else if (c == '}' || c == ']') {
          if (!addConstant(runStart_, i + 1)) return false;
          closer_ = c;
          state = State::kCloser;
        } else if (c == '\n') {
          ++line_;
        }
        break;
      case State::kOpener:
        if (c == opener_) {  // a doubled opener: the second one is text
          runStart_ = i;
          state = State::kText;
          break;
        }
        nameStart_ = i;
        expected_ = opener_ == '{' ? '}' : ']';
        state = State::kName;
        [[fallthrough]];
      case State::kName:
        if (c == expected_) {
          if (!takeName(i)) return false;
          state = State::kStart;
        } else if (c == opener_) {
          KXB_TEMPLATE_ERROR(error_, kBadNameCharacter,
                             opener_ == '{' ? "{" : "[", line_);
          return false;
        } else if (isWhiteSpace(c)) {
          KXB_TEMPLATE_ERROR(error_, kBadNameCharacter, " ", line_);
          return false;
        }
        break;
      case State::kCloser:
        if (c != closer_) return failCloser(i);
        state = State::kStart;
        break;
    }
  }
  switch (state) {
    case State::kText:
      return text_.size() == runStart_ || addConstant(runStart_, text_.size());
    case State::kStart:
      return true;
    case State::kName:
    case State::kCloser:
      KXB_TEMPLATE_ERROR(error_, kUnexpectedEnd, "'}'");
      return false;
    case State::kOpener:
      KXB_TEMPLATE_ERROR(error_, kUnexpectedEnd, "'{' or character");
      return false;
  }
  KXB_TEMPLATE_ERROR(error_, kUnexpectedEnd, "unknown");
  return false;
}

bool KxbTemplateImpl::Parser::addConstant(size_t from, size_t to) {
  KxbString text;
  TokenConstant* token = nullptr;
  if (copyBytes(text_.substr(from, to - from), &text)) {
    token = np_mem_new<TokenConstant>(text);
  }
  if (token == nullptr || !owner_->appendToken(token)) {
    delete token;
    KXB_TEMPLATE_ERROR(error_, kOutOfMemory);
    return false;
  }
  return true;
}

bool KxbTemplateImpl::Parser::takeName(size_t to) {
  if (to == nameStart_) {
    KXB_TEMPLATE_ERROR(error_, kEmptyName, line_);
    return false;
  }
  KxbString name;
  TokenVariable* token = nullptr;
  if (copyBytes(text_.substr(nameStart_, to - nameStart_), &name)) {
    token = np_mem_new<TokenVariable>(name, owner_);
  }
  if (token == nullptr || !owner_->appendToken(token)) {
    delete token;
    KXB_TEMPLATE_ERROR(error_, kOutOfMemory);
    return false;
  }
  bool found = false;
  const int slot = owner_->variableSlot(name, &found);
  if (found) {
    token->bind(owner_->variables_[slot]);
    KXB_TEMPLATE_ERROR(error_, kDuplicateName, name.asCstr());
    return false;
  }
  KxbTemplateVariable* variable = np_mem_new<KxbTemplateVariable>();
  if (variable != nullptr) {
    variable->name = name;
    variable->optional = opener_ == '[';
  }
  if (variable == nullptr || !owner_->insertVariable(slot, variable)) {
    delete variable;
    KXB_TEMPLATE_ERROR(error_, kOutOfMemory);
    return false;
  }
  token->bind(variable);
  return true;
}

bool KxbTemplateImpl::Parser::failCloser(size_t at) {
  char found[5] = {};
  std::memcpy(found, text_.data() + at, characterBytes(text_, at));
  KXB_TEMPLATE_ERROR(error_, kSingleCloser, closer_ == '}' ? "'}'" : "']'",
                     found, line_);
  return false;
}

// ---------------------------------------------------------------------------
// The template

KxbTemplateImpl::KxbTemplateImpl(KxbTemplateValueCB* callback)
    : logger_(templateLogger()), callback_(callback) {}

KxbTemplateImpl::~KxbTemplateImpl() {
  clear();
  KxbMemPool::freeBytes(tokens_);
  KxbMemPool::freeBytes(variables_);
}

void KxbTemplateImpl::release() { delete this; }

void KxbTemplateImpl::clear() {
  for (int i = 0; i < tokenCount_; ++i) delete tokens_[i];
  tokenCount_ = 0;
  for (int i = 0; i < variableCount_; ++i) delete variables_[i];
  variableCount_ = 0;
}

bool KxbTemplateImpl::parse(const KxbString& text, KxbString* error) {
  clear();
  source_ = text;
  if (error != nullptr) error->setNull();
  return Parser(this, bytesOf(source_), error).run();
}

KxbString KxbTemplateImpl::render(KxbString* error) {
  KxbString output("", true);
  for (int i = 0; i < tokenCount_; ++i) {
    if (!tokens_[i]->render(output, error)) return KxbString();
  }
  return output;
}

KxbString KxbTemplateImpl::getVariable(int index, bool* optional,
                                       KxbString* error) const {
  if (index < 0 || index >= variableCount_) {
    KXB_TEMPLATE_ERROR(error, kIndexOutOfRange);
    return KxbString();
  }
  if (optional != nullptr) *optional = variables_[index]->optional;
  return variables_[index]->name;
}

KxbTemplateVariable* KxbTemplateImpl::findVariable(
    const KxbString& name) const {
  bool found = false;
  const int slot = variableSlot(name, &found);
  return found ? variables_[slot] : nullptr;
}

int KxbTemplateImpl::variableSlot(const KxbString& name, bool* found) const {
  int low = 0;
  int high = variableCount_;
  while (low < high) {
    const int middle = low + (high - low) / 2;
    const int order = bytesOf(variables_[middle]->name).compare(bytesOf(name));
    if (order == 0) {
      *found = true;
      return middle;
    }
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  *found = false;
  return low;
}

namespace {

// Grows a pool array of pointers to hold one more; false when memory ran out.
template <typename T>
bool growFor(T*** array, int count, int* capacity) {
  if (count < *capacity) return true;
  const int grown = *capacity == 0 ? 16 : *capacity * 2;
  const size_t bytes = sizeof(T*) * static_cast<size_t>(grown);
  void* block = nullptr;
  if (grown < 0 || bytes > 0xFFFFFFFFu ||
      !KxbMemPool::getBytes(static_cast<unsigned>(bytes), &block)) {
    return false;
  }
  if (count > 0) std::memcpy(block, *array, sizeof(T*) * count);
  KxbMemPool::freeBytes(*array);
  *array = static_cast<T**>(block);
  *capacity = grown;
  return true;
}

}  // namespace

bool KxbTemplateImpl::appendToken(TemplateToken* token) {
  if (!growFor(&tokens_, tokenCount_, &tokenCapacity_)) return false;
  tokens_[tokenCount_++] = token;
  return true;
}

bool KxbTemplateImpl::insertVariable(int slot, KxbTemplateVariable* variable) {
  if (!growFor(&variables_, variableCount_, &variableCapacity_)) return false;
  std::memmove(&variables_[slot + 1], &variables_[slot],
               sizeof(KxbTemplateVariable*) * (variableCount_ - slot));
  variables_[slot] = variable;
  ++variableCount_;
  return true;
}

KxbTemplate* kxbCreateBasicTemplate(KxbTemplateValueCB* callback,
                                    KxbString* error) {
  if (error != nullptr) error->setNull();
  KxbTemplateImpl* created = np_mem_new<KxbTemplateImpl>(callback);
  if (created == nullptr) KXB_TEMPLATE_ERROR(error, kOutOfMemory);
  return created;
}
