#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/core/report_error.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/locale.h>
#include <kzcore/pal/module.h>
#include <kzcore/pal/ui.h>
#include <tests/support/com_object.h>

namespace {

using Texts = std::vector<std::u16string>;

constexpr UINT kTitleOpen = 201, kTitleMany = 202, kMessageShort = 203, kMessageLong = 204;
const std::u16string kLongResource(600, u'r');
const KzStringResource kReportStrings[] = {{kTitleOpen, u"&Open"},
                                           {kTitleMany, u"&a&&b&"},
                                           {kMessageShort, u"Cannot save & close."},
                                           {kMessageLong, kLongResource.c_str()}};
KZ_STRING_TABLE(kReportStrings)

struct Box {
  HWND parent;
  std::u16string text, caption;
  UINT flags;
  WORD language;
};
std::vector<Box> g_boxes;
Texts g_debug;
int g_box_result;

// An error object carrying several errors. Its own description must not be used.
struct ErrorCollection : kztest::ComObject<IErrorInfo, IErrorCollection> {
  explicit ErrorCollection(Texts texts) : texts(std::move(texts)) {}
  HRESULT GetGUID(GUID *) override { return E_NOTIMPL; }
  HRESULT GetSource(BSTR *) override { return E_NOTIMPL; }
  HRESULT GetDescription(BSTR *d) override { return *d = SysAllocString(u"own"), S_OK; }
  HRESULT GetHelpFile(BSTR *) override { return E_NOTIMPL; }
  HRESULT GetHelpContext(DWORD *) override { return E_NOTIMPL; }
  HRESULT get_ErrorCount(LONG *count) override { return *count = static_cast<LONG>(texts.size()), S_OK; }
  HRESULT get_ErrorDescription(LONG i, BSTR *d) override {
    asked.push_back(i);
    return *d = SysAllocString(texts.at(static_cast<std::size_t>(i)).c_str()), S_OK;
  }
  Texts texts;
  std::vector<LONG> asked;
};

IErrorInfo *PlainError(const WCHAR *description) {
  ICreateErrorInfo *create = nullptr;
  CreateErrorInfo(&create);
  create->SetDescription(const_cast<WCHAR *>(description));
  IErrorInfo *info = nullptr;
  create->QueryInterface(&info);
  create->Release();
  return info;
}

void GiveToThread(IErrorInfo *info) {
  SetErrorInfo(0, info);
  info->Release();
}

// The message gate of a process: it sees every message and may refuse it.
bool g_may_show;
Texts g_gate_saw;
int g_gates_alive;

struct Gate : kztest::ComObject<IMessageGate> {
  Gate() { ++g_gates_alive; }
  ~Gate() override { --g_gates_alive; }
  HRESULT ReservedGateSlot3() override { return E_NOTIMPL; }
  HRESULT put_Message(BSTR text) override { return g_gate_saw.emplace_back(text), S_OK; }
  HRESULT ReservedGateSlot5() override { return E_NOTIMPL; }
  HRESULT get_MayShow(VARIANT_BOOL *may) override {
    return *may = g_may_show ? VARIANT_TRUE : VARIANT_FALSE, S_OK;
  }
};

struct GateFactory : kztest::ComObject<IClassFactory> {
  HRESULT CreateInstance(IUnknown *, REFIID riid, void **ppv) override {
    auto *gate = new Gate;
    HRESULT hr = gate->QueryInterface(riid, ppv);
    gate->Release();
    return hr;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }
};

class Reporting : public testing::Test {
 protected:
  void SetUp() override {
    g_boxes.clear();
    g_debug.clear();
    g_gate_saw.clear();
    g_box_result = IDOK;
    old_box_ =
        KzSetMessageBoxSink([](HWND parent, const WCHAR *text, const WCHAR *caption, UINT flags, WORD lang) {
          g_boxes.push_back({parent, text, caption, flags, lang});
          return g_box_result;
        });
    old_debug_ = KzSetDebugOutputSink([](const WCHAR *text) { g_debug.emplace_back(text); });
    SetErrorInfo(0, nullptr);
  }
  void TearDown() override {
    if (gate_cookie_ != 0) CoRevokeClassObject(gate_cookie_);
    KzSetMessageBoxSink(old_box_);
    KzSetDebugOutputSink(old_debug_);
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(g_gates_alive, 0);
  }
  void InstallGate(bool may_show) {
    g_may_show = may_show;
    CoRegisterClassObject(CLSID_MessageGate, &gate_factory_, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &gate_cookie_);
  }
  static HINSTANCE Self() { return GetModuleHandleW(nullptr); }
  // The text of the only box shown.
  static std::u16string Shown() {
    EXPECT_EQ(g_boxes.size(), 1u);
    std::u16string text = g_boxes.empty() ? u"" : g_boxes.back().text;
    g_boxes.clear();
    return text;
  }

