#include <string>

#include <gtest/gtest.h>

#include <host/objects/host_objects.h>
#include <kzcore/core/unknown.h>
#include <kzcore/pal/class_registry.h>
#include <kzcore/values/guid.h>

namespace {

constexpr GUID kRoads = kz::pal::GuidFromText("{6B29FC40-CA47-1067-B31D-00DD010662DA}");

// The object's reference count, read by taking one and giving it back.
ULONG Refs(IUnknown *object) {
  object->AddRef();
  return object->Release();
}

std::u16string TextOf(IUID *uid) {
  BSTR text = nullptr;
  if (FAILED(uid->get_Value(&text))) return u"<failed>";
  std::u16string copy = text;
  SysFreeString(text);
  return copy;
}

LONG SubTypeOf(IUID *uid) {
  LONG subtype = -1;
  uid->get_SubType(&subtype);
  return subtype;
}

TEST(Guid, WithoutAnObject) {
  Guid none(static_cast<IUID *>(nullptr));
  EXPECT_EQ(static_cast<IUID *>(none), nullptr);
  EXPECT_EQ(none.SubType(), 0);
  VARIANT v = none;
  EXPECT_EQ(v.vt, VT_UNKNOWN);
  EXPECT_EQ(v.punkVal, nullptr);
  Guid copy = none;
  EXPECT_EQ(static_cast<IUID *>(copy), nullptr);

  // Without the UID class the creating constructors keep the value and make no object.
  KzRevokeHostObjects();
  const LONG live = Unknown::LiveObjectCount();
  Guid lonely(kRoads, 3);
  EXPECT_EQ(static_cast<IUID *>(lonely), nullptr);
  EXPECT_EQ(static_cast<const GUID &>(lonely), kRoads);
  EXPECT_EQ(lonely.SubType(), 3);
  EXPECT_EQ(Unknown::LiveObjectCount(), live);
  KzRegisterHostObjects();
}

TEST(Guid, MadeFromAValueOrText) {
  const LONG live = Unknown::LiveObjectCount();
  {
    Guid id(kRoads, 7);
    EXPECT_EQ(Unknown::LiveObjectCount(), live + 1);
    IUID *uid = id;
    ASSERT_NE(uid, nullptr);
    EXPECT_EQ(TextOf(uid), u"{6B29FC40-CA47-1067-B31D-00DD010662DA}");
    EXPECT_EQ(SubTypeOf(uid), 7);
    EXPECT_EQ(Refs(uid), 1u);  // the Guid's own: the caller got none
    // The address of the Guid is the address of its value.
    const GUID *value = id;
    EXPECT_EQ(static_cast<const void *>(value), static_cast<const void *>(&id));
    EXPECT_EQ(*reinterpret_cast<const GUID *>(&id), kRoads);
  }
  EXPECT_EQ(Unknown::LiveObjectCount(), live);

  Guid lower("{6b29fc40-ca47-1067-b31d-00dd010662da}", -2);
  EXPECT_EQ(static_cast<const GUID &>(lower), kRoads);
  EXPECT_EQ(TextOf(lower), u"{6B29FC40-CA47-1067-B31D-00DD010662DA}");
  EXPECT_EQ(SubTypeOf(lower), -2);
  // A programmatic identifier reads too.
  ASSERT_EQ(KzRegisterProgID(kRoads, u"Kz.Test.GuidRoads"), S_OK);
  EXPECT_EQ(static_cast<const GUID &>(Guid("Kz.Test.GuidRoads", 0)), kRoads);
  // Only 128 characters are read: a valid identifier after them is not seen.
  std::string padded = std::string(128, ' ') + "{6B29FC40-CA47-1067-B31D-00DD010662DA}";
  EXPECT_EQ(static_cast<const GUID &>(Guid(padded.c_str(), 0)), GUID_NULL);
  // Text that does not read, including bytes that are not UTF-8, leaves GUID_NULL, with an object.
  for (const char *bad : {"{6B29FC40-CA47-1067-B31D-00DD010662D}", "\xFF{6B29FC40-CA47-1067-B31D-00DD010662DA}",
                          static_cast<const char *>(nullptr)}) {
    Guid id(bad, 1);
    EXPECT_EQ(static_cast<const GUID &>(id), GUID_NULL);
    ASSERT_NE(static_cast<IUID *>(id), nullptr);
    EXPECT_EQ(TextOf(id), u"{00000000-0000-0000-0000-000000000000}");
  }
}

TEST(Guid, CopiesShareOneObject) {
  const LONG live = Unknown::LiveObjectCount();
  Guid a(kRoads, 1);
  IUID *uid = a;
  {
    Guid b = a;
    Guid c = std::move(a);  // a move is a copy: the source keeps its object
    EXPECT_EQ(static_cast<IUID *>(b), uid);
    EXPECT_EQ(static_cast<IUID *>(c), uid);
    EXPECT_EQ(static_cast<IUID *>(a), uid);
    EXPECT_EQ(Refs(uid), 3u);
    EXPECT_EQ(Unknown::LiveObjectCount(), live + 1);
    // What one changes through the object, the others' objects show.
    uid->put_SubType(9);
    EXPECT_EQ(SubTypeOf(c), 9);

    b = b;  // no change of count
    EXPECT_EQ(Refs(uid), 3u);
    Guid other("{00000000-0000-0000-C000-000000000046}", 4);
    EXPECT_EQ(Unknown::LiveObjectCount(), live + 2);
    b = other;  // b lets go of the shared object
    EXPECT_EQ(Refs(uid), 2u);
    EXPECT_EQ(static_cast<IUID *>(b), static_cast<IUID *>(other));
    EXPECT_EQ(b.SubType(), 4);
    c = std::move(other);
    EXPECT_EQ(Refs(uid), 1u);
    EXPECT_EQ(Refs(static_cast<IUID *>(other)), 3u);
  }
  EXPECT_EQ(Unknown::LiveObjectCount(), live + 1);
  // Taken from the object: the value and subtype come from it, and the object is shared.
  Guid taken(uid);
  EXPECT_EQ(static_cast<const GUID &>(taken), kRoads);
  EXPECT_EQ(taken.SubType(), 9);
  EXPECT_EQ(static_cast<IUID *>(taken), uid);
  EXPECT_EQ(Refs(uid), 2u);
}

TEST(Guid, VariantHoldsTheObjectWithoutAReference) {
  const LONG live = Unknown::LiveObjectCount();
  VARIANT kept;
  VariantInit(&kept);
  {
    Guid id(kRoads, 5);
    VARIANT v = id;
    EXPECT_EQ(v.vt, VT_UNKNOWN);
    IUnknown *identity = nullptr;
    static_cast<IUID *>(id)->QueryInterface(KZ_IID(IUnknown), reinterpret_cast<void **>(&identity));
    IUnknown *held = nullptr;
    v.punkVal->QueryInterface(KZ_IID(IUnknown), reinterpret_cast<void **>(&held));
    EXPECT_EQ(held, identity);
    held->Release();
    identity->Release();
    EXPECT_EQ(Refs(v.punkVal), 1u);
    ASSERT_EQ(VariantCopy(&kept, &v), S_OK);  // the way to keep it
    EXPECT_EQ(Refs(v.punkVal), 2u);
  }
  EXPECT_EQ(Unknown::LiveObjectCount(), live + 1);
  IUID *uid = nullptr;
  ASSERT_EQ(kept.punkVal->QueryInterface(KZ_IID(IUID), reinterpret_cast<void **>(&uid)), S_OK);
  EXPECT_EQ(SubTypeOf(uid), 5);
  uid->Release();
  VariantClear(&kept);
  EXPECT_EQ(Unknown::LiveObjectCount(), live);
}

TEST(UIDObject, GeneratesComparesAndReadsText) {
  Guid a(kRoads, 2), b(kRoads, 2);
  IUID *ua = a, *ub = b;
  VARIANT_BOOL equal = VARIANT_FALSE;
  ASSERT_EQ(ua->Compare(ub, &equal), S_OK);
  EXPECT_EQ(equal, VARIANT_TRUE);
  ub->put_SubType(3);
  ua->Compare(ub, &equal);
  EXPECT_EQ(equal, VARIANT_FALSE);
  EXPECT_EQ(ua->Compare(nullptr, &equal), E_INVALIDARG);

  ASSERT_EQ(ub->Generate(), S_OK);
  std::u16string generated = TextOf(ub);
  ASSERT_EQ(generated.size(), 38u);
  EXPECT_EQ(generated[15], u'4');  // a random identifier's version
  EXPECT_NE(generated, TextOf(ua));
  // Guid reads the object once, when it is made from it.
  EXPECT_EQ(static_cast<const GUID &>(b), kRoads);
  EXPECT_NE(static_cast<const GUID &>(Guid(ub)), kRoads);

  EXPECT_EQ(ua->put_Value(u"{6B29FC40-CA47-1067-B31D-00DD010662D}"), CO_E_CLASSSTRING);
  EXPECT_EQ(TextOf(ua), u"{6B29FC40-CA47-1067-B31D-00DD010662DA}");
  ASSERT_EQ(ua->put_Value(generated.c_str()), S_OK);
  ub->put_SubType(2);
  ua->Compare(ub, &equal);
  EXPECT_EQ(equal, VARIANT_TRUE);
}

}  // namespace
