#pragma once

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
