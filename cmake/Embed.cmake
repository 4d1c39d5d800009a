# kiv_embed(TARGET NAME FILE...): texts of files, as constants of the header "embedded/NAME.h", which TARGET can then
# include: kiv::embedded::page_css for page.css. They are compiled in, so nothing has to be found when it runs.
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

# What the command above runs.
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
