# Runs inside cpack once the files are staged: takes the compiler's .comment and .note sections
# out of the binaries, as Debian's own packaging (dh_strip) does; CPack's strip leaves them.
# Each component is staged in a folder of its own below the temporary directory.
file(GLOB binaries "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/bin/*"
     "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/bin/*")
foreach(binary IN LISTS binaries)
    execute_process(COMMAND "${CPACK_PELLIX_STRIP}" --remove-section=.comment
                            --remove-section=.note "${binary}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
