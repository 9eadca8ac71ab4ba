// The wide formatter of the library, with Microsoft's printf conventions, and message formatting.
//
// Conventions: %s and %c take wide text in the wide functions, %S and %C narrow (UTF-8) text; the
// size prefixes h (narrow) and l, w (wide) force the kind; integer sizes are h, l (32 bits, as
// LONG), ll, I64, I32, I (pointer sized), z, j, t; %p prints the pointer as 16 upper-case
// hexadecimal digits; %n is refused (nothing is written through it). Floating point conversions
// are e E f F g G a A with two-digit exponents at least.
//
//   WCHAR buf[64];
//   _snwprintf(buf, 64, u"%s: %I64d rows, %S", u"Roads", LONGLONG{42}, "ok");
#pragma once

#include <cstdarg>
#include <cstddef>

#include <kzcore/pal/types.h>

// Writes at most `count` units. Returns the number of units written, not counting a terminator,
// or -1 when the output did not fit (the buffer then holds the first `count` units, and is
// terminated only when there was room, as Microsoft's _snwprintf does).
KZ_API int _vsnwprintf(WCHAR *buffer, std::size_t count, const WCHAR *format, va_list args);
KZ_API int _snwprintf(WCHAR *buffer, std::size_t count, const WCHAR *format, ...);
// The number of units the output would take, without its terminator.
KZ_API int _vscwprintf(const WCHAR *format, va_list args);
KZ_API int _scwprintf(const WCHAR *format, ...);

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x00000100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x00000400;
constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x00000800;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;
constexpr DWORD FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x00002000;
constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0x000000FF;

// Formats a message with %1 to %99 inserts (each optionally with a printf format between
// exclamation marks, %1!d!; the default is !s!), %0 %n %% %. %! %space %t %r escapes. Arguments
// come from `args` (a va_list *) or, with FORMAT_MESSAGE_ARGUMENT_ARRAY, from an array of
// DWORD_PTR values. With FORMAT_MESSAGE_ALLOCATE_BUFFER, `buffer` is taken as a WCHAR ** that
// receives a LocalAlloc'ed text. Returns the units written without the terminator, or 0 with
// SetLastError on failure.
KZ_API DWORD FormatMessageW(DWORD flags, const void *source, DWORD message_id, DWORD language_id,
                            WCHAR *buffer, DWORD size, va_list *args);
