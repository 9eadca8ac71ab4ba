#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/com.h>

namespace {

IErrorInfo *MakeError(const WCHAR *description) {
  ICreateErrorInfo *create = nullptr;
  EXPECT_EQ(CreateErrorInfo(&create), S_OK);
  create->SetDescription(const_cast<WCHAR *>(description));
  IErrorInfo *info = nullptr;
  EXPECT_EQ(create->QueryInterface(&info), S_OK);
  create->Release();
  return info;
}

// The count of an object, read by taking and giving back a reference.
ULONG RefsOf(IUnknown *object) {
  object->AddRef();
  return object->Release();
}

TEST(ErrorInfo, ObjectKeepsCopiesOfItsFields) {
  WCHAR text[] = u"Cannot open the table.";
  IErrorInfo *info = MakeError(text);
  text[0] = u'X';
  BSTR got = nullptr;
  EXPECT_EQ(info->GetDescription(&got), S_OK);
  EXPECT_EQ(std::u16string(got), u"Cannot open the table.");
  SysFreeString(got);
  EXPECT_EQ(info->GetSource(&got), S_OK);
  EXPECT_EQ(got, nullptr);  // never set
  EXPECT_EQ(info->GetDescription(nullptr), E_INVALIDARG);
  EXPECT_EQ(info->Release(), 0u);
}

TEST(ErrorInfo, SlotHoldsOneReferenceAndGetHandsItOver) {
  IErrorInfo *first = MakeError(u"first");
  IErrorInfo *second = MakeError(u"second");
  EXPECT_EQ(SetErrorInfo(0, first), S_OK);
  EXPECT_EQ(RefsOf(first), 2u);
  SetErrorInfo(0, second);  // the slot lets go of the first
  EXPECT_EQ(RefsOf(first), 1u);
  EXPECT_EQ(RefsOf(second), 2u);

  IErrorInfo *got = nullptr;
  ASSERT_EQ(GetErrorInfo(0, &got), S_OK);
  EXPECT_EQ(got, second);
  EXPECT_EQ(RefsOf(second), 2u);  // the slot's reference moved to the caller
  got->Release();
  got = first;
  EXPECT_EQ(GetErrorInfo(0, &got), S_FALSE);  // taking it cleared the slot
  EXPECT_EQ(got, nullptr);

  SetErrorInfo(0, first);
  SetErrorInfo(0, nullptr);
  EXPECT_EQ(RefsOf(first), 1u);
  EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
  first->Release();
  second->Release();
}

TEST(ErrorInfo, EachThreadHasItsOwnSlotGivenBackWhenTheThreadEnds) {
  IErrorInfo *mine = MakeError(u"main");
  IErrorInfo *theirs = MakeError(u"other");
  SetErrorInfo(0, mine);
  std::thread([theirs] {
    IErrorInfo *seen = nullptr;
    EXPECT_EQ(GetErrorInfo(0, &seen), S_FALSE);
    SetErrorInfo(0, theirs);
  }).join();
  EXPECT_EQ(RefsOf(theirs), 1u);
  IErrorInfo *got = nullptr;
  ASSERT_EQ(GetErrorInfo(0, &got), S_OK);
  EXPECT_EQ(got, mine);
  got->Release();
  mine->Release();
  theirs->Release();
}

}  // namespace
