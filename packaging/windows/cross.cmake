# SPDX-License-Identifier: MIT
# Installs on another system what the program needs of Qt and of the tool chain for Windows.
install(FILES ${windows}/qt.conf DESTINATION .)

# Qt loads these by itself: no program names them. Which style there is depends on Qt's version.
set(plugins)
foreach(plugin platforms/QWindowsIntegrationPlugin styles/QWindowsVistaStylePlugin styles/QModernWindowsStylePlugin
        imageformats/QICOPlugin imageformats/QGifPlugin)
    get_filename_component(target ${plugin} NAME)
    get_filename_component(folder ${plugin} DIRECTORY)
    if(TARGET Qt6::${target})
        install(FILES $<TARGET_FILE:Qt6::${target}> DESTINATION ${folder})
        list(APPEND plugins $<TARGET_FILE:Qt6::${target}>)
    endif()
endforeach()

# The libraries that these and the program name: Qt's, and those of the tool chain.
get_filename_component(compiler_folder ${CMAKE_CXX_COMPILER} DIRECTORY)
set(library_folders $<TARGET_FILE_DIR:Qt6::Core> ${compiler_folder} ${CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES})
install(CODE "
    set(program \"$<TARGET_FILE:zephyrin-update>\")
    set(plugins \"${plugins}\")
    set(library_folders \"${library_folders}\")
    set(scratch_folder \"${CMAKE_CURRENT_BINARY_DIR}/libraries\")")
install(SCRIPT ${windows}/crosslibraries.cmake)
