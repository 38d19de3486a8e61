# Options that every target of the project shares, and the two ways in which targets are declared.

add_library(orv_options INTERFACE)
target_compile_options(orv_options INTERFACE -Wall -Wextra -Werror -g)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(orv_options INTERFACE -Wthread-safety)
endif()
if(ORV_SANITIZE)
    target_compile_options(orv_options INTERFACE
        -fsanitize=${ORV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(orv_options INTERFACE -fsanitize=${ORV_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
        # ICU is loaded at run time and called by types of our own, which are the same to C but not to clang.
        target_compile_options(orv_options INTERFACE -fno-sanitize=function)
    endif()
endif()
if(ORV_FUZZ)
    # What libFuzzer steers by; only the fuzz targets themselves get its main().
    target_compile_options(orv_options INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(orv_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
target_include_directories(orv_options INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src
    ${PROJECT_SOURCE_DIR}/platform)

# Code that is loaded into the host's process throws nothing, so the compiler is told that nothing is thrown.
add_library(orv_library_options INTERFACE)
target_link_libraries(orv_library_options INTERFACE orv_options)
target_compile_options(orv_library_options INTERFACE -fno-exceptions)
# What is loaded into a host is the same in whichever folder it was built.
target_compile_options(orv_library_options INTERFACE
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=.)
target_link_options(orv_library_options INTERFACE -Wl,-z,relro,-z,now)
