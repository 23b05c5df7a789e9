# kiv_warnings: the flags of everything that is compiled here. kiv_compile_options: the same and the sanitizers.
add_library(kiv_warnings INTERFACE)
target_compile_options(kiv_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Wcast-align -Wformat=2 -Wimplicit-fallthrough -Wundef
    $<$<BOOL:${KIV_WARNINGS_AS_ERRORS}>:-Werror>
    -fstack-protector-strong
    # Paths in assertions and debug information begin at the top of the tree, whoever builds it.
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")

set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g -DNDEBUG")
set(CMAKE_CXX_FLAGS_DEBUG "-O0 -g3 -D_GLIBCXX_ASSERTIONS")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g -D_GLIBCXX_ASSERTIONS") # the sanitizers': quick enough, exact line numbers
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    target_compile_definitions(kiv_warnings INTERFACE _FORTIFY_SOURCE=2)
endif()

add_library(kiv_compile_options INTERFACE)
target_link_libraries(kiv_compile_options INTERFACE kiv_warnings)
if(KIV_SANITIZE)
    set(kiv_sanitizer_flags "-fsanitize=${KIV_SANITIZE}" -fno-omit-frame-pointer)
    if(KIV_SANITIZE MATCHES "undefined")
        # Undefined behaviour ends the test, it is not only printed.
        list(APPEND kiv_sanitizer_flags -fno-sanitize-recover=undefined)
    endif()
    # GCC's instrumented code hides from this warning what sets a variable: it then names the standard library's own.
    target_compile_options(kiv_compile_options INTERFACE ${kiv_sanitizer_flags} -Wno-maybe-uninitialized)
    target_link_options(kiv_compile_options INTERFACE ${kiv_sanitizer_flags})
endif()
