# The library `kiv`, and `kiv_internal`: the same code with its private headers, for the command, tests and benchmarks.
find_package(Boost 1.81 REQUIRED)
find_package(CURL 7.87 REQUIRED)
find_package(EXPAT 2.5 REQUIRED)
find_package(ICU REQUIRED COMPONENTS i18n uc)
find_package(OpenSSL 3.0 REQUIRED COMPONENTS Crypto)
find_package(Threads REQUIRED)
find_package(ZLIB REQUIRED)

# The pkg-config modules that an application links in addition to a static library. Install.cmake writes them down.
set(KIV_PKG_CONFIG_MODULES expat libcrypto icu-i18n icu-uc zlib)

add_library(kiv_dependencies INTERFACE)
target_link_libraries(
    kiv_dependencies INTERFACE Boost::headers CURL::libcurl EXPAT::EXPAT ICU::i18n ICU::uc OpenSSL::Crypto
                               Threads::Threads ZLIB::ZLIB)

# Compiler settings of every target of this project.
add_library(kiv_settings INTERFACE)
target_compile_features(kiv_settings INTERFACE cxx_std_20)
target_compile_options(kiv_settings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # At -O3, g++ 12 gives these warnings without a reason, for concatenated strings and for aggregates whose
    # initialisation may throw.
    target_compile_options(kiv_settings INTERFACE -Wno-restrict -Wno-maybe-uninitialized
                           -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
endif()

file(GLOB_RECURSE kiv_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.cpp)
# The command always needs the HTTP server; the library needs it only for the page of the flags screen.
set(kiv_server_sources ${PROJECT_SOURCE_DIR}/src/Platform/Http/HttpCall.cpp
                       ${PROJECT_SOURCE_DIR}/src/Platform/Http/HttpConnection.cpp
                       ${PROJECT_SOURCE_DIR}/src/Platform/Http/HttpServer.cpp
                       ${PROJECT_SOURCE_DIR}/src/Platform/Http/RequestOrigin.cpp)
set(kiv_screen_sources ${PROJECT_SOURCE_DIR}/src/DebugScreen/KIVFlagsScreen.cpp
                       ${PROJECT_SOURCE_DIR}/src/DebugScreen/FlagsPage.cpp
                       ${PROJECT_SOURCE_DIR}/src/DebugScreen/FlagsPageTab.cpp
                       ${PROJECT_SOURCE_DIR}/src/Platform/System/SystemOpener.cpp)
if(KIV_FLAGS_SCREEN)
    set(kiv_server_sources "")
else()
    list(REMOVE_ITEM kiv_sources ${kiv_screen_sources} ${kiv_server_sources})
endif()

add_library(kiv_objects OBJECT ${kiv_sources})
target_link_libraries(kiv_objects PRIVATE kiv_settings kiv_dependencies)
target_include_directories(kiv_objects PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src
                                               ${KIV_GENERATED_DIR})
target_compile_definitions(kiv_objects PRIVATE BOOST_ALL_NO_LIB $<$<BOOL:${BUILD_SHARED_LIBS}>:KIV_SHARED_LIBRARY>)
# Light ones only: a precompiled header that is large costs the files that do not need it more than it saves the others.
set(kiv_precompiled
    <algorithm> <atomic> <chrono> <functional> <map> <memory> <mutex> <optional> <string> <string_view> <unordered_map>
    <vector> <boost/json/array.hpp> <boost/json/object.hpp> <boost/json/string.hpp> <boost/json/value.hpp>)
if(KIV_PRECOMPILE)
    target_precompile_headers(kiv_objects PRIVATE ${kiv_precompiled})
endif()
if(KIV_FLAGS_SCREEN)
    set(page src/DebugScreen/page)
    set_source_files_properties(${PROJECT_SOURCE_DIR}/src/CInterface/Screen.cpp
                                PROPERTIES COMPILE_DEFINITIONS KIV_HAS_FLAGS_SCREEN SKIP_PRECOMPILE_HEADERS ON)
    kiv_embed(kiv_objects FlagsPage ${page}/page.html ${page}/page.css ${page}/page.js ${page}/choice.js ${page}/list.js
              ${page}/notices.js ${page}/overrides.js ${page}/requests.js ${page}/rows.js ${page}/icon.svg)
endif()
set_target_properties(kiv_objects PROPERTIES CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON POSITION_INDEPENDENT_CODE ON)

add_library(kiv $<TARGET_OBJECTS:kiv_objects>)
add_library(kiv::kiv ALIAS kiv)
target_compile_features(kiv PUBLIC cxx_std_17) # what the public headers need; kiv_settings has the library's own
target_compile_definitions(kiv PUBLIC $<$<BOOL:${BUILD_SHARED_LIBS}>:KIV_SHARED_LIBRARY>)
target_include_directories(kiv PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(kiv PRIVATE CURL::libcurl EXPAT::EXPAT ICU::i18n ICU::uc OpenSSL::Crypto Threads::Threads
                                  ZLIB::ZLIB)
set_target_properties(kiv PROPERTIES LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION}
                                     SOVERSION ${PROJECT_VERSION_MAJOR})
if(BUILD_SHARED_LIBS)
    set(exports ${CMAKE_CURRENT_LIST_DIR}/exports.map)
    # dlclose must not unload the library: src/Platform/System/KeepLoaded.h says why.
    target_link_options(kiv PRIVATE -Wl,--version-script=${exports} -Wl,--no-undefined -Wl,-z,nodelete)
    set_target_properties(kiv PROPERTIES LINK_DEPENDS ${exports})
endif()

add_library(kiv_internal STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:kiv_objects> ${kiv_server_sources})
target_include_directories(kiv_internal PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src
                                               ${KIV_GENERATED_DIR})
target_compile_definitions(kiv_internal PUBLIC BOOST_ALL_NO_LIB)
target_link_libraries(kiv_internal PUBLIC kiv_settings kiv_dependencies)
set_target_properties(kiv_internal PROPERTIES LINKER_LANGUAGE CXX)
