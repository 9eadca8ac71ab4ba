#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/class_registry.h>
#include <kzcore/pal/module.h>
#include <kzcore/platform/object_creation.h>
#include <tests/modules/test_classes.h>
#include <tests/modules/value_factory.h>
#include <tests/support/class_configuration.h>

namespace {

// The value of a new object of `clsid` made by KzCreateInstance, or -1 with the failure code.
int Made(REFCLSID clsid, HRESULT *failure = nullptr) {
  ITestValue *object = nullptr;
  HRESULT hr = KzCreateInstance(clsid, nullptr, CLSCTX_ALL, KZ_IID(ITestValue), reinterpret_cast<void **>(&object));
  if (failure != nullptr) *failure = hr;
  if (FAILED(hr)) return -1;
  int value = object->Value();
  object->Release();
  return value;
}

constexpr GUID Numbered(DWORD n) { return {0xB0000000u + n, 0, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 2}}; }

// The add-in manager's module is loaded once in this program, so one test sees the process
// before and after.
TEST(KzCreateInstance, AddInManagerAnswersForClassesOnlyItKnowsOnceItsModuleIsLoaded) {
  ASSERT_EQ(GetModuleHandleW(kAddInManagerModule), nullptr);
  HRESULT failure;
  EXPECT_EQ(Made(kztest::kAddInValueClass, &failure), -1);
  EXPECT_EQ(failure, REGDB_E_CLASSNOTREG);  // the platform's code stands
  IClassFactory *factory = reinterpret_cast<IClassFactory *>(&failure);
  EXPECT_EQ(KzGetClassFactory(kztest::kAddInValueClass, CLSCTX_ALL, &factory), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(factory, nullptr);
  IAddInManager *manager = nullptr;
  EXPECT_EQ(GetAddInManager(&manager), HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(InitAddInManager(nullptr, u"add-ins"), HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));

  HMODULE module = LoadLibraryW(u"" KZ_TEST_ADD_IN_MODULE);
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(Made(kztest::kAddInValueClass), kztest::kAddInValue);
  ASSERT_EQ(KzGetClassFactory(kztest::kAddInValueClass, CLSCTX_ALL, &factory), S_OK);
  ITestValue *object = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, KZ_IID(ITestValue), reinterpret_cast<void **>(&object)), S_OK);
  EXPECT_EQ(object->Value(), kztest::kAddInValue);
  object->Release();
  factory->Release();
  // The manager is asked last: the platform's registration of the same class answers first.
  DWORD cookie = 0;
  auto *registered = new kztest::ValueFactory(7);
  CoRegisterClassObject(kztest::kAddInValueClass, registered, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
  EXPECT_EQ(Made(kztest::kAddInValueClass), 7);
  CoRevokeClassObject(cookie);
  registered->Release();
  // A class the manager does not know either keeps the platform's failure.
  EXPECT_EQ(Made(Numbered(1), &failure), -1);
  EXPECT_EQ(failure, REGDB_E_CLASSNOTREG);
  // The two entry points reach the module with their arguments.
  ASSERT_EQ(GetAddInManager(&manager), S_OK);
  ASSERT_EQ(manager->GetClassFactory(kztest::kAddInValueClass, &factory), S_OK);
  factory->Release();
  manager->Release();
  EXPECT_EQ(GetAddInManager(nullptr), E_POINTER);
  EXPECT_EQ(InitAddInManager(nullptr, u"add-ins"), S_OK);
  EXPECT_EQ(InitAddInManager(nullptr, u"other"), E_INVALIDARG);

  // The library keeps the module loaded once it has used it.
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_NE(GetModuleHandleW(kAddInManagerModule), nullptr);
  EXPECT_EQ(Made(kztest::kAddInValueClass), kztest::kAddInValue);
}

TEST(FactoryCache, KeepsFactoriesForItsOwnThreadOnly) {
  const CLSID clsid = Numbered(2);
  // A single-use registration answers the platform once: only a kept factory makes a second.
  auto *factory = new kztest::ValueFactory(3);
  DWORD cookie = 0;
  CoRegisterClassObject(clsid, factory, CLSCTX_INPROC_SERVER, REGCLS_SINGLEUSE, &cookie);
  {
    FactoryCache cache;
    ASSERT_TRUE(cache.IsValid());
    FactoryCache second;  // one per thread
    EXPECT_FALSE(second.IsValid());
    IClassFactory *out = reinterpret_cast<IClassFactory *>(&cookie);
    EXPECT_EQ(second.GetClassFactory(clsid, CLSCTX_ALL, &out), E_UNEXPECTED);
    EXPECT_EQ(out, nullptr);

    EXPECT_EQ(Made(clsid), 3);
    EXPECT_EQ(Made(clsid), 3);
    EXPECT_EQ(cache.Size(), 1u);
    EXPECT_EQ(factory->refs(), 3u);  // the maker's, the registration's and the cache's
    ASSERT_EQ(KzGetClassFactory(clsid, CLSCTX_ALL, &out), S_OK);
    EXPECT_EQ(out, static_cast<IClassFactory *>(factory));
    out->Release();

    // Another thread has no cache: it meets the used-up registration.
    HRESULT elsewhere = S_OK;
    std::thread([&] { Made(clsid, &elsewhere); }).join();
    EXPECT_EQ(elsewhere, REGDB_E_CLASSNOTREG);
    // A class the platform refuses is not kept.
    EXPECT_EQ(Made(Numbered(3)), -1);
    EXPECT_EQ(cache.Size(), 1u);
  }
  EXPECT_EQ(factory->refs(), 2u);  // the cache gave its reference back
  EXPECT_EQ(Made(clsid), -1);      // and the thread asks the platform again
  CoRevokeClassObject(cookie);
  EXPECT_EQ(factory->Release(), 0u);

  // Once the first cache is gone the thread may make another.
  FactoryCache again;
  EXPECT_TRUE(again.IsValid());
}

