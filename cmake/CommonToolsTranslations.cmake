# Compiles the translation catalogues of translations/ with the build
# machine's lrelease and builds them into the library as Qt resources, under
# ":/commontools/translations/". Sets COMMONTOOLS_TRANSLATION_SOURCES to the
# generated source to compile into the library.
#
# Usage: commontools_add_translations(<catalogue.ts>...)

find_program(COMMONTOOLS_LRELEASE NAMES lrelease
    HINTS /usr/lib/qt5/bin /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/qt5/bin
    NO_CMAKE_FIND_ROOT_PATH)
if(NOT COMMONTOOLS_LRELEASE)
    message(FATAL_ERROR "lrelease not found: install qttools5-dev-tools (scripts/setup does).")
endif()

function(commontools_add_translations)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/translations)
    set(qrc ${folder}/commontools_translations.qrc)
    set(resource_source ${folder}/qrc_commontools_translations.cpp)
    set(entries "")
    set(catalogues "")
    foreach(ts IN LISTS ARGN)
        get_filename_component(name ${ts} NAME_WE)
        set(qm ${folder}/${name}.qm)
        add_custom_command(OUTPUT ${qm}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
            COMMAND ${COMMONTOOLS_LRELEASE} -silent -nounfinished ${ts} -qm ${qm}
            DEPENDS ${ts}
            COMMENT "Compiling the translation ${name}")
        string(APPEND entries "    <file alias=\"${name}.qm\">${qm}</file>\n")
        list(APPEND catalogues ${qm})
    endforeach()
    file(WRITE ${qrc}.in
        "<RCC>\n  <qresource prefix=\"/commontools/translations\">\n${entries}  </qresource>\n</RCC>\n")
    configure_file(${qrc}.in ${qrc} COPYONLY)
    add_custom_command(OUTPUT ${resource_source}
        COMMAND Qt5::rcc --name commontools_translations --output ${resource_source} ${qrc}
        DEPENDS ${qrc} ${catalogues}
        COMMENT "Building the translations into the library")
    set_source_files_properties(${resource_source} PROPERTIES GENERATED ON SKIP_AUTOMOC ON SKIP_AUTOUIC ON)
    set(COMMONTOOLS_TRANSLATION_SOURCES ${resource_source} PARENT_SCOPE)
endfunction()
