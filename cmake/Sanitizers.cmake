# KIV_SANITIZE applies to everything that this build compiles. A program ends at the first finding.
if(KIV_SANITIZE)
    if(NOT KIV_SANITIZE MATCHES "^(address,undefined|thread)$")
        message(FATAL_ERROR "KIV_SANITIZE is \"${KIV_SANITIZE}\"; it may be empty, \"address,undefined\" or \"thread\".")
    endif()
    add_compile_options(-fsanitize=${KIV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KIV_SANITIZE})
endif()

# libFuzzer follows the coverage of the whole library, so all code is instrumented.
if(KIV_BUILD_FUZZERS)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "KIV_BUILD_FUZZERS needs clang; the compiler is ${CMAKE_CXX_COMPILER_ID}.")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=fuzzer-no-link)
endif()
