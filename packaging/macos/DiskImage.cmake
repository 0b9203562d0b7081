# The macOS disk image: the app (Qt frameworks copied in by macdeployqt, then signed when
# PELLIX_CODESIGN_IDENTITY names a Developer ID) beside a link to /Applications.
set(CPACK_GENERATOR DragNDrop)
set(CPACK_PACKAGE_FILE_NAME "Pellix-Installer-${PROJECT_VERSION}")
set(CPACK_DMG_VOLUME_NAME "Pellix Installer")
set(CPACK_DMG_FORMAT UDZO)
find_program(PELLIX_MACDEPLOYQT macdeployqt HINTS "${Qt6_DIR}/../../../bin")
set(CPACK_PELLIX_MACDEPLOYQT "${PELLIX_MACDEPLOYQT}")
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/PrepareApp.cmake")
