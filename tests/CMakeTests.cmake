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
                   ${CMAKE_CURRENT_SOURCE_DIR}/platform/decimal/runner_check.decTest)
  set_tests_properties(dectest_reports_failures PROPERTIES
    PASS_REGULAR_EXPRESSION "skipped 1: [^\n]*\nTOTAL: 3 passed, 2 failed, 1 skipped\n$")
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
  # kxb run prints the one-line output log and ends with the program's status.
  add_test(NAME kxb_run_prints_log_and_status
           COMMAND kxb_tool run --capture sh -c "printf 'a\\nb\\n'; exit 5")
  set_tests_properties(kxb_run_prints_log_and_status PROPERTIES
    PASS_REGULAR_EXPRESSION "(^|[\r\n])a b [\r\n]")
  add_test(NAME kxb_run_status_is_the_programs
           COMMAND kxb_tool run sh -c "exit 5")
  set_tests_properties(kxb_run_status_is_the_programs PROPERTIES WILL_FAIL TRUE)
  # kxb mail --keep shows the composed file.
  add_test(NAME kxb_mail_shows_the_composed_file
           COMMAND kxb_tool mail --command "cat %B > /dev/null" --to t@example.com
                   --subject s --text hello --keep)
  set_tests_properties(kxb_mail_shows_the_composed_file PROPERTIES
    PASS_REGULAR_EXPRESSION "hello\r\n--KX_EMAIL_00--\r\n")
  # kxb template: values from the arguments, then the environment; optional
  # variables without a value render empty; a required one without a value
  # and a parse error fail with a message naming the variable or the line.
  set(KXB_TEMPLATE_DATA ${CMAKE_CURRENT_SOURCE_DIR}/services/data)
  add_test(NAME kxb_template_renders
           COMMAND kxb_tool template ${KXB_TEMPLATE_DATA}/greeting.tmpl
                   name=Ann)
  set_tests_properties(kxb_template_renders PROPERTIES
    ENVIRONMENT "id=42"
    PASS_REGULAR_EXPRESSION "^Dear Ann,\nyour  order {#42} ships.\n$")
  add_test(NAME kxb_template_takes_empty_environment_values
           COMMAND kxb_tool template ${KXB_TEMPLATE_DATA}/greeting.tmpl
                   name=Ann title=Dr)
  set_tests_properties(kxb_template_takes_empty_environment_values PROPERTIES
    ENVIRONMENT "id="
    PASS_REGULAR_EXPRESSION "^Dear Ann,\nyour Dr order {#} ships.\n$")
  add_test(NAME kxb_template_fails_without_a_required_value
           COMMAND kxb_tool template ${KXB_TEMPLATE_DATA}/greeting.tmpl)
  set_tests_properties(kxb_template_fails_without_a_required_value PROPERTIES
    PASS_REGULAR_EXPRESSION "no value for the required variable 'name'")
  add_test(NAME kxb_template_reports_the_line_of_a_parse_error
           COMMAND kxb_tool template ${KXB_TEMPLATE_DATA}/single_closer.tmpl)
  set_tests_properties(kxb_template_reports_the_line_of_a_parse_error
    PROPERTIES
    ENVIRONMENT "KAXEL_ERROR_LOCATION=${PROJECT_SOURCE_DIR}/share/msg"
    PASS_REGULAR_EXPRESSION "single_closer.tmpl: Single closing character '}' followed by \"x\" at line 2")
endif()

if(TARGET kxb_tool)
  # kxb options on the sample installation home: a key's expanded value and
  # the macros file it came from; a failed start-up exits non-zero.
  add_test(NAME kxb_options_origin
           COMMAND kxb_tool options --home ${PROJECT_SOURCE_DIR}/examples/home
                   --origin APP/REPORTS)
  set_tests_properties(kxb_options_origin PROPERTIES
    ENVIRONMENT "KAXEL_ERROR_LOCATION="
    PASS_REGULAR_EXPRESSION
      "APP/REPORTS=/srv/invoices/data/reports\t# macros directory file [^\n]*/etc/macros/10-paths.cfg, line 2")
  add_test(NAME kxb_options_masks_and_queues
           COMMAND kxb_tool options --home ${PROJECT_SOURCE_DIR}/examples/home
                   --set APP/NAME=payroll --origin)
  set_tests_properties(kxb_options_masks_and_queues PROPERTIES
    PASS_REGULAR_EXPRESSION
      "APP/NAME=payroll\t# queued option.*BASE/AUTH_SERVER_LOC=host=auth.example.com,pass=\\*\\*\\*\\*\\*\\*\\*\\*,port=8561")
  add_test(NAME kxb_options_failed_startup
           COMMAND kxb_tool options --home ${PROJECT_SOURCE_DIR}/examples/home
                   --set BASE/LOGCONFIG_PATH=/no/such/logging.cfg)
  set_tests_properties(kxb_options_failed_startup PROPERTIES WILL_FAIL TRUE)
  # kxb overlay: an override is written to the overlay only and removed
  # again, leaving the base untouched.
  add_test(NAME kxb_overlay_round_trip
           COMMAND sh -c "set -e; d=$(mktemp -d); trap 'rm -rf $d' EXIT; \
printf 'a=1\\nb=2\\n' > $d/base.cfg; \
$<TARGET_FILE:kxb_tool> overlay set $d/base.cfg $d/local.cfg a 9 --comment mine; \
$<TARGET_FILE:kxb_tool> overlay list $d/base.cfg $d/local.cfg | grep -q '^a=9.*overlay (base: 1)'; \
grep -q '^#mine' $d/local.cfg; grep -qx 'a=1' $d/base.cfg; \
$<TARGET_FILE:kxb_tool> overlay unset $d/base.cfg $d/local.cfg a; \
$<TARGET_FILE:kxb_tool> overlay list $d/base.cfg $d/local.cfg | grep -q '^a=1.*# base'; \
! $<TARGET_FILE:kxb_tool> overlay unset $d/base.cfg $d/local.cfg b")
endif()

# The batch runner end to end: a real mail through msmtp to a real SMTP
# server, its reports checked against Python's decimal over the same data.
if(TARGET kxb-batch AND TARGET kxb_warehouse)
  add_test(NAME batch_end_to_end
           COMMAND /usr/bin/python3 ${CMAKE_CURRENT_SOURCE_DIR}/e2e/batch_e2e.py
                   $<TARGET_FILE:kxb-batch> ${PROJECT_SOURCE_DIR}
                   ${KXB_WAREHOUSE})
  set_tests_properties(batch_end_to_end PROPERTIES TIMEOUT 300)
endif()
