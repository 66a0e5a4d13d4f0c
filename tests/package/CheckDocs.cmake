# Fails when doxygen warned while writing the API reference (an exported
# name without documentation, a broken reference), or wrote none.
#
#   cmake -DWARNINGS=warnings.log -DINDEX=html/index.html -P CheckDocs.cmake

if(NOT EXISTS "${INDEX}")
    message(FATAL_ERROR "CheckDocs: no API reference at ${INDEX}; build the docs target")
endif()
file(READ "${WARNINGS}" warnings)
if(NOT warnings STREQUAL "")
    message(FATAL_ERROR "CheckDocs: doxygen warned:\n${warnings}")
endif()
message(STATUS "CheckDocs: the API reference documents everything, without a warning")
