// Modules and their string resources: LoadLibraryW, GetProcAddress and GetModuleFileNameW over
// dlopen, dlsym and dladdr, and LoadStringW over string tables compiled into a module.
//
// A module handle is the base address of the loaded shared object (or executable), as on Windows:
// every address inside the module maps to it through KzModuleFromAddress.
//
// A module carries its strings as a table registered at load:
//
//   static const KzStringResource kStrings[] = {{101, u"Open"}, {102, u"Cannot open %1."}};
//   KZ_STRING_TABLE(kStrings);
//
// A language resource module is a shared object carrying the same identifiers in another language.
#pragma once

#include <cstddef>

#include <kzcore/pal/types.h>

struct KzStringResource {
  UINT id;
  const WCHAR *text;
};

// Registers the string table of the module that contains `table`. Called by KZ_STRING_TABLE.
KZ_API BOOL KzRegisterStringTable(const KzStringResource *table, std::size_t count);
KZ_API void KzUnregisterStringTable(const KzStringResource *table);
// The handle of the module containing `address`, or null.
KZ_API HMODULE KzModuleFromAddress(const void *address);

#define KZ_STRING_TABLE(table)                                                              \
  namespace {                                                                               \
  [[maybe_unused]] const struct KzStringTableRegistration_##table {                         \
    KzStringTableRegistration_##table() {                                                   \
      KzRegisterStringTable(table, sizeof(table) / sizeof(table[0]));                       \
    }                                                                                       \
    ~KzStringTableRegistration_##table() { KzUnregisterStringTable(table); }                \
  } kz_string_table_registration_##table;                                                   \
  }

// Copies string `id` of `module` into `buffer` (at most max - 1 units and a 0 unit) and returns
// the units copied; 0 when the module has no such string. With max 0, `buffer` is taken as a
// const WCHAR ** that receives a pointer to the module's read-only text (not terminated by
// contract), and the result is its full length.
KZ_API int LoadStringW(HINSTANCE module, UINT id, WCHAR *buffer, int max);

constexpr DWORD LOAD_LIBRARY_AS_DATAFILE = 0x2;
KZ_API HMODULE LoadLibraryW(const WCHAR *path);
KZ_API HMODULE LoadLibraryExW(const WCHAR *path, HANDLE reserved, DWORD flags);
KZ_API BOOL FreeLibrary(HMODULE module);
KZ_API void *GetProcAddress(HMODULE module, const char *name);
// The module's full path (the executable's for a null handle). Returns the units copied without
// the terminator; when the buffer is too small the text is cut, terminated, and
// ERROR_INSUFFICIENT_BUFFER is set with the result equal to `size`.
KZ_API DWORD GetModuleFileNameW(HMODULE module, WCHAR *buffer, DWORD size);
// A null name gives the executable's handle; otherwise a loaded module whose file name (with or
// without the folder) matches.
KZ_API HMODULE GetModuleHandleW(const WCHAR *name);
// The search path of libraries has no current-folder entry on this platform: accepted, no effect.
KZ_API BOOL SetDllDirectoryW(const WCHAR *path);
