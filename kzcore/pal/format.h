// The wide formatter of the library, with Microsoft's printf conventions, and message formatting.
//
// Conventions: %s and %c take wide text in the wide functions, %S and %C narrow (UTF-8) text; the
// size prefixes h (narrow) and l, w (wide) force the kind; integer sizes are hh, h, l (32 bits, as
// LONG), ll, I64, I32, I (pointer sized), z, j, t; L is accepted on floating point conversions and
// the argument is still a double (L and the old prefix N change nothing elsewhere). %p prints the
// pointer as 16 upper-case hexadecimal digits without "0x". Floating point conversions are
// e E f F g G a A with two-digit exponents at least; %a without a precision shows all 13
// hexadecimal digits; infinity and NaN read "inf", "-inf", "nan", "-nan" (upper case for the
// upper-case conversions). The decimal mark is always '.', whatever locale the process has set.
// The 0 flag pads strings and characters with zeros too.
//
// Narrow text is UTF-8. A byte that does not begin a valid sequence shows as U+FFFD, one per byte,
// and the text goes on. A precision on narrow text counts bytes, and a character that the precision
// would cut is left out whole; a width always counts the 16-bit units written.
//
// Refused formats: %n (nothing is written through it), an unknown conversion character, a
// directive cut off by the end of the format, a width or precision beyond an int. The result is
// then -1, with an empty text in the buffer when it has room.
//
//   WCHAR buf[64];
//   _snwprintf(buf, 64, u"%s: %I64d rows, %S", u"Roads", LONGLONG{42}, "ok");
#pragma once

#include <cstdarg>
#include <cstddef>

#include <kzcore/pal/types.h>

// Writes at most `count` units. Returns the number of units written, not counting a terminator:
// the text is terminated when it is shorter than `count`; when it is exactly `count` units long it
// fills the buffer and has no terminator. When it is longer the buffer holds its first `count`
// units, not terminated, and the result is -1. A null buffer with a count of 0 asks for the length.
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
// exclamation marks, %1!d!; the default is !s!; a * takes the width or precision from the next
// argument), and the escapes %0 (end here, no line break), %n (CR LF), %r (CR), %t (tab); any other
// character after % stands for itself (%% %. %! %space). A line break of the text itself, LF or
// CR LF, is written as CR LF. Arguments are pointer-sized: from `args` (a va_list *) or, with
// FORMAT_MESSAGE_ARGUMENT_ARRAY, from an array of DWORD_PTR values where insert n is element n - 1.
// With a va_list the insert numbers count the same way, except that the value of an insert with a
// starred format takes no number of its own (%1!*s! %2 reads width, string, then %2).
//
// Only FORMAT_MESSAGE_FROM_STRING is a source here: the other sources fail with
// ERROR_RESOURCE_NAME_NOT_FOUND. FORMAT_MESSAGE_IGNORE_INSERTS copies inserts as they stand (the
// escapes still apply). The low byte of the flags is the line width: 0 keeps the line breaks of the
// text, FORMAT_MESSAGE_MAX_WIDTH_MASK turns them into spaces, any other value also wraps lines
// longer than that at a space (a word is never split). With FORMAT_MESSAGE_ALLOCATE_BUFFER,
// `buffer` is taken as a WCHAR ** that receives a LocalAlloc'ed text of at least `size` units, and
// a text over 128 KiB fails with ERROR_MORE_DATA (234).
//
// Returns the units written without the terminator (0 for an empty message, with no buffer
// allocated), or 0 with SetLastError: ERROR_INVALID_PARAMETER for a null buffer or source, an insert
// beyond 99, an unterminated or unsupported insert format (floating point formats are not
// supported) or inserts without arguments; ERROR_INSUFFICIENT_BUFFER when the text and its
// terminator do not fit in `size` units.
KZ_API DWORD FormatMessageW(DWORD flags, const void *source, DWORD message_id, DWORD language_id,
                            WCHAR *buffer, DWORD size, va_list *args);
