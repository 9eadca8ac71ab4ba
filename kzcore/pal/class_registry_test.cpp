#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/class_registry.h>
#include <kzcore/pal/clsid.h>
#include <kzcore/pal/com.h>
#include <kzcore/pal/module.h>
#include <tests/modules/test_classes.h>
#include <tests/modules/value_factory.h>
#include <tests/support/class_configuration.h>
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

// The value of a new ITestValue object of `clsid`, or the failure code.
int ValueOf(REFCLSID clsid, DWORD context = CLSCTX_ALL, HRESULT *failure = nullptr) {
  ITestValue *object = nullptr;
  HRESULT hr = CoCreateInstance(clsid, nullptr, context, KZ_IID(ITestValue), reinterpret_cast<void **>(&object));
  if (failure != nullptr) *failure = hr;
  if (FAILED(hr)) return -1;
  int value = object->Value();
  object->Release();
  return value;
}

std::u16string ProgIDOf(REFCLSID clsid) {
  LPOLESTR text = nullptr;
  if (FAILED(ProgIDFromCLSID(clsid, &text))) return u"<none>";
  std::u16string copy = text;
  CoTaskMemFree(text);
  return copy;
}

constexpr GUID Numbered(DWORD n) { return {0xA0000000u + n, 0, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 1}}; }
constexpr CLSID kInProcessOnly = Numbered(1);
constexpr CLSID kMissingModule = Numbered(2);
constexpr CLSID kNoEntryPoint = Numbered(3);
constexpr GUID kRoadsCategory = kz::pal::GuidFromText("{E536FF89-1C6C-47FE-9A66-7DCC583EC1A0}");
constexpr GUID kRailCategory = Numbered(100);

