#include "info_service.h"

#include <unistd.h>

#include <chrono>

#include "../json_text.h"

namespace kzhost {
namespace {

struct Topic {
  const char *key;
  const char *title;
  const char *text;
};

constexpr Topic kTopics[] = {
    {"library", "The library",
     "KzCore, the foundation library of the Kz GIS family: text, containers, values, numerics and REST server support."},
    {"host", "The host",
     "kzhost serves the REST surface of server objects over HTTP, on the loopback address unless told otherwise."},
    {"formats", "Output formats", "The sample services answer in the format \"json\" only."},
};

const auto kStarted = std::chrono::steady_clock::now();

std::string TopicJson(const Topic &t, bool with_text) {
  std::string out = "{\"key\":";
  AppendJsonString(out, t.key);
  out += ",\"title\":";
  AppendJsonString(out, t.title);
  if (with_text) {
    out += ",\"text\":";
    AppendJsonString(out, t.text);
  }
  out.push_back('}');
  return out;
}

}  // namespace

HRESULT InfoService::GetCLSID(GUID *clsid) {
  if (clsid == nullptr) return E_POINTER;
  *clsid = CLSID_KzInfoService;
  return S_OK;
}

std::string_view InfoService::SchemaText() const {
  return R"({"name":"","operations":[{"name":"echo","parameters":["text"],"supportedOutputFormats":["json"]},)"
         R"({"name":"process","supportedOutputFormats":["json"],"requiredCapability":"Admin"}],)"
         R"("resources":[{"name":"topics","isCollection":true,"isDefaultCollection":true}],"schemaVersion":1})";
}

SampleAnswer InfoService::Handle(const SampleRequest &request) {
  if (request.operation == "echo") {
    auto text = request.input->FindMember("text");
    if (text == request.input->MemberEnd())
      return SampleAnswer::Fail(RestError::kInvalidArgs, "The parameter 'text' is required.");
    return SampleAnswer::Json("{\"text\":" + WriteJson(text->value) + "}");
  }
  if (request.operation == "process") {
    auto uptime = std::chrono::duration<double>(std::chrono::steady_clock::now() - kStarted).count();
    return SampleAnswer::Json("{\"processId\":" + std::to_string(getpid()) +
                              ",\"uptimeSeconds\":" + std::to_string(static_cast<long long>(uptime)) +
                              ",\"liveObjects\":" + std::to_string(Unknown::LiveObjectCount()) + "}");
  }
  if (request.resource->name == "topics") {
    if (request.item) {
      const std::string &key = request.keys.at("topics");
      for (const Topic &t : kTopics)
        if (key == t.key) return SampleAnswer::Json(TopicJson(t, true));
      return SampleAnswer::Fail(RestError::kInvalidUrl, "No topic '" + key + "'.");
    }
    std::string out = "{\"topics\":[";
    for (const Topic &t : kTopics) {
      if (&t != kTopics) out.push_back(',');
      out += TopicJson(t, false);
    }
    return SampleAnswer::Json(out + "]}");
  }
  std::string out = "{\"description\":\"Information about this host and its library.\",\"topics\":[";
  for (const Topic &t : kTopics) {
    if (&t != kTopics) out.push_back(',');
    AppendJsonString(out, t.key);
  }
  return SampleAnswer::Json(out + "]}");
}

}  // namespace kzhost