 private:
  KzMessageBoxSink old_box_;
  KzDebugOutputSink old_debug_;
  GateFactory gate_factory_;
  DWORD gate_cookie_ = 0;
};

TEST_F(Reporting, TitleLosesItsAmpersandsMessagesAreCutToTheirBuffers) {
  EXPECT_EQ(ReportError(Self(), kMessageShort, kTitleOpen, false, nullptr, MB_ICONERROR), IDOK);
  EXPECT_EQ(g_boxes.at(0).caption, u"Open");
  EXPECT_EQ(g_boxes.at(0).flags, MB_ICONERROR);
  EXPECT_EQ(Shown(), u"Cannot save & close.");  // the message keeps its "&"
  ReportError(Self(), u"x", kTitleMany, false, nullptr, MB_OK);
  EXPECT_EQ(g_boxes.at(0).caption, u"ab");
  Shown();
  // A message resource is read into 512 units; a message text is cut at 2047.
  ReportError(Self(), kMessageLong, kTitleOpen, false, nullptr, MB_OK);
  EXPECT_EQ(Shown(), kLongResource.substr(0, 511));
  const std::u16string huge(5000, u'h');
  ReportError(Self(), huge.c_str(), kTitleOpen, false, nullptr, MB_OK);
  EXPECT_EQ(Shown(), huge.substr(0, 2047));
}

TEST_F(Reporting, CollectionDescriptionThatDoesNotFitIsDroppedAndEndsTheLoop) {
  const std::u16string m(2000, u'm'), a(40, u'a'), b(10, u'b');
  auto *errors = new ErrorCollection({a, b, u"c"});
  errors->AddRef();
  GiveToThread(errors);
  ReportError(Self(), m.c_str(), kTitleOpen, true, nullptr, MB_OK);
  // 2000 + 1 + 40 fits; 2041 + 1 + 10 does not, and "c" is never asked for although it would fit.
  EXPECT_EQ(Shown(), m + u"\n" + a);
  EXPECT_EQ(errors->asked, (std::vector<LONG>{0, 1}));
  errors->Release();

  // Exactly 2047 fits; an empty description still needs its line feed.
  const std::u16string a20(20, u'a'), b25(25, u'b');
  GiveToThread(new ErrorCollection({a20, b25, u""}));
  ReportError(Self(), m.c_str(), kTitleOpen, true, nullptr, MB_OK);
  EXPECT_EQ(Shown(), m + u"\n" + a20 + u"\n" + b25);

  GiveToThread(new ErrorCollection({}));
  ReportError(Self(), u"Failed.", kTitleOpen, true, nullptr, MB_OK);
  EXPECT_EQ(Shown(), u"Failed.");  // nothing, not even the object's own description
}

TEST_F(Reporting, PlainErrorObjectIsAddedWholeOrNotAtAllAndUsedUp) {
  GiveToThread(PlainError(u"The disk is full."));
  ReportError(Self(), u"Cannot save.", kTitleOpen, false, nullptr, MB_OK);
  EXPECT_EQ(Shown(), u"Cannot save.");  // not asked for: left in place
  ReportError(Self(), u"Cannot save.", kTitleOpen, true, nullptr, MB_OK);
  EXPECT_EQ(Shown(), u"Cannot save.\nThe disk is full.");
  ReportError(Self(), u"Again.", kTitleOpen, true, nullptr, MB_OK);
  EXPECT_EQ(Shown(), u"Again.");  // taken by the first report, not put back

  const std::u16string m(2040, u'm');
  GiveToThread(PlainError(u"0123456789"));
  ReportError(Self(), m.c_str(), kTitleOpen, true, nullptr, MB_OK);
  EXPECT_EQ(Shown(), m);
}

TEST_F(Reporting, DebugReportLeavesTheErrorObjectInPlace) {
  S_ReportErrorInfo(E_FAIL);
  EXPECT_TRUE(g_debug.empty());
  IErrorInfo *info = PlainError(u"Table is locked.");
  SetErrorInfo(0, info);
  S_ReportErrorInfo(E_FAIL);
  S_ReportErrorInfo(S_OK);
  const Texts once = {u"*** Error:\n*** ", u"Table is locked.", u"\n"};
  Texts twice = once;
  twice.insert(twice.end(), once.begin(), once.end());
  EXPECT_EQ(g_debug, twice);
  IErrorInfo *still = nullptr;
  ASSERT_EQ(GetErrorInfo(0, &still), S_OK);
  EXPECT_EQ(still, info);
  still->Release();
  info->Release();
}

TEST_F(Reporting, GateThatRefusesHidesTheBoxAndAnswersOne) {
  InstallGate(false);
  g_box_result = IDCANCEL;
  GiveToThread(PlainError(u"why"));
  EXPECT_EQ(ReportError(Self(), u"Refused.", kTitleOpen, true, nullptr, MB_OKCANCEL), 1);
  EXPECT_EQ(KzMessageBox(nullptr, u"direct", u"t", MB_OK), 1);
  EXPECT_TRUE(g_boxes.empty());
  EXPECT_EQ(g_gate_saw, (Texts{u"Refused.\nwhy", u"direct"}));
}

TEST_F(Reporting, BoxIsShownWhenTheGateAllowsOrIsMissing) {
  g_box_result = IDNO;
  auto parent = reinterpret_cast<HWND>(0x4242);
  EXPECT_EQ(KzMessageBox(parent, u"No gate.", u"Copy", MB_YESNO), IDNO);
  EXPECT_EQ(g_boxes.at(0).parent, parent);
  EXPECT_EQ(g_boxes.at(0).caption, u"Copy");
  EXPECT_EQ(g_boxes.at(0).flags, MB_YESNO);
  // The box speaks the user interface language: sublanguage above bit 10, language below.
  EXPECT_EQ(g_boxes.at(0).language, GetUserDefaultUILanguage());
  EXPECT_EQ(Shown(), u"No gate.");
  InstallGate(true);
  EXPECT_EQ(KzMessageBox(nullptr, u"Replace it?", u"Copy", MB_YESNO), IDNO);
  EXPECT_EQ(g_gate_saw, (Texts{u"Replace it?"}));
  EXPECT_EQ(Shown(), u"Replace it?");
}

}  // namespace
