# SPDX-License-Identifier: GPL-3.0-or-later
# vorn_floor(name [USES folder...] [EXCLUDE file...] [LINKS target...])
# Builds src/<name> (its subfolders too: one per backend under platform/) into the static library
# vorn_<name>, linked to the libraries of the folders
# it USES. Every `#include "folder/…"` in src/<name> must name the folder itself or one it may
# reach through USES; anything else (an include upward or sideways) stops the configure step.
function(vorn_floor name)
  cmake_parse_arguments(F "" "" "USES;EXCLUDE;LINKS" ${ARGN})
  set(reach ${name})
  foreach(used IN LISTS F_USES)
    list(APPEND reach ${used} ${VORN_REACH_${used}})
  endforeach()
  list(REMOVE_DUPLICATES reach)
  set(VORN_REACH_${name} ${reach} PARENT_SCOPE)

  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/src/${name}/*.cpp ${PROJECT_SOURCE_DIR}/src/${name}/*.h)
  foreach(excluded IN LISTS F_EXCLUDE)
    list(REMOVE_ITEM sources ${PROJECT_SOURCE_DIR}/src/${name}/${excluded})
  endforeach()
  foreach(file IN LISTS sources)
    file(STRINGS ${file} includes REGEX "^#include \"[A-Za-z]+/")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^#include \"([A-Za-z]+)/.*" "\\1" folder "${line}")
      if(NOT folder IN_LIST reach)
        message(FATAL_ERROR "${file}: ${name}/ may not include ${folder}/ (reaches: ${reach})")
      endif()
    endforeach()
  endforeach()

  add_library(vorn_${name} STATIC ${sources})
  target_include_directories(vorn_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  list(TRANSFORM F_USES PREPEND vorn_ OUTPUT_VARIABLE used_libraries)
  target_link_libraries(vorn_${name} PUBLIC ${used_libraries} ${F_LINKS})
endfunction()
