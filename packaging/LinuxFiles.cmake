# Files a Linux package installs under /usr/share. Compressed files use gzip -9n (no name, no
# time stamp), as Debian's tools do.
include(GNUInstallDirs)
find_program(PELLIX_GZIP gzip REQUIRED)
set(staged "${CMAKE_CURRENT_BINARY_DIR}/staged")
set(generated_files)

function(pellix_gzip_file source destination)
    add_custom_command(OUTPUT "${destination}"
        COMMAND ${CMAKE_COMMAND} -E copy "${source}" "${destination}.tmp"
        COMMAND "${PELLIX_GZIP}" -9nf "${destination}.tmp"
        COMMAND ${CMAKE_COMMAND} -E rename "${destination}.tmp.gz" "${destination}"
        DEPENDS "${source}" VERBATIM)
endfunction()

configure_file(pellix-installer.1.in "${staged}/pellix-installer.1" @ONLY)
pellix_gzip_file("${staged}/pellix-installer.1" "${staged}/pellix-installer.1.gz")
file(CONFIGURE OUTPUT "${staged}/changelog" CONTENT "${PELLIX_DEBIAN_CHANGELOG}" @ONLY)
pellix_gzip_file("${staged}/changelog" "${staged}/changelog.gz")
list(APPEND generated_files "${staged}/pellix-installer.1.gz" "${staged}/changelog.gz")

# What both packages carry, each under its own package name where Debian wants one.
foreach(component IN LISTS PELLIX_PACKAGE_COMPONENTS)
    set(package "${PELLIX_PACKAGE_NAME_${component}}")
    install(FILES "${staged}/pellix-installer.1.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1"
            COMPONENT ${component})
    install(FILES pellix-installer.bash-completion RENAME pellix-installer
            DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions"
            COMPONENT ${component})
    install(FILES debian/copyright "${staged}/changelog.gz"
            DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}" COMPONENT ${component})
    install(FILES debian/${package}.lintian-overrides RENAME ${package}
            DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" COMPONENT ${component})
endforeach()

# The window's own files, in the full package only.
if("full" IN_LIST PELLIX_PACKAGE_COMPONENTS)
    configure_file(ai.pellix.installer.metainfo.xml.in "${staged}/ai.pellix.installer.metainfo.xml"
                   @ONLY)
    install(FILES ai.pellix.installer.desktop DESTINATION "${CMAKE_INSTALL_DATADIR}/applications"
            COMPONENT full)
    install(FILES "${staged}/ai.pellix.installer.metainfo.xml"
            DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo" COMPONENT full)
    install(FILES "${PELLIX_ICON_SVG}"
            DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps" COMPONENT full)
    find_program(PELLIX_RSVG_CONVERT rsvg-convert)
    if(PELLIX_RSVG_CONVERT)
        foreach(size 16 24 32 48 64 128 256)
            set(png "${staged}/icons/${size}x${size}/pellix-installer.png")
            add_custom_command(OUTPUT "${png}"
                COMMAND ${CMAKE_COMMAND} -E make_directory "${staged}/icons/${size}x${size}"
                COMMAND "${PELLIX_RSVG_CONVERT}" -w ${size} -h ${size} -o "${png}"
                        "${PELLIX_ICON_SVG}"
                DEPENDS "${PELLIX_ICON_SVG}" VERBATIM)
            list(APPEND generated_files "${png}")
            install(FILES "${png}"
                    DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps"
                    COMPONENT full)
        endforeach()
    else()
        message(STATUS "rsvg-convert not found (Debian: librsvg2-bin): the package's icon is the "
                       "scalable one alone, without PNG sizes")
    endif()
endif()

add_custom_target(pellix_packaging_files ALL DEPENDS ${generated_files})
