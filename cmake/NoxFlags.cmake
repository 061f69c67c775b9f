# nox_flags: what every source of the project is compiled with. Interface libraries, so nothing is global.

add_library(nox_warnings INTERFACE)
target_compile_options(nox_warnings INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion>)
if(NOX_WARNINGS_AS_ERRORS)
    target_compile_options(nox_warnings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Werror>)
endif()

add_library(nox_sanitize INTERFACE)
if(NOX_SANITIZE)
    target_compile_options(nox_sanitize INTERFACE
        -fsanitize=${NOX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    target_link_options(nox_sanitize INTERFACE -fsanitize=${NOX_SANITIZE})
endif()

# The results are fixed to the last bit: no contraction, no fast-math, one instruction set.
add_library(nox_flags INTERFACE)
target_compile_features(nox_flags INTERFACE cxx_std_17)
# g++ 12 also takes the rounding out of two doubles side by side that pass through float, hence no block vectoriser.
target_compile_options(nox_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-mavx -ffp-contract=off>
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-tree-slp-vectorize>)
target_link_libraries(nox_flags INTERFACE nox_warnings nox_sanitize)
