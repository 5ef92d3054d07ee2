# The name knowledge base in the build tree, where the installed tree has it
# (<datadir>/qvncoa/namekb), so that programs find it the same way in both.
include(GNUInstallDirs)
set(QV_KB_INSTALL_DIR ${CMAKE_INSTALL_DATADIR}/qvncoa/namekb)
set(QV_KB_BUILD_DIR ${CMAKE_BINARY_DIR}/${QV_KB_INSTALL_DIR})
include_guard(GLOBAL)

file(GLOB QV_KB_FILES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/data/namekb/*)
add_custom_command(
  OUTPUT ${QV_KB_BUILD_DIR}/.copied
  COMMAND ${CMAKE_COMMAND} -E copy_directory ${CMAKE_SOURCE_DIR}/data/namekb ${QV_KB_BUILD_DIR}
  COMMAND ${CMAKE_COMMAND} -E touch ${QV_KB_BUILD_DIR}/.copied
  DEPENDS ${QV_KB_FILES}
  COMMENT "Copying the name knowledge base into the build tree"
  VERBATIM)
add_custom_target(qvncoa_namekb ALL DEPENDS ${QV_KB_BUILD_DIR}/.copied)

# OUT: the knowledge base relative to the install folder FROM (bin, a Python
# folder, ...), then, when a build-tree program sits one level deeper than
# the top of the build tree, its path from there; ':'-separated.
function(qv_kb_relative OUT FROM)
  file(RELATIVE_PATH rel /qvroot/${FROM} /qvroot/${QV_KB_INSTALL_DIR})
  set(list ${rel})
  if(NOT rel STREQUAL "../${QV_KB_INSTALL_DIR}")
    list(APPEND list "../${QV_KB_INSTALL_DIR}")
  endif()
  string(REPLACE ";" ":" list "${list}")
  set(${OUT} "${list}" PARENT_SCOPE)
endfunction()
