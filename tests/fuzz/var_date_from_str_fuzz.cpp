// VarDateFromStr on arbitrary text: a defined result, and a success is a date in range whose text
// form reads back as the same date.
#include <cstdlib>

#include <kzcore/pal/oleaut.h>

#include "fuzz_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const FuzzText input(data, size);
  DATE date = 0;
  const HRESULT hr = VarDateFromStr(input.text(), input.lcid, 0, &date);
  if (hr != S_OK && hr != DISP_E_TYPEMISMATCH && hr != DISP_E_OVERFLOW) std::abort();
  if (hr == S_OK) {
    if (!(date > -657435.0 && date < 2958466.0)) std::abort();
    BSTR text = nullptr;
    if (VarBstrFromDate(date, input.lcid, 0, &text) != S_OK) std::abort();
    DATE again = -1;
    if (VarDateFromStr(text, input.lcid, 0, &again) != S_OK || again != date) std::abort();
    SysFreeString(text);
  }
  return 0;
}
