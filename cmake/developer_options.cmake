# Switches for people who work on vexolan itself; a packager's build never meets them.

option(VEXOLAN_WARNINGS_AS_ERRORS "Compile with the project's warnings, as errors" OFF)
set(VEXOLAN_SANITIZERS "" CACHE STRING "Value for -fsanitize=, e.g. address,undefined or thread")

if(VEXOLAN_WARNINGS_AS_ERRORS)
    add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
    if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
        add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
    endif()
endif()
if(VEXOLAN_SANITIZERS)
    add_compile_options(-fsanitize=${VEXOLAN_SANITIZERS} -fno-sanitize-recover=all
        -fno-omit-frame-pointer -g)
    add_link_options(-fsanitize=${VEXOLAN_SANITIZERS})
endif()
