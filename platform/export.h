// Symbol visibility. Everything is hidden by default; a function the library
// exports is declared `MLR_API` (C linkage, default visibility), whether it is
// a module function, a `Dll*` entry point or part of the automation runtime.
#pragma once

#if defined(_WIN32)
#define MLR_EXPORT __declspec(dllexport)
#else
#define MLR_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define MLR_API extern "C" MLR_EXPORT
#else
#define MLR_API MLR_EXPORT
#endif
