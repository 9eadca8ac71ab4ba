// What the system registry tells about classes on Windows, kept by the platform layer on Linux:
// the module that serves a class, its programmatic identifier and the component categories it
// belongs to. CoCreateInstance, CoGetClassObject, CLSIDFromProgID and ProgIDFromCLSID read it.
//
// Two sources feed it. A module that is loaded registers in process: factories with
// CoRegisterClassObject, and here the programmatic identifiers and categories of its classes.
// Classes that no loaded module registers come from class configuration files, one class a line:
//
//   # class                                  module                  options
//   {78FF7FA1-FB2F-11D1-94A2-080009EEBECB}   libkzhost_objects.so    progid=Kz.UID.1
//   {0A1B2C3D-0000-4000-8000-0000000000A1}   "/opt/kz/lib/my layers.so" category={...}
//
// The module is a file name that the loader searches for, a path (a relative one is taken from
// the folder of the configuration file), or "-" for a class whose factory a loaded module
// registers in process. It is loaded on the class's first use, stays loaded, and must export
//   extern "C" HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, void **ppv);
// Options: `progid=Name` at most once, `category={GUID}` any number of times. Text after `#` is
// a comment. A line that cannot be read is skipped as a whole and its reason kept (see
// KzClassConfigurationIssues); so is a class named a second time.
//
// Files read, in this order, the first definition of a class winning: each file of the
// colon-separated list in KZCORE_CLASSES when that variable is set (empty: none at all); otherwise
// $XDG_CONFIG_HOME/kzcore/classes.conf (or ~/.config/kzcore/classes.conf), then
// <installation prefix>/etc/kzcore/classes.conf found from where libkzcore.so lies. They are read
// on the first lookup that needs them and again on KzReloadClassConfiguration.
//
//   KzRegisterProgID(CLSID_Roads, u"Kz.Roads.1");
//   KzRegisterClassCategory(CLSID_Roads, CATID_Layers);
//   for (const CLSID &layer : KzClassesOfCategory(CATID_Layers)) ...
#pragma once

#include <string>
#include <vector>

#include <kzcore/pal/com.h>

constexpr HRESULT CO_E_DLLNOTFOUND = static_cast<HRESULT>(0x800401F8);
constexpr HRESULT CO_E_ERRORINDLL = static_cast<HRESULT>(0x800401F9);

// The signature of the entry point that class modules export.
using KzDllGetClassObjectProc = HRESULT (*)(REFCLSID clsid, REFIID riid, void **ppv);

// Gives `clsid` the programmatic identifier `prog_id` for this process, replacing an earlier one.
// A valid identifier has 1 to 39 characters, letters, digits and periods only, and does not
// start with a digit; E_INVALIDARG otherwise.
KZ_API HRESULT KzRegisterProgID(REFCLSID clsid, LPCOLESTR prog_id);
// Makes `clsid` a member of `category` for this process. S_FALSE when it already was.
KZ_API HRESULT KzRegisterClassCategory(REFCLSID clsid, REFGUID category);
// Whether `clsid` is a member of `category`, from either source.
KZ_API bool KzIsClassOfCategory(REFCLSID clsid, REFGUID category);
// The members of `category`: those of the configuration files in file order, then those
// registered in process in the order of registration, each once.
KZ_API std::vector<CLSID> KzClassesOfCategory(REFGUID category);
// A number that changes whenever the category memberships may have changed, so that a reader
// can tell when what it took from the registry is out of date.
KZ_API ULONG KzClassRegistryVersion();

// Reads the configuration files again now. Modules already loaded stay loaded.
KZ_API void KzReloadClassConfiguration();

// A configuration line that was skipped, or a file or module that could not be used.
struct KzClassConfigurationIssue {
  std::string file;  // the configuration file
  unsigned line;     // 1-based; 0 for the file as a whole
  std::string reason;
};
// The problems met in the configuration since it was last read.
KZ_API std::vector<KzClassConfigurationIssue> KzClassConfigurationIssues();
