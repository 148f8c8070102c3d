# What `cmake --install` lays down: headers, both libraries in both kinds, the ways to find them, and the programs.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(TARGETS trovix_shared trovix_static quorrel_shared quorrel_static EXPORT QuorrelTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(QUORREL_BUILD_APPS)
  install(TARGETS trovix_host_program trovix_collector RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(EXPORT QuorrelTargets NAMESPACE Quorrel:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Quorrel)

configure_package_config_file(cmake/QuorrelConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/QuorrelConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Quorrel)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/QuorrelConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/QuorrelConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/QuorrelConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Quorrel)

# Relative, so that the installed tree may be moved.
file(RELATIVE_PATH QUORREL_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
foreach(library trovix quorrel)
  configure_file(cmake/${library}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
