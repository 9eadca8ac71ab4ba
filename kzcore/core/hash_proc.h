// The hash of wide text that keys the library's hash tables by text.
//
//   ULONG h = HashProc(u"layers");   // the same value on every platform and in every process
//
// The rule is h = h * 33 + unit over the 16-bit units, from 0, in unsigned 32-bit arithmetic.
// It is case-sensitive and stops at the first 0 unit. The values are part of the contract: tables
// built by one module are searched by another, so the rule never changes.
#pragma once

#include <kzcore/pal/types.h>

// 0 for the empty text. A null pointer is taken as the empty text.
KZ_API ULONG HashProc(const WCHAR *text);
