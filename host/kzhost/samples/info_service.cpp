#include "info_service.h"

#include <unistd.h>

#include <chrono>

#include <kzcore/pal/wide.h>

using RESTSupport::RESTKeys;
using RESTSupport::RESTResource;

namespace kzhost {
namespace {

struct Topic {
  const WCHAR *key;
  const WCHAR *title;
  const WCHAR *text;
};

constexpr Topic kTopics[] = {
    {u"library", u"The library",
     u"KzCore, the foundation library of the Kz GIS family: text, containers, values, numerics and REST server "
     u"support."},
    {u"host", u"The host",
     u"kzhost serves the REST surface of server objects over HTTP, on the loopback address unless told otherwise."},
    {u"formats", u"Output formats", u"The sample services answer in the format \"json\" only."},
};

const auto kStarted = std::chrono::steady_clock::now();

HRESULT AddTopic(IJSONObject *to, const Topic &topic, bool withText) {
  HRESULT hr = to->AddString(u"key", topic.key);
  if (SUCCEEDED(hr)) hr = to->AddString(u"title", topic.title);
  if (SUCCEEDED(hr) && withText) hr = to->AddString(u"text", topic.text);
  return hr;
}

// "/services/Info": what the service is, the REST version, the topics' keys.
HRESULT Root(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *, const WCHAR *format, IJSONObject *,
             IJSONObject **, VARIANT &body) {
  ComPtr<IJSONObject> answer;
  ComPtr<IJSONArray> keys;
  HRESULT hr = StartAnswer(format, answer.put());
  if (SUCCEEDED(hr)) hr = answer->AddString(u"description", u"Information about this host and its library.");
  if (SUCCEEDED(hr)) hr = RESTSupport::AddRESTCurrentVersion(answer.get(), u"currentVersion");
  if (SUCCEEDED(hr))
    hr = NewJson(keys.put());
  for (const Topic &topic : kTopics)
    if (SUCCEEDED(hr)) hr = keys->AddString(topic.key);
  if (SUCCEEDED(hr)) hr = answer->AddArray(u"topics", keys.get());
  return SUCCEEDED(hr) ? AnswerJson(answer.get(), body) : hr;
}

// "/services/Info/topics": every topic's key and title.
HRESULT Topics(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *, const WCHAR *format, IJSONObject *,
               IJSONObject **, VARIANT &body) {
  ComPtr<IJSONObject> answer;
  ComPtr<IJSONArray> list;
  HRESULT hr = StartAnswer(format, answer.put());
  if (SUCCEEDED(hr))
    hr = NewJson(list.put());
  for (const Topic &topic : kTopics) {
    ComPtr<IJSONObject> entry;
    if (SUCCEEDED(hr))
      hr = NewJson(entry.put());
    if (SUCCEEDED(hr)) hr = AddTopic(entry.get(), topic, false);
    if (SUCCEEDED(hr)) hr = list->AddObject(entry.get());
  }
  if (SUCCEEDED(hr)) hr = answer->AddArray(u"topics", list.get());
  return SUCCEEDED(hr) ? AnswerJson(answer.get(), body) : hr;
}

// "/services/Info/topics/<key>": one topic with its text.
HRESULT OneTopic(void *, const WCHAR *, RESTResource *, RESTKeys &keys, WCHAR *, const WCHAR *format, IJSONObject *,
                 IJSONObject **, VARIANT &body) {
  const String *key = keys.Lookup(u"topics");
  for (const Topic &topic : kTopics) {
    if (key == nullptr || wcscmp(*key, topic.key) != 0) continue;
    ComPtr<IJSONObject> answer;
    HRESULT hr = StartAnswer(format, answer.put());
    if (SUCCEEDED(hr)) hr = AddTopic(answer.get(), topic, true);
    return SUCCEEDED(hr) ? AnswerJson(answer.get(), body) : hr;
  }
  String message;
  message.Format(u"No topic '%s'.", key != nullptr ? static_cast<const WCHAR *>(*key) : u"");
  return Fail(RESTSupport::REST_E_INVALID_URL, message);
}

// "echo": the value of the parameter "text", whatever its JSON type.
HRESULT Echo(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *operationInput, const WCHAR *format,
             IJSONObject *, IJSONObject **, VARIANT &body) {
  ComPtr<IJSONObject> input, answer;
  HRESULT hr = StartOperation(operationInput, format, input.put(), answer.put());
  if (FAILED(hr)) return hr;
  if (FAILED(CopyMember(input.get(), u"text", answer.get(), u"text")))
    return Fail(E_INVALIDARG, u"The parameter 'text' is required.");
  return AnswerJson(answer.get(), body);
}

// "process": figures of the host process, for administrators.
HRESULT Process(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *, const WCHAR *format, IJSONObject *,
                IJSONObject **, VARIANT &body) {
  ComPtr<IJSONObject> answer;
  HRESULT hr = StartAnswer(format, answer.put());
  double uptime = std::chrono::duration<double>(std::chrono::steady_clock::now() - kStarted).count();
  if (SUCCEEDED(hr)) hr = answer->AddInteger(u"processId", getpid());
  if (SUCCEEDED(hr)) hr = answer->AddInteger(u"uptimeSeconds", static_cast<LONGLONG>(uptime));
  if (SUCCEEDED(hr)) hr = answer->AddInteger(u"liveObjects", Unknown::LiveObjectCount());
  return SUCCEEDED(hr) ? AnswerJson(answer.get(), body) : hr;
}

}  // namespace

InfoService::InfoService() {
  RESTResource *root = dispatcher_.CreateRESTResource(u"", Root, true);
  root->AddOperation(dispatcher_.CreateRESTOperation(u"echo", Echo, Texts({u"text"}), Texts({u"json"})));
  root->AddOperation(dispatcher_.CreateRESTOperation(u"process", Process, Texts({}), Texts({u"json"}), u"Admin"));
  root->AddResource(dispatcher_.CreateRESTCollectionResource(u"topics", Topics, OneTopic, true, true));
  dispatcher_.Init(this, root, nullptr);
}

HRESULT InfoService::GetCLSID(GUID *clsid) {
  if (clsid == nullptr) return E_POINTER;
  *clsid = CLSID_KzInfoService;
  return S_OK;
}

}  // namespace kzhost
