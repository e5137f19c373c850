# SPDX-License-Identifier: GPL-3.0-or-later
cmake_policy(VERSION 3.25)
# Installs the build into a scratch prefix and checks that a desktop finds Vorn there.
set(prefix ${BUILD_DIR}/install-check)
file(REMOVE_RECURSE ${prefix})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE failed OUTPUT_QUIET)
if(failed)
  message(FATAL_ERROR "cmake --install failed")
endif()
foreach(file bin/vorn libexec/vorn/vorncut share/applications/vorn.desktop
             share/metainfo/org.vorn.Vorn.metainfo.xml share/dbus-1/services/org.vorn.Vorn.service
             share/icons/hicolor/scalable/apps/vorn.svg share/icons/hicolor/symbolic/apps/vorn-symbolic.svg
             share/icons/hicolor/48x48/apps/vorn.png share/icons/hicolor/256x256/apps/vorn.png
             share/man/man1/vorn.1.gz share/man/man1/vorncut.1.gz
             share/bash-completion/completions/vorn share/doc/vorn/copyright)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
file(STRINGS ${prefix}/share/applications/vorn.desktop entry)
foreach(line "Exec=vorn" "Icon=vorn" "Type=Application" "Actions=Record;" "Exec=vorn --toggle")
  if(NOT line IN_LIST entry)
    message(FATAL_ERROR "vorn.desktop lacks ${line}")
  endif()
endforeach()
# What desktops check before they list the entry (a key they don't know hides it on some).
execute_process(COMMAND desktop-file-validate ${prefix}/share/applications/vorn.desktop
                RESULT_VARIABLE invalid OUTPUT_VARIABLE problems ERROR_VARIABLE problems)
if(invalid OR problems)
  message(FATAL_ERROR "vorn.desktop is not valid: ${problems}")
endif()
# What software centres check before they list Vorn.
execute_process(COMMAND appstreamcli validate --no-net ${prefix}/share/metainfo/org.vorn.Vorn.metainfo.xml
                RESULT_VARIABLE invalid OUTPUT_VARIABLE problems ERROR_VARIABLE problems)
if(invalid)
  message(FATAL_ERROR "the AppStream entry is not valid: ${problems}")
endif()
file(REMOVE_RECURSE ${prefix})
