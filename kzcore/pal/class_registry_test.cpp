#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/com.h>
#include <tests/support/com_object.h>

struct IWidget : IUnknown {
  virtual int Id() = 0;
};
KZ_DECLARE_IID(IWidget, "{0A1B2C3D-0000-4000-8000-000000000001}");

namespace {

constexpr CLSID kWidgetClass = kz::pal::GuidFromText("{0A1B2C3D-0000-4000-8000-0000000000A1}");

struct Widget : kztest::ComObject<IWidget> {
  explicit Widget(int id) : id(id) {}
  int Id() override { return id; }
  int id;
};

struct WidgetFactory : kztest::ComObject<IClassFactory> {
  explicit WidgetFactory(int id) : id(id) {}
  HRESULT CreateInstance(IUnknown *outer, REFIID riid, void **ppv) override {
    *ppv = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto *widget = new Widget(id);
    HRESULT hr = widget->QueryInterface(riid, ppv);
    widget->Release();
    return hr;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }
  int id;
};

// The id of a new widget of `clsid`, or -1 when none could be made.
int MadeBy(REFCLSID clsid, DWORD context = CLSCTX_ALL) {
  IWidget *widget = nullptr;
  if (FAILED(CoCreateInstance(clsid, nullptr, context, KZ_IID(IWidget), reinterpret_cast<void **>(&widget))))
    return -1;
  int id = widget->Id();
  widget->Release();
  return id;
}

TEST(ClassRegistry, RegistrationLivesUntilRevoked) {
  auto &factory = *new WidgetFactory(7);
  void *out = &out;
  EXPECT_EQ(CoCreateInstance(kWidgetClass, nullptr, CLSCTX_ALL, KZ_IID(IWidget), &out), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(out, nullptr);
  DWORD cookie = 0;
  ASSERT_EQ(CoRegisterClassObject(kWidgetClass, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie),
            S_OK);
  EXPECT_EQ(factory.refs(), 2u);  // the registry holds one
  EXPECT_EQ(MadeBy(kWidgetClass), 7);
  EXPECT_EQ(MadeBy(kWidgetClass), 7);
  EXPECT_EQ(CoCreateInstance(kWidgetClass, &factory, CLSCTX_ALL, KZ_IID(IUnknown), &out),
            CLASS_E_NOAGGREGATION);
  EXPECT_EQ(CoGetClassObject(kWidgetClass, CLSCTX_ALL, nullptr, KZ_IID(IClassFactory), &out), S_OK);
  EXPECT_EQ(out, static_cast<IClassFactory *>(&factory));
  factory.Release();
  EXPECT_EQ(factory.refs(), 2u);

  EXPECT_EQ(CoRevokeClassObject(cookie), S_OK);
  EXPECT_EQ(factory.Release(), 0u);  // the registry gave its reference back
  EXPECT_EQ(CoRevokeClassObject(cookie), CO_E_OBJNOTREG);
  EXPECT_EQ(MadeBy(kWidgetClass), -1);
  EXPECT_EQ(CoRegisterClassObject(kWidgetClass, nullptr, CLSCTX_ALL, REGCLS_MULTIPLEUSE, &cookie),
            E_INVALIDARG);
  EXPECT_EQ(CoCreateInstance(kWidgetClass, nullptr, CLSCTX_ALL, KZ_IID(IUnknown), nullptr), E_POINTER);
  LPOLESTR prog_id = reinterpret_cast<LPOLESTR>(&out);
  EXPECT_EQ(ProgIDFromCLSID(kWidgetClass, &prog_id), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(prog_id, nullptr);
}

TEST(ClassRegistry, ContextLatestRegistrationAndSingleUse) {
  WidgetFactory local(10), inproc(20), once(30);
  DWORD local_cookie = 0, inproc_cookie = 0, once_cookie = 0;
  CoRegisterClassObject(kWidgetClass, &local, CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE, &local_cookie);
  EXPECT_EQ(MadeBy(kWidgetClass, CLSCTX_INPROC_SERVER), -1);  // not served in that context
  CoRegisterClassObject(kWidgetClass, &inproc, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &inproc_cookie);
  EXPECT_EQ(MadeBy(kWidgetClass), 20);  // the latest answers
  EXPECT_EQ(MadeBy(kWidgetClass, CLSCTX_LOCAL_SERVER), 10);
  CoRegisterClassObject(kWidgetClass, &once, CLSCTX_INPROC_SERVER, REGCLS_SINGLEUSE, &once_cookie);
  EXPECT_EQ(MadeBy(kWidgetClass), 30);
  EXPECT_EQ(MadeBy(kWidgetClass), 20);  // the single-use registration has answered
  CoRevokeClassObject(inproc_cookie);
  EXPECT_EQ(MadeBy(kWidgetClass), 10);
  CoRevokeClassObject(once_cookie);
  CoRevokeClassObject(local_cookie);
  EXPECT_EQ(local.refs() + inproc.refs() + once.refs(), 3u);
}

TEST(ClassRegistry, ManyThreadsRegisterCreateAndRevoke) {
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t, &wrong] {
      WidgetFactory factory(100 + t);
      CLSID clsid = kWidgetClass;
      clsid.Data1 += static_cast<DWORD>(t + 1);  // a class of its own: one right answer
      for (int i = 0; i < 200; ++i) {
        DWORD cookie = 0;
        CoRegisterClassObject(clsid, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
        wrong[t] += MadeBy(clsid) != 100 + t;
        CoRevokeClassObject(cookie);
        wrong[t] += MadeBy(clsid) != -1;
      }
      wrong[t] += factory.refs() != 1;
    });
  for (auto &thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

}  // namespace
