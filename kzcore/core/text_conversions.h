// Conversions of text that belong to no one class: JSON string escaping and its inverse, the
// display mask, clipboard text and menu mnemonics.
//
//   String json = escapeJSONString(u"say \"<hi>\"");   // say \"\u003chi\u003e\"
//   String back = unescapeJSONString(u"a\\u00e9\\x41", 12);   // "aéA"
//   String code = ApplyFormatMask(u"1234", u"##-##");   // "12-34"
#pragma once

#include <kzcore/core/string.h>
#include <kzcore/pal/types.h>

// The text as the inside of a JSON string (without the quotes). Backspace, tab, line feed, form
// feed, carriage return, the quote and the backslash take their short escapes; "<" and ">" become
// \u003c and \u003e, which keeps the JSON safe inside HTML; every other unit that is not printable
// (controls, surrogates, unassigned and format characters) becomes \u and four upper-case
// hexadecimal digits. "/" is not escaped, and a 0 unit is dropped.
KZ_API String escapeJSONString(String text);

// The inverse, lenient: \" \/ \\ \b \f \n \r \t, \uXXXX and also \xXX (not JSON, accepted all the
// same). Hexadecimal digits take both cases, and a unit that is no digit counts as 0. An escape
// cut short by the end of the text gives nothing (the units after it stay as text); any other
// escape is dropped with its backslash, and a backslash at the very end ends the text. A 0 unit
// ends the work, and an escape that gives 0 gives nothing. Never fails.
KZ_API String unescapeJSONString(const WCHAR *text, LONG length);
// The same over [begin, end); a range shorter than one unit, or a null begin, gives "".
KZ_API String unescapeJSONString(const WCHAR *begin, const WCHAR *end);

// Formats `text` by walking it and `mask` together until either ends. Mask units:
//   @   takes one text unit as it is
//   #   takes one text unit, kept only when it is a digit
//   &   takes one text unit, with the case rule in force
//   >   from here "&" makes upper case (a lower-case unit - 32)
//   <   from here "&" makes lower case (an upper-case unit + 32)
//   |   from here no case change
//   .   the locale's decimal separator; a text unit equal to it, or ".", is consumed
//   ,   the locale's digit group separator, in the same way (or ",")
//   /   the locale's date separator, in the same way (or "/")
//   :   the locale's time separator, in the same way (or ":")
//   \   the next mask unit as a literal
//   *   repeats the mask unit before it until a space in the text (which the mask after the
//       "*" then meets); ignored at the first position. A repeated unit that takes no text unit
//       (a literal, a case switch, a separator the text does not hold) ends the repetition
//       instead, so that the walk always moves on
//   any other unit is a literal, written without taking a text unit.
// The separators are those of the user's locale (GetLocaleInfoW with LOCALE_USER_DEFAULT).
KZ_API String ApplyFormatMask(const String &text, const String &mask);

// The text with its terminator in a new global memory block (GlobalAlloc with flags 0, length * 2
// + 2 bytes), the form the clipboard takes; the receiver frees it with GlobalFree. Null when the
// block cannot be had.
KZ_API HGLOBAL PackageText(const String &text);

// Gives each item of a menu a mnemonic of its own. Linux: there are no menus, so there is nothing
// to fix: every handle, null included, is accepted and left alone.
KZ_API void FixMenuMnemonics(HMENU menu);
