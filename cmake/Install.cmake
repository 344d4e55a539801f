# Installs the library, its public headers under include/kwlib63/<folder>, a CMake
# package (find_package(kwlib63) -> kwlib63::kwlib63) and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS kwlib63 EXPORT kwlib63Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(folder IN LISTS KW_PUBLIC_FOLDERS)
  install(DIRECTORY ${folder}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kwlib63/${folder}
    FILES_MATCHING PATTERN "*.h")
endforeach()
install(DIRECTORY include/kwlib63/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kwlib63 FILES_MATCHING PATTERN "*.h")
install(TARGETS kwlib RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(KW_BUILD_GTK)
  install(TARGETS kwlib63-gtk LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(DIRECTORY gtk/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kwlib63/gtk FILES_MATCHING PATTERN "*.h")
endif()

set(KW_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kwlib63)
install(EXPORT kwlib63Targets NAMESPACE kwlib63:: DESTINATION ${KW_CMAKE_DIR})
configure_package_config_file(cmake/kwlib63Config.cmake.in ${CMAKE_BINARY_DIR}/kwlib63Config.cmake
  INSTALL_DESTINATION ${KW_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kwlib63ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kwlib63Config.cmake ${CMAKE_BINARY_DIR}/kwlib63ConfigVersion.cmake
  DESTINATION ${KW_CMAKE_DIR})

# The .pc file finds the prefix from its own place, so an install moved by
# `cmake --install --prefix` stays right.
file(RELATIVE_PATH KW_PC_TO_PREFIX /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
configure_file(cmake/kwlib63.pc.in ${CMAKE_BINARY_DIR}/kwlib63.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kwlib63.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
