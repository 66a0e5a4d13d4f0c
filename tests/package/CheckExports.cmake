# Compares the dynamic symbols a shared library defines with a list, so that
# nothing but the documented interface leaves it, and checks that each
# carries the version node the list puts it in.
#
#   cmake -DLIBRARY=libCommonTools.so -DNM=nm -DLIST=exports.txt
#         [-DLINKED_IN=name,...] [-DUPDATE=ON] -P CheckExports.cmake
#
# The list has a section per version node: a line "[NODE]", then the
# demangled names of the node's symbols, one per line.
# LINKED_IN names symbols that must be in the library's symbol table (but
# not exported): the static code whose symbols must stay in.
# With UPDATE the list is rewritten from the library instead.

foreach(var LIBRARY NM LIST)
    if(NOT ${var})
        message(FATAL_ERROR "CheckExports: ${var} is not set")
    endif()
endforeach()

execute_process(
    COMMAND ${NM} -DC --defined-only ${LIBRARY}
    OUTPUT_VARIABLE output
    RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "CheckExports: ${NM} failed on ${LIBRARY}")
endif()

# "<node>:<name>" for each symbol; "-" stands for no node.
string(REPLACE "\n" ";" lines "${output}")
set(symbols "")
set(nodes "")
foreach(line IN LISTS lines)
    # "<address> <type> <name>[@@<version>]"; the linker's own markers and
    # the version nodes' own symbols are not ours.
    if(line MATCHES "^[0-9a-fA-F]+ ([A-Za-z]) (.+)$")
        set(type "${CMAKE_MATCH_1}")
        set(name "${CMAKE_MATCH_2}")
        set(version "-")
        if(name MATCHES "^([^@]+)@@?([^@]+)$")
            set(name "${CMAKE_MATCH_1}")
            set(version "${CMAKE_MATCH_2}")
        endif()
        if(type STREQUAL "A" AND version STREQUAL "-")
            list(APPEND nodes "${name}")
            continue()
        endif()
        if(NOT name MATCHES "^(__bss_start|_edata|_end|_init|_fini)$")
            list(APPEND symbols "${version}:${name}")
        endif()
    endif()
endforeach()
# An absolute symbol is a version node only if some symbol carries it.
foreach(node IN LISTS nodes)
    if(NOT symbols MATCHES "(^|;)${node}:")
        list(REMOVE_ITEM nodes "${node}")
        list(APPEND symbols "-:${node}")
    endif()
endforeach()
list(SORT symbols)
list(REMOVE_DUPLICATES symbols)
list(SORT nodes)
list(REMOVE_DUPLICATES nodes)

if(UPDATE)
    set(text "")
    set(count 0)
    foreach(node IN LISTS nodes)
        string(APPEND text "[${node}]\n")
        foreach(symbol IN LISTS symbols)
            if(symbol MATCHES "^([^:]+):(.*)$" AND CMAKE_MATCH_1 STREQUAL node)
                string(APPEND text "${CMAKE_MATCH_2}\n")
                math(EXPR count "${count} + 1")
            endif()
        endforeach()
    endforeach()
    file(WRITE ${LIST} "${text}")
    message(STATUS "CheckExports: wrote ${count} symbols to ${LIST}")
    return()
endif()

if(LINKED_IN)
    execute_process(
        COMMAND ${NM} --defined-only ${LIBRARY}
        OUTPUT_VARIABLE all_symbols
        RESULT_VARIABLE result)
    string(REPLACE "," ";" linked_in "${LINKED_IN}")
    foreach(name IN LISTS linked_in)
        if(NOT all_symbols MATCHES "[0-9a-fA-F]+ [A-Za-z] ${name}\n")
            message(FATAL_ERROR "CheckExports: ${name} is not linked into ${LIBRARY}: nothing was checked")
        endif()
    endforeach()
endif()

file(STRINGS ${LIST} listed)
set(expected "")
set(node "")
foreach(line IN LISTS listed)
    if(line MATCHES "^\\[(.+)\\]$")
        set(node "${CMAKE_MATCH_1}")
    elseif(NOT line STREQUAL "")
        if(node STREQUAL "")
            message(FATAL_ERROR "CheckExports: ${LIST} names a symbol before its first [NODE] line: ${line}")
        endif()
        list(APPEND expected "${node}:${line}")
    endif()
endforeach()
list(SORT expected)

set(unexpected ${symbols})
list(REMOVE_ITEM unexpected ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${symbols})
if(unexpected OR missing)
    string(REPLACE ";" "\n  " unexpected_text "${unexpected}")
    string(REPLACE ";" "\n  " missing_text "${missing}")
    message(FATAL_ERROR "CheckExports: the exported symbols differ from ${LIST} (as <node>:<name>; "
        "\"-\" is no node)\n"
        "exported but not listed:\n  ${unexpected_text}\n"
        "listed but not exported:\n  ${missing_text}\n"
        "If the interface changed on purpose, rerun with -DUPDATE=ON.")
endif()
list(LENGTH symbols count)
list(LENGTH nodes node_count)
message(STATUS "CheckExports: ${count} symbols in ${node_count} version nodes, as listed")
