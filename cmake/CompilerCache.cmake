# Compiles through ccache where it is installed. The settings let precompiled headers be cached, and let two checkouts
# in different folders share what they compile.
find_program(KIV_CCACHE ccache)
mark_as_advanced(KIV_CCACHE)
if(KIV_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}
        CCACHE_NOHASHDIR=1 ${KIV_CCACHE})
endif()
