# Sanitizers and coverage: they apply to every target of the tree, so that all
# the code of a program is built the same way.

if(VEXA_SANITIZE)
    list(JOIN VEXA_SANITIZE "," vexa_sanitizers)
    add_compile_options(
        "-fsanitize=${vexa_sanitizers}"
        -fno-sanitize-recover=all
        -fno-omit-frame-pointer
    )
    add_link_options("-fsanitize=${vexa_sanitizers}")
endif()

if(VEXA_BUILD_FUZZERS)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "VEXA_BUILD_FUZZERS needs clang; use the preset fuzz.")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(VEXA_COVERAGE)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        message(FATAL_ERROR "VEXA_COVERAGE needs gcc; use the preset coverage.")
    endif()
    add_compile_options(--coverage -fprofile-update=atomic -fprofile-abs-path)
    add_link_options(--coverage)
endif()

if(VEXA_LTO)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # Fat objects keep the installed static libraries usable by other compilers.
        add_compile_options(-flto=auto -ffat-lto-objects)
        add_link_options(-flto=auto)
    else()
        include(CheckIPOSupported)
        check_ipo_supported(LANGUAGES CXX)
        set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
    endif()
endif()
