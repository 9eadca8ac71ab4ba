#include <kzcore/pal/safe_array.h>

#include <cstring>
#include <vector>

#include <gtest/gtest.h>

namespace {

// An object on the stack that counts its references.
class Counted final : public IUnknown {
 public:
  HRESULT QueryInterface(REFIID, void **ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return ++refs; }
  ULONG Release() override { return --refs; }
  ULONG refs = 1;
};

TEST(SafeArray, DescribesItsShapeAndType) {
  SAFEARRAYBOUND bounds[2] = {{3, 1}, {4, -2}};  // (1 To 3, -2 To 1)
  SAFEARRAY *sa = SafeArrayCreate(VT_R8, 2, bounds);
  ASSERT_NE(sa, nullptr);
  EXPECT_EQ(SafeArrayGetDim(sa), 2u);
  EXPECT_EQ(SafeArrayGetElemsize(sa), 8u);
  auto bound = [sa](auto get, UINT dim) {
    LONG v = 99;
    EXPECT_EQ(get(sa, dim, &v), S_OK) << dim;
    return v;
  };
  EXPECT_EQ((std::vector<LONG>{bound(SafeArrayGetLBound, 1), bound(SafeArrayGetUBound, 1),
                               bound(SafeArrayGetLBound, 2), bound(SafeArrayGetUBound, 2)}),
            (std::vector<LONG>{1, 3, -2, 1}));
  LONG lower = 0;
  EXPECT_EQ(SafeArrayGetLBound(sa, 3, &lower), DISP_E_BADINDEX);
  EXPECT_EQ(SafeArrayGetLBound(sa, 0, &lower), DISP_E_BADINDEX);
  // The descriptor keeps the bounds last dimension first.
  EXPECT_EQ(sa->rgsabound[0].lLbound, -2);
  EXPECT_EQ(sa->rgsabound[1].lLbound, 1);
  VARTYPE vt = VT_EMPTY;
  ASSERT_EQ(SafeArrayGetVartype(sa, &vt), S_OK);
  EXPECT_EQ(vt, VT_R8);
  EXPECT_TRUE(sa->fFeatures & FADF_HAVEVARTYPE);
  EXPECT_EQ(SafeArrayDestroy(sa), S_OK);

  const struct {
    VARTYPE vt;
    UINT size;
    USHORT feature;
  } kinds[] = {{VT_UI1, 1, 0}, {VT_BOOL, 2, 0}, {VT_ERROR, 4, 0}, {VT_CY, 8, 0}, {VT_DECIMAL, 16, 0},
               {VT_BSTR, 8, FADF_BSTR}, {VT_VARIANT, 24, FADF_VARIANT}, {VT_UNKNOWN, 8, FADF_UNKNOWN},
               {VT_DISPATCH, 8, FADF_DISPATCH}};
  for (const auto &kind : kinds) {
    sa = SafeArrayCreateVector(kind.vt, 0, 2);
    ASSERT_NE(sa, nullptr) << kind.vt;
    EXPECT_EQ(SafeArrayGetElemsize(sa), kind.size) << kind.vt;
    EXPECT_EQ(sa->fFeatures & kind.feature, kind.feature) << kind.vt;
    ASSERT_EQ(SafeArrayGetVartype(sa, &vt), S_OK);
    EXPECT_EQ(vt, kind.vt);
    SafeArrayDestroy(sa);
  }
  GUID iid{};
  sa = SafeArrayCreateVector(VT_DISPATCH, 0, 1);
  ASSERT_EQ(SafeArrayGetIID(sa, &iid), S_OK);
  EXPECT_EQ(iid, KZ_IID(IDispatch));
  SafeArrayDestroy(sa);

  EXPECT_EQ(SafeArrayCreateVector(VT_EMPTY, 0, 1), nullptr);
  EXPECT_EQ(SafeArrayCreateVector(VT_NULL, 0, 1), nullptr);
  EXPECT_EQ(SafeArrayCreate(VT_I4, 0, bounds), nullptr);
  SAFEARRAYBOUND huge[2] = {{0x10000, 0}, {0x10000, 0}};
  EXPECT_EQ(SafeArrayCreate(VT_VARIANT, 2, huge), nullptr);
  EXPECT_EQ(SafeArrayGetDim(nullptr), 0u);
  EXPECT_EQ(SafeArrayDestroy(nullptr), S_OK);
}

// Column-major: the first index varies fastest, whatever the bounds.
TEST(SafeArray, ElementsAreColumnMajor) {
  SAFEARRAYBOUND bounds[3] = {{2, 10}, {3, -1}, {4, 0}};
  SAFEARRAY *sa = SafeArrayCreate(VT_I4, 3, bounds);
  ASSERT_NE(sa, nullptr);
  for (LONG k = 0; k < 4; ++k)
    for (LONG j = -1; j < 2; ++j)
      for (LONG i = 10; i < 12; ++i) {
        LONG at[3] = {i, j, k};
        LONG value = i * 10000 + (j + 1) * 100 + k;
        ASSERT_EQ(SafeArrayPutElement(sa, at, &value), S_OK);
      }
  LONG *data = nullptr;
  ASSERT_EQ(SafeArrayAccessData(sa, reinterpret_cast<void **>(&data)), S_OK);
  int n = 0;
  for (LONG k = 0; k < 4; ++k)
    for (LONG j = -1; j < 2; ++j)
      for (LONG i = 10; i < 12; ++i) EXPECT_EQ(data[n++], i * 10000 + (j + 1) * 100 + k);
  SafeArrayUnaccessData(sa);

  LONG at[3] = {11, 1, 3}, value = 0;
  ASSERT_EQ(SafeArrayGetElement(sa, at, &value), S_OK);
  EXPECT_EQ(value, 110203);
  void *cell = nullptr;
  ASSERT_EQ(SafeArrayPtrOfIndex(sa, at, &cell), S_OK);
  EXPECT_EQ(cell, data + 23);
  const LONG outside[][3] = {{9, 0, 0}, {12, 0, 0}, {10, -2, 0}, {10, 2, 0}, {10, 0, 4}, {10, 0, -1}};
  for (const auto &bad : outside) {
    LONG copy[3] = {bad[0], bad[1], bad[2]};
    EXPECT_EQ(SafeArrayGetElement(sa, copy, &value), DISP_E_BADINDEX);
    EXPECT_EQ(SafeArrayPutElement(sa, copy, &value), DISP_E_BADINDEX);
  }
  SafeArrayDestroy(sa);
}

TEST(SafeArray, LocksPinTheArray) {
  SAFEARRAY *sa = SafeArrayCreateVector(VT_I4, 0, 4);
  void *data = nullptr;
  ASSERT_EQ(SafeArrayAccessData(sa, &data), S_OK);
  ASSERT_EQ(SafeArrayLock(sa), S_OK);
  EXPECT_EQ(sa->cLocks, 2u);
  SAFEARRAYBOUND bigger{8, 0};
  EXPECT_EQ(SafeArrayRedim(sa, &bigger), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(SafeArrayDestroy(sa), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(SafeArrayDestroyData(sa), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(sa->pvData, data);
  EXPECT_EQ(SafeArrayUnlock(sa), S_OK);
  EXPECT_EQ(SafeArrayUnaccessData(sa), S_OK);
  EXPECT_EQ(SafeArrayUnlock(sa), E_UNEXPECTED);
  EXPECT_EQ(SafeArrayRedim(sa, &bigger), S_OK);
  EXPECT_EQ(SafeArrayDestroy(sa), S_OK);
}

// Strings, variants and interfaces belong to the array: putting copies or references, getting
// hands the caller its own copy, and destroying frees everything (the leak checker watches).
TEST(SafeArray, OwnsStringVariantAndInterfaceElements) {
  SAFEARRAY *strings = SafeArrayCreateVector(VT_BSTR, 1, 2);
  BSTR text = SysAllocString(u"road");
  LONG at = 1;
  ASSERT_EQ(SafeArrayPutElement(strings, &at, text), S_OK);
  SysFreeString(text);  // the array holds its own copy
  BSTR odd = SysAllocStringByteLen("odd", 3);
  ASSERT_EQ(SafeArrayPutElement(strings, &at, odd), S_OK);  // replaces (and frees) the copy of "road"
  SysFreeString(odd);
  BSTR got = nullptr;
  ASSERT_EQ(SafeArrayGetElement(strings, &at, &got), S_OK);
  EXPECT_EQ(SysStringByteLen(got), 3u);
  BSTR *cell = nullptr;
  SafeArrayPtrOfIndex(strings, &at, reinterpret_cast<void **>(&cell));
  EXPECT_NE(*cell, got);
  SysFreeString(got);
  at = 2;
  ASSERT_EQ(SafeArrayGetElement(strings, &at, &got), S_OK);
  EXPECT_EQ(got, nullptr);  // new elements are null strings

  SAFEARRAY *copy = nullptr;
  ASSERT_EQ(SafeArrayCopy(strings, &copy), S_OK);
  at = 1;
  BSTR *original = nullptr, *copied = nullptr;
  SafeArrayPtrOfIndex(strings, &at, reinterpret_cast<void **>(&original));
  SafeArrayPtrOfIndex(copy, &at, reinterpret_cast<void **>(&copied));
  EXPECT_NE(*original, *copied);
  EXPECT_EQ(std::memcmp(*original, *copied, 3), 0);
  EXPECT_EQ(SafeArrayDestroy(copy), S_OK);

  Counted object;
  SAFEARRAY *objects = SafeArrayCreateVector(VT_UNKNOWN, 0, 3);
  at = 0;
  ASSERT_EQ(SafeArrayPutElement(objects, &at, &object), S_OK);
  at = 2;
  ASSERT_EQ(SafeArrayPutElement(objects, &at, &object), S_OK);
  EXPECT_EQ(object.refs, 3u);
  ASSERT_EQ(SafeArrayPutElement(objects, &at, nullptr), S_OK);
  EXPECT_EQ(object.refs, 2u);
  ASSERT_EQ(SafeArrayCopy(objects, &copy), S_OK);
  EXPECT_EQ(object.refs, 3u);
  IUnknown *held = nullptr;
  at = 0;
  ASSERT_EQ(SafeArrayGetElement(copy, &at, &held), S_OK);
  EXPECT_EQ(object.refs, 4u);
  held->Release();
  SafeArrayDestroy(copy);
  SafeArrayDestroy(objects);
  EXPECT_EQ(object.refs, 1u);

  SAFEARRAY *variants = SafeArrayCreateVector(VT_VARIANT, 0, 2);
  VARIANT v;
  v.vt = VT_BSTR;
  v.bstrVal = SysAllocString(u"inside");
  ASSERT_EQ(SafeArrayPutElement(variants, &at, &v), S_OK);
  VariantClear(&v);
  VARIANT out;
  ASSERT_EQ(SafeArrayGetElement(variants, &at, &out), S_OK);
  EXPECT_EQ(out.vt, VT_BSTR);
  EXPECT_EQ(std::u16string(out.bstrVal), u"inside");
  VariantClear(&out);
  EXPECT_EQ(SafeArrayDestroy(variants), S_OK);
  EXPECT_EQ(SafeArrayDestroy(strings), S_OK);
}

TEST(SafeArray, RedimChangesTheLastDimension) {
  SAFEARRAYBOUND bounds[2] = {{2, 0}, {3, 5}};
  SAFEARRAY *sa = SafeArrayCreate(VT_BSTR, 2, bounds);
  for (LONG j = 5; j < 8; ++j)
    for (LONG i = 0; i < 2; ++i) {
      LONG at[2] = {i, j};
      const char16_t text[2] = {static_cast<char16_t>(u'a' + i + 2 * (j - 5)), 0};
      BSTR s = SysAllocString(text);
      SafeArrayPutElement(sa, at, s);
      SysFreeString(s);
    }
  SAFEARRAYBOUND shorter{2, 5};
  ASSERT_EQ(SafeArrayRedim(sa, &shorter), S_OK);  // frees "e" and "f"
  LONG upper = 0;
  SafeArrayGetUBound(sa, 2, &upper);
  EXPECT_EQ(upper, 6);
  SAFEARRAYBOUND longer{4, 5};
  ASSERT_EQ(SafeArrayRedim(sa, &longer), S_OK);
  const char16_t *want[4][2] = {{u"a", u"b"}, {u"c", u"d"}, {nullptr, nullptr}, {nullptr, nullptr}};
  for (LONG j = 5; j < 9; ++j)
    for (LONG i = 0; i < 2; ++i) {
      LONG at[2] = {i, j};
      BSTR got = nullptr;
      ASSERT_EQ(SafeArrayGetElement(sa, at, &got), S_OK);
      const char16_t *expected = want[j - 5][i];
      if (expected == nullptr)
        EXPECT_EQ(got, nullptr);
      else
        EXPECT_EQ(std::u16string(got), expected);
      SysFreeString(got);
    }
  sa->fFeatures |= FADF_FIXEDSIZE;
  EXPECT_EQ(SafeArrayRedim(sa, &shorter), DISP_E_ARRAYISLOCKED);
  SafeArrayDestroy(sa);
}

}  // namespace
