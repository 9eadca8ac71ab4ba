#include <kzcore/containers/base_array.h>

// The instantiations that cross the library's boundary; their visibility comes from the extern
// declarations in the header.
template class BaseArray<WCHAR *>;
template class BaseArray<IConnectionPoint *>;
template class BaseArray<tagCONNECTDATA>;
