# SPDX-License-Identifier: MIT
# The list of what the program is made of, with versions and licences as this build has them, in SPDX's format 2.3:
# `sbom`. What the program links is named with its files, which tools/check-package compares with the program.
set(sbom ${PROJECT_BINARY_DIR}/sbom.spdx.json)
set(sbom_packages "")
set(sbom_relationships "")

# One component. VERSION and CPE, by which scanners know it, may be missing.
function(sbom_component id)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "NAME;VERSION;SUPPLIER;LICENCE;CPE;FILES" "")
    set(optional "")
    if(arg_VERSION)
        string(APPEND optional "\n      \"versionInfo\": \"${arg_VERSION}\",")
    endif()
    if(arg_CPE)
        string(APPEND optional "\n      \"externalRefs\": [ {\n        \"referenceCategory\": \"SECURITY\",
        \"referenceType\": \"cpe23Type\",\n        \"referenceLocator\": \"cpe:2.3:a:${arg_CPE}:*:*:*:*:*:*:*\"\n      } ],")
    endif()
    string(APPEND sbom_packages ",\n    {
      \"SPDXID\": \"SPDXRef-${id}\",
      \"name\": \"${arg_NAME}\",${optional}
      \"supplier\": \"${arg_SUPPLIER}\",
      \"downloadLocation\": \"NOASSERTION\",
      \"filesAnalyzed\": false,
      \"licenseConcluded\": \"${arg_LICENCE}\",
      \"licenseDeclared\": \"${arg_LICENCE}\",
      \"copyrightText\": \"NOASSERTION\",
      \"comment\": \"${arg_FILES}\"
    }")
    string(APPEND sbom_relationships ",\n    {
      \"spdxElementId\": \"SPDXRef-program\",
      \"relationshipType\": \"DYNAMIC_LINK\",
      \"relatedSpdxElement\": \"SPDXRef-${id}\"
    }")
    set(sbom_packages "${sbom_packages}" PARENT_SCOPE)
    set(sbom_relationships "${sbom_relationships}" PARENT_SCOPE)
endfunction()

if(WIN32)
    set(qt_files "Qt6Core.dll, Qt6Gui.dll, Qt6SerialPort.dll, Qt6Widgets.dll and plug-ins, with what Qt itself brings along")
else()
    set(qt_files "libQt6Core.so.6, libQt6DBus.so.6, libQt6Gui.so.6, libQt6SerialPort.so.6, libQt6Widgets.so.6")
endif()
sbom_component(qt NAME Qt VERSION ${Qt6_VERSION} SUPPLIER "Organization: The Qt Company Ltd" LICENCE LGPL-3.0-only
    CPE qt:qt:${Qt6_VERSION} FILES "${qt_files}")

if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    set(gcc_version ${CMAKE_CXX_COMPILER_VERSION})
    set(gcc_cpe CPE gnu:gcc:${gcc_version})
endif()
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    set(gcc_files "libstdc++.so.6, libgcc_s.so.1")
    execute_process(COMMAND getconf GNU_LIBC_VERSION OUTPUT_VARIABLE libc_version OUTPUT_STRIP_TRAILING_WHITESPACE)
    string(REPLACE "glibc " "" libc_version "${libc_version}")
    sbom_component(glibc NAME "GNU C Library" VERSION ${libc_version} SUPPLIER "Organization: GNU project"
        LICENCE LGPL-2.1-or-later CPE gnu:glibc:${libc_version} FILES "libc.so.6, libm.so.6, ld-linux-x86-64.so.2")
    sbom_component(libudev NAME libudev VERSION ${libudev_VERSION} SUPPLIER "Organization: systemd project"
        LICENCE LGPL-2.1-or-later CPE systemd_project:systemd:${libudev_VERSION} FILES "libudev.so.1")
elseif(MINGW)
    set(gcc_files "libstdc++-6.dll, libgcc_s_seh-1.dll")
    sbom_component(winpthreads NAME winpthreads SUPPLIER "Organization: mingw-w64 project"
        LICENCE "MIT AND BSD-3-Clause" FILES "libwinpthread-1.dll")
elseif(MSVC)
    sbom_component(vcruntime NAME "Microsoft Visual C++ runtime" VERSION ${CMAKE_CXX_COMPILER_VERSION}
        SUPPLIER "Organization: Microsoft Corporation" LICENCE NOASSERTION FILES "msvcp*.dll, vcruntime*.dll")
endif()
if(NOT MSVC)
    sbom_component(gccruntime NAME "GCC runtime libraries" VERSION ${gcc_version} SUPPLIER "Organization: GNU project"
        LICENCE "GPL-3.0-or-later WITH GCC-exception-3.1" ${gcc_cpe} FILES "${gcc_files}")
endif()

string(TIMESTAMP sbom_created "%Y-%m-%dT%H:%M:%SZ" UTC) # of the sources: see sourcedate.cmake
configure_file(${CMAKE_CURRENT_LIST_DIR}/sbom.json.in ${sbom} @ONLY)
