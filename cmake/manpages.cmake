# The man pages, written in scdoc's format under docs/man/ (NAME.SECTION.scd)
# and turned into roff at build time, without a network; compressed, as man
# pages are on Debian.
find_program(RIDGEX_SCDOC scdoc)
if(NOT RIDGEX_SCDOC)
    message(WARNING "scdoc not found (Debian package scdoc): no man pages are built or installed")
    return()
endif()

# One component per page: the command's pages go with the programs, the
# library's with the header.
set(RIDGEX_MAN_PAGES ridgex.1:tools trc3dump.1:tools libridgex.3:dev ridgex-virtual-finger.1:fprint)
set(built_pages)
foreach(entry IN LISTS RIDGEX_MAN_PAGES)
    string(REPLACE ":" ";" entry "${entry}")
    list(GET entry 0 page)
    list(GET entry 1 component)
    string(REGEX REPLACE ".*\\." "" section "${page}")
    set(source ${PROJECT_SOURCE_DIR}/docs/man/${page}.scd)
    set(roff ${PROJECT_BINARY_DIR}/man/${page})
    set(output ${roff}.gz)
    add_custom_command(OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/man
        COMMAND sh -c "\"$0\" < \"$1\" > \"$2\"" ${RIDGEX_SCDOC} ${source} ${roff}
        COMMAND gzip -9nkf ${roff}
        DEPENDS ${source}
        COMMENT "Man page ${page}"
        VERBATIM)
    list(APPEND built_pages ${output})
    install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
        COMPONENT ${component})
endforeach()
add_custom_target(ridgex_man_pages ALL DEPENDS ${built_pages})
