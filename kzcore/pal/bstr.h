// BSTR: length-prefixed OLE text. The four bytes before the text hold its length in bytes; the
// text is followed by a 0 unit that the length does not count. Null is a valid, empty BSTR.
//
//   BSTR s = SysAllocString(u"Parcels");   // SysStringLen(s) == 7, SysStringByteLen(s) == 14
//   SysFreeString(s);
#pragma once

#include <kzcore/pal/types.h>

KZ_API BSTR SysAllocString(const OLECHAR *text);
KZ_API BSTR SysAllocStringLen(const OLECHAR *text, UINT length);
KZ_API BSTR SysAllocStringByteLen(const char *bytes, UINT length);
KZ_API INT SysReAllocString(BSTR *bstr, const OLECHAR *text);
KZ_API INT SysReAllocStringLen(BSTR *bstr, const OLECHAR *text, UINT length);
KZ_API void SysFreeString(BSTR bstr);
KZ_API UINT SysStringLen(BSTR bstr);
KZ_API UINT SysStringByteLen(BSTR bstr);
