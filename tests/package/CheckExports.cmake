# Compares the dynamic symbols a shared library defines with a list, so that
# nothing but the documented interface leaves it.
#
#   cmake -DLIBRARY=libCommonTools.so -DNM=nm -DLIST=exports.txt [-DUPDATE=ON] -P CheckExports.cmake
#
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

string(REPLACE "\n" ";" lines "${output}")
set(symbols "")
foreach(line IN LISTS lines)
    # "<address> <type> <name>"; the linker's own markers are not ours.
    if(line MATCHES "^[0-9a-fA-F]+ [A-Za-z] (.+)$")
        set(name "${CMAKE_MATCH_1}")
        if(NOT name MATCHES "^(__bss_start|_edata|_end|_init|_fini)$")
            list(APPEND symbols "${name}")
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

file(STRINGS ${LIST} expected)
list(SORT expected)
set(unexpected ${symbols})
list(REMOVE_ITEM unexpected ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${symbols})
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
