// The registry text form of a GUID: braces, upper-case hexadecimal digits and hyphens, 38 units.
//
//   WCHAR text[39];
//   int n = StringFromGUID2(KZ_IID(IUnknown), text, 39);
//   // text is u"{00000000-0000-0000-C000-000000000046}", n is 39 (the terminator counted)
#pragma once

#include <kzcore/pal/guid.h>
#include <kzcore/pal/types.h>

// Writes the 38 units of the braced form and a terminator into `text` and returns 39. A buffer of
// fewer than 39 units (or a null one) receives nothing and the result is 0.
KZ_API int StringFromGUID2(REFGUID guid, LPOLESTR text, int max);
