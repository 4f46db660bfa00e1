# The files that make Corvane a macOS application bundle. They are configured on every system,
# so that the Linux build checks the very property lists that a Mac build puts into Corvane.app.
set(CORVANE_BUNDLE_EXECUTABLE Corvane)
set(CORVANE_BUNDLE_ICON Corvane)
configure_file(${PROJECT_SOURCE_DIR}/data/macos/Info.plist.in
    ${PROJECT_BINARY_DIR}/macos/Info.plist @ONLY)
set(CORVANE_INFO_PLIST ${PROJECT_BINARY_DIR}/macos/Info.plist)
# Run at login: the launch agent that ServiceManagement registers from inside the bundle. Its
# file name is what the app asks SMAppService for.
set(CORVANE_RUN_AGENT_PLIST ${PROJECT_BINARY_DIR}/macos/${CORVANE_BUNDLE_IDENTIFIER}.run.plist)
configure_file(${PROJECT_SOURCE_DIR}/data/macos/RunAtLogin.plist.in ${CORVANE_RUN_AGENT_PLIST}
    @ONLY)
# Hardened runtime: without this entitlement every Apple event to Terminal and iTerm2 is refused.
set(CORVANE_ENTITLEMENTS ${PROJECT_SOURCE_DIR}/data/macos/Corvane.entitlements)

# Puts the icon, made from the SVG artwork at build time, and the login agent into `target`'s
# bundle. QuickLook renders the SVG (sips reads raster images only), sips scales it to each size
# of an iconset, and iconutil packs the set.
function(corvane_add_bundle_files target)
    if(NOT APPLE)
        return()
    endif()
    find_program(CORVANE_QLMANAGE qlmanage REQUIRED)
    find_program(CORVANE_SIPS sips REQUIRED)
    find_program(CORVANE_ICONUTIL iconutil REQUIRED)
    set(svg ${PROJECT_SOURCE_DIR}/data/corvane.svg)
    set(work ${PROJECT_BINARY_DIR}/macos/icon)
    set(iconset ${work}/${CORVANE_BUNDLE_ICON}.iconset)
    set(icns ${PROJECT_BINARY_DIR}/macos/${CORVANE_BUNDLE_ICON}.icns)
    set(scale)
    foreach(size 16 32 128 256 512)
        math(EXPR double "${size} * 2")
        list(APPEND scale
            COMMAND ${CORVANE_SIPS} -z ${size} ${size} ${work}/corvane.svg.png
                    --out ${iconset}/icon_${size}x${size}.png
            COMMAND ${CORVANE_SIPS} -z ${double} ${double} ${work}/corvane.svg.png
                    --out ${iconset}/icon_${size}x${size}@2x.png)
    endforeach()
    add_custom_command(OUTPUT ${icns}
        COMMAND ${CMAKE_COMMAND} -E rm -rf ${work}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${iconset}
        COMMAND ${CORVANE_QLMANAGE} -t -s 1024 -o ${work} ${svg}
        ${scale}
        COMMAND ${CORVANE_ICONUTIL} -c icns -o ${icns} ${iconset}
        DEPENDS ${svg}
        COMMENT "Making ${CORVANE_BUNDLE_ICON}.icns from corvane.svg"
        VERBATIM)
    target_sources(${target} PRIVATE ${icns} ${CORVANE_RUN_AGENT_PLIST})
    set_source_files_properties(${icns} PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
    set_source_files_properties(${CORVANE_RUN_AGENT_PLIST} PROPERTIES
        MACOSX_PACKAGE_LOCATION Library/LaunchAgents)
endfunction()
