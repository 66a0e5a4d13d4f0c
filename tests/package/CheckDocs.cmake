# Fails when doxygen warned while writing the API reference (an exported
# name without documentation, a broken reference), or wrote none, or when a
# public header lacks its own @file comment (doxygen does not look for
# undocumented names in an undocumented file).
#
#   cmake -DWARNINGS=warnings.log -DINDEX=html/index.html -DHEADERS=<dir> -P CheckDocs.cmake

if(NOT EXISTS "${INDEX}")
    message(FATAL_ERROR "CheckDocs: no API reference at ${INDEX}; build the docs target")
endif()
file(GLOB headers "${HEADERS}/*.h")
foreach(header IN LISTS headers)
    file(READ "${header}" text)
    if(NOT text MATCHES "/\\*\\* @file")
        message(FATAL_ERROR "CheckDocs: ${header} has no /** @file comment")
    endif()
endforeach()
file(READ "${WARNINGS}" warnings)
if(NOT warnings STREQUAL "")
    message(FATAL_ERROR "CheckDocs: doxygen warned:\n${warnings}")
endif()
message(STATUS "CheckDocs: the API reference documents everything, without a warning")
