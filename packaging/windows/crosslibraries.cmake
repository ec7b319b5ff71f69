# SPDX-License-Identifier: MIT
# Installs the libraries that `program` and `plugins` need, from `library_folders`. Those of Windows itself stay where
# they are, and a Microsoft compiler's are installed with the program's own files.
foreach(needed platforms/qwindows imageformats/qico) # without them, no window and no icon
    if(NOT plugins MATCHES ${needed})
        message(FATAL_ERROR "This Qt lacks the plug-in ${needed}")
    endif()
endforeach()
# The names are looked for in lower case, whatever the files are called.
if(CMAKE_HOST_UNIX)
    file(REMOVE_RECURSE ${scratch_folder})
    foreach(folder ${library_folders})
        file(GLOB libraries ${folder}/*.dll)
        foreach(library ${libraries})
            get_filename_component(name ${library} NAME)
            string(TOLOWER ${name} name)
            if(NOT EXISTS ${scratch_folder}/${name})
                file(MAKE_DIRECTORY ${scratch_folder})
                file(CREATE_LINK ${library} ${scratch_folder}/${name} SYMBOLIC)
            endif()
        endforeach()
    endforeach()
    set(library_folders ${scratch_folder})
endif()
set(CMAKE_GET_RUNTIME_DEPENDENCIES_PLATFORM windows+pe)
file(GET_RUNTIME_DEPENDENCIES
    EXECUTABLES ${program}
    MODULES ${plugins}
    DIRECTORIES ${library_folders}
    PRE_EXCLUDE_REGEXES "^api-ms-" "^ext-ms-" "^(msvcp|vcruntime|concrt|ucrtbase)"
    POST_EXCLUDE_REGEXES "[/\\][Ww][Ii][Nn][Dd][Oo][Ww][Ss][/\\][Ss][Yy][Ss][Tt][Ee][Mm]32[/\\]"
    RESOLVED_DEPENDENCIES_VAR libraries
    UNRESOLVED_DEPENDENCIES_VAR unresolved)
# Built on another system, all of Windows' own are among these; none of them has such a name.
list(FILTER unresolved INCLUDE REGEX "^([Qq][Tt]|lib)")
if(unresolved)
    message(FATAL_ERROR "Libraries are missing: ${unresolved}")
endif()
foreach(library ${libraries})
    file(REAL_PATH ${library} library)
    file(INSTALL ${library} DESTINATION ${CMAKE_INSTALL_PREFIX})
endforeach()
