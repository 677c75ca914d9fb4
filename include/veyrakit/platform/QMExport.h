#pragma once
// Symbols a host application links against are marked VEYRAKIT_EXPORT; everything else in the
// shared library stays hidden.
#if defined(VEYRAKIT_BUILDING)
#define VEYRAKIT_EXPORT __attribute__((visibility("default")))
#else
#define VEYRAKIT_EXPORT
#endif
