// kxb save: the rows of an SQL query saved as a new table of an SQLite
// file, through a row-set cursor and the library's save call, in one
// transaction. Columns may be given a type on the way (a query's computed
// columns have none of their own), converted exactly through the variant:
// "123.45" saved as Real stays 123.45 to the last digit.
#include <strings.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "kxbcursorwlp.h"
#include "kxbdate.h"
#include "kxbreal.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr const char* kSaveUsage =
    "usage: kxb save DATABASE TABLE SQL|@FILE [--from SOURCE]"
    " [--type COLUMN=TYPE]... (TYPE: Boolean, Integer, Real, String, Date)";

// The SQL argument, or the text of the file it names after "@".
bool sqlText(const char* argument, std::string* sql) {
  if (argument[0] != '@') {
    *sql = argument;
    return true;
  }
  std::ifstream in(argument + 1, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  *sql = text.str();
  return in.good() || in.eof();
}

bool typeNamed(const char* name, kxbType* type) {
  static const std::pair<const char*, kxbType> kTypes[] = {
      {"Boolean", Boolean}, {"Integer", Integer}, {"Real", Real},
      {"String", String},   {"Date", Date}};
  for (const auto& [text, value] : kTypes) {
    if (strcasecmp(name, text) == 0) {
      *type = value;
      return true;
    }
  }
  return false;
}

// A read-only view of a cursor whose named columns read as another type.
// A cell that does not convert fails the walk, so nothing is saved.
class TypedView : public KxbDatavarCursor {
 public:
  TypedView(KxbDatavarCursor* source, std::vector<kxbType> types)
      : source_(source), types_(std::move(types)) {}
  ~TypedView() = default;

  bool isValid() override { return source_->isValid(); }
  KxbString getColumnName(int c) override { return source_->getColumnName(c); }
  kxbType getColumnType(int c) override {
    return types_[c] != Unknown ? types_[c] : source_->getColumnType(c);
  }
  int getColumnCount() override { return source_->getColumnCount(); }
  KxbDatavar getValue(int c) override {
    KxbDatavar value = source_->getValue(c);
    if (c < 0 || c >= static_cast<int>(types_.size()) ||
        types_[c] == Unknown || value.isNull() || value.type() == types_[c]) {
      return value;
    }
    KxbDatavar converted;
    if (!convert(value, types_[c], &converted)) {
      if (error_.isNull()) {
        error_ = KxbString(("column " + std::string(getColumnName(c).asCstr()) +
                            ": '" + value.asString().asCstr() +
                            "' is not a " + kxbTypeToString(types_[c]))
                               .c_str());
      }
      return KxbDatavar();
    }
    return converted;
  }
  KxbString getErrorMessage() override {
    return error_.isNull() ? source_->getErrorMessage() : error_;
  }
  bool getRowCount(int64_t* count) override {
    return source_->getRowCount(count);
  }
  int next() override {
    return error_.isNull() ? source_->next() : kxbCursorError;
  }
  void release() override {}
  bool rewind() override { return source_->rewind(); }

 private:
  static bool convert(const KxbDatavar& value, kxbType type, KxbDatavar* out) {
    bool failed = false;
    switch (type) {
      case Boolean: out->assign(value.asBool(&failed)); break;
      case Integer: out->assign(value.asInt64(&failed)); break;
      case Real: out->assign(value.asReal(&failed)); break;
      case String: out->assign(value.asString()); break;
      case Date: {
        KxbDate date = value.asDate();
        failed = date.isNull();
        out->assign(date);
        break;
      }
      default: failed = true;
    }
    return !failed;
  }

  KxbDatavarCursor* source_;
  std::vector<kxbType> types_;
  KxbString error_;
};

}  // namespace

int runSave(int argc, char** argv) {
  std::vector<const char*> operands;
  std::vector<std::pair<std::string, kxbType>> typed;
  const char* from = ":memory:";
  for (int i = 0; i < argc; ++i) {
    if (std::strcmp(argv[i], "--from") == 0 && i + 1 < argc) {
      from = argv[++i];
    } else if (std::strcmp(argv[i], "--type") == 0 && i + 1 < argc) {
      std::string spec = argv[++i];
      size_t equals = spec.find('=');
      kxbType type = Unknown;
      if (equals == std::string::npos ||
          !typeNamed(spec.c_str() + equals + 1, &type)) {
        return fail(2, kSaveUsage);
      }
      typed.emplace_back(spec.substr(0, equals), type);
    } else {
      operands.push_back(argv[i]);
    }
  }
  if (operands.size() != 3) return fail(2, kSaveUsage);
  std::string sql;
  if (!sqlText(operands[2], &sql)) {
    return fail(1, (std::string("cannot read ") + (operands[2] + 1)).c_str());
  }

  KxbString error;
  KxbDatavarWlpCursor* source = kxbCreateQueryCursor(
      KxbString(from), KxbString(sql.c_str()), &error);
  if (source == nullptr) return fail(1, error.asCstr());
  std::vector<kxbType> types(source->getColumnCount(), Unknown);
  for (const auto& [name, type] : typed) {
    int found = -1;
    for (int c = 0; c < source->getColumnCount(); ++c) {
      if (strcasecmp(source->getColumnName(c).asCstr(), name.c_str()) == 0) {
        found = c;
      }
    }
    if (found < 0) {
      source->release();
      return fail(1, ("the query has no column '" + name + "'").c_str());
    }
    types[found] = type;
  }
  TypedView view(source, std::move(types));
  bool saved = kxbSaveCursorAsTable(&view, KxbString(operands[0]),
                                    KxbString(operands[1]), &error);
  source->release();
  if (!saved) return fail(1, error.asCstr());
  return 0;
}

}  // namespace kxb_tool
