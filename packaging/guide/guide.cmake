# SPDX-License-Identifier: MIT
# The user guide as one HTML page with its pictures inside, `guide_page`. Pandoc makes it; where there is none, as on
# Windows, a page that was made elsewhere is taken. Without either the program is built and installed without it, and
# nothing can be packed.
set(ZEPHYRIN_GUIDE_PAGE "" CACHE FILEPATH "The user guide's HTML page, made elsewhere; empty: pandoc makes it")
find_program(ZEPHYRIN_PANDOC pandoc)

set(guide ${PROJECT_SOURCE_DIR}/docs/user-guide.md)
set(guide_page ${PROJECT_BINARY_DIR}/user-guide.html)
if(ZEPHYRIN_GUIDE_PAGE)
    set(guide_sources ${ZEPHYRIN_GUIDE_PAGE})
    set(guide_command ${CMAKE_COMMAND} -E copy ${ZEPHYRIN_GUIDE_PAGE} ${guide_page})
elseif(ZEPHYRIN_PANDOC)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${guide})
    file(STRINGS ${guide} pictures REGEX "^!\\[")
    list(TRANSFORM pictures REPLACE "^.*\\((.*)\\)$" "${PROJECT_SOURCE_DIR}/docs/\\1")
    set(make_page ${CMAKE_CURRENT_LIST_DIR}/makepage.cmake)
    set(guide_sources ${guide} ${pictures} ${CMAKE_CURRENT_LIST_DIR}/page.html ${make_page})
    set(guide_command ${CMAKE_COMMAND} -D pandoc=${ZEPHYRIN_PANDOC} -D page=${guide_page} -P ${make_page})
else()
    message(STATUS "There is no pandoc: no package can be made, tst_guidepage fails, the guide is installed as Markdown alone")
    unset(guide_page)
endif()
if(guide_page)
    add_custom_command(OUTPUT ${guide_page} COMMAND ${guide_command} DEPENDS ${guide_sources} VERBATIM)
    add_custom_target(guide ALL DEPENDS ${guide_page})
endif()
list(APPEND CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/checkpacked.cmake)
