// The library frame: what exists around the classes. KzCore sets itself up when the process
// loads it and takes itself down when it is unloaded or the process ends; it keeps its own module
// handle and the module its localized strings come from, and puts every thread that enters it in
// the chosen locale.
//
//   WCHAR text[256];
//   LoadStringW(KzGetResourceHandle(), IDS_SOMETHING, text, 256);
//
// A thread that did not start through the library's thread class calls KzEnsureThreadAttached
// (cheap after the first call) before anything that depends on the thread's locale.
#pragma once

#include <kzcore/pal/types.h>

// KzCore's own module handle: the base address of libkzcore.so. Both handles are null while the
// library's static initialisers run, and set before any other module's.
KZ_API HMODULE KzGetModuleHandle();
// The module that localized strings come from: the language resource library when one was found
// at load, else KzCore itself.
KZ_API HINSTANCE KzGetResourceHandle();

// Runs the per-thread start-up once for the calling thread. Any entry point may call it.
KZ_API void KzEnsureThreadAttached();
// The per-thread start-up itself, for the thread class to call first thing on a new thread.
KZ_API void KzThreadAttach();

// A quiet NaN (high word 0x7FF80000, low word 0) and positive infinity (high word 0x7FF00000,
// low word 0), for the numeric code and the value texts ("INF"). The empty value that marks an
// absent coordinate is a different NaN (low word 1) and lives with the points.
KZ_API extern const double KzQuietNaN;
KZ_API extern const double KzPositiveInfinity;
