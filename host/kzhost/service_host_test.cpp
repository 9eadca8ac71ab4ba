#include "service_host.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <thread>
#include <vector>

#include <kzcore/core/class_factory.h>

KZ_DEFINE_GUID(CLSID_KzLendingProbe, "{0B9D2C61-7F4E-4A3B-9C1D-5E6F7A8B9C0D}");

namespace kzhost {
namespace {

// A service that notices being called by two requests at once, and counts its instances.
std::atomic<int> g_instances{0};
std::atomic<int> g_made{0};
std::atomic<bool> g_shared{false};

class LendingProbe final : public Unknown, public IRESTRequestHandler {
 public:
  LendingProbe() {
    ++g_instances;
    ++g_made;
  }
  ~LendingProbe() override { --g_instances; }
  KZ_DELEGATING_IUNKNOWN
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override {
    if (ppv != nullptr && riid == KZ_IID(IRESTRequestHandler))
      return Answer(static_cast<IRESTRequestHandler *>(this), ppv);
    return Unknown::InternalQueryInterface(riid, ppv);
  }
  HRESULT HandleRESTRequest(BSTR, BSTR, BSTR, BSTR, BSTR, BSTR, BSTR *properties, SAFEARRAY **body) override {
    if (busy_.exchange(true)) g_shared = true;
    std::this_thread::yield();
    busy_ = false;
    *properties = nullptr;
    *body = NewByteArray("{}");
    return S_OK;
  }
  HRESULT GetSchema(BSTR *schema) override {
    *schema = SysAllocString(u"{\"name\":\"\",\"schemaVersion\":1}");
    return S_OK;
  }

 private:
  std::atomic<bool> busy_{false};
};

// Requests on many threads at once: no instance serves two of them at a time, idle instances are
// lent again rather than made anew, and every instance is released with the host.
TEST(ServiceHostTest, InstancesAreLentToOneRequestAtATimeAndReturned) {
  static ClassFactory<LendingProbe> factory;
  DWORD cookie = 0;
  ASSERT_EQ(CoRegisterClassObject(CLSID_KzLendingProbe, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie),
            S_OK);
  constexpr int kThreads = 6, kCalls = 400;
  {
    Configuration config;
    config.workers = 3;
    config.services.push_back({"Probe", CLSID_KzLendingProbe, "", ""});
    ServiceHost host;
    std::ostringstream log;
    host.Start(config, log);
    Route route;
    route.kind = RouteKind::kService;
    route.service = "Probe";
    route.input = "{}";
    route.format = "json";
    route.properties = "{}";
    std::vector<std::thread> threads;
    std::atomic<int> answered{0};
    for (int t = 0; t < kThreads; ++t)
      threads.emplace_back([&] {
        for (int i = 0; i < kCalls; ++i)
          if (host.Call(route).bytes.get() != nullptr) ++answered;
      });
    for (auto &t : threads) t.join();
    EXPECT_EQ(answered, kThreads * kCalls);
    EXPECT_FALSE(g_shared);
    // At most one per thread is in use at once; the places keep three of them for later.
    EXPECT_LE(g_instances, 3);
    EXPECT_LT(g_made, kThreads * kCalls / 10);
  }
  EXPECT_EQ(g_instances, 0);
  CoRevokeClassObject(cookie);
}

}  // namespace
}  // namespace kzhost
