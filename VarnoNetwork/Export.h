#pragma once

// What the code needs from the compiler. MSVC tells its language version in a macro of its own.
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
// This header does not exist, on purpose: the compilation ends here, before hundreds of other
// errors hide the one above.
#include <VarnoNetwork/SeeTheErrorAbove.h>
#endif

// Marks what an application may use. The library is built with hidden symbols, so what is not
// marked is not exported. A marked class has the same type identity in every binary of the program,
// which dynamic_cast and catch depend on. VARNO_INTERNAL keeps a member of such a class unexported.
// It is for private templates: whether they are exported would otherwise depend on what the
// compiler inlines.
#if defined(__GNUC__) && !defined(_WIN32)
#define VARNO_EXPORT __attribute__((visibility("default")))
#define VARNO_INTERNAL __attribute__((visibility("hidden")))
#else
#define VARNO_EXPORT
#define VARNO_INTERNAL
#endif
