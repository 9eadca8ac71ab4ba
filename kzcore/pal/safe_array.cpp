#include <kzcore/pal/safe_array.h>

#include <cstdlib>
#include <cstring>

namespace {

// Every descriptor is allocated with 16 bytes in front: the interface identifier of an
// interface array lives there, and the element type sits in its last 4 bytes, where Windows code
// expects them.
constexpr std::size_t kPrefix = 16;
constexpr ULONG kMaxLocks = 65535;
constexpr USHORT kElementKinds = FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_VARIANT | FADF_RECORD;
constexpr USHORT kUnownedData = FADF_AUTO | FADF_STATIC | FADF_EMBEDDED;
// Arrays larger than this many bytes are refused rather than risk size arithmetic wrapping.
constexpr ULONGLONG kMaxDataBytes = 0x7FFFFFFFull;

ULONG ElementSize(VARTYPE vt) {
  switch (vt) {
    case VT_I1: case VT_UI1: return 1;
    case VT_I2: case VT_UI2: case VT_BOOL: return 2;
    case VT_I4: case VT_UI4: case VT_INT: case VT_UINT: case VT_R4: case VT_ERROR: return 4;
    case VT_I8: case VT_UI8: case VT_R8: case VT_CY: case VT_DATE: return 8;
    case VT_INT_PTR: case VT_UINT_PTR: return sizeof(void *);
    case VT_BSTR: case VT_DISPATCH: case VT_UNKNOWN: return sizeof(void *);
    case VT_VARIANT: return sizeof(VARIANT);
    case VT_DECIMAL: return sizeof(DECIMAL);
    default: return 0;
  }
}

unsigned char *BlockOf(SAFEARRAY *sa) { return reinterpret_cast<unsigned char *>(sa) - kPrefix; }

void SetStoredVartype(SAFEARRAY *sa, VARTYPE vt) {
  const DWORD value = vt;
  std::memcpy(BlockOf(sa) + kPrefix - sizeof(DWORD), &value, sizeof value);
}

// The count of elements, or false when it overflows.
bool CountElements(const SAFEARRAY *sa, ULONGLONG *count) {
  ULONGLONG n = 1;
  for (USHORT i = 0; i < sa->cDims; ++i) {
    n *= sa->rgsabound[i].cElements;
    if (n > kMaxDataBytes) return false;
  }
  *count = n;
  return true;
}

// Frees or releases what elements [first, first + count) own, and zeroes them.
void ReleaseElements(SAFEARRAY *sa, ULONGLONG first, ULONGLONG count) {
  if (sa->pvData == nullptr || count == 0) return;
  unsigned char *p = static_cast<unsigned char *>(sa->pvData) + first * sa->cbElements;
  if (sa->fFeatures & FADF_BSTR) {
    auto *strings = reinterpret_cast<BSTR *>(p);
    for (ULONGLONG i = 0; i < count; ++i) SysFreeString(strings[i]);
  } else if (sa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
    auto *objects = reinterpret_cast<IUnknown **>(p);
    for (ULONGLONG i = 0; i < count; ++i)
      if (objects[i] != nullptr) objects[i]->Release();
  } else if (sa->fFeatures & FADF_VARIANT) {
    auto *variants = reinterpret_cast<VARIANT *>(p);
    for (ULONGLONG i = 0; i < count; ++i) VariantClear(&variants[i]);
  }
  std::memset(p, 0, count * sa->cbElements);
}

// Copies one element from `from` to `to` (zeroed or released first), deep as the array's
// features say.
HRESULT CopyElement(const SAFEARRAY *sa, const void *from, void *to) {
  if (sa->fFeatures & FADF_BSTR) {
    const BSTR source = *static_cast<const BSTR *>(from);
    BSTR copy = nullptr;
    if (source != nullptr) {
      copy = SysAllocStringByteLen(reinterpret_cast<const char *>(source), SysStringByteLen(source));
      if (copy == nullptr) return E_OUTOFMEMORY;
    }
    *static_cast<BSTR *>(to) = copy;
  } else if (sa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
    IUnknown *object = *static_cast<IUnknown *const *>(from);
    if (object != nullptr) object->AddRef();
    *static_cast<IUnknown **>(to) = object;
  } else if (sa->fFeatures & FADF_VARIANT) {
    VARIANT *target = static_cast<VARIANT *>(to);
    VariantInit(target);
    return VariantCopy(target, static_cast<const VARIANT *>(from));
  } else {
    std::memcpy(to, from, sa->cbElements);
  }
  return S_OK;
}

HRESULT CellOffset(const SAFEARRAY *sa, const LONG *indices, ULONGLONG *offset) {
  ULONGLONG cell = 0, stride = 1;
  for (USHORT i = 0; i < sa->cDims; ++i) {
    const SAFEARRAYBOUND &bound = sa->rgsabound[sa->cDims - 1 - i];
    const LONGLONG at = static_cast<LONGLONG>(indices[i]) - bound.lLbound;
    if (at < 0 || static_cast<ULONGLONG>(at) >= bound.cElements) return DISP_E_BADINDEX;
    cell += static_cast<ULONGLONG>(at) * stride;
    stride *= bound.cElements;
  }
  *offset = cell * sa->cbElements;
  return S_OK;
}

USHORT FeaturesOf(VARTYPE vt) {
  switch (vt) {
    case VT_BSTR: return FADF_BSTR | FADF_HAVEVARTYPE;
    case VT_UNKNOWN: return FADF_UNKNOWN | FADF_HAVEIID;
    case VT_DISPATCH: return FADF_DISPATCH | FADF_HAVEIID;
    case VT_VARIANT: return FADF_VARIANT | FADF_HAVEVARTYPE;
    default: return FADF_HAVEVARTYPE;
  }
}

}  // namespace

