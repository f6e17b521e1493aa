# `cpack -G DEB` in the build directory makes a Debian package of what cmake/Install.cmake
# installs. dpkg-shlibdeps works out Depends from the libraries the programs link, so the list
# stays right when a library is added; the rest are what the programs need at run time but do
# not link.
set(CPACK_PACKAGE_NAME brellow)
set(CPACK_PACKAGE_VENDOR "Brellow")
set(CPACK_PACKAGE_CONTACT "Brellow developers <brellow@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "live sound-cue (sting) player for theatre, radio and events")
set(CPACK_PACKAGE_DESCRIPTION
    "Brellow fires short audio cues, stings, live. A show is a set of pages, each a grid of\n"
    "stings with their own level, trims, fades, loop and hotkey. It runs as a desktop\n"
    "application, serves the same show to browsers with --serve, and comes with brellow-cli\n"
    "to build, check and render shows from a terminal.")
string(JOIN "" CPACK_PACKAGE_DESCRIPTION ${CPACK_PACKAGE_DESCRIPTION})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# HTTPS for update checks (loaded by GIO as a module, not linked); the package type's
# registration and icons are refreshed by these packages' own dpkg triggers.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "glib-networking")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "shared-mime-info, desktop-file-utils, hicolor-icon-theme, pulseaudio | pipewire-pulse")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "jackd2")

set(CPACK_GENERATOR DEB)
include(CPack)
