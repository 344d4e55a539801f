# Installs the libraries, their public headers (the HEADERS file sets) under
# include/kwlib63, the CMake package (find_package(kwlib63 [COMPONENTS gtk]) ->
# kwlib63::kwlib63, kwlib63::kwlib63-gtk), pkg-config files and the kwlib tool.
include(CMakePackageConfigHelpers)

set(KW_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kwlib63)
install(TARGETS kwlib63 EXPORT kwlib63Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILE_SET umbrella DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT kwlib63Targets NAMESPACE kwlib63:: DESTINATION ${KW_CMAKE_DIR})
install(TARGETS kwlib RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(KW_BUILD_GTK)
  install(TARGETS kwlib63-gtk EXPORT kwlib63-gtkTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT kwlib63-gtkTargets NAMESPACE kwlib63:: DESTINATION ${KW_CMAKE_DIR})
endif()

configure_package_config_file(cmake/kwlib63Config.cmake.in ${CMAKE_BINARY_DIR}/kwlib63Config.cmake
  INSTALL_DESTINATION ${KW_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kwlib63ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kwlib63Config.cmake ${CMAKE_BINARY_DIR}/kwlib63ConfigVersion.cmake
  DESTINATION ${KW_CMAKE_DIR})

# The .pc files find the prefix from their own place, so an install moved by
# `cmake --install --prefix` stays right.
file(RELATIVE_PATH KW_PC_TO_PREFIX /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
set(KW_PC_FILES kwlib63)
if(KW_BUILD_GTK)
  list(APPEND KW_PC_FILES kwlib63-gtk)
endif()
foreach(pc IN LISTS KW_PC_FILES)
  configure_file(cmake/${pc}.pc.in ${CMAKE_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
