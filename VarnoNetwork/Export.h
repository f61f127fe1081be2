#pragma once

// Marks what an application may use. The library is built with hidden symbols, so whatever is not
// marked stays inside it. A class that is marked keeps one type identity in every binary of the
// program, which dynamic_cast and catch depend on.
#if defined(__GNUC__) && !defined(_WIN32)
#define VARNO_EXPORT __attribute__((visibility("default")))
#else
#define VARNO_EXPORT
#endif
