// KxbTemplate: parsing, rendering with lazily fetched values, messages.
#include "kxbtemplate.h"

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxbmessage.h"
#include "kxmsg.h"
#include "np_env.h"
#include "services/kxbtemplate_impl.h"
#include "support/log_capture.h"
#include "support/source_tree.h"

namespace {

const char* const kNull = "(null)";

std::string show(const KxbString& s) {
  if (s.isNull()) return kNull;
  return std::string(s.asCstr(), static_cast<size_t>(s.cStrSize() - 1));
}

KxbString s(const char* t) { return KxbString(t, true); }

// Values from a map; counts the lookups per name. A name in `failing`
// fails with the text "no <name>".
class MapValues : public KxbTemplateValueCB {
 public:
  bool lookup(const KxbString& name, KxbString* value,
              KxbString* error) override {
    const std::string key = show(name);
    ++calls[key];
    if (failing.count(key) != 0) {
      if (error != nullptr) *error = KxbString(("no " + key).c_str());
      return false;
    }
    auto it = values.find(key);
    if (it != values.end()) *value = KxbString(it->second.c_str());
    return true;
  }

  std::map<std::string, std::string> values;
  std::map<std::string, int> calls;
  std::map<std::string, bool> failing;
};

// A template that releases itself.
struct Owned {
  explicit Owned(KxbTemplateValueCB* callback) {
    KxbString error("stale");
    t = kxbCreateBasicTemplate(callback, &error);
    EXPECT_NE(nullptr, t);
    EXPECT_TRUE(error.isNull());
  }
  ~Owned() {
    if (t != nullptr) t->release();
  }
  KxbTemplate* operator->() { return t; }
  KxbTemplate* t;
};

// The rendering of `text` with `values`, or "ERROR: <message>".
std::string rendered(const char* text,
                     const std::map<std::string, std::string>& values = {}) {
  MapValues callback;
  callback.values = values;
  Owned t(&callback);
  KxbString error;
  if (!t->parse(s(text), &error)) return "ERROR: " + show(error);
  KxbString out = t->render(&error);
  if (out.isNull()) return "ERROR: " + show(error);
  return show(out);
}

// Messages come from the repository's catalogue.
class KxbTemplateMessages : public ::testing::Test {
 protected:
  void SetUp() override {
    kxb_test::useSourceCatalogue();
  }
  void TearDown() override { kxmsg112_terminate(); }

  // The catalogue text of message `number` with the arguments.
  template <typename... Args>
  static std::string message(int number, Args... args) {
    const std::string text = show(
        kxb_get_message("Base Services", number, "template_test", 0, args...));
    EXPECT_EQ(std::string::npos, text.find("message " + std::to_string(number)))
        << "missing from the catalogue: " << text;
    return text;
  }

