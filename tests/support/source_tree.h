// The project's source tree, for tests that read its files (the message
// catalogue, test vectors).
#ifndef KXB_TESTS_SUPPORT_SOURCE_TREE_H_
#define KXB_TESTS_SUPPORT_SOURCE_TREE_H_

#include <string>

namespace kxb_test {

// $KXB_SOURCE_DIR (set by ctest), else the tree the test was built from.
std::string sourceDirectory();

// Points the message catalogue at the source tree's "share/msg" with the
// default locale, and drops a catalogue already loaded, so that the next
// message comes from the repository's texts.
void useSourceCatalogue();

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_SOURCE_TREE_H_
