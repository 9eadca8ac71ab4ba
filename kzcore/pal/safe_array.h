// SAFEARRAY: the OLE array descriptor with its bounds, element type and lock count, and the
// functions that make, read, resize, copy and free arrays.
//
// Elements are stored column-major (the first index varies fastest). Index vectors list the
// dimensions left to right, rgIndices[0] being the first; the descriptor keeps its bounds in
// the reverse order, as on Windows. BSTR, VARIANT and interface elements are owned by the array:
// putting an element copies the string or variant and adds a reference, destroying the array
// frees and releases them.
//
//   SAFEARRAY *sa = SafeArrayCreateVector(VT_BSTR, 0, 2);
//   LONG i = 0;
//   SafeArrayPutElement(sa, &i, SysAllocString(u"x"));   // the array keeps a copy
//   SafeArrayDestroy(sa);                                // frees both strings it holds
#pragma once

#include <kzcore/pal/variant.h>

constexpr USHORT FADF_AUTO = 0x0001;
constexpr USHORT FADF_STATIC = 0x0002;
constexpr USHORT FADF_EMBEDDED = 0x0004;
constexpr USHORT FADF_FIXEDSIZE = 0x0010;
constexpr USHORT FADF_RECORD = 0x0020;
constexpr USHORT FADF_HAVEIID = 0x0040;
constexpr USHORT FADF_HAVEVARTYPE = 0x0080;
constexpr USHORT FADF_BSTR = 0x0100;
constexpr USHORT FADF_UNKNOWN = 0x0200;
constexpr USHORT FADF_DISPATCH = 0x0400;
constexpr USHORT FADF_VARIANT = 0x0800;
constexpr USHORT FADF_RESERVED = 0xF008;

// Creation. Null for a type that has no fixed element size (VT_EMPTY, VT_NULL, VT_RECORD
// without its record information), no dimension, or a size past what memory can hold. New
// elements are zero: empty strings are null BSTRs and variants are VT_EMPTY.
KZ_API SAFEARRAY *SafeArrayCreate(VARTYPE vt, UINT dims, SAFEARRAYBOUND *bounds);
// `extra` is the interface identifier for VT_DISPATCH and VT_UNKNOWN arrays (an IID *).
KZ_API SAFEARRAY *SafeArrayCreateEx(VARTYPE vt, UINT dims, SAFEARRAYBOUND *bounds, PVOID extra);
KZ_API SAFEARRAY *SafeArrayCreateVector(VARTYPE vt, LONG lower_bound, ULONG elements);
KZ_API HRESULT SafeArrayAllocDescriptor(UINT dims, SAFEARRAY **out);
KZ_API HRESULT SafeArrayAllocDescriptorEx(VARTYPE vt, UINT dims, SAFEARRAY **out);
KZ_API HRESULT SafeArrayAllocData(SAFEARRAY *array);

// Destruction fails with DISP_E_ARRAYISLOCKED while the array is locked, and frees nothing then.
KZ_API HRESULT SafeArrayDestroy(SAFEARRAY *array);
KZ_API HRESULT SafeArrayDestroyData(SAFEARRAY *array);
KZ_API HRESULT SafeArrayDestroyDescriptor(SAFEARRAY *array);

// Locks pin the data: while any is held, the array cannot be resized or destroyed.
KZ_API HRESULT SafeArrayLock(SAFEARRAY *array);
KZ_API HRESULT SafeArrayUnlock(SAFEARRAY *array);
KZ_API HRESULT SafeArrayAccessData(SAFEARRAY *array, void **data);
KZ_API HRESULT SafeArrayUnaccessData(SAFEARRAY *array);

KZ_API UINT SafeArrayGetDim(SAFEARRAY *array);
KZ_API UINT SafeArrayGetElemsize(SAFEARRAY *array);
// Dimensions are counted from 1, left to right; DISP_E_BADINDEX past them.
KZ_API HRESULT SafeArrayGetLBound(SAFEARRAY *array, UINT dim, LONG *lower_bound);
KZ_API HRESULT SafeArrayGetUBound(SAFEARRAY *array, UINT dim, LONG *upper_bound);
KZ_API HRESULT SafeArrayGetVartype(SAFEARRAY *array, VARTYPE *vt);
KZ_API HRESULT SafeArrayGetIID(SAFEARRAY *array, GUID *iid);
KZ_API HRESULT SafeArraySetIID(SAFEARRAY *array, REFGUID iid);

// Elements. GetElement gives the caller a copy (a new BSTR, a copied VARIANT, an added
// reference). PutElement takes the BSTR or interface pointer itself as `value`, and a pointer to
// the value for every other type. A bad index gives DISP_E_BADINDEX.
KZ_API HRESULT SafeArrayGetElement(SAFEARRAY *array, LONG *indices, void *value);
KZ_API HRESULT SafeArrayPutElement(SAFEARRAY *array, LONG *indices, void *value);
KZ_API HRESULT SafeArrayPtrOfIndex(SAFEARRAY *array, LONG *indices, void **element);

// A deep copy: strings and variants copied, interfaces referenced again. A null array copies to
// null.
KZ_API HRESULT SafeArrayCopy(SAFEARRAY *array, SAFEARRAY **out);
// Copies the elements into an array of the same shape, releasing what it held.
KZ_API HRESULT SafeArrayCopyData(SAFEARRAY *source, SAFEARRAY *target);
// Changes the last dimension's bounds; elements cut off are freed, new ones are zero.
KZ_API HRESULT SafeArrayRedim(SAFEARRAY *array, SAFEARRAYBOUND *last_bound);

// Byte vectors and BSTRs: the BSTR's bytes (its byte length, odd or even) as a VT_UI1 vector with
// lower bound 0, and back. BstrFromVector takes only one-dimensional VT_UI1 arrays
// (DISP_E_TYPEMISMATCH otherwise).
KZ_API HRESULT VectorFromBstr(BSTR text, SAFEARRAY **out);
KZ_API HRESULT BstrFromVector(SAFEARRAY *array, BSTR *out);
