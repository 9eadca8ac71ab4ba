// The Win32 scalar types, result codes and constants the library is written against, with their
// Windows widths pinned: LONG, ULONG, DWORD, HRESULT and BOOL are 32 bits whatever the platform's
// `long` is, so that values, overflow and stream formats stay as the family expects.
//
// The 16-bit text unit is char16_t, spelled WCHAR (and OLECHAR); literals are u"...".
//
//   WCHAR name[] = u"Roads";
//   HRESULT hr = E_FAIL;
//   if (FAILED(hr)) ...
#pragma once

#include <cstddef>
#include <cstdint>

#include <kzcore/pal/export.h>

using BYTE = std::uint8_t;
using CHAR = char;
using WCHAR = char16_t;
using OLECHAR = char16_t;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using WORD = std::uint16_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using BOOL = std::int32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using LONG64 = std::int64_t;
using ULONG64 = std::uint64_t;
using DWORD64 = std::uint64_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using HRESULT = LONG;
using SCODE = LONG;
using LCID = DWORD;
using LANGID = WORD;
using VARIANT_BOOL = SHORT;
using DATE = double;
using LPVOID = void *;
using LPCVOID = const void *;
using LPSTR = char *;
using LPCSTR = const char *;
using LPWSTR = WCHAR *;
using LPCWSTR = const WCHAR *;
using LPOLESTR = OLECHAR *;
using LPCOLESTR = const OLECHAR *;
using BSTR = OLECHAR *;
using LPDWORD = DWORD *;
using PVOID = void *;

// Handles are opaque pointers.
using HANDLE = void *;
struct HINSTANCE__;
using HINSTANCE = HINSTANCE__ *;
using HMODULE = HINSTANCE;
struct HWND__;
using HWND = HWND__ *;
struct HMENU__;
using HMENU = HMENU__ *;
using HLOCAL = void *;
using HGLOBAL = void *;

static_assert(sizeof(WCHAR) == 2, "text units are 16 bits: block layout and stream formats use them");
static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4 && sizeof(BOOL) == 4);
static_assert(sizeof(HRESULT) == 4 && sizeof(VARIANT_BOOL) == 2 && sizeof(LONGLONG) == 8);
static_assert(sizeof(void *) == 8, "the library is built for 64-bit pointers");

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)
#define MAKE_HRESULT(sev, fac, code) \
  ((HRESULT)(((ULONG)(sev) << 31) | ((ULONG)(fac) << 16) | ((ULONG)(code))))
#define HRESULT_FROM_WIN32(x) \
  ((HRESULT)(x) <= 0 ? ((HRESULT)(x)) : ((HRESULT)(((x) & 0x0000FFFF) | (7 << 16) | 0x80000000)))

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
constexpr HRESULT E_HANDLE = static_cast<HRESULT>(0x80070006);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3);
constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005);
constexpr HRESULT DISP_E_OVERFLOW = static_cast<HRESULT>(0x8002000A);
constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008);
constexpr HRESULT DISP_E_ARRAYISLOCKED = static_cast<HRESULT>(0x8002000D);
constexpr HRESULT DISP_E_BADINDEX = static_cast<HRESULT>(0x8002000B);
constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001);
constexpr HRESULT STG_E_MEDIUMFULL = static_cast<HRESULT>(0x80030070);
constexpr HRESULT STG_E_INVALIDPOINTER = static_cast<HRESULT>(0x80030009);
constexpr HRESULT STG_E_READFAULT = static_cast<HRESULT>(0x8003001E);

// Win32 error codes (GetLastError).
constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_OUTOFMEMORY = 14;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_INVALID_FLAGS = 1004;
constexpr DWORD ERROR_RESOURCE_NAME_NOT_FOUND = 1814;
constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;

// Message box flags and results.
constexpr UINT MB_OK = 0x0;
constexpr UINT MB_OKCANCEL = 0x1;
constexpr UINT MB_YESNO = 0x4;
constexpr UINT MB_ICONERROR = 0x10;
constexpr UINT MB_ICONWARNING = 0x30;
constexpr UINT MB_ICONINFORMATION = 0x40;
constexpr UINT MB_RIGHT = 0x80000;
constexpr UINT MB_RTLREADING = 0x100000;
constexpr int IDOK = 1;
constexpr int IDCANCEL = 2;
constexpr int IDYES = 6;
constexpr int IDNO = 7;

// Language identifiers.
constexpr WORD PRIMARYLANGID(WORD lang) { return lang & 0x3FF; }
constexpr WORD SUBLANGID(WORD lang) { return lang >> 10; }
constexpr WORD MAKELANGID(WORD primary, WORD sub) { return static_cast<WORD>((sub << 10) | primary); }
constexpr WORD LANG_CHINESE = 0x04;
constexpr WORD LANG_ENGLISH = 0x09;
constexpr WORD LANG_JAPANESE = 0x11;
constexpr WORD LANG_KOREAN = 0x12;
