// Class and interface identifiers as text, programmatic identifiers, and new GUIDs.
//
//   CLSID roads;
//   CLSIDFromString(u"{78FF7FA1-FB2F-11D1-94A2-080009EEBECB}", &roads);  // or a ProgID: u"Kz.Roads.1"
//   LPOLESTR text = nullptr;
//   if (SUCCEEDED(StringFromCLSID(roads, &text))) { ...; CoTaskMemFree(text); }
//   GUID fresh;
//   CoCreateGuid(&fresh);
//
// The text form is "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}": 38 characters, braces required,
// digits of either case on input and upper case on output. ProgIDFromCLSID is declared with the
// class registry in <kzcore/pal/com.h>; programmatic identifiers are registered as
// <kzcore/pal/class_registry.h> describes.
#pragma once

#include <kzcore/pal/com.h>

constexpr HRESULT CO_E_IIDSTRING = static_cast<HRESULT>(0x800401F4);

// The class named by `text`: the text form of an identifier, else a programmatic identifier that
// the class registry knows. A null text gives CLSID_NULL and S_OK; anything else gives
// CO_E_CLASSSTRING (with CLSID_NULL in *clsid). E_INVALIDARG for a null `clsid`.
KZ_API HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid);
// The text form of an interface identifier only. A null text gives IID_NULL and S_OK; a text that
// is not 38 characters long gives E_INVALIDARG, one of the right length that is not the form
// CO_E_IIDSTRING. `iid` is written only on success.
KZ_API HRESULT IIDFromString(LPCOLESTR text, IID *iid);
// The class whose programmatic identifier is `prog_id` (compared without regard to case).
// CO_E_CLASSSTRING when no class has it, E_INVALIDARG for a null argument.
KZ_API HRESULT CLSIDFromProgID(LPCOLESTR prog_id, LPCLSID clsid);
// The text form, as task memory that the caller frees with CoTaskMemFree.
KZ_API HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR *text);
KZ_API HRESULT StringFromIID(REFIID iid, LPOLESTR *text);
// A new random identifier (version 4).
KZ_API HRESULT CoCreateGuid(GUID *guid);