HRESULT SafeArrayAllocDescriptor(UINT dims, SAFEARRAY **out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (dims == 0 || dims > 65535) return E_INVALIDARG;
  const std::size_t bytes = kPrefix + sizeof(SAFEARRAY) + (dims - 1) * sizeof(SAFEARRAYBOUND);
  auto *block = static_cast<unsigned char *>(std::calloc(1, bytes));
  if (block == nullptr) return E_OUTOFMEMORY;
  auto *sa = reinterpret_cast<SAFEARRAY *>(block + kPrefix);
  sa->cDims = static_cast<USHORT>(dims);
  *out = sa;
  return S_OK;
}

HRESULT SafeArrayAllocDescriptorEx(VARTYPE vt, UINT dims, SAFEARRAY **out) {
  const ULONG size = ElementSize(vt);
  if (size == 0) {
    if (out != nullptr) *out = nullptr;
    return E_INVALIDARG;
  }
  HRESULT hr = SafeArrayAllocDescriptor(dims, out);
  if (FAILED(hr)) return hr;
  SAFEARRAY *sa = *out;
  sa->cbElements = size;
  sa->fFeatures = FeaturesOf(vt);
  if (vt == VT_DISPATCH)
    SafeArraySetIID(sa, KZ_IID(IDispatch));
  else if (vt == VT_UNKNOWN)
    SafeArraySetIID(sa, KZ_IID(IUnknown));
  else
    SetStoredVartype(sa, vt);
  return S_OK;
}

HRESULT SafeArrayAllocData(SAFEARRAY *sa) {
  if (sa == nullptr) return E_INVALIDARG;
  ULONGLONG count = 0;
  if (!CountElements(sa, &count) || count * sa->cbElements > kMaxDataBytes) return E_OUTOFMEMORY;
  // Never a null block, even for no elements, so that access always yields a pointer.
  void *data = std::calloc(count == 0 ? 1 : count, sa->cbElements == 0 ? 1 : sa->cbElements);
  if (data == nullptr) return E_OUTOFMEMORY;
  sa->pvData = data;
  return S_OK;
}

SAFEARRAY *SafeArrayCreateEx(VARTYPE vt, UINT dims, SAFEARRAYBOUND *bounds, PVOID extra) {
  if (bounds == nullptr || dims == 0) return nullptr;
  SAFEARRAY *sa = nullptr;
  if (FAILED(SafeArrayAllocDescriptorEx(vt, dims, &sa))) return nullptr;
  for (UINT i = 0; i < dims; ++i) sa->rgsabound[dims - 1 - i] = bounds[i];
  if (extra != nullptr && (sa->fFeatures & FADF_HAVEIID))
    SafeArraySetIID(sa, *static_cast<const GUID *>(extra));
  if (FAILED(SafeArrayAllocData(sa))) {
    SafeArrayDestroyDescriptor(sa);
    return nullptr;
  }
  return sa;
}

