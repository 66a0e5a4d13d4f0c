# Compares the binary interface of the built library with the baseline of
# its architecture (abidw output, kept as a .tar.xz), with libabigail's
# abidiff: fails when a symbol is gone or a function, variable or type
# changed incompatibly. Additions pass.
#
#   cmake -DLIBRARY=libCommonTools.so.1 -DBASELINE=<file.abi.tar.xz> -DHEADERS=<dir>,<dir>
#         -DABIDW=abidw -DABIDIFF=abidiff -DSCRATCH=<dir> [-DUPDATE=ON] -P CheckAbi.cmake
#
# With UPDATE the baseline is written from the library instead.

foreach(var LIBRARY BASELINE HEADERS ABIDW ABIDIFF SCRATCH)
    if(NOT ${var})
        message(FATAL_ERROR "CheckAbi: ${var} is not set")
    endif()
endforeach()

get_filename_component(abi_name "${BASELINE}" NAME)
string(REGEX REPLACE "\\.tar\\.xz$" "" abi_name "${abi_name}")
string(REPLACE "," ";" header_dirs "${HEADERS}")
set(header_options "")
set(library_header_options "")
foreach(dir IN LISTS header_dirs)
    list(APPEND header_options --headers-dir "${dir}")
    list(APPEND library_header_options --hd2 "${dir}")
endforeach()

file(REMOVE_RECURSE "${SCRATCH}")
file(MAKE_DIRECTORY "${SCRATCH}")

if(UPDATE)
    execute_process(
        COMMAND ${ABIDW} --no-corpus-path --no-comp-dir-path --no-show-locs --drop-private-types
                ${header_options} --out-file "${SCRATCH}/${abi_name}" "${LIBRARY}"
        RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "CheckAbi: abidw failed on ${LIBRARY}")
    endif()
    execute_process(COMMAND ${CMAKE_COMMAND} -E tar cJf "${BASELINE}" "${abi_name}"
        WORKING_DIRECTORY "${SCRATCH}" RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "CheckAbi: cannot write ${BASELINE}")
    endif()
    message(STATUS "CheckAbi: wrote ${BASELINE}")
    return()
endif()

if(NOT EXISTS "${BASELINE}")
    message(FATAL_ERROR "CheckAbi: no baseline ${BASELINE} for this architecture; "
        "write it with the target abi-baseline and commit it")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E tar xJf "${BASELINE}" WORKING_DIRECTORY "${SCRATCH}")
execute_process(
    COMMAND ${ABIDIFF} --drop-private-types ${library_header_options} "${SCRATCH}/${abi_name}" "${LIBRARY}"
    OUTPUT_VARIABLE report ERROR_VARIABLE report
    RESULT_VARIABLE result)
file(REMOVE_RECURSE "${SCRATCH}")

# abidiff's exit status is a bit field: 1 error, 2 usage error, 4 an ABI
# change, 8 an incompatible one.
if(NOT result MATCHES "^[0-9]+$")
    message(FATAL_ERROR "CheckAbi: abidiff did not run: ${result}")
endif()
math(EXPR broken "${result} & 3")
if(broken)
    message(FATAL_ERROR "CheckAbi: abidiff failed (status ${result}):\n${report}")
endif()
math(EXPR failed "${result} & 8")
if(failed)
    message(FATAL_ERROR "CheckAbi: the binary interface changed incompatibly (abidiff status ${result}):\n"
        "${report}\n"
        "The 1.x series promises clients that a program built against an earlier 1.x library runs "
        "with this one. If the change is a mistake, undo it. If a break is wanted, move to a new "
        "SONAME: raise the major number of project(VERSION) in CMakeLists.txt (libCommonTools.so.2, "
        "package libcommontools2), rename the version node in src/CommonTools.map (COMMONTOOLS_2), "
        "update tests/package/exports.txt (CheckExports.cmake -DUPDATE=ON), and write new baselines "
        "for every architecture with the target abi-baseline (scripts/cross ARCH build for the boards).")
endif()
if(result EQUAL 4)
    message(STATUS "CheckAbi: compatible additions:\n${report}\n"
        "Write a new baseline with the target abi-baseline once they are released.")
else()
    message(STATUS "CheckAbi: the binary interface is the baseline's")
endif()
