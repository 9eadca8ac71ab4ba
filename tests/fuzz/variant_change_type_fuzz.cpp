// VariantChangeType from VT_BSTR to every type of the conversion table: a defined result, the
// target type on success, and nothing leaked or touched after free (the sanitizers watch).
#include <cstdlib>

#include <kzcore/pal/variant.h>

#include "fuzz_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static constexpr VARTYPE kTargets[] = {VT_EMPTY, VT_NULL, VT_I1,   VT_I2,   VT_I4,   VT_I8,
                                         VT_UI1,   VT_UI2,  VT_UI4,  VT_UI8,  VT_INT,  VT_UINT,
                                         VT_R4,    VT_R8,   VT_CY,   VT_DATE, VT_BSTR, VT_BOOL,
                                         VT_DECIMAL, VT_ERROR, VT_DISPATCH, VT_UNKNOWN};
  const FuzzText input(data, size);
  for (VARTYPE vt : kTargets) {
    VARIANT src, dst;
    src.vt = VT_BSTR;
    src.bstrVal = SysAllocString(input.text());
    VariantInit(&dst);
    const HRESULT hr = VariantChangeTypeEx(&dst, &src, input.lcid, 0, vt);
    if (hr == S_OK && dst.vt != vt) std::abort();
    if (hr != S_OK && hr != DISP_E_TYPEMISMATCH && hr != DISP_E_OVERFLOW) std::abort();
    // In place as well: the source text is freed by the conversion when it succeeds.
    const HRESULT in_place = VariantChangeTypeEx(&src, &src, input.lcid, 0, vt);
    if (in_place != hr) std::abort();
    VariantClear(&src);
    VariantClear(&dst);
  }
  return 0;
}
