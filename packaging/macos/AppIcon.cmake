# The app's icon: pellix-installer.icns made from the scalable icon at build time (rsvg-convert
# for each size, then iconutil), placed in Contents/Resources.
function(pellix_add_app_icon target svg)
    find_program(PELLIX_RSVG_CONVERT rsvg-convert)
    find_program(PELLIX_ICONUTIL iconutil)
    if(NOT PELLIX_RSVG_CONVERT OR NOT PELLIX_ICONUTIL)
        message(STATUS "rsvg-convert (Homebrew: librsvg) or iconutil not found: the app has no icon")
        return()
    endif()
    set(iconset "${CMAKE_CURRENT_BINARY_DIR}/pellix-installer.iconset")
    set(icns "${CMAKE_CURRENT_BINARY_DIR}/pellix-installer.icns")
    set(renders)
    foreach(size 16 32 128 256 512)
        math(EXPR double "${size} * 2")
        list(APPEND renders
             COMMAND "${PELLIX_RSVG_CONVERT}" -w ${size} -h ${size}
                     -o "${iconset}/icon_${size}x${size}.png" "${svg}"
             COMMAND "${PELLIX_RSVG_CONVERT}" -w ${double} -h ${double}
                     -o "${iconset}/icon_${size}x${size}@2x.png" "${svg}")
    endforeach()
    add_custom_command(OUTPUT "${icns}"
        COMMAND ${CMAKE_COMMAND} -E make_directory "${iconset}"
        ${renders}
        COMMAND "${PELLIX_ICONUTIL}" -c icns -o "${icns}" "${iconset}"
        DEPENDS "${svg}" VERBATIM)
    target_sources(${target} PRIVATE "${icns}")
    set_source_files_properties("${icns}" PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
    set_target_properties(${target} PROPERTIES MACOSX_BUNDLE_ICON_FILE pellix-installer.icns)
endfunction()