TEST(ClassConfiguration, ClassesProgIDsCategoriesAndSkippedLines) {
  kztest::TempFolder folder;
  std::string text =
      std::string("# classes for the test\n") +                                                  // 1
      "   \t\n"                                                                                    // 2
      "{F4904917-E3C1-4803-839C-6A61CA949AF4} \"" KZ_TEST_CLASS_MODULE "\" progid=Kz.Test.Configured "
      "category={E536FF89-1C6C-47FE-9A66-7DCC583EC1A0} category={A0000064-0000-4000-8000-000000000001} # served\n"  // 3
      "{A0000001-0000-4000-8000-000000000001} - progid=Kz.Test.InProcess "
      "category={e536ff89-1c6c-47fe-9a66-7dcc583ec1a0}\r\n"                                        // 4
      "{A0000002-0000-4000-8000-000000000001} /nonexistent/libkz-nothing.so\n"                     // 5
      "{A0000003-0000-4000-8000-000000000001} " KZ_TEST_ADD_IN_MODULE "\n"                         // 6
      "not-a-class libx.so\n"                                                                      // 7
      "{A0000004-0000-4000-8000-000000000001}\n"                                                   // 8
      "{A0000005-0000-4000-8000-000000000001} libx.so colour=red\n"                                // 9
      "{A0000006-0000-4000-8000-000000000001} libx.so progid=9Lives\n"                             // 10
      "{A0000007-0000-4000-8000-000000000001} libx.so progid=A progid=B\n"                         // 11
      "{A0000008-0000-4000-8000-000000000001} libx.so category={nope}\n"                           // 12
      "{F4904917-E3C1-4803-839C-6A61CA949AF4} liby.so\n"                                           // 13
      "{A0000009-0000-4000-8000-000000000001} \"lib with space.so\n"                               // 14
      "{A000000A-0000-4000-8000-000000000001} libx.so progid=Kz." +                        // 15
      std::string(1, '\0') + "Zero\n"
      "{A000000B-0000-4000-8000-000000000001}} libx.so";                                           // 16, no line end
  std::string file = folder.Write("classes.conf", text);
  std::string missing = folder.path() + "/absent.conf";
  kztest::ClassConfigurationScope scope(file + ":" + missing);

  const std::vector<std::pair<unsigned, std::string>> expected = {
      {7, "not a class identifier"},  {8, "no module"},         {9, "unknown option"},
      {10, "programmatic identifier"}, {11, "progid is given twice"}, {12, "not a category identifier"},
      {13, "defined already at " + file + ":3"}, {14, "not closed"}, {15, "zero byte"},
      {16, "not a class identifier"}};
  std::vector<KzClassConfigurationIssue> issues = KzClassConfigurationIssues();
  ASSERT_EQ(issues.size(), expected.size() + 1);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(issues[i].file, file);
    EXPECT_EQ(issues[i].line, expected[i].first);
    EXPECT_NE(issues[i].reason.find(expected[i].second), std::string::npos) << issues[i].reason;
  }
  EXPECT_EQ(issues.back().file, missing);
  EXPECT_EQ(issues.back().line, 0u);

  // The class module is loaded on first use, for in-process requests only.
  HRESULT failure;
  EXPECT_EQ(ValueOf(kztest::kConfiguredValueClass, CLSCTX_LOCAL_SERVER, &failure), -1);
  EXPECT_EQ(failure, REGDB_E_CLASSNOTREG);
  EXPECT_EQ(ValueOf(kztest::kConfiguredValueClass), kztest::kConfiguredValue);
  EXPECT_NE(GetModuleHandleW(u"libkztest_classes.so"), nullptr);
  // A registration in process comes first, and the module answers again once it is revoked.
  DWORD cookie = 0;
  auto *factory = new kztest::ValueFactory(5);
  CoRegisterClassObject(kztest::kConfiguredValueClass, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
  EXPECT_EQ(ValueOf(kztest::kConfiguredValueClass), 5);
  CoRevokeClassObject(cookie);
  EXPECT_EQ(ValueOf(kztest::kConfiguredValueClass), kztest::kConfiguredValue);

  // A class without a module is made only while a module registers it.
  EXPECT_EQ(ValueOf(kInProcessOnly, CLSCTX_ALL, &failure), -1);
  EXPECT_EQ(failure, REGDB_E_CLASSNOTREG);
  CoRegisterClassObject(kInProcessOnly, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
  EXPECT_EQ(ValueOf(kInProcessOnly), 5);
  CoRevokeClassObject(cookie);
  EXPECT_EQ(factory->Release(), 0u);

  // Modules that cannot serve give the loader's codes, and the reason joins the issues.
  EXPECT_EQ(ValueOf(kMissingModule, CLSCTX_ALL, &failure), -1);
  EXPECT_EQ(failure, CO_E_DLLNOTFOUND);
  EXPECT_EQ(ValueOf(kNoEntryPoint, CLSCTX_ALL, &failure), -1);
  EXPECT_EQ(failure, CO_E_ERRORINDLL);
  issues = KzClassConfigurationIssues();
  ASSERT_EQ(issues.size(), expected.size() + 3);
  EXPECT_EQ(issues[issues.size() - 2].line, 5u);
  EXPECT_NE(issues[issues.size() - 2].reason.find("cannot be loaded"), std::string::npos);
  EXPECT_EQ(issues.back().line, 6u);
  EXPECT_NE(issues.back().reason.find("DllGetClassObject"), std::string::npos);

  // Programmatic identifiers and categories of the file.
  EXPECT_EQ(ProgIDOf(kztest::kConfiguredValueClass), u"Kz.Test.Configured");
  EXPECT_EQ(ProgIDOf(kMissingModule), u"<none>");
  CLSID found;
  EXPECT_EQ(CLSIDFromProgID(u"KZ.TEST.INPROCESS", &found), S_OK);
  EXPECT_EQ(found, kInProcessOnly);
  EXPECT_EQ(KzClassesOfCategory(kRoadsCategory), (std::vector<CLSID>{kztest::kConfiguredValueClass, kInProcessOnly}));
  EXPECT_EQ(KzClassesOfCategory(kRailCategory), std::vector<CLSID>{kztest::kConfiguredValueClass});
  EXPECT_TRUE(KzIsClassOfCategory(kInProcessOnly, kRoadsCategory));
  EXPECT_FALSE(KzIsClassOfCategory(kInProcessOnly, kRailCategory));
  // Memberships registered in process follow those of the files, each class once.
  const ULONG version = KzClassRegistryVersion();
  EXPECT_EQ(KzRegisterClassCategory(kMissingModule, kRailCategory), S_OK);
  EXPECT_NE(KzClassRegistryVersion(), version);
  EXPECT_EQ(KzRegisterClassCategory(kMissingModule, kRailCategory), S_FALSE);
  EXPECT_EQ(KzRegisterClassCategory(kztest::kConfiguredValueClass, kRailCategory), S_FALSE);
  EXPECT_EQ(KzClassesOfCategory(kRailCategory), (std::vector<CLSID>{kztest::kConfiguredValueClass, kMissingModule}));
  EXPECT_TRUE(KzIsClassOfCategory(kMissingModule, kRailCategory));
}

TEST(ClassConfiguration, RelativeModulesAndTheUserFile) {
  kztest::TempFolder folder;
  // A relative path is taken from the configuration file's folder.
  std::filesystem::create_directories(folder.path() + "/kzcore/modules");
  std::filesystem::copy_file(KZ_TEST_CLASS_MODULE, folder.path() + "/kzcore/modules/libkztest_copy.so");
  folder.Write("kzcore/classes.conf",
               "{F4904917-E3C1-4803-839C-6A61CA949AF4} modules/libkztest_copy.so progid=Kz.Test.Copy\n");
  // Without KZCORE_CLASSES, the user's file under XDG_CONFIG_HOME is read.
  const char *saved = std::getenv("XDG_CONFIG_HOME");
  std::string saved_value = saved != nullptr ? saved : "";
  setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
  unsetenv("KZCORE_CLASSES");
  KzReloadClassConfiguration();
  EXPECT_EQ(ProgIDOf(kztest::kConfiguredValueClass), u"Kz.Test.Copy");
  EXPECT_EQ(ValueOf(kztest::kConfiguredValueClass), kztest::kConfiguredValue);
  EXPECT_NE(GetModuleHandleW(u"libkztest_copy.so"), nullptr);
  EXPECT_TRUE(KzClassConfigurationIssues().empty());
  if (saved != nullptr)
    setenv("XDG_CONFIG_HOME", saved_value.c_str(), 1);
  else
    unsetenv("XDG_CONFIG_HOME");
  setenv("KZCORE_CLASSES", "", 1);
  KzReloadClassConfiguration();
  EXPECT_EQ(ProgIDOf(kztest::kConfiguredValueClass), u"<none>");
}

// Lines of random bytes are each either taken or reported, and never bring the reader down.
TEST(ClassConfiguration, RandomLinesAreTakenOrReported) {
  std::mt19937 rng(11);
  const std::string pieces[] = {"{F4904917-E3C1-4803-839C-6A61CA949AF4}", "{A0000001-0000-4000-8000-000000000001}",
                                " ", "\t", "\"", "#", "progid=", "category=", "Kz.X", "-", "libm.so.6", "=", "{", "}",
                                "\xC3\xA9", std::string(1, '\0'), "\r", "x"};
  std::string text;
  int lines = 0;
  for (int i = 0; i < 3000; ++i) {
    std::string line = "x";  // neither blank nor a comment
    for (int n = static_cast<int>(rng() % 8); n > 0; --n) line += pieces[rng() % std::size(pieces)];
    if (rng() % 3 == 0) line = pieces[rng() % 2] + " " + line;
    text += line + "\n";
    ++lines;
  }
  kztest::TempFolder folder;
  kztest::ClassConfigurationScope scope(folder.Write("random.conf", text));
  // Only the first line of each of the two classes can be taken; a later one names its class again.
  std::size_t reported = KzClassConfigurationIssues().size();
  EXPECT_GE(reported + 2, static_cast<std::size_t>(lines));
  EXPECT_LE(reported, static_cast<std::size_t>(lines));
}

}  // namespace

