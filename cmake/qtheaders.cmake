# SPDX-License-Identifier: MIT
# For compiling into Windows objects against a Qt of the build machine: its headers serve, its libraries do not.
# Nothing is linked, so any file does for the import library that CMake wants to know.
find_package(Qt6 REQUIRED COMPONENTS Core Gui Widgets SerialPort Concurrent)
set_target_properties(Qt6::Core Qt6::Gui Qt6::Widgets Qt6::SerialPort Qt6::Concurrent PROPERTIES
    IMPORTED_IMPLIB ${CMAKE_CURRENT_LIST_FILE})
