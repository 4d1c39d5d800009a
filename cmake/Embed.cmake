# kiv_embed(TARGET NAME FILE...) compiles the texts of files into TARGET, so that no file is needed at run time. TARGET
# can include the generated header "embedded/NAME.h", which has a constant for each file: kiv::embedded::page_css for
# page.css.
set(KIV_EMBED_SCRIPT ${CMAKE_CURRENT_LIST_FILE})

function(kiv_embed target name)
    set(header ${CMAKE_CURRENT_BINARY_DIR}/embedded/embedded/${name}.h)
    list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ OUTPUT_VARIABLE files)
    add_custom_command(
        OUTPUT ${header}
        COMMAND ${CMAKE_COMMAND} "-DFILES=${files}" -DHEADER=${header} -P ${KIV_EMBED_SCRIPT}
        DEPENDS ${files} ${KIV_EMBED_SCRIPT}
        COMMENT "Embedding ${name}"
        VERBATIM)
    target_sources(${target} PRIVATE ${header})
    target_include_directories(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/embedded)
endfunction()

# The command above runs this file as a script, which writes the header.
if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
    set(text "#pragma once\n\n#include <string_view>\n\nnamespace kiv::embedded {\n\n")
    foreach(file ${FILES})
        cmake_path(GET file FILENAME constant)
        string(MAKE_C_IDENTIFIER ${constant} constant)
        file(READ ${file} content)
        string(APPEND text "inline constexpr std::string_view ${constant} = R\"_EMBEDDED_(${content})_EMBEDDED_\";\n\n")
    endforeach()
    file(WRITE ${HEADER} "${text}} // namespace kiv::embedded\n")
endif()
