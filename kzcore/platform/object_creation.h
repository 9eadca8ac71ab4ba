// Making objects by class identifier. Every object the library makes from a class identifier goes
// through KzCreateInstance, so that the places a class can come from are decided in one function:
// the calling thread's factory cache when it has one, else the platform's class registry, and
// for a class that neither knows, the family's add-in manager when its module is loaded.
//
//   IVariantStream *stream = nullptr;
//   HRESULT hr = KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IVariantStream),
//                                 reinterpret_cast<void **>(&stream));
//
// A component category lists the classes that offer one kind of service; CategoryMgr makes them
// one after the other:
//
//   CategoryMgr layers(CATID_LayerFactories);
//   ILayerFactory *factory;
//   while (layers.CreateNext(KZ_IID(ILayerFactory), reinterpret_cast<void **>(&factory))) {
//     if (factory == nullptr) continue;  // a member that could not be made
//     ...
//     factory->Release();
//   }
#pragma once

#include <kzcore/pal/com.h>
#include <kzcore/platform/add_in_manager.h>

// The arguments and result of CoCreateInstance. A class that the thread's factory cache and the
// platform cannot make is asked of the add-in manager when its module is loaded; without it, the
// platform's failure stands.
KZ_API HRESULT KzCreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, void **out);
// The class factory of `clsid`, with a reference for the caller, found the same way.
KZ_API HRESULT KzGetClassFactory(REFCLSID clsid, DWORD context, IClassFactory **out);

// Calls the add-in manager module's InitializeAddInManager with the two arguments as they are.
// HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND) when the module is not loaded,
// HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND) when it lacks the entry point.
KZ_API HRESULT InitAddInManager(IUnknown *application, const WCHAR *settings);
// The add-in manager, with a reference for the caller, from the module's GetAddInManager; the
// same failures when there is none.
KZ_API HRESULT GetAddInManager(IAddInManager **out);

// A cache of class factories for the calling thread. While one exists, KzCreateInstance and
// KzGetClassFactory on that thread ask the platform for a class's factory only the first time and
// keep it: worth having around work that makes many objects of few classes.
//
//   {
//     FactoryCache cache;             // caching on for this thread
//     for (...) KzCreateInstance(CLSID_Point, ...);
//   }                                 // off again; the factories are released
//
// A cache belongs to the thread that made it and must be destroyed on that thread (factories are
// bound to the thread that got them). A thread has at most one: one made while another lives on
// the same thread is not valid and does nothing.
class KZ_API FactoryCache {
 public:
  FactoryCache();
  ~FactoryCache();
  FactoryCache(const FactoryCache &) = delete;
  FactoryCache &operator=(const FactoryCache &) = delete;

  // Whether this is the calling thread's cache in use.
  bool IsValid() const { return valid_; }
  // Both give E_UNEXPECTED on a cache that is not valid. A factory the platform refuses is not
  // kept, so the next request asks again.
  HRESULT CreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, void **out);
  HRESULT GetClassFactory(REFCLSID clsid, DWORD context, IClassFactory **out);
  // Releases the factories kept so far.
  void Clear();
  // The number of factories kept.
  ULONG Size() const;

 private:
  struct Entries;
  Entries *entries_;
  DWORD thread_;
  bool valid_;
};

// The members of one component category, taken in turn. The member lists of the categories are
// read from the class registry once and shared by every CategoryMgr of the process until the
// registry changes, Refresh is called or ClearCategoryCache drops them.
class KZ_API CategoryMgr {
 public:
  explicit CategoryMgr(GUID category);
  virtual ~CategoryMgr();

  // Each takes the next member and answers true, or answers false when there are no more. The
  // forms with `out` make an object of the member's class as KzCreateInstance does (no outer
  // object, CLSCTX_INPROC_SERVER unless a context is given) and leave null in *out when it could
  // not be made; the forms with `clsid` give the member's class identifier. The form without
  // `out` makes no object.
  bool CreateNext(REFIID iid, void **out);
  bool CreateNext(REFIID iid, GUID *clsid);
  bool CreateNext(REFIID iid, void **out, GUID *clsid);
  bool CreateNext(REFIID iid, DWORD context, void **out, GUID *clsid);

  bool IsMember(REFGUID clsid);
  // Makes `clsid` a member for this process. S_FALSE when it was one already.
  HRESULT AddMember(REFGUID clsid);
  // Back to the first member.
  void Reset();
  // Passes over `count` members.
  void Skip(ULONG count);
  // Reads the class configuration again and drops the shared member lists.
  static void Refresh();

 private:
  // The member at the current position, moving past it; false after the last.
  bool NextMember(GUID &member);

  GUID category_;
  ULONG position_ = 0;
};

// Drops the member lists that CategoryMgr shares, under the lock that guards them.
KZ_API void ClearCategoryCache();
