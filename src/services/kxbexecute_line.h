// The command line KxbExecute hands to the shell: the command and each
// option, one space apart, each in double quotes when it holds a space and
// does not already begin with a double quote. Nothing else is escaped.
#ifndef KXB_SRC_SERVICES_KXBEXECUTE_LINE_H_
#define KXB_SRC_SERVICES_KXBEXECUTE_LINE_H_

#include <vector>

#include "kxbstring.h"

// The line, or null when memory ran out.
KxbString kxbExecuteShellLine(const KxbString& command,
                              const std::vector<KxbString>& options);

#endif  // KXB_SRC_SERVICES_KXBEXECUTE_LINE_H_
