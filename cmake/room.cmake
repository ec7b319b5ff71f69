# SPDX-License-Identifier: MIT
# A folder of the program: a library that links no more than it may use, so that the linker keeps the walls. The first
# argument is its name, then its sources, and behind LINKS what it may use.
function(zephyrin_room name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LINKS")
    add_library(${name} STATIC ${arg_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_compile_definitions(${name} PUBLIC QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII)
    target_link_libraries(${name} PUBLIC ${arg_LINKS} PRIVATE zephyrin_warnings)
endfunction()
