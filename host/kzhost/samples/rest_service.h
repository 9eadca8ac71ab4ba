// What the sample services share: a server object whose REST surface is a RESTDispatcher tree,
// and the few steps every handler takes (read the input object, refuse a format, answer with a
// JSON object, fail with a description the client will read).
//
//   class Clock : public RESTService {
//    public:
//     Clock() {
//       RESTSupport::RESTResource *root = dispatcher_.CreateRESTResource(u"", Now, true);
//       dispatcher_.Init(this, root, nullptr);
//     }
//     static HRESULT Now(void *, const WCHAR *, RESTSupport::RESTResource *, RESTSupport::RESTKeys &, WCHAR *,
//                        const WCHAR *format, IJSONObject *, IJSONObject **, VARIANT &body) {
//       ComPtr<IJSONObject> now;
//       HRESULT hr = StartAnswer(format, now.put());
//       if (SUCCEEDED(hr)) hr = now->AddInteger(u"seconds", time(nullptr));
//       return SUCCEEDED(hr) ? AnswerJson(now.get(), body) : hr;
//     }
//   };
#pragma once

#include <initializer_list>

#include <kzcore/core/string.h>
#include <kzcore/core/string_array.h>
#include <kzcore/core/unknown.h>
#include <kzcore/pal/com_ptr.h>
#include <kzcore/server/rest/rest_dispatcher.h>
#include <kzcore/server/rest_request_handler.h>

namespace kzhost {

class RESTService : public Unknown, public IRESTRequestHandler {
 public:
  KZ_DELEGATING_IUNKNOWN
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override;

  HRESULT HandleRESTRequest(BSTR capabilities, BSTR resourceName, BSTR operationName, BSTR operationInput,
                            BSTR outputFormat, BSTR requestProperties, BSTR *responseProperties,
                            SAFEARRAY **responseData) override;
  HRESULT GetSchema(BSTR *schema) override;

 protected:
  // A subclass builds its tree here and calls Init; the schema is then built once, before the
  // object serves.
  RESTSupport::RESTDispatcher dispatcher_;
};

// A new, empty JSON object or array of the JSON service.
HRESULT NewJson(IJSONObject **out);
HRESULT NewJson(IJSONArray **out);

// A StringArray of the given texts, for the parameters and formats of an operation.
StringArray Texts(std::initializer_list<const WCHAR *> texts);

// The operation input as a JSON object (an empty or null text is the empty object). Anything else
// fails with E_INVALIDARG and the description "The operation input is not a JSON object.".
HRESULT ReadInput(const WCHAR *operationInput, IJSONObject **input);

// Refuses any format but "json" (REST_E_BAD_OUTPUT_FORMAT), then makes the empty object a handler
// fills with its answer.
HRESULT StartAnswer(const WCHAR *outputFormat, IJSONObject **body);

// An operation's first steps: ReadInput, then StartAnswer.
HRESULT StartOperation(const WCHAR *operationInput, const WCHAR *outputFormat, IJSONObject **input,
                       IJSONObject **answer);

// A handler's success: `body` as the response, with a reference of its own. No response
// properties: the host answers the json format as application/json without being told.
HRESULT AnswerJson(IJSONObject *body, VARIANT &responseData);

// A handler's failure: sets the thread's error object with `description`, which the error
// document carries in its details, and returns `hr`.
HRESULT Fail(HRESULT hr, const WCHAR *description);

// Copies the member `name` of `from`, whatever its type, into `to` under `as`.
HRESULT CopyMember(IJSONObject *from, const WCHAR *name, IJSONObject *to, const WCHAR *as);

// Registers the factories of both sample classes in the process's class registry (once; later
// calls do nothing) so that KzCreateInstance makes them. False when the registry refuses.
bool RegisterSampleClasses();

}  // namespace kzhost
