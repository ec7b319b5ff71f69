# SPDX-License-Identifier: MIT
# What every target of ours is compiled with: warnings, the sanitizers where they are asked for, and hardening.

add_library(zephyrin_warnings INTERFACE)
if(MSVC)
    target_compile_options(zephyrin_warnings INTERFACE /W4 /utf-8 /permissive-)
    # The C library's own functions are meant, not Microsoft's for them.
    target_compile_definitions(zephyrin_warnings INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
    target_compile_options(zephyrin_warnings INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnull-dereference
        $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast> $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
        $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU) # GCC 12 sees an overlap in "text" + std::string(), where there is none
        target_compile_options(zephyrin_warnings INTERFACE -Wno-restrict)
    endif()
endif()

if(ZEPHYRIN_WARNINGS_AS_ERRORS)
    target_compile_options(zephyrin_warnings INTERFACE $<IF:$<CXX_COMPILER_ID:MSVC>,/WX,-Werror>)
endif()

if(ZEPHYRIN_SANITIZERS)
    add_compile_options(-fsanitize=${ZEPHYRIN_SANITIZERS} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${ZEPHYRIN_SANITIZERS})
endif()

# For the program's own libraries alone: tests are not looked at.
add_library(zephyrin_coverage INTERFACE)
if(ZEPHYRIN_COVERAGE)
    target_compile_options(zephyrin_coverage INTERFACE --coverage -O0 -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

# For every program that has threads of Qt.
add_library(zephyrin_leakcheck INTERFACE)
if(ZEPHYRIN_SANITIZERS MATCHES "address")
    add_library(zephyrin_leakcheckobject OBJECT cmake/leakcheck.cpp)
    set_target_properties(zephyrin_leakcheckobject PROPERTIES AUTOMOC OFF AUTOUIC OFF AUTORCC OFF)
    target_link_libraries(zephyrin_leakcheckobject PRIVATE zephyrin_warnings)
    target_sources(zephyrin_leakcheck INTERFACE $<TARGET_OBJECTS:zephyrin_leakcheckobject>)
endif()

include(${CMAKE_CURRENT_LIST_DIR}/release.cmake)

# Qt's own strictness, for everything that knows Qt: no conversion that nobody wrote, nothing that Qt has given up.
add_library(zephyrin_strictqt INTERFACE)
target_compile_definitions(zephyrin_strictqt INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_NO_FOREACH
    QT_NO_JAVA_STYLE_ITERATORS
    QT_STRICT_ITERATORS
    QT_DISABLE_DEPRECATED_BEFORE=0x060400)
