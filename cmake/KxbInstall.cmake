include(CMakePackageConfigHelpers)

set(KXB_COMPANION_INSTALL_DIR "${CMAKE_INSTALL_LIBDIR}/kxb")

install(TARGETS kxb EXPORT kxbTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/share/msg
  DESTINATION ${CMAKE_INSTALL_DATADIR}/kxb)

install(EXPORT kxbTargets NAMESPACE kxb::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kxb)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kxbConfig.cmake.in
  ${CMAKE_BINARY_DIR}/kxbConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kxb
  PATH_VARS KXB_COMPANION_INSTALL_DIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kxbConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kxbConfig.cmake
              ${CMAKE_BINARY_DIR}/kxbConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kxb)

# The .pc file finds the prefix relative to its own directory.
file(RELATIVE_PATH KXB_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig"
     "/prefix")
string(REGEX REPLACE "/$" "" KXB_PC_TO_PREFIX "${KXB_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/kxb.pc.in ${CMAKE_BINARY_DIR}/kxb.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kxb.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
