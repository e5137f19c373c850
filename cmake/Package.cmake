# SPDX-License-Identifier: GPL-3.0-or-later
# The Debian package (`cpack -G DEB` in a Release build for /usr; tools/package.sh): what
# cmake/Install.cmake installs, with binaries stripped, the Debian documents, and dependencies
# from dpkg-shlibdeps plus the data the program loads at run time.
set(VORN_MAINTAINER "The Vorn developers <vorn@packages.invalid>"
    CACHE STRING "The package's Maintainer field")

# Debian's two documents for every package: the licence and the changelog (compressed like
# the manual pages).
set(docs ${CMAKE_INSTALL_DATADIR}/doc/vorn)
install(FILES data/copyright DESTINATION ${docs})
configure_file(data/changelog.in ${PROJECT_BINARY_DIR}/doc/changelog @ONLY)
add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/doc/changelog.gz
  COMMAND gzip -9nkf ${PROJECT_BINARY_DIR}/doc/changelog
  DEPENDS ${PROJECT_BINARY_DIR}/doc/changelog VERBATIM)
add_custom_target(vorn_changelog ALL DEPENDS ${PROJECT_BINARY_DIR}/doc/changelog.gz)
install(FILES ${PROJECT_BINARY_DIR}/doc/changelog.gz DESTINATION ${docs})

set(CPACK_PACKAGE_NAME vorn)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${VORN_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "recording studio for short vertical videos")
# Debian's lines are at most 80 characters.
set(CPACK_PACKAGE_DESCRIPTION
"Vorn frames a region of the screen, records it with the camera and the
microphone, and composes them live into a 1080 x 1920 portrait video, shown in
a phone-shaped monitor with the platform's interface drawn over it. Its reel
engine cuts a captioned reel from a take on the computer, from what was said.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded at run time, so dpkg-shlibdeps cannot see them: the speech model, the captions'
# font, Qt's X11 platform plugin, the SVG icon plugins.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "pocketsphinx-en-us, fonts-dejavu-core, qt6-qpa-plugins, libqt6svg6")
# Opening folders and links (xdg-open), a sound server, the Wayland platform plugin and the
# desktop portal that shares the screen there, sending reels to a phone.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils, pulseaudio | pipewire-pulse, qt6-wayland, xdg-desktop-portal")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "kdeconnect")
include(CPack)
