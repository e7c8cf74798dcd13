# Tests run by CTest beyond the GoogleTest programs.

if(TARGET kxb-dectest)
  # The published decimal arithmetic test cases, when the directory is there
  # (the files are not part of the project).
  if(EXISTS ${KXB_DECTEST_DIR})
    add_test(NAME dectest COMMAND kxb-dectest ${KXB_DECTEST_DIR})
  endif()
  # The runner itself must notice a wrong result, wrong conditions and an
  # unimplemented operation, and must not pass a file it cannot read.
  add_test(NAME dectest_reports_failures
           COMMAND kxb-dectest
                   ${CMAKE_CURRENT_SOURCE_DIR}/decimal/runner_check.decTest)
  set_tests_properties(dectest_reports_failures PROPERTIES
    PASS_REGULAR_EXPRESSION "TOTAL: 3 passed, 2 failed, 1 skipped")
  add_test(NAME dectest_unreadable_file
           COMMAND kxb-dectest ${CMAKE_CURRENT_BINARY_DIR}/no-such.decTest)
  set_tests_properties(dectest_unreadable_file PROPERTIES
    PASS_REGULAR_EXPRESSION "cannot read")
endif()

if(TARGET kxb_tool)
  # kxb query: rows as CSV, and clear failures for a missing file and bad SQL.
  add_test(NAME kxb_query_csv
           COMMAND kxb_tool query :memory: "SELECT 1 AS n, 'a,\"b' AS t, NULL AS z"
                   --csv)
  set_tests_properties(kxb_query_csv PROPERTIES
    PASS_REGULAR_EXPRESSION "^n,t,z\r\n1,\"a,\"\"b\",\r\n$")
  add_test(NAME kxb_query_table
           COMMAND kxb_tool query :memory: "SELECT 'é' AS name, 10 AS n UNION ALL SELECT 'long', NULL")
  set_tests_properties(kxb_query_table PROPERTIES
    PASS_REGULAR_EXPRESSION "name  n\n----  ----\né     10\nlong  NULL\n\\(2 rows\\)")
  add_test(NAME kxb_query_missing_file
           COMMAND kxb_tool query ${CMAKE_CURRENT_BINARY_DIR}/no-such.db "SELECT 1")
  set_tests_properties(kxb_query_missing_file PROPERTIES WILL_FAIL TRUE)
  add_test(NAME kxb_query_says_why
           COMMAND sh -c "$<TARGET_FILE:kxb_tool> query :memory: 'SELEC 1' 2>&1; echo status=$?")
  set_tests_properties(kxb_query_says_why PROPERTIES
    PASS_REGULAR_EXPRESSION "kxb: SQL error: near \"SELEC\": syntax error\nstatus=1")
endif()
