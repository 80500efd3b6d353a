// What differs between the compilers and systems the plug-in is built on
// (GCC on Linux, MSVC on Windows, clang on macOS) is decided here, and
// each choice has a fallback any C++17 compiler takes. Code elsewhere uses
// these names, never a compiler builtin or a system header.
#pragma once

// Which implementation of model/safe_file.h is built: POSIX, Win32, or the
// QtCore-only one for any other system. QUILL_PORTABLE_FILES forces the
// last, so that it can be built and tested where the others exist.
#if defined(QUILL_PORTABLE_FILES)
#define QUILL_FILES_PORTABLE 1
#elif defined(_WIN32)
#define QUILL_FILES_WIN32 1
#elif defined(__unix__) || defined(__APPLE__)
#define QUILL_FILES_POSIX 1
#else
#define QUILL_FILES_PORTABLE 1
#endif

// SSE2 intrinsics, where the target has them: GCC and clang say so with
// __SSE2__, MSVC only through its target macros. Elsewhere (ARM Macs) the
// plain loops run.
#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#define QUILL_SSE2 1
#include <emmintrin.h>
#endif

// A hint that memory will be read soon, where the compiler has one; a
// build without it is only slower.
inline void prefetch(const void* p)
{
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(p);
#elif defined(QUILL_SSE2)
    _mm_prefetch(static_cast<const char*>(p), _MM_HINT_T0);
#else
    (void)p;
#endif
}