SAFEARRAY *SafeArrayCreate(VARTYPE vt, UINT dims, SAFEARRAYBOUND *bounds) {
  return SafeArrayCreateEx(vt, dims, bounds, nullptr);
}

SAFEARRAY *SafeArrayCreateVector(VARTYPE vt, LONG lower_bound, ULONG elements) {
  SAFEARRAYBOUND bound{elements, lower_bound};
  return SafeArrayCreateEx(vt, 1, &bound, nullptr);
}

HRESULT SafeArrayDestroyData(SAFEARRAY *sa) {
  if (sa == nullptr) return E_INVALIDARG;
  if (sa->cLocks != 0) return DISP_E_ARRAYISLOCKED;
  if (sa->pvData == nullptr) return S_OK;
  ULONGLONG count = 0;
  if (CountElements(sa, &count)) ReleaseElements(sa, 0, count);
  if (!(sa->fFeatures & kUnownedData)) {
    std::free(sa->pvData);
    sa->pvData = nullptr;
  }
  return S_OK;
}

HRESULT SafeArrayDestroyDescriptor(SAFEARRAY *sa) {
  if (sa == nullptr) return E_INVALIDARG;
  if (sa->cLocks != 0) return DISP_E_ARRAYISLOCKED;
  std::free(BlockOf(sa));
  return S_OK;
}

HRESULT SafeArrayDestroy(SAFEARRAY *sa) {
  if (sa == nullptr) return S_OK;
  if (sa->cLocks != 0) return DISP_E_ARRAYISLOCKED;
  HRESULT hr = SafeArrayDestroyData(sa);
  if (FAILED(hr)) return hr;
  return SafeArrayDestroyDescriptor(sa);
}

HRESULT SafeArrayLock(SAFEARRAY *sa) {
  if (sa == nullptr) return E_INVALIDARG;
  ULONG locks = __atomic_load_n(&sa->cLocks, __ATOMIC_RELAXED);
  do {
    if (locks >= kMaxLocks) return E_UNEXPECTED;
  } while (!__atomic_compare_exchange_n(&sa->cLocks, &locks, locks + 1, true, __ATOMIC_ACQ_REL,
                                        __ATOMIC_RELAXED));
  return S_OK;
}

HRESULT SafeArrayUnlock(SAFEARRAY *sa) {
  if (sa == nullptr) return E_INVALIDARG;
  ULONG locks = __atomic_load_n(&sa->cLocks, __ATOMIC_RELAXED);
  do {
    if (locks == 0) return E_UNEXPECTED;
  } while (!__atomic_compare_exchange_n(&sa->cLocks, &locks, locks - 1, true, __ATOMIC_ACQ_REL,
                                        __ATOMIC_RELAXED));
  return S_OK;
}

HRESULT SafeArrayAccessData(SAFEARRAY *sa, void **data) {
  if (sa == nullptr || data == nullptr) return E_INVALIDARG;
  HRESULT hr = SafeArrayLock(sa);
  if (FAILED(hr)) return hr;
  *data = sa->pvData;
  return S_OK;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY *sa) { return SafeArrayUnlock(sa); }

UINT SafeArrayGetDim(SAFEARRAY *sa) { return sa == nullptr ? 0 : sa->cDims; }

UINT SafeArrayGetElemsize(SAFEARRAY *sa) { return sa == nullptr ? 0 : sa->cbElements; }

HRESULT SafeArrayGetLBound(SAFEARRAY *sa, UINT dim, LONG *lower_bound) {
  if (sa == nullptr || lower_bound == nullptr) return E_INVALIDARG;
  if (dim == 0 || dim > sa->cDims) return DISP_E_BADINDEX;
  *lower_bound = sa->rgsabound[sa->cDims - dim].lLbound;
  return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY *sa, UINT dim, LONG *upper_bound) {
  if (sa == nullptr || upper_bound == nullptr) return E_INVALIDARG;
  if (dim == 0 || dim > sa->cDims) return DISP_E_BADINDEX;
  const SAFEARRAYBOUND &bound = sa->rgsabound[sa->cDims - dim];
  *upper_bound = static_cast<LONG>(static_cast<LONGLONG>(bound.lLbound) + bound.cElements - 1);
  return S_OK;
}

