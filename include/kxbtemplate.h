// KxbTemplate: texts with named placeholders, parsed once and rendered any
// number of times with values fetched lazily from the caller.
//
//   class Values : public KxbTemplateValueCB { ... lookup ... };
//   Values values;
//   KxbString error;
//   KxbTemplate* t = kxbCreateBasicTemplate(&values, &error);
//   if (t != nullptr && t->parse(KxbString("Hello {name}!"), &error)) {
//     KxbString text = t->render(&error);   // "Hello " + value + "!"
//   }
//   if (t != nullptr) t->release();
//
// Syntax. Plain text is copied as it stands. "{name}" is a variable and
// "[name]" an optional one (getVariable reports the flag; rendering treats
// both alike). "{{" and "[[" anywhere in plain text give one "{" or "[";
// "}}" and "]]" give one "}" or "]"; a single closing character in plain
// text is an error. A name is the text between the delimiters and holds no
// white space and not its own opening character; inside "{...}" a "]" is an
// ordinary name character and inside "[...]" a "}" is. Each name may appear
// once per template. Names are case-sensitive. Lines are counted from 1 by the
// newline characters of plain text.
//
// Values. The first render that reaches a variable asks the callback for its
// value and keeps it; every later render of the same parse reuses it, so the
// callback is asked at most once per variable per parse. A callback that
// answers false is asked again by the next render. Without a callback every
// variable renders empty.
//
// Errors are catalogue messages of "Base Services", put into the caller's
// error text (when one is given): 444 memory, 1420 variable index out of
// range, 1666 duplicate name, 1758 single closing character, 1759 unexpected
// end of text, 1760 bad character in a name, 1762 variable not found, 1763
// empty name. Parse errors give the line where they occur (1666 and 1759
// none). 1760 names the opening character found in a name, or a blank for
// any white space. 1759 names "'}'" when the text ends inside a name or
// after a single closing character and "'{' or character" when it ends
// right after an opening character, whichever bracket was used: these texts
// are kept as they have always read.
//
// Records go to the loggers "KX.Base.Template.TokenConstant" ("Appending:
// '%s'", level 2) and "KX.Base.Template.TokenVariable" ("Looking up
// variable: '%s'" and "Appending: '%s'", level 2; "Failed to retrieve
// variable: '%s'", level 4).
//
// Thread safety: one template is used by one thread at a time; the callback
// is called on the rendering thread. Nothing throws.
#ifndef KXB_INCLUDE_KXBTEMPLATE_H_
#define KXB_INCLUDE_KXBTEMPLATE_H_

#include "kxbstring.h"

// The caller's source of values.
class KxbTemplateValueCB {
 public:
  // Puts the value of variable `name` into *value and returns true, or
  // returns false with a reason in *error (error may be null). A value left
  // null renders as nothing.
  virtual bool lookup(const KxbString& name, KxbString* value,
                      KxbString* error) = 0;

 protected:
  ~KxbTemplateValueCB() = default;
};

class KxbTemplate {
 public:
  // The name of the index-th variable in name order (byte order), with
  // *optional (when given) true for a "[name]" variable. An index below 0 or
  // not below getVariableCount() gives a null string and message 1420 in
  // *error; *optional is then left alone.
  virtual KxbString getVariable(int index, bool* optional,
                                KxbString* error) const = 0;
  // The number of distinct variables.
  virtual int getVariableCount() const = 0;
  // Destroys the template, its tokens and its cached values. The callback is
  // not the template's and is left alone.
  virtual void release() = 0;
  // The text with every variable replaced by its value, or a null string
  // when a variable fails: its callback's message (or 1762, or 444) is then
  // in *error. A successful lookup sets *error null; a render that looks up
  // nothing leaves *error as it was. Fetched values are kept (see above).
  virtual KxbString render(KxbString* error) = 0;
  // Replaces everything the template held (tokens, variables, fetched
  // values) by what `text` describes and sets *error null. False on the
  // first error, with the message in *error; the tokens made before the
  // error stay until the next parse, so render then renders the text up to
  // the error. An empty or null text parses to nothing and succeeds.
  virtual bool parse(const KxbString& text, KxbString* error) = 0;

 protected:
  ~KxbTemplate() = default;
};

// A new empty template that asks `callback` (not owned, may be null; it must
// outlive the template's renders) for values. *error (when given) is set
// null. When memory runs out, null with message 444 in *error.
KxbTemplate* kxbCreateBasicTemplate(KxbTemplateValueCB* callback,
                                    KxbString* error);

#endif  // KXB_INCLUDE_KXBTEMPLATE_H_
