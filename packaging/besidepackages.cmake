# SPDX-License-Identifier: MIT
# Run by cpack when packages have been made and are about to be copied to their place: lays beside them what the program
# is made of and its debug symbols, where they are a file of their own, and SHA256SUMS of all that, as sha256sum writes it.
set(files ${CPACK_PACKAGE_FILES})
foreach(file IN LISTS CPACK_ZEPHYRIN_BESIDE)
    file(COPY ${file} DESTINATION ${CPACK_PACKAGE_DIRECTORY})
    list(APPEND files ${file})
endforeach()

set(lines "")
set(names "")
foreach(file IN LISTS files)
    file(SHA256 ${file} sum)
    get_filename_component(name ${file} NAME)
    list(APPEND names ${name})
    list(APPEND lines "${sum}  ${name}")
endforeach()

# A package of another kind was made before.
set(sums ${CPACK_PACKAGE_DIRECTORY}/SHA256SUMS)
if(EXISTS ${sums})
    file(STRINGS ${sums} older)
    foreach(line IN LISTS older)
        string(SUBSTRING ${line} 66 -1 name) # behind 64 digits and two blanks
        if(NOT name IN_LIST names AND EXISTS ${CPACK_PACKAGE_DIRECTORY}/${name})
            list(APPEND lines ${line})
        endif()
    endforeach()
endif()
list(SORT lines)
list(JOIN lines "\n" lines)
file(WRITE ${sums} "${lines}\n")
