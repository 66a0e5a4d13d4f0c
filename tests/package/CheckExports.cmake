# Compares the dynamic symbols a shared library defines, and their version
# nodes, with a list, so that nothing but the documented interface leaves it.
# The list has a line per symbol: its demangled name, followed by @NODE when
# its version node is not VERSION (a symbol added in 1.1:
# "OrvInterface::f(int)@COMMONTOOLS_1.1"). debian/symbols-from-exports makes
# the Debian symbols file from the same list.
#
#   cmake -DLIBRARY=libCommonTools.so -DNM=nm -DLIST=exports.txt -DVERSION=COMMONTOOLS_1
#         [-DLINKED_IN=name,...] [-DUPDATE=ON] -P CheckExports.cmake
#
# LINKED_IN names symbols that must be in the library's symbol table (but
# not exported): the static code whose symbols must stay in.
# With UPDATE the list is rewritten from the library instead.

foreach(var LIBRARY NM LIST VERSION)
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

string(REPLACE "\n" ";" lines "${output}")
set(symbols "")
set(unversioned "")
foreach(line IN LISTS lines)
    # "<address> <type> <name>[@@<version>]"; the linker's own markers and
    # the version node's own symbol are not ours.
    if(line MATCHES "^[0-9a-fA-F]+ ([A-Za-z]) (.+)$")
        set(type "${CMAKE_MATCH_1}")
        set(name "${CMAKE_MATCH_2}")
        set(version "")
        if(name MATCHES "^([^@]+)@@?([^@]+)$")
            set(name "${CMAKE_MATCH_1}")
            set(version "${CMAKE_MATCH_2}")
        endif()
        # A version node defines an absolute symbol of its own name.
        if(type STREQUAL "A" AND (version STREQUAL "" OR name STREQUAL version))
            continue()
        endif()
        if(NOT name MATCHES "^(__bss_start|_edata|_end|_init|_fini)$")
            if(version STREQUAL "")
                list(APPEND unversioned "${name}")
            elseif(version STREQUAL VERSION)
                list(APPEND symbols "${name}")
            else()
                list(APPEND symbols "${name}@${version}")
            endif()
        endif()
    endif()
endforeach()
list(SORT symbols)
list(REMOVE_DUPLICATES symbols)

if(UPDATE)
    string(REPLACE ";" "\n" text "${symbols}")
    file(WRITE ${LIST} "${text}\n")
    list(LENGTH symbols count)
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

file(STRINGS ${LIST} expected)
list(SORT expected)
set(unexpected ${symbols})
list(REMOVE_ITEM unexpected ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${symbols})
if(unversioned)
    string(REPLACE ";" "\n  " unversioned_text "${unversioned}")
    message(FATAL_ERROR "CheckExports: not in a version node:\n  ${unversioned_text}")
endif()
if(unexpected OR missing)
    string(REPLACE ";" "\n  " unexpected_text "${unexpected}")
    string(REPLACE ";" "\n  " missing_text "${missing}")
    message(FATAL_ERROR "CheckExports: the exported symbols differ from ${LIST}\n"
        "exported but not listed:\n  ${unexpected_text}\n"
        "listed but not exported:\n  ${missing_text}\n"
        "If the interface changed on purpose, rerun with -DUPDATE=ON.")
endif()
list(LENGTH symbols count)
message(STATUS "CheckExports: ${count} symbols, as listed")