HRESULT SafeArrayGetVartype(SAFEARRAY *sa, VARTYPE *vt) {
  if (sa == nullptr || vt == nullptr) return E_INVALIDARG;
  if (sa->fFeatures & FADF_HAVEVARTYPE) {
    DWORD stored = 0;
    std::memcpy(&stored, BlockOf(sa) + kPrefix - sizeof(DWORD), sizeof stored);
    *vt = static_cast<VARTYPE>(stored);
  } else if (sa->fFeatures & FADF_RECORD) {
    *vt = VT_RECORD;
  } else if (sa->fFeatures & FADF_DISPATCH) {
    *vt = VT_DISPATCH;
  } else if (sa->fFeatures & (FADF_UNKNOWN | FADF_HAVEIID)) {
    *vt = VT_UNKNOWN;
  } else if (sa->fFeatures & FADF_BSTR) {
    *vt = VT_BSTR;
  } else if (sa->fFeatures & FADF_VARIANT) {
    *vt = VT_VARIANT;
  } else {
    return E_INVALIDARG;
  }
  return S_OK;
}

HRESULT SafeArrayGetIID(SAFEARRAY *sa, GUID *iid) {
  if (sa == nullptr || iid == nullptr || !(sa->fFeatures & FADF_HAVEIID)) return E_INVALIDARG;
  std::memcpy(iid, BlockOf(sa), sizeof(GUID));
  return S_OK;
}

HRESULT SafeArraySetIID(SAFEARRAY *sa, REFGUID iid) {
  if (sa == nullptr || !(sa->fFeatures & FADF_HAVEIID)) return E_INVALIDARG;
  std::memcpy(BlockOf(sa), &iid, sizeof(GUID));
  return S_OK;
}

HRESULT SafeArrayPtrOfIndex(SAFEARRAY *sa, LONG *indices, void **element) {
  if (sa == nullptr || indices == nullptr || element == nullptr) return E_INVALIDARG;
  ULONGLONG offset = 0;
  HRESULT hr = CellOffset(sa, indices, &offset);
  if (FAILED(hr)) return hr;
  *element = static_cast<unsigned char *>(sa->pvData) + offset;
  return S_OK;
}

HRESULT SafeArrayGetElement(SAFEARRAY *sa, LONG *indices, void *value) {
  if (sa == nullptr || indices == nullptr || value == nullptr) return E_INVALIDARG;
  ULONGLONG offset = 0;
  HRESULT hr = CellOffset(sa, indices, &offset);
  if (FAILED(hr)) return hr;
  if (FAILED(hr = SafeArrayLock(sa))) return hr;
  hr = CopyElement(sa, static_cast<unsigned char *>(sa->pvData) + offset, value);
  SafeArrayUnlock(sa);
  return hr;
}

HRESULT SafeArrayPutElement(SAFEARRAY *sa, LONG *indices, void *value) {
  if (sa == nullptr || indices == nullptr) return E_INVALIDARG;
  const bool by_pointer_value = (sa->fFeatures & (FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH)) != 0;
  if (value == nullptr && !by_pointer_value) return E_INVALIDARG;
  ULONGLONG offset = 0;
  HRESULT hr = CellOffset(sa, indices, &offset);
  if (FAILED(hr)) return hr;
  if (FAILED(hr = SafeArrayLock(sa))) return hr;
  void *cell = static_cast<unsigned char *>(sa->pvData) + offset;
  if (sa->fFeatures & FADF_BSTR) {
    BSTR copy = nullptr;
    const BSTR source = static_cast<BSTR>(value);
    if (source != nullptr) {
      copy = SysAllocStringByteLen(reinterpret_cast<const char *>(source), SysStringByteLen(source));
      if (copy == nullptr) hr = E_OUTOFMEMORY;
    }
    if (SUCCEEDED(hr)) {
      SysFreeString(*static_cast<BSTR *>(cell));
      *static_cast<BSTR *>(cell) = copy;
    }
  } else if (sa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
    auto *object = static_cast<IUnknown *>(value);
    if (object != nullptr) object->AddRef();
    IUnknown *old = *static_cast<IUnknown **>(cell);
    *static_cast<IUnknown **>(cell) = object;
    if (old != nullptr) old->Release();
  } else if (sa->fFeatures & FADF_VARIANT) {
    hr = VariantCopy(static_cast<VARIANT *>(cell), static_cast<const VARIANT *>(value));
  } else {
    std::memcpy(cell, value, sa->cbElements);
  }
  SafeArrayUnlock(sa);
  return hr;
}

