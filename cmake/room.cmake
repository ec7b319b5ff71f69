# SPDX-License-Identifier: MIT
# A folder of the program: a library that links no more than it may use, so that the linker keeps the walls. The first
# argument is its name, then its sources, and behind LINKS what it may use.
function(zephyrin_room name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LINKS")
    add_library(${name} STATIC ${arg_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC zephyrin_strictqt ${arg_LINKS} PRIVATE zephyrin_warnings zephyrin_coverage)
endfunction()
