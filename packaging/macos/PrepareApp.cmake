# Runs inside cpack after the app is staged and before the disk image is made: copies the Qt
# frameworks into the app, then signs it for the hardened runtime when PELLIX_CODESIGN_IDENTITY
# is set (a "Developer ID Application: ..." identity in the keychain). Notarisation follows on
# the finished image, in scripts/package.
file(GLOB_RECURSE info_plists LIST_DIRECTORIES false
     "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.app/Contents/Info.plist")
list(LENGTH info_plists app_count)
if(NOT app_count EQUAL 1)
    message(FATAL_ERROR "expected one app in ${CPACK_TEMPORARY_INSTALL_DIRECTORY}, found ${app_count}")
endif()
get_filename_component(app "${info_plists}" DIRECTORY)
get_filename_component(app "${app}" DIRECTORY)

if(NOT CPACK_PELLIX_MACDEPLOYQT)
    message(FATAL_ERROR "macdeployqt not found: the app would load Qt from this machine's Homebrew")
endif()
set(identity "$ENV{PELLIX_CODESIGN_IDENTITY}")
set(deploy_arguments "${app}")
if(identity)
    list(APPEND deploy_arguments -hardened-runtime -timestamp "-codesign=${identity}")
endif()
execute_process(COMMAND "${CPACK_PELLIX_MACDEPLOYQT}" ${deploy_arguments} COMMAND_ERROR_IS_FATAL ANY)

if(identity)
    execute_process(COMMAND codesign --force --options runtime --timestamp --sign "${identity}"
                            "${app}" COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND codesign --verify --deep --strict --verbose=2 "${app}"
                    COMMAND_ERROR_IS_FATAL ANY)
else()
    message(STATUS "PELLIX_CODESIGN_IDENTITY not set: the app is not signed")
endif()
