# One CPack setup for every package: `cpack` in a build tree makes a package of each of its
# components (PELLIX_PACKAGE_COMPONENTS).
set(CPACK_PACKAGE_NAME "${PELLIX_PACKAGE_NAME_full}")
set(CPACK_PACKAGE_VENDOR "Pellix")
set(CPACK_PACKAGE_CONTACT "Pellix <packages@pellix.ai>")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://pellix.ai")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "adds the Pellix agent to an OpenClaw installation")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
    GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(APPLE)
    include(macos/DiskImage.cmake)
else()
    set(CPACK_GENERATOR DEB)
    set(CPACK_DEB_COMPONENT_INSTALL ON)
    set(CPACK_COMPONENTS_ALL ${PELLIX_PACKAGE_COMPONENTS})
    # Debian shows the description as written: lines under 80 columns, an empty one between
    # paragraphs.
    set(description "\
Pellix watches AI agents for behavioural drift. This installer adds it to an
OpenClaw installation the user already has: it copies the agent into the
workspace, registers it in openclaw.json, and sets up its always-on service and
scheduled scanners as systemd user units.

")
    set(CPACK_DEBIAN_FULL_DESCRIPTION
        "${description}This package holds the installer window and its command line.")
    set(CPACK_DEBIAN_CLI_DESCRIPTION
        "${description}This package holds the command line alone, for servers: no Qt, no display.")
    foreach(component full cli)
        string(TOUPPER ${component} COMPONENT)
        set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME "${PELLIX_PACKAGE_NAME_${component}}")
        set(CPACK_DEBIAN_${COMPONENT}_FILE_NAME DEB-DEFAULT)
        set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION utils)
    endforeach()
    # The window's emblems are colour emoji, drawn by the system's emoji font.
    set(CPACK_DEBIAN_FULL_PACKAGE_RECOMMENDS "fonts-noto-color-emoji")
    # Both packages ship /usr/bin/pellix-installer.
    set(CPACK_DEBIAN_FULL_PACKAGE_CONFLICTS "${PELLIX_PACKAGE_NAME_cli}")
    set(CPACK_DEBIAN_FULL_PACKAGE_REPLACES "${PELLIX_PACKAGE_NAME_cli}")
    set(CPACK_DEBIAN_CLI_PACKAGE_CONFLICTS "${PELLIX_PACKAGE_NAME_full}")
    set(CPACK_DEBIAN_CLI_PACKAGE_REPLACES "${PELLIX_PACKAGE_NAME_full}")
    set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    # The installer runs every command through zsh; the agent's jobs run python3.
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "zsh, python3")
    set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
    set(CPACK_PELLIX_STRIP "${CMAKE_STRIP}")
    set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/debian/StripLikeDebian.cmake")
endif()

include(CPack)
