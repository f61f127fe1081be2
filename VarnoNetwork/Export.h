#pragma once

// What the code needs of the compiler. MSVC tells its language in a macro of its own.
#if __cplusplus < 202002L && (!defined(_MSVC_LANG) || _MSVC_LANG < 202002L)
#error "VarnoNetwork needs C++20: compile with -std=c++20 or later"
#define VARNO_CANNOT_COMPILE
#elif !defined(__cpp_rtti)
#error "VarnoNetwork needs RTTI: compile without -fno-rtti"
#define VARNO_CANNOT_COMPILE
#elif !defined(__cpp_exceptions)
#error "VarnoNetwork needs exceptions: compile without -fno-exceptions"
#define VARNO_CANNOT_COMPILE
#endif
#ifdef VARNO_CANNOT_COMPILE
// No such header: it ends the compilation before hundreds of lines hide the one above.
#include <VarnoNetwork/SeeTheErrorAbove.h>
#endif

// Marks what an application may use. The library is built with hidden symbols, so whatever is not
// marked stays inside it. A class that is marked keeps one type identity in every binary of the
// program, which dynamic_cast and catch depend on.
// What is marked VARNO_INTERNAL inside it is not exported all the same: whether a private template
// is, would depend on what the compiler inlined.
#if defined(__GNUC__) && !defined(_WIN32)
#define VARNO_EXPORT __attribute__((visibility("default")))
#define VARNO_INTERNAL __attribute__((visibility("hidden")))
#else
#define VARNO_EXPORT
#define VARNO_INTERNAL
#endif
