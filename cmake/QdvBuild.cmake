# How everything in this tree is compiled: language level, warnings, hardening, sanitizers, and the functions
# with which each folder declares its library and its tests.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# libFuzzer and the sanitizers bring threads of their own; one name for the platform's serves all.
set(THREADS_PREFER_PTHREAD_FLAG ON)

find_program(QDV_CCACHE ccache)
if(QDV_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${QDV_CCACHE})
endif()

# What -O3 adds to -O2 is size; the agent waits more than it computes.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-qual -Wundef -Werror)
add_compile_definitions(_FILE_OFFSET_BITS=64)

if(CMAKE_UNITY_BUILD)
    # Files compiled together: a constant of one seems shadowed by a local name of the next.
    add_compile_options(-Wno-shadow)
endif()
if(QDV_SANITIZE)
    add_compile_options(-fsanitize=${QDV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1)
    add_link_options(-fsanitize=${QDV_SANITIZE})
    if(QDV_SANITIZE STREQUAL "thread")
        # Code asks as GCC answers; Clang says it in another way.
        add_compile_definitions($<$<CXX_COMPILER_ID:Clang>:__SANITIZE_THREAD__=1>)
    endif()
else()
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES CXX)
    add_compile_options($<$<CONFIG:Release>:-fstack-protector-strong> $<$<CONFIG:Release>:-fstack-clash-protection>
        $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2> $<$<CONFIG:Release>:-D_GLIBCXX_ASSERTIONS>)
    add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack -Wl,--as-needed)
endif()
if(QDV_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# qdv_library(<name> SOURCES <file>... [PUBLIC <library>...] [PRIVATE <library>...])
# One folder of src/ with the folders and libraries that its headers (PUBLIC) or only its sources (PRIVATE) include.
function(qdv_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
endfunction()

# qdv_unit_test(<name> SOURCES <file>... LIBS <library>...)
# One GoogleTest program for one folder of src/, run as one CTest test so that it starts once.
function(qdv_unit_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/unit)
    # Most of a test program is GoogleTest's templates: optimising them costs more than running them.
    target_compile_options(${name} PRIVATE -O0 -U_FORTIFY_SOURCE)
    if(QDV_UNITY_TESTS)
        # Compiled together, their headers are read once. What would be wrong in a header is none here: -Wno-shadow
        # as above, and GCC takes the including file for the owner of an anonymous namespace.
        set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 16)
        target_compile_options(${name} PRIVATE -Wno-shadow $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    endif()
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gmock GTest::gtest GTest::gtest_main Threads::Threads)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()

# qdv_fuzz_target(<name> SOURCES <file>... LIBS <library>...)
# One libFuzzer program of sources in tests/fuzz; its seeds lie in tests/fuzz/corpus/<name>.
function(qdv_fuzz_target name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES} driver.cpp)
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} -fsanitize=fuzzer)
endfunction()
