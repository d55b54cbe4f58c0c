# Installing lxk: the three shared libraries with versioned SONAMEs, the public
# headers, a CMake package (find_package(lxk) gives lxk::lxk, lxk::nlscore and
# lxk::nlsutil) and pkg-config files.  Included by the top-level CMakeLists.txt
# once the library targets exist.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(LXK_CMAKE_DIR ${CMAKE_SOURCE_DIR}/cmake)
set(lxk_libraries lxk nlscore nlsutil)

foreach(target ${lxk_libraries})
  # Each library shows exactly its own prefixes; scripts/check_exports.sh
  # holds the names themselves.
  set(map ${LXK_CMAKE_DIR}/lib${target}.map)
  target_link_options(${target} PRIVATE "LINKER:--version-script=${map}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})

  # The headers come from the source tree while building and from the
  # prefix once installed.
  get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
  set(interface "")
  foreach(dir ${dirs})
    list(APPEND interface "$<BUILD_INTERFACE:${dir}>")
  endforeach()
  list(APPEND interface "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${interface}"
                        INSTALL_RPATH "$ORIGIN")
endforeach()

install(TARGETS ${lxk_libraries} EXPORT lxkTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/lxk DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/lxk)
install(EXPORT lxkTargets NAMESPACE lxk:: DESTINATION ${package_dir})
configure_package_config_file(${LXK_CMAKE_DIR}/lxkConfig.cmake.in
  ${CMAKE_BINARY_DIR}/package/lxkConfig.cmake INSTALL_DESTINATION ${package_dir}
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
# 0.x: a minor version may change the ABI, so only the same minor matches.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/lxkConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/lxkConfig.cmake
              ${CMAKE_BINARY_DIR}/package/lxkConfigVersion.cmake
        DESTINATION ${package_dir})

# pkg-config files find the prefix from their own place, so that an installed
# tree can be moved.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH LXK_PC_PREFIX_FROM_PCDIR /prefix/${pc_dir} /prefix)
string(REGEX REPLACE "/$" "" LXK_PC_PREFIX_FROM_PCDIR "${LXK_PC_PREFIX_FROM_PCDIR}")
foreach(target ${lxk_libraries})
  configure_file(${LXK_CMAKE_DIR}/${target}.pc.in ${CMAKE_BINARY_DIR}/package/${target}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/package/${target}.pc DESTINATION ${pc_dir})
endforeach()

# The export lists are checked in every plain build's tests; instrumented
# builds export the sanitizers' own symbols too.
if(LXK_BUILD_TESTS AND NOT LXK_SANITIZE AND NOT LXK_BUILD_FUZZ)
  add_test(NAME exports COMMAND ${CMAKE_SOURCE_DIR}/scripts/check_exports.sh ${CMAKE_BINARY_DIR})
endif()
