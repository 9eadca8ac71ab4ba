// A class factory whose objects answer ITestValue with a fixed number. Header-only, so that the
// test modules need nothing but the headers.
#pragma once

#include <tests/modules/test_classes.h>
#include <tests/support/com_object.h>

namespace kztest {

struct ValueObject : ComObject<ITestValue> {
  explicit ValueObject(int value) : value(value) {}
  int Value() override { return value; }
  int value;
};

struct ValueFactory : ComObject<IClassFactory> {
  explicit ValueFactory(int value) : value(value) {}
  HRESULT CreateInstance(IUnknown *outer, REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto *object = new ValueObject(value);
    HRESULT hr = object->QueryInterface(riid, ppv);
    object->Release();
    return hr;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }
  int value;
};

}  // namespace kztest
