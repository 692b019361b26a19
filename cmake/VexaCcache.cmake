# Compiles through ccache when it is installed, with the settings that let it
# cache compilations which use a precompiled header.

find_program(VEXA_CCACHE ccache DOC "Path of ccache, used when found")
mark_as_advanced(VEXA_CCACHE)

if(VEXA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        "${CMAKE_COMMAND}" -E env
        "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime"
        "${VEXA_CCACHE}"
    )
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options(-fpch-preprocess)
    elseif(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
    endif()
endif()
