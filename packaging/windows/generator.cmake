# SPDX-License-Identifier: MIT
# Read by cpack for each kind of package.
if(CPACK_GENERATOR STREQUAL NSIS)
    string(APPEND CPACK_PACKAGE_FILE_NAME -setup)
endif()
