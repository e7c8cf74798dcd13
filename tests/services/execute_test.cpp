// KxbExecute: command lines, captured output as one line, environment,
// failures and their messages.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "kx_fault.h"
#include "kxbexecute.h"
#include "kxbmessage.h"
#include "kxmsg.h"
#include "np_env.h"
#include "support/temp_dir.h"
#include "support/source_tree.h"

namespace {

class KxbExecuteTest : public ::testing::Test {
 protected:
  void SetUp() override {
    kxb_test::useSourceCatalogue();
    // Temporary output files go to this test's own directory.
    np_env_set("TMPDIR", tmp_.path().c_str());
  }
  void TearDown() override {
    np_env_set("TMPDIR", nullptr);
    kxmsg112_terminate();
  }

  kxb_test::TempDir tmp_;
};

// Runs `script` with "/bin/sh -c" in the direct form, capturing its output.
bool runScript(KxbExecute& execute, const char* script) {
  execute.setCommand(KxbString("/bin/sh"));
  execute.addOption(KxbString("-c"));
  execute.addOption(KxbString(script));
  return execute.run(false, true, -1);
}

TEST_F(KxbExecuteTest, ShellCommandLineQuotesWhatHoldsSpaces) {
  kxb_test::TempDir dir;
  dir.mkdir("with space");
  std::string program = dir.path("with space/show args");
  dir.write("with space/show args",
            "#!/bin/sh\nfor a; do printf '[%s]' \"$a\"; done\n");
  ASSERT_EQ(0, std::system(("chmod 755 '" + program + "'").c_str()));

  KxbExecute execute;
  execute.setCommand(KxbString(program.c_str()));
  execute.addOption(KxbString("-a"));
  execute.addOption(KxbString("my file"));
  execute.addOption(KxbString("\"already quoted\" two"));
  execute.addOption(KxbString("$KXB_EXEC_SHELL_VAR"));
  execute.addEnvironment(KxbString("KXB_EXEC_SHELL_VAR=expanded by the shell"));
  ASSERT_TRUE(execute.run(true, true, -1)) << execute.getOutputLog().asCstr();
  // An option that begins with a double quote is left alone; one without a
  // space is not quoted, so the shell expands it.
  EXPECT_STREQ("[-a][my file][already quoted][two][expanded][by][the][shell]",
               execute.getOutputLog().asCstr());

  // A command that already begins with a double quote is not quoted again.
  KxbExecute quoted;
  quoted.setCommand(KxbString(("\"" + program + "\"").c_str()));
  quoted.addOption(KxbString("x y"));
  ASSERT_TRUE(quoted.run(true, true, -1)) << quoted.getOutputLog().asCstr();
  EXPECT_STREQ("[x y]", quoted.getOutputLog().asCstr());

  // The direct form passes every option as one argument, spaces and all.
  KxbExecute direct;
  direct.setCommand(KxbString(program.c_str()));
  direct.addOption(KxbString("my file"));
  direct.addOption(KxbString("$HOME"));
  ASSERT_TRUE(direct.run(false, true, -1));
  EXPECT_STREQ("[my file][$HOME]", direct.getOutputLog().asCstr());
}

TEST_F(KxbExecuteTest, CapturedOutputIsOneLineOfAtMost8192Bytes) {
  KxbExecute lines;
  ASSERT_TRUE(runScript(lines, "printf 'a\\r\\nb\\nc\\td\\302\\240e\\n'"));
  // CR LF gives two spaces; a no-break space (two bytes) two more.
  EXPECT_STREQ("a  b c d  e ", lines.getOutputLog().asCstr());

  KxbExecute longer;
  ASSERT_TRUE(runScript(longer, "head -c 10000 /dev/zero | tr '\\000' x"));
  std::string log = longer.getOutputLog().asCstr();
  EXPECT_EQ(std::string(8192, 'x'), log);

  KxbExecute exact;
  ASSERT_TRUE(runScript(exact, "head -c 8191 /dev/zero | tr '\\000' y; echo"));
  EXPECT_EQ(std::string(8191, 'y') + " ", exact.getOutputLog().asCstr());

  // Without capture the log keeps what it had; with capture and no output
  // too.
  KxbExecute quiet;
  quiet.setCommand(KxbString("/bin/true"));
  ASSERT_TRUE(quiet.run(false, false, -1));
  EXPECT_TRUE(quiet.getOutputLog().isNull());
  ASSERT_TRUE(quiet.run(false, true, -1));
  EXPECT_TRUE(quiet.getOutputLog().isNull());

  // Each run's temporary file is gone afterwards.
  EXPECT_EQ(std::vector<std::string>{}, tmp_.names());
}

TEST_F(KxbExecuteTest, EnvironmentReachesTheProgramAndOverrides) {
  ASSERT_EQ(0, np_env_set("KXB_EXEC_TEST_OLD", "inherited"));
  KxbExecute execute;
  execute.addEnvironment(KxbString("KXB_EXEC_TEST_OLD=overridden"));
  execute.addEnvironment(KxbString("KXB_EXEC_TEST_NEW=added"));
  ASSERT_TRUE(runScript(execute, "echo $KXB_EXEC_TEST_OLD $KXB_EXEC_TEST_NEW"));
  EXPECT_STREQ("overridden added ", execute.getOutputLog().asCstr());
  np_env_set("KXB_EXEC_TEST_OLD", nullptr);
}

TEST_F(KxbExecuteTest, FailuresLogEnglishTextsAndCatalogueMessages) {
  KxbExecute missing;
  missing.setCommand(KxbString("kxb-no-such-program-here"));
  EXPECT_FALSE(missing.run(false, true, -1));
  EXPECT_STREQ(
      "Failed to execute command kxb-no-such-program-here. Error: No such file "
      "or directory",
      missing.getOutputLog().asCstr());
  EXPECT_STREQ("Failed to start the program: No such file or directory",
               missing.getErrorMessage().asCstr());

  KxbExecute killed;
  EXPECT_FALSE(runScript(killed, "kill -KILL $$"));
  EXPECT_STREQ("Command aborted with error: 137", killed.getOutputLog().asCstr());
  EXPECT_EQ(137, killed.getExitCode());
  EXPECT_EQ(-1, missing.getExitCode());
  EXPECT_STREQ("The program was aborted.", killed.getErrorMessage().asCstr());

  // The program's own output replaces the text.
  KxbExecute talkative;
  EXPECT_FALSE(runScript(talkative, "echo cannot do it >&2; exit 3"));
  EXPECT_STREQ("cannot do it ", talkative.getOutputLog().asCstr());
  EXPECT_STREQ("The program was aborted.", talkative.getErrorMessage().asCstr());
  // Without capture only the text is there (the stored command runs again).
  EXPECT_FALSE(talkative.run(false, false, 30));
  EXPECT_STREQ("Command aborted with error: 3", talkative.getOutputLog().asCstr());

  // The error message stays until a later failure replaces it.
  KxbExecute later;
  EXPECT_FALSE(runScript(later, "exit 1"));
  later.setCommand(KxbString("/bin/true"));
  EXPECT_TRUE(later.run(false, false, -1));
  EXPECT_STREQ("The program was aborted.", later.getErrorMessage().asCstr());

  ASSERT_EQ(0, kxbSetMessageLocale("fr", nullptr));
  KxbExecute french;
  french.setCommand(KxbString("kxb-no-such-program-here"));
  EXPECT_FALSE(french.run(false, false, -1));
  EXPECT_EQ(0u, std::string(french.getErrorMessage().asCstr())
                    .rfind("Impossible de lancer le programme : ", 0))
      << french.getErrorMessage().asCstr();
  EXPECT_FALSE(runScript(french, "exit 4"));
  EXPECT_STREQ("Le programme a été interrompu.", french.getErrorMessage().asCstr());
  ASSERT_EQ(0, kxbSetMessageLocale("en", nullptr));
}

TEST_F(KxbExecuteTest, WaitBoundLeavesTheProgramRunning) {
  KxbExecute execute;
  execute.setCommand(KxbString("/bin/sleep"));
  execute.addOption(KxbString("0.5"));
  EXPECT_TRUE(execute.run(false, true, 0));
  EXPECT_TRUE(execute.getErrorMessage().isNull());
  // The stored command and options serve the next run.
  EXPECT_TRUE(execute.run(false, false, -1));
}

TEST_F(KxbExecuteTest, ResourceFailuresGiveTheirMessages) {
  {
    kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
    KxbExecute empty;  // its record cannot be allocated: it does nothing
    empty.setCommand(KxbString("/bin/true"));
    empty.addOption(KxbString("x"));
    empty.addEnvironment(KxbString("A=1"));
    EXPECT_FALSE(empty.run(false, true, -1));
    EXPECT_TRUE(empty.getOutputLog().isNull());
    EXPECT_TRUE(empty.getErrorMessage().isNull());
  }

  KxbExecute execute;
  execute.setCommand(KxbString("/bin/true"));
  execute.addEnvironment(KxbString("KXB_EXEC_TEST=1"));
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 2);  // the copy of the first entry
  EXPECT_FALSE(execute.run(false, false, -1));
  EXPECT_STREQ("Out of memory while preparing to run the program.",
               execute.getErrorMessage().asCstr());

  kxFaultArm(KX_FAULT_OPEN, 1);  // the output file
  EXPECT_FALSE(execute.run(false, true, -1));
  EXPECT_STREQ(
      "Failed to create the file for the program's output (error 13): "
      "Permission denied",
      execute.getErrorMessage().asCstr());

  kxFaultArm(KX_FAULT_PROC_START, 1);
  EXPECT_FALSE(execute.run(true, true, -1));
  EXPECT_STREQ("Failed to execute command /bin/true. Error: Resource "
               "temporarily unavailable",
               execute.getOutputLog().asCstr());
  EXPECT_STREQ("Failed to start the program: Resource temporarily unavailable",
               execute.getErrorMessage().asCstr());
  EXPECT_EQ(std::vector<std::string>{}, tmp_.names());

  EXPECT_TRUE(execute.run(false, true, -1));
}

}  // namespace