  // The parse error of `text` (and that parse failed).
  static std::string parseError(const char* text) {
    Owned t(nullptr);
    KxbString error;
    EXPECT_FALSE(t->parse(s(text), &error)) << text;
    return show(error);
  }
};

TEST(KxbTemplate, VariablesAreReplacedAndFetchedOncePerParse) {
  MapValues values;
  values.values = {{"name", "World"}};
  Owned t(&values);
  KxbString error("stale");
  ASSERT_TRUE(t->parse(s("Hello {name}!"), &error));
  EXPECT_TRUE(error.isNull());
  EXPECT_EQ(0, values.calls["name"]);  // nothing fetched before rendering
  EXPECT_EQ("Hello World!", show(t->render(&error)));
  values.values["name"] = "changed";
  EXPECT_EQ("Hello World!", show(t->render(&error)));
  EXPECT_EQ(1, values.calls["name"]);

  // A new parse forgets the fetched values, even of the same text.
  ASSERT_TRUE(t->parse(s("Hello {name}!"), &error));
  EXPECT_EQ("Hello changed!", show(t->render(&error)));
  EXPECT_EQ(2, values.calls["name"]);

  // Both forms render alike; a value left null renders as nothing.
  EXPECT_EQ("1-2-", rendered("{a}-[b]-{c}", {{"a", "1"}, {"b", "2"}}));
  EXPECT_EQ("", rendered(""));
  EXPECT_EQ("plain\ntext", rendered("plain\ntext"));
}

TEST(KxbTemplate, DoubledCharactersAreLiteralsAnywhere) {
  EXPECT_EQ("a {b} c", rendered("a {{b}} c"));
  EXPECT_EQ("{", rendered("{{"));
  EXPECT_EQ("}", rendered("}}"));
  EXPECT_EQ("[", rendered("[["));
  EXPECT_EQ("]", rendered("]]"));
  EXPECT_EQ("{x", rendered("{{x"));
  EXPECT_EQ("x}", rendered("x}}"));
  EXPECT_EQ("[x]", rendered("[[x]]"));
  EXPECT_EQ("{}[]", rendered("{{}}[[]]"));
  EXPECT_EQ("}{", rendered("}}{{"));
  EXPECT_EQ("]1[", rendered("]]{v}[[", {{"v", "1"}}));
  EXPECT_EQ("1{2}", rendered("{a}{{{b}}}", {{"a", "1"}, {"b", "2"}}));
  EXPECT_EQ("[1]", rendered("[[[a]]]", {{"a", "1"}}));
  EXPECT_EQ("{{", rendered("{{{{"));
  EXPECT_EQ("}]", rendered("}}]]"));
}

TEST(KxbTemplate, TheOtherBracketsArePartOfAName) {
  MapValues values;
  values.values = {{"a]b", "1"}, {"c}d", "2"}, {"e[f", "3"}, {"g{h", "4"}};
  Owned t(&values);
  KxbString error;
  ASSERT_TRUE(t->parse(s("{a]b}[c}d]{e[f}[g{h]"), &error)) << show(error);
  EXPECT_EQ("1234", show(t->render(&error)));
  ASSERT_EQ(4, t->getVariableCount());
  // Name order is byte order; the flag says which were bracketed.
  const std::vector<std::pair<std::string, bool>> expected = {
      {"a]b", false}, {"c}d", true}, {"e[f", false}, {"g{h", true}};
  for (int i = 0; i < 4; ++i) {
    bool optional = !expected[i].second;
    EXPECT_EQ(expected[i].first, show(t->getVariable(i, &optional, &error)));
    EXPECT_EQ(expected[i].second, optional) << i;
  }
  // A bracket opens a name right after the other opener.
  EXPECT_EQ("5", rendered("{[}", {{"[", "5"}}));
  EXPECT_EQ("6", rendered("[{]", {{"{", "6"}}));
}

TEST(KxbTemplate, VariablesAreListedInNameOrder) {
  Owned t(nullptr);
  KxbString error;
  ASSERT_TRUE(t->parse(s("{b} [a] {B} [opt]"), &error));
  ASSERT_EQ(4, t->getVariableCount());
  std::vector<std::string> names;
  std::vector<bool> flags;
  for (int i = 0; i < t->getVariableCount(); ++i) {
    bool optional = false;
    names.push_back(show(t->getVariable(i, &optional, &error)));
    flags.push_back(optional);
  }
  EXPECT_EQ((std::vector<std::string>{"B", "a", "b", "opt"}), names);
  EXPECT_EQ((std::vector<bool>{false, true, false, true}), flags);
  EXPECT_EQ("a", show(t->getVariable(1, nullptr, nullptr)));
  // Without a callback every variable renders empty.
  EXPECT_EQ("   ", show(t->render(&error)));
}

TEST_F(KxbTemplateMessages, IndexOutOfRangeGivesNullAndMessage1420) {
  Owned t(nullptr);
  KxbString error;
  ASSERT_TRUE(t->parse(s("[opt]"), &error));
  bool optional = false;
  EXPECT_EQ("opt", show(t->getVariable(0, &optional, &error)));
  EXPECT_TRUE(optional);
  for (int index : {-1, 1, 1000}) {
    bool untouched = true;
    KxbString error2;
    EXPECT_EQ(kNull, show(t->getVariable(index, &untouched, &error2)));
    EXPECT_TRUE(untouched);
    EXPECT_EQ(message(1420), show(error2));
  }
  EXPECT_EQ(kNull, show(t->getVariable(5, nullptr, nullptr)));
}

TEST_F(KxbTemplateMessages, EveryFailingTransitionNamesItsCauseAndLine) {
  // A single closing character followed by anything but its twin.
  EXPECT_EQ(message(1758, "'}'", " ", 1), parseError("x } y"));
  EXPECT_EQ(message(1758, "']'", "y", 1), parseError("x ]y"));
  EXPECT_EQ(message(1758, "'}'", "]", 3), parseError("a\nb\nc}]"));
  EXPECT_EQ(message(1758, "']'", "}", 1), parseError("]}"));
  EXPECT_EQ(message(1758, "'}'", "\n", 1), parseError("a}\nb"));
  EXPECT_EQ(message(1758, "'}'", "\xC3\xA9", 2), parseError("\n}\xC3\xA9"));
  // The catalogue text carries what was passed.
  const std::string text = parseError("1\n2\n3\n4 }!");
  EXPECT_NE(std::string::npos, text.find("'}'")) << text;
  EXPECT_NE(std::string::npos, text.find("!")) << text;
  EXPECT_NE(std::string::npos, text.find("4")) << text;

  // Bad characters inside a name: its own opener, or any white space.
  EXPECT_EQ(message(1760, "{", 1), parseError("{a{b}"));
  EXPECT_EQ(message(1760, "[", 2), parseError("\n[a[b]"));
  EXPECT_EQ(message(1760, " ", 1), parseError("{ a}"));
  EXPECT_EQ(message(1760, " ", 1), parseError("{a b}"));
  EXPECT_EQ(message(1760, " ", 1), parseError("[a\tb]"));
  EXPECT_EQ(message(1760, " ", 2), parseError("x\n{a\nb}"));
  EXPECT_EQ(message(1760, " ", 1), parseError("{\n}"));

  // Empty names.
  EXPECT_EQ(message(1763, 1), parseError("{}"));
  EXPECT_EQ(message(1763, 3), parseError("\n\n[]"));

  // A name used twice, in either form.
  EXPECT_EQ(message(1666, "a"), parseError("{a} and {a}"));
  EXPECT_EQ(message(1666, "a"), parseError("[a]{a}"));

  // The end of the text in the middle of something.
  EXPECT_EQ(message(1759, "'{' or character"), parseError("x {"));
  EXPECT_EQ(message(1759, "'{' or character"), parseError("x ["));
  EXPECT_EQ(message(1759, "'}'"), parseError("x {a"));
  EXPECT_EQ(message(1759, "'}'"), parseError("[a"));
  EXPECT_EQ(message(1759, "'}'"), parseError("x }"));
  EXPECT_EQ(message(1759, "'}'"), parseError("]"));

  // Lines are counted in plain text only, doubled brackets included.
  EXPECT_EQ(message(1763, 4), parseError("a\n{{\n}}\n{v}{}"));
}

TEST_F(KxbTemplateMessages, TokensBeforeAFailureStayUntilTheNextParse) {
  MapValues values;
  values.values = {{"x", "X"}};
  Owned t(&values);
  KxbString error;
  EXPECT_FALSE(t->parse(s("abc {x} def } g"), &error));
  EXPECT_EQ(message(1758, "'}'", " ", 1), show(error));
  EXPECT_EQ("abc X def }", show(t->render(&error)));

  // The duplicate's token was made before the name was found taken.
  EXPECT_FALSE(t->parse(s("{x}-{x}-{y}"), &error));
  EXPECT_EQ("X-X", show(t->render(&error)));
  EXPECT_EQ(1, t->getVariableCount());

  EXPECT_TRUE(t->parse(s("ok"), &error));
  EXPECT_TRUE(error.isNull());
  EXPECT_EQ("ok", show(t->render(&error)));
  EXPECT_TRUE(t->parse(KxbString(), &error));
  EXPECT_EQ("", show(t->render(&error)));
  EXPECT_EQ(0, t->getVariableCount());
}

TEST(KxbTemplate, AFailingCallbackFailsTheRenderAndIsAskedAgain) {
  MapValues values;
  values.values = {{"a", "1"}, {"b", "2"}};
  values.failing = {{"b", true}};
  Owned t(&values);
  KxbString error;
  ASSERT_TRUE(t->parse(s("<{a}|{b}>"), &error));
  KxbString out = t->render(&error);
  EXPECT_TRUE(out.isNull());
  EXPECT_EQ("no b", show(error));

  values.failing.clear();
  error = s("stale");
  EXPECT_EQ("<1|2>", show(t->render(&error)));
  EXPECT_TRUE(error.isNull());  // a successful lookup clears the error text
  EXPECT_EQ(1, values.calls["a"]);
  EXPECT_EQ(2, values.calls["b"]);

  // Null error pointers are accepted throughout.
  values.failing = {{"c", true}};
  ASSERT_TRUE(t->parse(s("{c}"), nullptr));
  EXPECT_TRUE(t->render(nullptr).isNull());
  EXPECT_FALSE(t->parse(s("{"), nullptr));
}

TEST(KxbTemplate, RenderingLogsEachTokenOnTheTemplateLoggers) {
  MapValues values;
  values.values = {{"who", "you"}};
  values.failing = {{"bad", true}};
  Owned t(&values);
  KxbString error;
  ASSERT_TRUE(t->parse(s("Hi {who}"), &error));
  {
    kxb_test::LogCapture capture("KX.Base.Template", KXLOG_PROGRESS);
    EXPECT_EQ("Hi you", show(t->render(&error)));
    EXPECT_TRUE(capture.hasRecord("Appending: 'Hi '", KXLOG_PROGRESS,
                                  "KX.Base.Template.TokenConstant"));
    EXPECT_TRUE(capture.hasRecord("Looking up variable: 'who'", KXLOG_PROGRESS,
                                  "KX.Base.Template.TokenVariable"));
    EXPECT_TRUE(capture.hasRecord("Appending: 'you'", KXLOG_PROGRESS,
                                  "KX.Base.Template.TokenVariable"));
  }
  ASSERT_TRUE(t->parse(s("{bad}"), &error));
  kxb_test::LogCapture capture("KX.Base.Template", KXLOG_PROGRESS);
  EXPECT_TRUE(t->render(&error).isNull());
  EXPECT_TRUE(capture.hasRecord("Failed to retrieve variable: 'bad'", 0,
                                "KX.Base.Template.TokenVariable"));
  EXPECT_EQ(0u, capture.count("Appending"));
}

TEST_F(KxbTemplateMessages, RunningOutOfMemoryGivesMessage444) {
  KxbString error;
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  KxbTemplate* none = kxbCreateBasicTemplate(nullptr, &error);
  kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
  EXPECT_EQ(nullptr, none);
  EXPECT_EQ(message(444), show(error));

  // Every allocation of a parse fails in turn: the parse either succeeds or
  // says 444, and what it made renders (a variable whose record was lost
  // renders as 1762).
  MapValues values;
  values.values = {{"a", "1"}, {"b", "2"}};
  const char* const text = "x{a}y[b]z {{ }}";
  int failures = 0;
  int notFound = 0;
  for (int n = 1; n <= 60; ++n) {
    Owned t(&values);
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    const bool ok = t->parse(s(text), &error);
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    if (ok) {
      EXPECT_EQ("x1y2z { }", show(t->render(&error))) << n;
      continue;
    }
    ++failures;
    EXPECT_EQ(message(444), show(error)) << n;
    KxbString out = t->render(&error);
    if (out.isNull()) {
      EXPECT_EQ(message(1762, "a") == show(error) ||
                    message(1762, "b") == show(error),
                true)
          << n << ": " << show(error);
      ++notFound;
    } else {
      EXPECT_EQ(0u, std::string("x1y2z { }").find(show(out))) << n;
    }
  }
  EXPECT_GT(failures, 4);
  EXPECT_GT(notFound, 0);

  // Appending to the output fails: null with 444, and the next render works.
  Owned t(&values);
  ASSERT_TRUE(t->parse(s("{a}{b}"), &error));
  EXPECT_EQ("12", show(t->render(&error)));  // values fetched and kept
  int renderFailures = 0;
  for (int n = 1; n <= 8; ++n) {
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    KxbString out = t->render(&error);
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    if (out.isNull()) {
      ++renderFailures;
      EXPECT_EQ(message(444), show(error)) << n;
    } else {
      EXPECT_EQ("12", show(out)) << n;
    }
  }
  EXPECT_GT(renderFailures, 0);
  EXPECT_EQ("12", show(t->render(&error)));
}

TEST(KxbTemplate, ManyVariablesStayOrderedAndFound) {
  MapValues values;
  std::string text;
  std::string expected;
  for (int i = 999; i >= 0; --i) {
    const std::string name = "v" + std::to_string(i);
    values.values[name] = std::to_string(i % 10);
    text += "{" + name + "},";
    expected += std::to_string(i % 10) + ",";
  }
  Owned t(&values);
  KxbString error;
  ASSERT_TRUE(t->parse(KxbString(text.c_str()), &error)) << show(error);
  EXPECT_EQ(expected, show(t->render(&error)));
  ASSERT_EQ(1000, t->getVariableCount());
  std::string previous;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = show(t->getVariable(i, nullptr, &error));
    EXPECT_LT(previous, name);
    previous = name;
  }
  EXPECT_EQ(2000, static_cast<KxbTemplateImpl*>(t.t)->tokenCount());
}

}  // namespace
