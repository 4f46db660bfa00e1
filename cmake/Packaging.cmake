if(APPLE)
    # Corvane.app with Qt copied in by macdeployqt, signed and checked, in a disk image.
    find_program(CORVANE_MACDEPLOYQT macdeployqt
        HINTS "${QT6_INSTALL_PREFIX}/${QT6_INSTALL_BINS}" "${Qt6_DIR}/../../../bin")
    find_program(CORVANE_CODESIGN codesign REQUIRED)
    set(CORVANE_CODESIGN_IDENTITY "-" CACHE STRING
        "codesign identity for Corvane.app: \"-\" signs ad hoc, for this Mac only; a Developer ID adds the hardened runtime and a timestamp")
    configure_file(${PROJECT_SOURCE_DIR}/cmake/DeployMacBundle.cmake.in
        ${PROJECT_BINARY_DIR}/macos/DeployMacBundle.cmake @ONLY)
    install(SCRIPT ${PROJECT_BINARY_DIR}/macos/DeployMacBundle.cmake)

    set(CPACK_GENERATOR DragNDrop)
    set(CPACK_PACKAGE_NAME Corvane)
    set(CPACK_PACKAGE_VENDOR "Corvane")
    set(CPACK_DMG_VOLUME_NAME Corvane)
    set(CPACK_PACKAGE_FILE_NAME "Corvane-${PROJECT_VERSION}")
    include(CPack)
    return()
endif()

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
