# The files that make Corvane a macOS application bundle. They are configured on every system,
# so that the Linux build checks the very Info.plist that a Mac build puts into Corvane.app.
set(CORVANE_BUNDLE_EXECUTABLE Corvane)
configure_file(${PROJECT_SOURCE_DIR}/data/macos/Info.plist.in
    ${PROJECT_BINARY_DIR}/macos/Info.plist @ONLY)
set(CORVANE_INFO_PLIST ${PROJECT_BINARY_DIR}/macos/Info.plist)
# Hardened runtime: without this entitlement every Apple event to Terminal and iTerm2 is refused.
set(CORVANE_ENTITLEMENTS ${PROJECT_SOURCE_DIR}/data/macos/Corvane.entitlements)
