# SPDX-License-Identifier: MIT
# Makes the user guide's page by pandoc, wherever that is: cmake -D page=user-guide.html -P packaging/guide/makepage.cmake
if(NOT pandoc)
    set(pandoc pandoc)
endif()
set(docs ${CMAKE_CURRENT_LIST_DIR}/../../docs)
execute_process(
    COMMAND ${pandoc} --from=gfm --to=html5 --self-contained --no-highlight --wrap=preserve
        --template=${CMAKE_CURRENT_LIST_DIR}/page.html "--metadata=pagetitle=Zephyrin Update Utility: user guide"
        --resource-path=${docs} --output=${page} ${docs}/user-guide.md
    COMMAND_ERROR_IS_FATAL ANY)
