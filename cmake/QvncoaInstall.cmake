# `cmake --install`: the three libraries with their SONAME links, the public
# headers, `ncoa`, the name knowledge base, qvncoa.pc and the CMake package
# (find_package(qvncoa) -> qvncoa::qvncoa). The installed tree may be moved:
# nothing in it names the prefix it was installed to.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(${CMAKE_CURRENT_LIST_DIR}/QvncoaKb.cmake)

set(QV_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qvncoa)
file(RELATIVE_PATH QV_BIN_TO_LIB /qvroot/${CMAKE_INSTALL_BINDIR} /qvroot/${CMAKE_INSTALL_LIBDIR})

# The targets name the source tree's include folder for the build only.
set(QV_INSTALLED_LIBS qvncoa qvname)
if(TARGET qvav)
  list(APPEND QV_INSTALLED_LIBS qvav)
endif()
foreach(lib ${QV_INSTALLED_LIBS})
  set_target_properties(${lib} PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "$<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>"
    INSTALL_RPATH "$ORIGIN")
endforeach()
install(TARGETS ${QV_INSTALLED_LIBS} EXPORT qvncoaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES
  ${CMAKE_SOURCE_DIR}/include/qvncoa.h
  ${CMAKE_SOURCE_DIR}/include/qv_proxy.h
  ${CMAKE_SOURCE_DIR}/include/qvav.h
  ${CMAKE_SOURCE_DIR}/include/qvncoa_report.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

if(TARGET ncoa)
  set_target_properties(ncoa PROPERTIES INSTALL_RPATH "$ORIGIN/${QV_BIN_TO_LIB}")
  install(TARGETS ncoa RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY ${CMAKE_SOURCE_DIR}/data/namekb/ DESTINATION ${QV_KB_INSTALL_DIR})

install(EXPORT qvncoaTargets NAMESPACE qvncoa:: DESTINATION ${QV_CMAKE_INSTALL_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/qvncoaConfig.cmake.in
  ${CMAKE_BINARY_DIR}/qvncoaConfig.cmake
  INSTALL_DESTINATION ${QV_CMAKE_INSTALL_DIR}
  PATH_VARS QV_KB_INSTALL_DIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/qvncoaConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/qvncoaConfig.cmake ${CMAKE_BINARY_DIR}/qvncoaConfigVersion.cmake
  DESTINATION ${QV_CMAKE_INSTALL_DIR})

# pkg-config: the prefix is found from the .pc file's own folder.
file(RELATIVE_PATH QV_PC_TO_PREFIX /qvroot/${CMAKE_INSTALL_LIBDIR}/pkgconfig /qvroot)
string(REGEX REPLACE "/$" "" QV_PC_TO_PREFIX "${QV_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/qvncoa.pc.in ${CMAKE_BINARY_DIR}/qvncoa.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/qvncoa.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Not in sanitizer builds: their debug information names the build tree,
# which an installed file must not.
if(QV_BUILD_TESTS AND NOT QV_SANITIZE AND NOT QV_TSAN)
  # Installs into a temporary prefix and builds and runs programs against it.
  add_test(NAME install_tree
    COMMAND /usr/bin/python3 ${CMAKE_SOURCE_DIR}/tests/install/run.py ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
  set_tests_properties(install_tree PROPERTIES TIMEOUT 180 RUN_SERIAL TRUE)
endif()
