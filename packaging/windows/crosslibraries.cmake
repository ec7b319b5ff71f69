# SPDX-License-Identifier: MIT
# Installs the libraries that `program` and `plugins` need, from `library_folders`. Windows has its own.
foreach(needed platforms/qwindows imageformats/qico) # without them, no window and no icon
    if(NOT plugins MATCHES ${needed})
        message(FATAL_ERROR "This Qt lacks the plug-in ${needed}")
    endif()
endforeach()

# The names are looked for in lower case, whatever the files are called.
file(REMOVE_RECURSE ${scratch_folder})
file(MAKE_DIRECTORY ${scratch_folder})
foreach(folder ${library_folders})
    file(GLOB libraries ${folder}/*.dll)
    foreach(library ${libraries})
        get_filename_component(name ${library} NAME)
        string(TOLOWER ${name} name)
        if(NOT EXISTS ${scratch_folder}/${name})
            file(CREATE_LINK ${library} ${scratch_folder}/${name} SYMBOLIC)
        endif()
    endforeach()
endforeach()

set(CMAKE_GET_RUNTIME_DEPENDENCIES_PLATFORM windows+pe)
file(GET_RUNTIME_DEPENDENCIES
    EXECUTABLES ${program}
    MODULES ${plugins}
    DIRECTORIES ${scratch_folder}
    RESOLVED_DEPENDENCIES_VAR libraries
    UNRESOLVED_DEPENDENCIES_VAR unresolved)
# All of Windows' own are among the unresolved ones; none of them has such a name.
list(FILTER unresolved INCLUDE REGEX "^([Qq][Tt]|lib)")
if(unresolved)
    message(FATAL_ERROR "Libraries are missing: ${unresolved}")
endif()
foreach(library ${libraries})
    file(REAL_PATH ${library} library)
    file(INSTALL ${library} DESTINATION ${CMAKE_INSTALL_PREFIX})
endforeach()
