// Making objects by class identifier. Every object the library makes from a class identifier goes
// through KzCreateInstance, so that the places a class can come from are decided in one function.
//
//   IVariantStream *stream = nullptr;
//   HRESULT hr = KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IVariantStream),
//                                 reinterpret_cast<void **>(&stream));
#pragma once

#include <kzcore/pal/com.h>

// The arguments and result of CoCreateInstance.
KZ_API HRESULT KzCreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, void **out);
// The class factory of `clsid`, with a reference for the caller.
KZ_API HRESULT KzGetClassFactory(REFCLSID clsid, DWORD context, IClassFactory **out);
