# SPDX-License-Identifier: MIT
# Run by cpack when the files that it packs lie ready: no package goes out without the guide's page.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_DIRECTORY}/user-guide.html)
if(NOT pages)
    message(FATAL_ERROR "The user guide's HTML page is missing. Install pandoc, or have ZEPHYRIN_GUIDE_PAGE name a page "
        "that was made elsewhere (build/release/user-guide.html), and configure again.")
endif()
