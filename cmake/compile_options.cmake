# What every target of this project is compiled with, attached as the target trellis_options.

add_library(trellis_options INTERFACE)
target_compile_features(trellis_options INTERFACE cxx_std_20 c_std_11)
target_compile_options(trellis_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    -ffp-contract=off)  # results are exact to the bit on every machine, and tests' expectations too
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_definitions(trellis_options INTERFACE _FILE_OFFSET_BITS=64)
endif()
if(TRELLIS_WERROR)
    target_compile_options(trellis_options INTERFACE -Werror)
endif()
if(TRELLIS_SANITIZE)
    target_compile_options(trellis_options INTERFACE -fsanitize=${TRELLIS_SANITIZE}
        -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(trellis_options INTERFACE -fsanitize=${TRELLIS_SANITIZE})
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)

# Files keep to themselves: what has no other user has a short name in a nameless namespace, and the
# hooks that a host may replace must not be seen by their callers' compiler.
if(CMAKE_UNITY_BUILD)
    message(WARNING "CMAKE_UNITY_BUILD is ignored: every file is compiled alone")
    set(CMAKE_UNITY_BUILD OFF)
endif()
