# SPDX-License-Identifier: MIT
# Run by cpack when the package and the one of its debug symbols have been made. In the second one's list of sums cpack names
# the file by its path on the machine that built it: now by where it will be.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
    if(package MATCHES "-dbgsym_.*\\.ddeb$")
        set(folder ${CPACK_TOPLEVEL_DIRECTORY}/symbols)
        file(REMOVE_RECURSE ${folder})
        execute_process(COMMAND dpkg-deb --raw-extract ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
        file(READ ${folder}/DEBIAN/md5sums sums)
        string(REGEX REPLACE "  [^\n]*/(usr/lib/debug/)" "  \\1" sums "${sums}")
        file(WRITE ${folder}/DEBIAN/md5sums "${sums}")
        execute_process(COMMAND dpkg-deb --root-owner-group -Zgzip --build ${folder} ${package}
            OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()
