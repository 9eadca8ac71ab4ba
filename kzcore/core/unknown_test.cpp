#include <string>

#include <gtest/gtest.h>

#include <kzcore/core/unknown.h>

struct IRoadsTest : IUnknown {
  virtual int Lanes() = 0;
};
KZ_DECLARE_IID(IRoadsTest, "{5E0C5E1A-1111-4222-8333-444455556666}");

namespace {

constexpr CLSID kRoadsClass = kz::pal::GuidFromText("{5E0C5E1A-1111-4222-8333-4444555566AA}");

// A class written as the library's own are.
class Roads : public Unknown, public IRoadsTest {
 public:
  explicit Roads(IUnknown *outer = nullptr, bool rich_errors = false, HRESULT clsid_result = S_OK)
      : Unknown(outer), rich_errors_(rich_errors), clsid_result_(clsid_result) {}
  KZ_DELEGATING_IUNKNOWN
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override {
    if (ppv != nullptr && riid == KZ_IID(IRoadsTest)) return Answer(static_cast<IRoadsTest *>(this), ppv);
    return Unknown::InternalQueryInterface(riid, ppv);
  }
  int SupportsErrorInfo() override { return rich_errors_; }
  HRESULT GetCLSID(GUID *clsid) override {
    *clsid = kRoadsClass;
    return clsid_result_;
  }
  void FinalRelease() override { ++final_releases; }
  int Lanes() override { return 2; }
  static inline int final_releases = 0;

 private:
  bool rich_errors_;
  HRESULT clsid_result_;
};

template <class Interface>
Interface *Ask(Unknown *object) {
  Interface *out = nullptr;
  EXPECT_EQ(object->InternalQueryInterface(KZ_IID(Interface), reinterpret_cast<void **>(&out)), S_OK);
  return out;
}

TEST(Unknown, QueryInterfaceRules) {
  auto *roads = new Roads;
  EXPECT_EQ(roads->InternalQueryInterface(KZ_IID(IUnknown), nullptr), E_POINTER);
  IUnknown *identity = Ask<IUnknown>(roads);
  IUnknown *again = nullptr;
  static_cast<IRoadsTest *>(roads)->QueryInterface(&again);
  EXPECT_EQ(again, identity);  // the public face reaches the same identity
  void *out = &out;
  EXPECT_EQ(roads->InternalQueryInterface(KZ_IID(IClassFactory), &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  out = &out;
  EXPECT_EQ(roads->InternalQueryInterface(KZ_IID(ISupportErrorInfo), &out), E_NOINTERFACE);  // not offered
  EXPECT_EQ(out, nullptr);

  // Every object tells its class; the programmatic identifier is not registered here.
  IClassID *class_id = Ask<IClassID>(roads);
  GUID clsid{};
  EXPECT_EQ(class_id->GetCLSID(&clsid), S_OK);
  EXPECT_EQ(clsid, kRoadsClass);
  EXPECT_EQ(class_id->GetProgID(nullptr), E_POINTER);
  BSTR prog_id = reinterpret_cast<BSTR>(&prog_id);
  EXPECT_EQ(class_id->GetProgID(&prog_id), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(prog_id, nullptr);
  class_id->Release();
  again->Release();
  identity->Release();
  EXPECT_EQ(roads->InternalRelease(), 0u);

  // A class that cannot tell its identifier makes the ProgID E_FAIL, whatever it answered.
  auto *broken = new Roads(nullptr, false, E_OUTOFMEMORY);
  class_id = Ask<IClassID>(broken);
  EXPECT_EQ(class_id->GetProgID(&prog_id), E_FAIL);
  class_id->Release();
  broken->InternalRelease();

  auto *plain = new Unknown;
  EXPECT_EQ(std::u16string(plain->GetClassName()), u"Unknown");
  plain->InternalRelease();
}

TEST(Unknown, TearOffsKeepTheirOwnerAlive) {
  const int finals = Roads::final_releases;
  const LONG live = Unknown::LiveObjectCount();
  auto *roads = new Roads(nullptr, true);
  EXPECT_EQ(Unknown::LiveObjectCount(), live + 1);
  IClassID *class_id = Ask<IClassID>(roads);
  ISupportErrorInfo *support = Ask<ISupportErrorInfo>(roads);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(KZ_IID(IClassFactory)), S_OK);
  IRoadsTest *back = nullptr;
  ASSERT_EQ(support->QueryInterface(&back), S_OK);  // a tear-off answers for its owner
  EXPECT_EQ(back, static_cast<IRoadsTest *>(roads));
  back->Release();
  // A tear-off counts on its own; the owner holds one reference per tear-off.
  class_id->AddRef();
  EXPECT_EQ(class_id->Release(), 1u);
  EXPECT_EQ(roads->InternalAddRef(), 4u);
  EXPECT_EQ(roads->InternalRelease(), 3u);

  EXPECT_EQ(roads->InternalRelease(), 2u);  // the maker lets go
  GUID clsid{};
  EXPECT_EQ(class_id->GetCLSID(&clsid), S_OK);  // the owner is still there
  EXPECT_EQ(class_id->Release(), 0u);
  EXPECT_EQ(Roads::final_releases, finals);
  EXPECT_EQ(support->Release(), 0u);
  EXPECT_EQ(Roads::final_releases, finals + 1);
  EXPECT_EQ(Unknown::LiveObjectCount(), live);
}

// An outer object that aggregates a Roads and hands its interface out as its own.
class Junction final : public IUnknown {
 public:
  HRESULT QueryInterface(REFIID riid, void **ppv) override {
    if (riid != KZ_IID(IUnknown)) return inner_->InternalQueryInterface(riid, ppv);
    *ppv = this;
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return ++refs; }
  ULONG Release() override {
    if (--refs != 0) return refs;
    inner_->InternalRelease();
    delete this;
    return 0;
  }
  ULONG refs = 1;

 private:
  Roads *inner_ = new Roads(this);
};

TEST(Unknown, AggregatedObjectCountsAndAnswersThroughItsOuterObject) {
  const LONG live = Unknown::LiveObjectCount();
  auto *junction = new Junction;
  IRoadsTest *roads = nullptr;
  ASSERT_EQ(static_cast<IUnknown *>(junction)->QueryInterface(&roads), S_OK);
  EXPECT_EQ(junction->refs, 2u);
  IUnknown *identity = nullptr;
  roads->QueryInterface(&identity);
  EXPECT_EQ(identity, static_cast<IUnknown *>(junction));
  identity->Release();
  IClassID *class_id = nullptr;
  roads->QueryInterface(&class_id);
  roads->Release();
  junction->Release();
  EXPECT_EQ(Unknown::LiveObjectCount(), live + 1);  // the tear-off holds the outer object
  class_id->Release();
  EXPECT_EQ(Unknown::LiveObjectCount(), live);
}

}  // namespace
