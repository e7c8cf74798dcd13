// The basic template behind kxbCreateBasicTemplate: a token list in text
// order and a name-ordered table of variables whose values are fetched on
// first render. Private to the library (the tests reach it through the
// internal include path).
//
// Every object here (template, tokens, variable records, the two arrays)
// comes from KxbMemPool, so running out of memory is reported, never thrown.
#ifndef KXB_SRC_SERVICES_KXBTEMPLATE_IMPL_H_
#define KXB_SRC_SERVICES_KXBTEMPLATE_IMPL_H_

#include <cstddef>
#include <new>

#include "kxbstring.h"
#include "kxbtemplate.h"

struct kxLogger;
class KxbTemplateImpl;

// Objects allocated from the memory pool with `new (std::nothrow)`: null
// when the pool is exhausted.
class KxbTemplatePooled {
 public:
  static void* operator new(size_t size, const std::nothrow_t&) noexcept;
  static void operator delete(void* block) noexcept;
  // Plain new is not offered: every allocation here may fail.
  static void* operator new(size_t size) = delete;
};

// One variable of the template.
struct KxbTemplateVariable : KxbTemplatePooled {
  KxbString name;
  bool resolved = false;  // the value has been fetched (or there is no callback)
  bool optional = false;  // written as "[name]"
  KxbString value;        // null until fetched
};

class TemplateToken : public KxbTemplatePooled {
 public:
  // Appends this token's text to `output`. False with the message in *error
  // (when given) on failure; after an append failure `output` is null.
  virtual bool render(KxbString& output, KxbString* error) = 0;
  virtual ~TemplateToken() = default;
  // The literal text of a constant, the name of a variable.
  virtual void setText(const KxbString& text) = 0;
};

// Literal text.
class TokenConstant : public TemplateToken {
 public:
  explicit TokenConstant(const KxbString& text) : text_(text) {}
  bool render(KxbString& output, KxbString* error) override;
  void setText(const KxbString& text) override { text_ = text; }

 private:
  KxbString text_;
};

// A variable, looked up in its template's table when rendered. The parser
// binds the token to its record once the record is in the table (records
// live until the next parse, which also deletes the tokens), so rendering
// skips the search; an unbound token searches by name.
class TokenVariable : public TemplateToken {
 public:
  TokenVariable(const KxbString& name, KxbTemplateImpl* owner)
      : name_(name), owner_(owner) {}
  bool render(KxbString& output, KxbString* error) override;
  void setText(const KxbString& text) override {
    name_ = text;
    variable_ = nullptr;
  }
  void bind(KxbTemplateVariable* variable) { variable_ = variable; }

 private:
  KxbString name_;
  KxbTemplateImpl* owner_;
  KxbTemplateVariable* variable_ = nullptr;  // null: not bound
};

class KxbTemplateImpl final : public KxbTemplate, public KxbTemplatePooled {
 public:
  explicit KxbTemplateImpl(KxbTemplateValueCB* callback);

  KxbString getVariable(int index, bool* optional,
                        KxbString* error) const override;
  int getVariableCount() const override { return variableCount_; }
  void release() override;
  KxbString render(KxbString* error) override;
  bool parse(const KxbString& text, KxbString* error) override;

  // For the tokens: the record of `name`, or null.
  KxbTemplateVariable* findVariable(const KxbString& name) const;
  KxbTemplateValueCB* callback() const { return callback_; }
  int tokenCount() const { return tokenCount_; }

 private:
  class Parser;

  ~KxbTemplateImpl();
  void clear();
  // Position where `name` is or would be inserted; *found tells which.
  int variableSlot(const KxbString& name, bool* found) const;
  bool appendToken(TemplateToken* token);
  bool insertVariable(int slot, KxbTemplateVariable* variable);

  [[maybe_unused]] kxLogger* logger_;
  KxbTemplateValueCB* callback_;
  KxbString source_;
  TemplateToken** tokens_ = nullptr;  // owned, in text order
  int tokenCount_ = 0;
  int tokenCapacity_ = 0;
  KxbTemplateVariable** variables_ = nullptr;  // owned, in name order
  int variableCount_ = 0;
  int variableCapacity_ = 0;
};

#endif  // KXB_SRC_SERVICES_KXBTEMPLATE_IMPL_H_
