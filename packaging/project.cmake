# SPDX-License-Identifier: MIT
# Read by cpack for each kind of package: one date for all files. A ZIP holds local time, which has to be the same, too.
set(ENV{SOURCE_DATE_EPOCH} ${CPACK_ZEPHYRIN_SOURCE_DATE})
set(ENV{TZ} UTC)

if(CPACK_GENERATOR STREQUAL NSIS)
    string(APPEND CPACK_PACKAGE_FILE_NAME -setup)
endif()
