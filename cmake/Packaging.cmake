# Install layout of the desktop files and the .deb package.
include(GNUInstallDirs)

install(FILES ${PROJECT_SOURCE_DIR}/data/corvane.desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${PROJECT_SOURCE_DIR}/data/corvane.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME corvane)
set(CPACK_PACKAGE_VENDOR "Corvane")
set(CPACK_PACKAGE_CONTACT "Corvane maintainers <maintainers@corvane.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Opens your usual set of terminal windows with one click")
set(CPACK_PACKAGE_DESCRIPTION
    "A tray application that keeps a list of terminal windows, each with its startup commands,\n and opens them all in the terminal of your choice.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Debian ships binaries without symbols; a Debug build would otherwise put ~12 MB into the .deb.
set(CPACK_STRIP_FILES ON)
# Linked libraries come from dpkg-shlibdeps; plugins are loaded at run time and so are invisible to
# it: without libqt6svg6 the SVG icons render empty, without a terminal there is nothing to open.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6svg6")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils, kitty | alacritty | x-terminal-emulator")

include(CPack)
