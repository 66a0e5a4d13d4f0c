# The API reference: doxygen over the public headers and the guides of docs/
# (docs/Doxyfile, docs/DoxygenLayout.xml, docs/*.md), built
# when doxygen is installed, into <build>/docs/html, and installed with the
# development files. Its warnings go to <build>/docs/warnings.log, which the
# "docs" test requires to be empty.

find_package(Doxygen QUIET)
set(COMMONTOOLS_DOCS_DEFAULT OFF)
if(DOXYGEN_FOUND)
    set(COMMONTOOLS_DOCS_DEFAULT ON)
endif()
option(COMMONTOOLS_BUILD_DOCS "Build the API reference (needs doxygen)" ${COMMONTOOLS_DOCS_DEFAULT})
add_feature_info(Docs COMMONTOOLS_BUILD_DOCS "the API reference in HTML, with doxygen (COMMONTOOLS_BUILD_DOCS)")

if(COMMONTOOLS_BUILD_DOCS)
    if(NOT DOXYGEN_FOUND)
        message(FATAL_ERROR "COMMONTOOLS_BUILD_DOCS needs doxygen (scripts/setup installs it)")
    endif()
    set(COMMONTOOLS_DOCS_DIR ${PROJECT_BINARY_DIR}/docs)
    set(COMMONTOOLS_DOCS_WARNINGS ${COMMONTOOLS_DOCS_DIR}/warnings.log)
    file(GLOB COMMONTOOLS_DOCS_INPUT ${PROJECT_SOURCE_DIR}/include/*.h ${PROJECT_SOURCE_DIR}/docs/*.md)
    # A header or guide added or removed writes the reference again.
    string(REPLACE ";" "\n" headers "${COMMONTOOLS_DOCS_INPUT}")
    file(WRITE ${COMMONTOOLS_DOCS_DIR}/headers.list.new "${headers}\n")
    configure_file(${COMMONTOOLS_DOCS_DIR}/headers.list.new ${COMMONTOOLS_DOCS_DIR}/headers.list COPYONLY)
    add_custom_command(OUTPUT ${COMMONTOOLS_DOCS_DIR}/html/index.html
        COMMAND ${CMAKE_COMMAND} -E remove_directory ${COMMONTOOLS_DOCS_DIR}/html
        COMMAND ${CMAKE_COMMAND} -E make_directory ${COMMONTOOLS_DOCS_DIR}
        COMMAND ${CMAKE_COMMAND} -E env
                COMMONTOOLS_SOURCE_DIR=${PROJECT_SOURCE_DIR}
                COMMONTOOLS_DOCS_DIR=${COMMONTOOLS_DOCS_DIR}
                COMMONTOOLS_VERSION=${PROJECT_VERSION}
                COMMONTOOLS_DOCS_WARNINGS=${COMMONTOOLS_DOCS_WARNINGS}
                ${DOXYGEN_EXECUTABLE} ${PROJECT_SOURCE_DIR}/docs/Doxyfile
        DEPENDS ${PROJECT_SOURCE_DIR}/docs/Doxyfile ${PROJECT_SOURCE_DIR}/docs/DoxygenLayout.xml
                ${COMMONTOOLS_DOCS_INPUT} ${COMMONTOOLS_DOCS_DIR}/headers.list
        COMMENT "Writing the API reference")
    add_custom_target(docs ALL DEPENDS ${COMMONTOOLS_DOCS_DIR}/html/index.html)
    install(DIRECTORY ${COMMONTOOLS_DOCS_DIR}/html
        DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT Development)
endif()
