#include "service_host.h"

#include <algorithm>
#include <cstdio>

#include <kzcore/pal/module.h>
#include <kzcore/platform/object_creation.h>

#include "json_text.h"

namespace kzhost {
namespace {

using DllGetClassObjectProc = HRESULT (*)(REFCLSID, REFIID, void **);

std::string Hex(HRESULT hr) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(hr));
  return text;
}

// A header value may not carry control characters (a line break would start another header).
bool SafeHeaderValue(std::string_view v) {
  if (v.empty() || v.size() > 256) return false;
  for (char c : v) {
    auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7F) return false;
  }
  return true;
}

// Makes the module's class known to the class registry: through its DllGetClassObject when it
// exports one, else the module registers its classes itself when it loads.
bool LoadModule(const ServiceConfig &service, std::ostream &log) {
  Bstr path = Bstr::FromUtf8(service.module);
  HMODULE module = path.get() != nullptr ? LoadLibraryW(path.get()) : nullptr;
  if (module == nullptr) {
    log << "kzhost: service " << service.name << ": cannot load " << service.module << "\n";
    return false;
  }
  auto get = reinterpret_cast<DllGetClassObjectProc>(GetProcAddress(module, "DllGetClassObject"));
  if (get == nullptr) return true;
  IClassFactory *factory = nullptr;
  HRESULT hr = get(service.clsid, KZ_IID(IClassFactory), reinterpret_cast<void **>(&factory));
  if (FAILED(hr) || factory == nullptr) {
    log << "kzhost: service " << service.name << ": DllGetClassObject gave " << Hex(hr) << "\n";
    return false;
  }
  DWORD cookie = 0;
  hr = CoRegisterClassObject(service.clsid, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
  factory->Release();
  return SUCCEEDED(hr);
}

IRESTRequestHandler *MakeInstance(const ServiceConfig &service, HRESULT *result) {
  IRESTRequestHandler *object = nullptr;
  *result = KzCreateInstance(service.clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IRESTRequestHandler),
                             reinterpret_cast<void **>(&object));
  return SUCCEEDED(*result) ? object : nullptr;
}

}  // namespace

Reply ErrorReply(RestError error, std::string_view detail) {
  Reply r;
  r.content_type = "text/plain";
  r.text = ErrorDocument(error, detail);
  return r;
}

// One instance, taken from the service's idle ones (or made) and given back at the end.
class ServiceHost::Lease {
 public:
  explicit Lease(Service &service) : service_(service) {
    for (auto &place : service.idle)
      if ((object_ = place.exchange(nullptr, std::memory_order_acquire)) != nullptr) return;
    HRESULT hr;
    object_ = MakeInstance(service.config, &hr);
  }
  ~Lease() {
    if (object_ == nullptr) return;
    for (auto &place : service_.idle) {
      IRESTRequestHandler *empty = nullptr;
      if (place.compare_exchange_strong(empty, object_, std::memory_order_release)) return;
    }
    object_->Release();
  }
  IRESTRequestHandler *get() const { return object_; }

 private:
  Service &service_;
  IRESTRequestHandler *object_ = nullptr;
};

ServiceHost::~ServiceHost() {
  for (auto &s : services_)
    for (auto &place : s->idle)
      if (IRESTRequestHandler *object = place.exchange(nullptr)) object->Release();
}

void ServiceHost::Start(const Configuration &config, std::ostream &log) {
  service_list_ = "{\"services\":[";
  for (const ServiceConfig &c : config.services) {
    auto service = std::make_unique<Service>();
    service->config = c;
    service->idle = std::vector<std::atomic<IRESTRequestHandler *>>(std::max(1u, config.workers));
    std::optional<SchemaNode> schema;
    if (c.module.empty() || LoadModule(c, log)) {
      HRESULT hr;
      IRESTRequestHandler *object = MakeInstance(c, &hr);
      if (object == nullptr) {
        log << "kzhost: service " << c.name << ": no object of its class (" << Hex(hr) << ")\n";
      } else {
        Bstr text;
        hr = object->GetSchema(text.out());
        auto utf8 = SUCCEEDED(hr) ? ToUtf8(text.get()) : std::nullopt;
        if (utf8) {
          service->schema_text = std::move(*utf8);
          schema = ParseSchema(service->schema_text);
        }
        if (!schema) log << "kzhost: service " << c.name << ": its schema cannot be read; paths go to it unsplit\n";
        service->available = true;
        service->idle[0] = object;
      }
    }
    if (services_.size() > 0) service_list_.push_back(',');
    service_list_ += "{\"name\":";
    AppendJsonString(service_list_, c.name);
    service_list_ += "}";
    schemas_.emplace(c.name, std::move(schema));
    services_.push_back(std::move(service));
  }
  service_list_ += "]}";
}

ServiceHost::Service *ServiceHost::Find(const std::string &name) const {
  for (const auto &s : services_)
    if (s->config.name == name) return s.get();
  return nullptr;
}

Reply ServiceHost::Schema(const std::string &name) const {
  Service *service = Find(name);
  if (service == nullptr) return ErrorReply(RestError::kInvalidUrl, "No service named '" + name + "'.");
  if (!service->available) return ErrorReply(RestError::kServiceUnavailable, "");
  Reply r;
  r.content_type = "application/json";
  r.text = service->schema_text;
  return r;
}

Reply ServiceHost::Call(const Route &route) {
  Service *service = Find(route.service);
  if (service == nullptr) return ErrorReply(RestError::kInvalidUrl, "No service named '" + route.service + "'.");
  if (!service->available) return ErrorReply(RestError::kServiceUnavailable, "");

  Bstr capabilities = Bstr::FromUtf8(service->config.capabilities), resource = Bstr::FromUtf8(route.resource),
       operation = Bstr::FromUtf8(route.operation), input = Bstr::FromUtf8(route.input),
       format = Bstr::FromUtf8(route.format), properties = Bstr::FromUtf8(route.properties);
  if (!resource.get() || !operation.get() || !input.get() || !format.get() || !properties.get() || !capabilities.get())
    return ErrorReply(RestError::kInvalidArgs, "A parameter holds a 0 character.");

  Bstr response_properties;
  ByteArray response_data;
  HRESULT hr;
  {
    Lease lease(*service);
    if (lease.get() == nullptr) return ErrorReply(RestError::kServiceUnavailable, "");
    hr = lease.get()->HandleRESTRequest(capabilities.get(), resource.get(), operation.get(), input.get(),
                                        format.get(), properties.get(), response_properties.out(),
                                        response_data.out());
  }
  if (FAILED(hr)) return ErrorReply(RestError::kGeneric, "The service failed with " + Hex(hr) + ".");

  Reply reply;
  reply.content_type = route.format == "json" ? "application/json" : "application/octet-stream";
  if (auto type = MemberString(response_properties.get(), "Content-Type"); type && SafeHeaderValue(*type))
    reply.content_type = std::move(*type);
  if (response_data.get() != nullptr) {
    const void *data;
    size_t size;
    if (!ArrayBytes(response_data.get(), &data, &size))
      return ErrorReply(RestError::kGeneric, "The service answered something other than bytes.");
    reply.bytes = std::move(response_data);
  }
  return reply;
}

}  // namespace kzhost
