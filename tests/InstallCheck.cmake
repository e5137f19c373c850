cmake_policy(VERSION 3.25)
# Installs the build into a scratch prefix and checks that a desktop finds Vorn there.
set(prefix ${BUILD_DIR}/install-check)
file(REMOVE_RECURSE ${prefix})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE failed OUTPUT_QUIET)
if(failed)
  message(FATAL_ERROR "cmake --install failed")
endif()
foreach(file bin/vorn bin/vorncut share/applications/vorn.desktop share/icons/hicolor/scalable/apps/vorn.svg
             share/dbus-1/services/org.vorn.Vorn.service)
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
file(REMOVE_RECURSE ${prefix})
