# SPDX-License-Identifier: MIT
# What a release is compiled and linked with: hardened as far as the compiler can, with debug symbols that are shipped
# apart, and the same from the same sources, wherever and whenever it is built. tools/check-package and
# tools/check-exe look at the result.
include(CheckPIESupported)
check_pie_supported()

set(compiled "")
set(linked "")
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    # A gcc that has a level of its own would warn of another one.
    list(APPEND compiled -g -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -D_GLIBCXX_ASSERTIONS
        -fstack-protector-strong -fstack-clash-protection)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
        list(APPEND compiled -fcf-protection)
    endif()
    list(APPEND linked -Wl,-z,relro,-z,now)
elseif(MINGW) # GNU's linker knows neither control flow guard nor shadow stacks
    list(APPEND compiled -D_GLIBCXX_ASSERTIONS)
    list(APPEND linked -Wl,--dynamicbase,--high-entropy-va,--nxcompat,--no-insert-timestamp)
elseif(MSVC)
    list(APPEND compiled /guard:cf /Zi /Brepro)
    # /DEBUG by itself would keep what nobody calls.
    list(APPEND linked /GUARD:CF /CETCOMPAT /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT
        /DEBUG /OPT:REF /OPT:ICF /INCREMENTAL:NO /Brepro /PDBALTPATH:%_PDB%)
endif()
if(NOT MSVC)
    list(APPEND compiled -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
endif()
foreach(option IN LISTS compiled)
    add_compile_options("$<$<AND:$<CONFIG:Release>,$<COMPILE_LANGUAGE:C,CXX>>:${option}>")
endforeach()
foreach(option IN LISTS linked)
    add_link_options("$<$<CONFIG:Release>:${option}>")
endforeach()
