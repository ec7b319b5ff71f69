# SPDX-License-Identifier: MIT
# For compiling for Windows against a Qt of the build machine: its headers serve, its libraries do not. So whatever is
# made with Qt is compiled and not linked: in the program's place there is an empty file.
find_package(Qt6 REQUIRED COMPONENTS Core Gui Widgets SerialPort Concurrent Test)
# Any file does for the import libraries that CMake wants to know.
set_target_properties(Qt6::Core Qt6::Gui Qt6::Widgets Qt6::SerialPort Qt6::Concurrent Qt6::Test PROPERTIES
    IMPORTED_IMPLIB ${CMAKE_CURRENT_LIST_FILE})
set(CMAKE_CXX_LINK_EXECUTABLE "<CMAKE_COMMAND> -E touch <TARGET>")
