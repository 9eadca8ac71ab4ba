// The JSON object's parser on arbitrary text. The first byte chooses how the rest is read: as
// UTF-8 (converted as the platform converts narrow text) or as UTF-16 units, two bytes each.
// Whatever parses must be written as text that parses again and is then written the same way,
// and every member must read back as the type it reports.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <host/objects/host_objects.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/wide.h>
#include <kzcore/platform/object_creation.h>
#include <kzcore/server/json_service.h>

#include "fuzz_text.h"

namespace {

std::u16string Take(BSTR text) {
  std::u16string copy(text, SysStringLen(text));
  SysFreeString(text);
  return copy;
}

void ReadMembers(IJSONObject *object) {
  LONG count = 0;
  object->GetMemberCount(&count);
  for (LONG i = 0; i < count; ++i) {
    BSTR name = nullptr;
    if (FAILED(object->GetMemberName(i, &name))) std::abort();
    std::u16string key = Take(name);
    // A name holding a zero unit cannot be asked for by name.
    if (key.find(u'\0') != std::u16string::npos) continue;
    JSONType type;
    if (FAILED(object->GetMemberType(key.c_str(), &type))) std::abort();
    HRESULT hr = S_OK;
    switch (type) {
      case JSONTypeString: {
        BSTR value = nullptr;
        hr = object->GetString(key.c_str(), &value);
        SysFreeString(value);
        break;
      }
      case JSONTypeNumber: {
        double value;
        hr = object->GetNumber(key.c_str(), &value);
        break;
      }
      case JSONTypeBoolean: {
        VARIANT_BOOL value;
        hr = object->GetBoolean(key.c_str(), &value);
        break;
      }
      case JSONTypeObject: {
        IJSONObject *value = nullptr;
        hr = object->GetObject(key.c_str(), &value);
        if (value != nullptr) value->Release();
        break;
      }
      case JSONTypeArray: {
        IJSONArray *value = nullptr;
        hr = object->GetArray(key.c_str(), &value);
        if (value != nullptr) value->Release();
        break;
      }
      case JSONTypeNull:
        break;
    }
    if (FAILED(hr)) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool registered = SUCCEEDED(KzRegisterHostObjects()) || true;
  (void)registered;
  if (size == 0) return 0;
  FuzzWideText input(data, size);
  std::vector<OLECHAR> &text = input.units;

  IJSONObject *object = nullptr;
  if (FAILED(KzCreateInstance(CLSID_JSONObject, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IJSONObject),
                              reinterpret_cast<void **>(&object))))
    std::abort();
  if (SUCCEEDED(object->Parse(text.data()))) {
    ReadMembers(object);
    BSTR written = nullptr;
    if (FAILED(object->ToJSONString(&written))) std::abort();
    std::u16string once = Take(written);
    if (FAILED(object->Parse(once.c_str()))) std::abort();
    if (FAILED(object->ToJSONString(&written))) std::abort();
    if (Take(written) != once) std::abort();
  }
  object->Release();
  return 0;
}
