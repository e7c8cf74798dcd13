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
