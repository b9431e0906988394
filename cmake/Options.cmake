# Compile and link options that every target of the project shares.

add_library(zendra_options INTERFACE)

target_compile_options(
    zendra_options
    INTERFACE -Wall
              -Wextra
              -Wpedantic
              -Wshadow
              -Wundef
              -Wcast-align
              $<$<BOOL:${ZENDRA_WERROR}>:-Werror>
              $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor
              -Woverloaded-virtual
              -Wold-style-cast
              # qCDebug(category) << … has no variable arguments.
              $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments
              # xcb's XKB header calls a member "explicit".
              -Wno-keyword-macro
              # Platform plug-ins return a class from a function with a C name.
              -Wno-return-type-c-linkage>>)
target_compile_definitions(
    zendra_options INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_KEYWORDS QT_NO_FOREACH QT_DEPRECATED_WARNINGS
                             ZENDRA_VERSION="${PROJECT_VERSION}")

# Start-up time is part of the product: fewer and cheaper relocations.
target_link_options(zendra_options INTERFACE -Wl,--as-needed -Wl,-O1 -Wl,--hash-style=gnu)

if(ZENDRA_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize=vptr -fno-sanitize-recover=undefined)
    add_compile_definitions(FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION)
    add_link_options(-fsanitize=address,undefined)
elseif(ZENDRA_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize=vptr)
    add_link_options(-fsanitize=address,undefined)
else()
    # A sanitized module leaves the run-time library to the program that loads it; any other is whole.
    target_link_options(zendra_options INTERFACE -Wl,-z,defs)
endif()
