// The platform has no window system: debugger output and message boxes go to replaceable sinks.
// By default both write to standard error and a message box answers IDOK. A host installs its own:
//
//   KzSetMessageBoxSink([](HWND, LPCWSTR text, LPCWSTR caption, UINT flags, WORD lang) {
//     ... show it ...; return IDOK; });
#pragma once

#include <kzcore/pal/types.h>

using KzDebugOutputSink = void (*)(const WCHAR *text);
using KzMessageBoxSink = int (*)(HWND parent, const WCHAR *text, const WCHAR *caption, UINT flags,
                                 WORD language);

// Each returns the sink it replaces; null restores the default.
KZ_API KzDebugOutputSink KzSetDebugOutputSink(KzDebugOutputSink sink);
KZ_API KzMessageBoxSink KzSetMessageBoxSink(KzMessageBoxSink sink);

KZ_API void OutputDebugStringW(const WCHAR *text);
KZ_API void OutputDebugStringA(const char *text);
KZ_API int MessageBoxExW(HWND parent, const WCHAR *text, const WCHAR *caption, UINT flags, WORD language);
KZ_API int MessageBoxW(HWND parent, const WCHAR *text, const WCHAR *caption, UINT flags);
// There are no windows: always null.
KZ_API HWND GetActiveWindow();
