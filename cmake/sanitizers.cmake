# Instrumented builds. QUILL_SANITIZE: AddressSanitizer and
# UndefinedBehaviorSanitizer on everything, any report fatal (./test --sanitize).
# QUILL_FUZZ: the same plus libFuzzer's coverage hooks, for clang only; the
# harnesses in fuzz/ then link libFuzzer's driver (tools/fuzz.sh).
option(QUILL_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(QUILL_FUZZ "Build the fuzzing harnesses for libFuzzer (clang)" OFF)

# float-cast-overflow is named because GCC leaves it out of "undefined": a
# double read from outside converted to an integer it does not fit.
set(QUILL_SANITIZER_FLAGS -fsanitize=address,undefined,float-cast-overflow
    -fno-sanitize-recover=undefined,float-cast-overflow -fno-omit-frame-pointer)

if(QUILL_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "QUILL_FUZZ needs clang (libFuzzer comes with it): -DCMAKE_CXX_COMPILER=clang++")
    endif()
    add_compile_options(${QUILL_SANITIZER_FLAGS} -fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=address,undefined)
elseif(QUILL_SANITIZE)
    # -O1 and line tables only: the instrumented build and its run stay short
    # enough for CI, and reports still name files and lines.
    add_compile_options(${QUILL_SANITIZER_FLAGS} -O1 -g1)
    add_link_options(-fsanitize=address,undefined)
endif()
