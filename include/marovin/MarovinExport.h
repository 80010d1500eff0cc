#pragma once

// Marovin's libraries are built with hidden symbols; what a host may use is marked with
// MAROVIN_EXPORT, so the shared libraries' interface is exactly what the public headers declare.
#if defined(_WIN32)
#define MAROVIN_EXPORT
#else
#define MAROVIN_EXPORT __attribute__((visibility("default")))
#endif
