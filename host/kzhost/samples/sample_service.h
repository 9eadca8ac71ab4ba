// What the two sample services share: an object that answers IRESTRequestHandler from a schema
// text written by hand. The base resolves the resource path against that schema, checks the
// operation, the capability, the format and the JSON inputs, and turns every failure into the
// error document; a sample only answers requests that passed all of that.
//
//   class Clock : public SampleService {
//     std::string_view SchemaText() const override { return R"({"name":"","operations":[...]})"; }
//     SampleAnswer Handle(const SampleRequest &request) override { return SampleAnswer::Json("{...}"); }
//   };
#pragma once

#include <map>
#include <string>
#include <string_view>

#include <rapidjson/document.h>

#include <kzcore/core/unknown.h>
#include <kzcore/server/rest_request_handler.h>

#include "../error_document.h"
#include "../service_schema.h"

namespace kzhost {

struct SampleRequest {
  const SchemaNode *resource = nullptr;      // the resource the path resolved to
  bool item = false;                          // the path named an item of that collection
  std::map<std::string, std::string> keys;    // collection name to item key
  std::string operation;                      // empty for the resource itself
  const rapidjson::Document *input = nullptr;  // a JSON object
};

struct SampleAnswer {
  bool ok = true;
  RestError error = RestError::kGeneric;
  std::string text;  // the JSON body, or the error's detail

  static SampleAnswer Json(std::string body) { return SampleAnswer{true, RestError::kGeneric, std::move(body)}; }
  static SampleAnswer Fail(RestError error, std::string detail) { return SampleAnswer{false, error, std::move(detail)}; }
};

class SampleService : public Unknown, public IRESTRequestHandler {
 public:
  KZ_DELEGATING_IUNKNOWN
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override;

  HRESULT HandleRESTRequest(BSTR capabilities, BSTR resourceName, BSTR operationName, BSTR operationInput,
                            BSTR outputFormat, BSTR requestProperties, BSTR *responseProperties,
                            SAFEARRAY **responseData) override;
  HRESULT GetSchema(BSTR *schema) override;

 protected:
  virtual std::string_view SchemaText() const = 0;
  virtual SampleAnswer Handle(const SampleRequest &request) = 0;

 private:
  // Parsed on first use; the schema text is a constant, so a failure is a programming error that
  // the tests catch.
  const SchemaNode &Schema();
  std::optional<SchemaNode> schema_;
};

// Registers the factories of both sample classes in the process's class registry (once; later
// calls do nothing) so that KzCreateInstance makes them. False when the registry refuses.
bool RegisterSampleClasses();

}  // namespace kzhost
