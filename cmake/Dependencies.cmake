# SPDX-License-Identifier: GPL-3.0-or-later
# The system libraries behind the capture, render and record pipeline (Debian 12 packages,
# installed by tools/setup.sh). Each becomes an imported target that vorncore links.
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET
  libavcodec libavformat libavutil libswscale libswresample libavfilter)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET
  xcb xcb-shm xcb-xfixes xcb-randr xcb-damage xcb-shape xcb-xtest xcb-composite)
# The desktop-wide services: grabbed keys, raw clicks, the window manager's window list.
pkg_check_modules(XCB_DESKTOP REQUIRED IMPORTED_TARGET xcb-xinput xcb-keysyms xcb-ewmh)
# Wayland: the screen through the desktop portal (on the session bus) and PipeWire.
pkg_check_modules(PIPEWIRE REQUIRED IMPORTED_TARGET libpipewire-0.3)
pkg_check_modules(SDBUS REQUIRED IMPORTED_TARGET libsystemd)
pkg_check_modules(PULSE REQUIRED IMPORTED_TARGET libpulse)
# Playing a take back in the phone.
pkg_check_modules(PULSE_SIMPLE REQUIRED IMPORTED_TARGET libpulse-simple)
pkg_check_modules(UDEV REQUIRED IMPORTED_TARGET libudev)
pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg)
# Faces (objdetect) and the frame suggestion's saliency (core's DFT): none of opencv-contrib.
find_package(OpenCV 4 REQUIRED COMPONENTS core imgproc objdetect)

# libyuv ships no pkg-config file on Debian 12.
find_path(LIBYUV_INCLUDE_DIR libyuv.h REQUIRED)
find_library(LIBYUV_LIBRARY yuv REQUIRED)
add_library(libyuv::libyuv UNKNOWN IMPORTED)
set_target_properties(libyuv::libyuv PROPERTIES
  IMPORTED_LOCATION "${LIBYUV_LIBRARY}"
  INTERFACE_INCLUDE_DIRECTORIES "${LIBYUV_INCLUDE_DIR}")

# How the reel engine says a script word the recogniser's dictionary lacks.
pkg_check_modules(ESPEAK REQUIRED IMPORTED_TARGET espeak-ng)

# The reel engine's speech recogniser and its US English model (pocketsphinx-en-us).
# Debian 12's pocketsphinx.pc names /usr/include/sphinxbase, which the package does not ship:
# the target keeps only the include folders that exist.
pkg_check_modules(SPHINX REQUIRED pocketsphinx)
pkg_get_variable(SPHINX_MODEL_DIR pocketsphinx modeldir)
set(sphinx_includes)
foreach(dir IN LISTS SPHINX_INCLUDE_DIRS)
  if(EXISTS ${dir})
    list(APPEND sphinx_includes ${dir})
  endif()
endforeach()
add_library(sphinx::sphinx INTERFACE IMPORTED)
set_target_properties(sphinx::sphinx PROPERTIES
  INTERFACE_INCLUDE_DIRECTORIES "${sphinx_includes}"
  INTERFACE_LINK_LIBRARIES "${SPHINX_LINK_LIBRARIES}")
