// VariantChangeType from VT_BSTR to every type of the conversion table: a defined result, the
// target type on success, nothing leaked or touched after free (the sanitizers watch), and the
// number targets agreeing with one another on what the text is.
#include <cmath>
#include <cstdlib>

#include <kzcore/pal/variant.h>

#include "fuzz_text.h"

namespace {

struct Result {
  HRESULT hr;
  VARIANT value;
};

Result Convert(const FuzzText &input, VARTYPE vt) {
  VARIANT src, dst;
  src.vt = VT_BSTR;
  src.bstrVal = SysAllocString(input.text());
  VariantInit(&dst);
  const HRESULT hr = VariantChangeTypeEx(&dst, &src, input.lcid, 0, vt);
  if (hr == S_OK && dst.vt != vt) std::abort();
  if (hr != S_OK && hr != DISP_E_TYPEMISMATCH && hr != DISP_E_OVERFLOW) std::abort();
  // In place as well: the source text is freed by the conversion when it succeeds.
  if (VariantChangeTypeEx(&src, &src, input.lcid, 0, vt) != hr) std::abort();
  VariantClear(&src);
  Result result{hr, dst};
  if (vt == VT_BSTR) VariantClear(&dst);
  return result;
}

// Below `sure` in magnitude the conversion must succeed, above `never` it must overflow.
void CheckRange(const Result &r, double value, double sure, double never) {
  const double magnitude = std::fabs(value);
  if (magnitude < sure && r.hr != S_OK) std::abort();
  if (magnitude > never && r.hr != DISP_E_OVERFLOW) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static constexpr VARTYPE kTargets[] = {VT_EMPTY, VT_NULL, VT_I1,   VT_I2,   VT_I4,   VT_I8,
                                         VT_UI1,   VT_UI2,  VT_UI4,  VT_UI8,  VT_INT,  VT_UINT,
                                         VT_R4,    VT_R8,   VT_CY,   VT_DATE, VT_BSTR, VT_BOOL,
                                         VT_DECIMAL, VT_ERROR, VT_DISPATCH, VT_UNKNOWN};
  const FuzzText input(data, size);
  for (VARTYPE vt : kTargets) Convert(input, vt);

  const Result real = Convert(input, VT_R8);
  const Result i4 = Convert(input, VT_I4), cy = Convert(input, VT_CY), dec = Convert(input, VT_DECIMAL);
  if (real.hr == DISP_E_TYPEMISMATCH) {
    // One reading of numbers: text that is no number is no number for any numeric type.
    if (i4.hr != DISP_E_TYPEMISMATCH || cy.hr != DISP_E_TYPEMISMATCH || dec.hr != DISP_E_TYPEMISMATCH)
      std::abort();
  }
  const OLECHAR *p = input.text();
  while (*p == u' ' || (*p >= 0x09 && *p <= 0x0D)) ++p;
  const bool radix = *p == u'&';
  if (real.hr == S_OK && !radix) {
    const double v = real.value.dblVal;
    CheckRange(i4, v, 2.0e9, 2.2e9);
    CheckRange(cy, v, 9.2e14, 9.3e14);
    CheckRange(dec, v, 7.9e28, 8.0e28);
    const Result boolean = Convert(input, VT_BOOL);
    if (boolean.hr != S_OK || (boolean.value.boolVal != 0) != (v != 0)) std::abort();
  }
  return 0;
}
