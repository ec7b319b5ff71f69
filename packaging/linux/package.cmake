# SPDX-License-Identifier: MIT
# What `cmake --install` lays down on Linux, and the Debian package of it.
set(package zephyrin-update)
if(NOT CMAKE_INSTALL_DOCDIR)
    set(CMAKE_INSTALL_DOCDIR share/doc/${package})
endif()
include(GNUInstallDirs)

set(linux ${CMAKE_CURRENT_SOURCE_DIR}/linux)
set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
install(TARGETS zephyrin-update)
install(FILES ${linux}/zephyrin-update.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${linux}/com.norvantic.zephyrin_update.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${PROJECT_SOURCE_DIR}/resources/svg/zephyrin.svg
    DESTINATION ${icons}/scalable/apps RENAME zephyrin-update.svg)
foreach(side 16 22 24 32 48 64 128 256 512)
    install(FILES ${PROJECT_SOURCE_DIR}/resources/icons/${side}.png
        DESTINATION ${icons}/${side}x${side}/apps RENAME zephyrin-update.png)
endforeach()
# The man page names the user guide's place, which is known only when the program is installed.
install(CODE "
    set(doc \"${CMAKE_INSTALL_DOCDIR}\")
    cmake_path(ABSOLUTE_PATH doc BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
    set(manpage_source \"${linux}/zephyrin-update.1.in\")
    set(manpage \"${CMAKE_CURRENT_BINARY_DIR}/zephyrin-update.1\")
    include(\"${linux}/manpage.cmake\")")
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zephyrin-update.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
# Not where pkg-config says that udev's rules are: that may be outside the prefix. udev reads this folder below /usr
# and below /usr/local.
install(FILES ${linux}/70-zephyrin-sub20.rules DESTINATION lib/udev/rules.d)
install(FILES ${linux}/copyright ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/docs/user-guide.md ${sbom}
    DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/images DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(guide_page)
    install(FILES ${guide_page} DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()

set(CPACK_GENERATOR DEB)
# The symbols go into a package of their own, whose name ends in -dbgsym.
set(CPACK_STRIP_FILES OFF)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
list(PREPEND CPACK_POST_BUILD_SCRIPTS ${linux}/finish-symbols.cmake)
list(APPEND CPACK_PRE_BUILD_SCRIPTS ${linux}/finish-deb.cmake)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_NAME ${package})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Norvantic <support@norvantic.example>")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://www.norvantic.example/zephyrin-update)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What opens the window (the plug-in for X and a font) comes with Qt's own package; the menu's icon needs its theme.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS hicolor-icon-theme)
set(CPACK_PACKAGE_DESCRIPTION "\
The service technician picks a firmware image, chooses how the computer
reaches the panel, and starts the update; the window shows its progress.
The panel, with its boot loader running, is reached by infrared or Modbus RTU
through a SUB-20 USB adapter, or by Modbus RTU over any serial port.

For the SUB-20, install the library of the adapter's vendor as well; it is not
part of this package. Serial ports need neither adapter nor library.")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${linux}/postinst)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
