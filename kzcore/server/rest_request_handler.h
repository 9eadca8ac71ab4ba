// IRESTRequestHandler: how a server host hands one REST request to a server object, and how it
// asks the object for the schema of its REST surface.
//
// A host makes the object from its class identifier and calls it for every request:
//
//   IRESTRequestHandler *service = nullptr;
//   KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IRESTRequestHandler),
//                    reinterpret_cast<void **>(&service));
//   BSTR properties = nullptr;
//   SAFEARRAY *body = nullptr;
//   service->HandleRESTRequest(u"Query", u"layers/3", u"query", u"{\"where\":\"1=1\"}", u"json",
//                              u"{}", &properties, &body);
//   ... send the bytes of `body` with the "Content-Type" member of `properties` ...
//   SysFreeString(properties);
//   SafeArrayDestroy(body);
//
// A failure of the request itself (an unknown resource, bad input, a refused capability) is not a
// failure of the call: the object answers S_OK with an error document in the body and
// "Success": false in the properties. A failing result means the object could not answer at all.
#pragma once

#include <kzcore/pal/com.h>
#include <kzcore/pal/safe_array.h>

struct IRESTRequestHandler : IUnknown {
  // Every input may be null. `capabilities` is a comma-separated list of what the caller may do;
  // `resourceName` is the resource path below the service ("layers/3"); `operationName` is empty
  // or null for a request on the resource itself; `operationInput` is a JSON object of the
  // operation's parameters; `outputFormat` null means "json"; `requestProperties` is a JSON object.
  // On return `*responseProperties` is a JSON object text (a BSTR the caller frees) whose
  // "Content-Type" member names the body's type, and `*responseData` a one-dimensional VT_UI1
  // array with lower bound 0 (the caller destroys it), or null when there is no body.
  virtual HRESULT HandleRESTRequest(BSTR capabilities, BSTR resourceName, BSTR operationName,
                                    BSTR operationInput, BSTR outputFormat, BSTR requestProperties,
                                    BSTR *responseProperties, SAFEARRAY **responseData) = 0;
  // The schema document of the object's REST surface, as JSON text the caller frees.
  virtual HRESULT GetSchema(BSTR *schema) = 0;
};
KZ_DECLARE_IID(IRESTRequestHandler, "{84C15E4E-5806-40D5-8A49-EE8F6E0EE7A1}");
