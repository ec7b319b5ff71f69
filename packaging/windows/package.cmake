# SPDX-License-Identifier: MIT
# What is installed on Windows, all in one folder that runs wherever it lies, and the two packages of it: a ZIP archive
# and an installer.
set(windows ${CMAKE_CURRENT_SOURCE_DIR}/windows)
install(TARGETS zephyrin-update RUNTIME DESTINATION .)
install(FILES ${windows}/THIRD-PARTY.txt DESTINATION .)
install(DIRECTORY ${windows}/licences DESTINATION .)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION . RENAME LICENSE.txt)
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/docs/user-guide.md ${sbom} DESTINATION docs)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/images DESTINATION docs)
if(guide_page)
    install(FILES ${guide_page} DESTINATION docs)
endif()

# Qt's libraries and plug-ins, and those of the tool chain. Qt's own script for this has a tool that runs on Windows.
if(CMAKE_HOST_WIN32)
    install(CODE "set(QT_DEPLOY_BIN_DIR .)\nset(QT_DEPLOY_PLUGINS_DIR .)")
    qt_generate_deploy_app_script(TARGET zephyrin-update FILENAME_VARIABLE deploy_script)
    install(SCRIPT ${deploy_script})
    # Its tool brings these along unless it is told otherwise, which only later versions of the script can do.
    install(CODE "
        set(folder \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
        file(GLOB unused \"\${folder}/vc_redist*.exe\")
        file(REMOVE_RECURSE \"\${folder}/opengl32sw.dll\" \"\${folder}/D3Dcompiler_47.dll\" \"\${folder}/translations\"
            \${unused})")
else()
    include(${windows}/cross.cmake)
endif()
if(MSVC)
    set(CMAKE_INSTALL_SYSTEM_RUNTIME_DESTINATION .)
    include(InstallRequiredSystemLibraries)
endif()

set(CPACK_GENERATOR ZIP NSIS)
set(CPACK_STRIP_FILES ${MINGW})
if(MSVC)
    list(APPEND CPACK_ZEPHYRIN_BESIDE ${PROJECT_BINARY_DIR}/zephyrin-update.pdb)
endif()
# The installer is made of the NSIS.template.in that lies there.
set(CPACK_MODULE_PATH ${windows})
set(CPACK_ZEPHYRIN_ICON ${PROJECT_SOURCE_DIR}/resources/zephyrin_ico.ico)
