# SPDX-License-Identifier: MIT
# What is installed on Windows, all in one folder that runs wherever it lies, and the two packages of it: a ZIP archive
# and an installer.
set(windows ${CMAKE_CURRENT_SOURCE_DIR}/windows)
install(TARGETS zephyrin-update RUNTIME DESTINATION .)
install(FILES ${windows}/qt.conf ${windows}/THIRD-PARTY.txt DESTINATION .)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION . RENAME LICENSE.txt)
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/docs/user-guide.md DESTINATION docs)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/images DESTINATION docs)

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
install(SCRIPT ${windows}/libraries.cmake)
if(MSVC)
    set(CMAKE_INSTALL_SYSTEM_RUNTIME_DESTINATION .)
    include(InstallRequiredSystemLibraries)
endif()

set(CPACK_GENERATOR ZIP NSIS)
set(CPACK_PROJECT_CONFIG_FILE ${windows}/generator.cmake)
set(CPACK_STRIP_FILES ${MINGW})
# The installer is made of the NSIS.template.in that lies there.
set(CPACK_MODULE_PATH ${windows})
set(CPACK_ZEPHYRIN_ICON ${PROJECT_SOURCE_DIR}/resources/zephyrin_ico.ico)
