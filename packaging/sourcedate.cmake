# SPDX-License-Identifier: MIT
# `source_date`, in seconds since 1970: the one date for everything that is packed, so that the same sources make the same
# packages. It is that of the last commit, unless SOURCE_DATE_EPOCH in the environment has another one.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(source_date $ENV{SOURCE_DATE_EPOCH})
else()
    execute_process(
        COMMAND git log -1 --format=%ct
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        OUTPUT_VARIABLE source_date
        OUTPUT_STRIP_TRAILING_WHITESPACE
        ERROR_QUIET)
    if(NOT source_date MATCHES "^[0-9]+$") # no git, or sources without their history
        set(source_date 315532800) # 1980, the first year that a ZIP knows
    endif()
    set(ENV{SOURCE_DATE_EPOCH} ${source_date}) # for string(TIMESTAMP)
endif()
