# SPDX-License-Identifier: MIT
# Gives the files that are about to be packed what Debian asks for.

# Whatever the umask was when the folders were made.
file(CHMOD_RECURSE ${CPACK_TEMPORARY_DIRECTORY}/usr DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# Only now the files are where they will be: below /usr.
set(manpage ${CPACK_TEMPORARY_DIRECTORY}/usr/share/man/man1/zephyrin-update.1)
set(manpage_source ${CMAKE_CURRENT_LIST_DIR}/zephyrin-update.1.in)
set(doc /usr/share/doc/zephyrin-update)
include(${CMAKE_CURRENT_LIST_DIR}/manpage.cmake)

# A changelog of the package, and compressed texts without a time stamp: the same sources make the same files.
set(doc ${CPACK_TEMPORARY_DIRECTORY}/usr/share/doc/zephyrin-update)
file(RENAME ${doc}/CHANGELOG.md ${doc}/changelog)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog ${doc}/changelog.Debian COPYONLY NO_SOURCE_PERMISSIONS)
execute_process(
    COMMAND gzip --best --no-name ${doc}/changelog ${doc}/changelog.Debian ${manpage}
    COMMAND_ERROR_IS_FATAL ANY)