TEST(FactoryCache, ThreadsWithCachesOfTheirOwn) {
  const CLSID clsid = Numbered(4);
  auto *factory = new kztest::ValueFactory(9);
  DWORD cookie = 0;
  CoRegisterClassObject(clsid, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      FactoryCache cache;
      wrong[t] += !cache.IsValid();
      for (int i = 0; i < 200; ++i) wrong[t] += Made(clsid) != 9;
      wrong[t] += cache.Size() != 1;
    });
  for (auto &thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(4, 0));
  CoRevokeClassObject(cookie);
  EXPECT_EQ(factory->Release(), 0u);
}

TEST(CategoryMgr, MembersFromTheFileAndTheProcess) {
  const GUID category = Numbered(10);
  const CLSID registered = Numbered(11), unmade = Numbered(12), added = Numbered(13), later = Numbered(14);
  kztest::TempFolder folder;
  const std::string line_of_configured = "{F4904917-E3C1-4803-839C-6A61CA949AF4} " KZ_TEST_CLASS_MODULE
                                         " category={B000000A-0000-4000-8000-000000000002}\n";
  std::string file = folder.Write("classes.conf", line_of_configured +
                                                      "{B000000C-0000-4000-8000-000000000002} - "
                                                      "category={B000000A-0000-4000-8000-000000000002}\n");
  kztest::ClassConfigurationScope scope(file);
  KzRegisterClassCategory(registered, category);
  auto *factory = new kztest::ValueFactory(11);
  DWORD cookie = 0;
  CoRegisterClassObject(registered, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);

  // In order: the file's members, then the process's. A member that cannot be made still counts.
  CategoryMgr members(category);
  std::vector<int> values;
  std::vector<CLSID> classes;
  ITestValue *object;
  CLSID clsid;
  while (members.CreateNext(KZ_IID(ITestValue), reinterpret_cast<void **>(&object), &clsid)) {
    classes.push_back(clsid);
    values.push_back(object != nullptr ? object->Value() : -1);
    if (object != nullptr) object->Release();
  }
  EXPECT_EQ(classes, (std::vector<CLSID>{kztest::kConfiguredValueClass, unmade, registered}));
  EXPECT_EQ(values, (std::vector<int>{kztest::kConfiguredValue, -1, 11}));
  EXPECT_FALSE(members.CreateNext(KZ_IID(ITestValue), &clsid));

  members.Reset();
  members.Skip(1);
  ASSERT_TRUE(members.CreateNext(KZ_IID(ITestValue), &clsid));  // no object made
  EXPECT_EQ(clsid, unmade);
  members.Skip(~0u);
  EXPECT_FALSE(members.CreateNext(KZ_IID(ITestValue), reinterpret_cast<void **>(&object)));
  EXPECT_TRUE(members.IsMember(registered));
  EXPECT_FALSE(members.IsMember(added));
  EXPECT_FALSE(CategoryMgr(Numbered(15)).IsMember(registered));

  // A member added now is seen by every manager of the category, after the others.
  EXPECT_EQ(CategoryMgr(category).AddMember(added), S_OK);
  EXPECT_EQ(members.AddMember(added), S_FALSE);
  EXPECT_TRUE(members.IsMember(added));
  members.Reset();
  members.Skip(3);
  ASSERT_TRUE(members.CreateNext(KZ_IID(ITestValue), &clsid));
  EXPECT_EQ(clsid, added);

  // Refresh rereads the files.
  folder.Write("classes.conf", line_of_configured + "{B000000E-0000-4000-8000-000000000002} - "
                                                    "category={B000000A-0000-4000-8000-000000000002}\n");
  EXPECT_FALSE(members.IsMember(later));
  CategoryMgr::Refresh();
  EXPECT_TRUE(members.IsMember(later));
  EXPECT_FALSE(members.IsMember(unmade));
  ClearCategoryCache();
  EXPECT_TRUE(CategoryMgr(category).IsMember(later));

  CoRevokeClassObject(cookie);
  EXPECT_EQ(factory->Release(), 0u);
}

}  // namespace
