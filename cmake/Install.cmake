# SPDX-License-Identifier: GPL-3.0-or-later
# What `cmake --install` puts where: the two executables and the files a desktop looks for
# (launcher, icons, software-centre entry, manual pages, completion, bus service).
include(GNUInstallDirs)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

install(TARGETS vorn RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# Not a command of its own: the studio runs it from ../libexec/vorn beside its bin folder.
install(TARGETS vorncut RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/vorn)

install(FILES data/vorn.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES data/org.vorn.Vorn.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
configure_file(data/org.vorn.Vorn.service.in org.vorn.Vorn.service @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/org.vorn.Vorn.service DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/services)
install(FILES data/vorn.bash-completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME vorn)

# The icon: the drawing itself, a picture at each size desktops ask for (rendered from the
# drawing, so the two never differ), and the one-colour glyph panels recolour.
set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
install(FILES data/vorn.svg DESTINATION ${icons}/scalable/apps)
install(FILES data/vorn-symbolic.svg DESTINATION ${icons}/symbolic/apps)
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
set(pictures)
foreach(size 16 22 24 32 48 64 128 256 512)
  set(picture ${PROJECT_BINARY_DIR}/icons/${size}/vorn.png)
  add_custom_command(OUTPUT ${picture}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/icons/${size}
    COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} -o ${picture} ${PROJECT_SOURCE_DIR}/data/vorn.svg
    DEPENDS data/vorn.svg VERBATIM)
  list(APPEND pictures ${picture})
  install(FILES ${picture} DESTINATION ${icons}/${size}x${size}/apps)
endforeach()
add_custom_target(vorn_icons ALL DEPENDS ${pictures})

# Manual pages, compressed without a name or time stamp so the same page gives the same bytes.
set(pages)
foreach(page vorn.1 vorncut.1)
  set(packed ${PROJECT_BINARY_DIR}/man/${page}.gz)
  add_custom_command(OUTPUT ${packed}
    COMMAND ${CMAKE_COMMAND} -E copy ${PROJECT_SOURCE_DIR}/data/man/${page} ${PROJECT_BINARY_DIR}/man/${page}
    COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/man/${page}
    DEPENDS data/man/${page} VERBATIM)
  list(APPEND pages ${packed})
  install(FILES ${packed} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
add_custom_target(vorn_manual ALL DEPENDS ${pages})