HRESULT SafeArrayCopy(SAFEARRAY *sa, SAFEARRAY **out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  if (sa == nullptr) return S_OK;
  SAFEARRAY *copy = nullptr;
  HRESULT hr = SafeArrayAllocDescriptor(sa->cDims, &copy);
  if (FAILED(hr)) return hr;
  std::memcpy(BlockOf(copy), BlockOf(sa), kPrefix);
  copy->fFeatures = sa->fFeatures & static_cast<USHORT>(~(kUnownedData | FADF_RESERVED));
  copy->cbElements = sa->cbElements;
  for (USHORT i = 0; i < sa->cDims; ++i) copy->rgsabound[i] = sa->rgsabound[i];
  if (sa->pvData != nullptr) {
    if (FAILED(hr = SafeArrayAllocData(copy)) || FAILED(hr = SafeArrayCopyData(sa, copy))) {
      SafeArrayDestroy(copy);
      return hr;
    }
  }
  *out = copy;
  return S_OK;
}

HRESULT SafeArrayCopyData(SAFEARRAY *source, SAFEARRAY *target) {
  if (source == nullptr || target == nullptr || source->pvData == nullptr || target->pvData == nullptr)
    return E_INVALIDARG;
  if (source->cDims != target->cDims || source->cbElements != target->cbElements ||
      (source->fFeatures & kElementKinds) != (target->fFeatures & kElementKinds))
    return E_INVALIDARG;
  for (USHORT i = 0; i < source->cDims; ++i)
    if (source->rgsabound[i].cElements != target->rgsabound[i].cElements) return E_INVALIDARG;
  ULONGLONG count = 0;
  if (!CountElements(source, &count)) return E_INVALIDARG;
  ReleaseElements(target, 0, count);
  const auto *from = static_cast<const unsigned char *>(source->pvData);
  auto *to = static_cast<unsigned char *>(target->pvData);
  for (ULONGLONG i = 0; i < count; ++i) {
    HRESULT hr = CopyElement(source, from + i * source->cbElements, to + i * target->cbElements);
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

HRESULT SafeArrayRedim(SAFEARRAY *sa, SAFEARRAYBOUND *last_bound) {
  if (sa == nullptr || last_bound == nullptr) return E_INVALIDARG;
  if (sa->cLocks != 0 || (sa->fFeatures & (FADF_FIXEDSIZE | kUnownedData))) return DISP_E_ARRAYISLOCKED;
  ULONGLONG old_count = 0;
  if (!CountElements(sa, &old_count)) return E_INVALIDARG;
  if (sa->pvData == nullptr) old_count = 0;
  // The last dimension varies slowest, so its elements are one run at the end of the data.
  ULONGLONG inner = 1;
  for (USHORT i = 1; i < sa->cDims; ++i) inner *= sa->rgsabound[i].cElements;
  const ULONGLONG new_count = inner * last_bound->cElements;
  if (new_count * sa->cbElements > kMaxDataBytes) return E_OUTOFMEMORY;
  if (new_count < old_count) ReleaseElements(sa, new_count, old_count - new_count);
  const std::size_t bytes = static_cast<std::size_t>(new_count * sa->cbElements);
  void *data = std::realloc(sa->pvData, bytes == 0 ? 1 : bytes);
  if (data == nullptr) return E_OUTOFMEMORY;
  if (new_count > old_count)
    std::memset(static_cast<unsigned char *>(data) + old_count * sa->cbElements, 0,
                (new_count - old_count) * sa->cbElements);
  sa->pvData = data;
  sa->rgsabound[0] = *last_bound;
  return S_OK;
}

HRESULT VectorFromBstr(BSTR text, SAFEARRAY **out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  const UINT bytes = SysStringByteLen(text);
  SAFEARRAY *sa = SafeArrayCreateVector(VT_UI1, 0, bytes);
  if (sa == nullptr) return E_OUTOFMEMORY;
  if (bytes != 0) std::memcpy(sa->pvData, text, bytes);
  *out = sa;
  return S_OK;
}

HRESULT BstrFromVector(SAFEARRAY *sa, BSTR *out) {
  if (sa == nullptr || out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  VARTYPE vt = VT_EMPTY;
  if (sa->cDims != 1 || FAILED(SafeArrayGetVartype(sa, &vt)) || vt != VT_UI1) return DISP_E_TYPEMISMATCH;
  const ULONG bytes = sa->rgsabound[0].cElements;
  *out = SysAllocStringByteLen(static_cast<const char *>(sa->pvData), bytes);
  return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}
