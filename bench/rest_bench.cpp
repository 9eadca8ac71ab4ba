// One REST request in process: resolve "/layers/7/fields" (a collection key on the way), call the
// handler, write its body of about 200 bytes as JSON. The second benchmark does only the JSON
// service's share of that request (making the request object, building and writing the body), so
// that the ratio of the two is the share of time spent in the JSON service.
#include <benchmark/benchmark.h>

#include <host/objects/host_objects.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/platform/object_creation.h>
#include <kzcore/server/rest/rest_dispatcher.h>

namespace {

using namespace RESTSupport;

template <class Interface>
Interface *Make(REFCLSID clsid) {
  Interface *made = nullptr;
  KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(Interface), reinterpret_cast<void **>(&made));
  return made;
}

// The body: {"layer":"7","name":"fields","fields":[...5 field names...],"count":5,"displayField":
// "NAME","hasZ":false,"extent":"-180.0,-90.0,180.0,90.0","currentVersion":10.6}: 198 bytes.
IJSONObject *FieldsBody(const WCHAR *layer) {
  IJSONObject *body = Make<IJSONObject>(CLSID_JSONObject);
  IJSONArray *fields = Make<IJSONArray>(CLSID_JSONArray);
  for (const WCHAR *name : {u"OBJECTID", u"NAME", u"POPULATION", u"AREA_SQKM", u"ADMIN_CODE"})
    fields->AddString(name);
  body->AddString(u"layer", layer);
  body->AddString(u"name", u"fields");
  body->AddArray(u"fields", fields);
  body->AddInteger(u"count", 5);
  body->AddString(u"displayField", u"NAME");
  body->AddBoolean(u"hasZ", VARIANT_FALSE);
  body->AddString(u"extent", u"-180.0,-90.0,180.0,90.0");
  AddRESTCurrentVersion(body, u"currentVersion");
  fields->Release();
  return body;
}

HRESULT Fields(void *, const WCHAR *, RESTResource *, RESTKeys &keys, WCHAR *, const WCHAR *, IJSONObject *,
               IJSONObject **, VARIANT &body) {
  String layer;
  if (!keys.Lookup(u"layers", layer)) return E_INVALIDARG;
  body.vt = VT_UNKNOWN;
  body.punkVal = FieldsBody(layer);
  return S_OK;
}

struct Service {
  RESTDispatcher dispatcher;
  Service() {
    KzRegisterHostObjects();
    StringArray none;
    RESTResource *root = dispatcher.CreateRESTResource(u"", nullptr, true);
    RESTResource *layers = dispatcher.CreateRESTCollectionResource(u"layers", nullptr, nullptr, true, true);
    root->AddResource(dispatcher.CreateRESTResource(u"info", nullptr, true));
    root->AddResource(layers);
    layers->AddOperation(dispatcher.CreateRESTOperation(u"query", nullptr, none, none));
    layers->AddResource(dispatcher.CreateRESTCollectionResource(u"fields", Fields, nullptr, u"map", false, true));
    dispatcher.Init(nullptr, root, nullptr);
  }
};

Service &TheService() {
  static Service service;
  return service;
}

void BM_RESTRequest(benchmark::State &state) {
  RESTDispatcher &dispatcher = TheService().dispatcher;
  size_t bytes = 0;
  for (auto _ : state) {
    BSTR properties = nullptr;
    SAFEARRAY *body = nullptr;
    dispatcher.HandleRESTRequest(u"map,query", u"/layers/7/fields", nullptr, nullptr, u"json", u"{\"f\":\"json\"}",
                                 &properties, &body);
    bytes = body->rgsabound[0].cElements;
    SysFreeString(properties);
    SafeArrayDestroy(body);
  }
  state.counters["body_bytes"] = static_cast<double>(bytes);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RESTRequest)->Unit(benchmark::kMicrosecond);

void BM_RESTRequestJSONPart(benchmark::State &state) {
  TheService();
  for (auto _ : state) {
    IJSONObject *request = Make<IJSONObject>(CLSID_JSONObject);
    request->Parse(u"{\"f\":\"json\"}");
    IJSONObject *body = FieldsBody(u"7");
    IJSONWriter *writer = Make<IJSONWriter>(CLSID_JSONWriter);
    writer->Initialize();
    writer->WriteObject(nullptr, body);
    SAFEARRAY *bytes = nullptr;
    writer->GetBytes(&bytes);
    SafeArrayDestroy(bytes);
    writer->Release();
    body->Release();
    request->Release();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RESTRequestJSONPart)->Unit(benchmark::kMicrosecond);

}  // namespace
