# Tests run by CTest beyond the GoogleTest programs.

if(TARGET kxb-dectest)
  # The published decimal arithmetic test cases, when the directory is there
  # (the files are not part of the project).
  if(EXISTS ${KXB_DECTEST_DIR})
    add_test(NAME dectest COMMAND kxb-dectest ${KXB_DECTEST_DIR})
  endif()
  # The runner itself must notice a wrong result, wrong conditions and an
  # unimplemented operation, and must not pass a file it cannot read. The
  # total comes last, after the skip reasons, for scripts that read it.
  add_test(NAME dectest_reports_failures
           COMMAND kxb-dectest
                   ${CMAKE_CURRENT_SOURCE_DIR}/decimal/runner_check.decTest)
  set_tests_properties(dectest_reports_failures PROPERTIES
    PASS_REGULAR_EXPRESSION "skipped 1: [^\n]*\nTOTAL: 3 passed, 2 failed, 1 skipped\n$")
  add_test(NAME dectest_unreadable_file
           COMMAND kxb-dectest ${CMAKE_CURRENT_BINARY_DIR}/no-such.decTest)
  set_tests_properties(dectest_unreadable_file PROPERTIES
    PASS_REGULAR_EXPRESSION "cannot read")
endif()
