#include <kzcore/containers/hash.h>

// The instantiations that cross the library's boundary; their visibility comes from the extern
// declarations in the header.
template class Hash<LONG, LONG, IUnknown *, IUnknown *>;
template class Hash<IUnknown *, IUnknown *, LONG, LONG>;
template class Hash<String, const WCHAR *, String, const WCHAR *>;
