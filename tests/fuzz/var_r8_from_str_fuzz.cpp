// VarR8FromStr on arbitrary text: a defined result, and a success is a finite double that reads
// back the same from its own 17-digit text.
#include <cmath>
#include <cstdlib>

#include <kzcore/pal/oleaut.h>

#include "fuzz_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const FuzzText input(data, size);
  double value = 0;
  const HRESULT hr = VarR8FromStr(input.text(), input.lcid, 0, &value);
  if (hr != S_OK && hr != DISP_E_TYPEMISMATCH && hr != DISP_E_OVERFLOW) std::abort();
  if (hr == S_OK) {
    if (!std::isfinite(value)) std::abort();
    BSTR text = nullptr;
    if (VarBstrFromR8(value, 1033, 0, &text) != S_OK) std::abort();
    double again = 0;
    if (VarR8FromStr(text, 1033, 0, &again) != S_OK) std::abort();
    SysFreeString(text);
    // Fifteen digits bring the value back within a few units of its last place.
    if (std::fabs(again - value) > std::fabs(value) * 1e-14) std::abort();
  }
  return 0;
}
