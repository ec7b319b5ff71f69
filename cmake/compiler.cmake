# SPDX-License-Identifier: MIT
# What every target of ours is compiled with: warnings, and the sanitizers where they are asked for.

add_library(zephyrin_warnings INTERFACE)
if(MSVC)
    target_compile_options(zephyrin_warnings INTERFACE /W4 /utf-8)
else()
    target_compile_options(zephyrin_warnings INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnull-dereference
        $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast> $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
        $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
endif()

if(ZEPHYRIN_WARNINGS_AS_ERRORS)
    target_compile_options(zephyrin_warnings INTERFACE $<IF:$<CXX_COMPILER_ID:MSVC>,/WX,-Werror>)
endif()

if(ZEPHYRIN_SANITIZERS)
    add_compile_options(-fsanitize=${ZEPHYRIN_SANITIZERS} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${ZEPHYRIN_SANITIZERS})
endif()
