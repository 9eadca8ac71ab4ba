// The family's add-in manager as the library sees it: an interface, and the module that provides
// it with the names of its two entry points. A module that implements the manager includes this
// header alone (the library's own GetAddInManager is declared in object_creation.h).
//
//   IAddInManager *manager;
//   if (SUCCEEDED(GetAddInManager(&manager))) { ... manager->Release(); }
#pragma once

#include <kzcore/pal/com.h>

// The family's add-in manager, which serves the classes of the modules it loads as add-ins.
struct IAddInManager : IUnknown {
  // The class factory of `clsid`, with a reference for the caller; REGDB_E_CLASSNOTREG when no
  // add-in serves the class.
  virtual HRESULT GetClassFactory(REFCLSID clsid, IClassFactory **factory) = 0;
};
KZ_DECLARE_IID(IAddInManager, "{F2002E58-7843-49A8-9697-51F9EBD66A26}");

// The add-in manager's module. It is looked for among the modules already loaded (by this file
// name, whatever folder it came from) and is never loaded by the library itself. It exports:
//   extern "C" HRESULT GetAddInManager(IAddInManager **manager);
//   extern "C" HRESULT InitializeAddInManager(IUnknown *application, const WCHAR *settings);
inline constexpr WCHAR kAddInManagerModule[] = u"libZOMRLib.so";
using KzGetAddInManagerProc = HRESULT (*)(IAddInManager **manager);
using KzInitializeAddInManagerProc = HRESULT (*)(IUnknown *application, const WCHAR *settings);
