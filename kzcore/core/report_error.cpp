#include <kzcore/core/report_error.h>

#include <algorithm>
#include <cstring>

#include <kzcore/core/locale.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/module.h>
#include <kzcore/pal/ui.h>
#include <kzcore/pal/wide.h>
#include <kzcore/platform/object_creation.h>

namespace {

constexpr std::size_t kResourceUnits = 512;
constexpr std::size_t kMessageUnits = 2048;
constexpr std::size_t kMessageLimit = kMessageUnits - 1;
// All class contexts: in-process, handler, local and remote server.
constexpr DWORD kGateContext = 23;
// MB_RIGHT | MB_RTLREADING.
constexpr UINT kRightToLeft = 0x180000;

// A message being built in its fixed buffer.
class Message {
 public:
  explicit Message(const WCHAR *text) {
    length_ = text != nullptr ? std::min(wcslen(text), kMessageLimit) : 0;
    if (length_ != 0) std::memcpy(units_, text, length_ * sizeof(WCHAR));
    units_[length_] = 0;
  }

  // Appends a line feed and `text` when the whole stays within the limit; a text that does not
  // fit is left out whole. Returns whether it was appended.
  bool AppendLine(BSTR text) {
    const std::size_t n = SysStringLen(text);
    if (length_ + 1 + n > kMessageLimit) return false;
    units_[length_++] = u'\n';
    if (n != 0) std::memcpy(units_ + length_, text, n * sizeof(WCHAR));
    length_ += n;
    units_[length_] = 0;
    return true;
  }

  const WCHAR *text() const { return units_; }

 private:
  WCHAR units_[kMessageUnits];
  std::size_t length_;
};

// Appends what the error object says: every description of an error collection, in order, until
// one does not fit; or else the object's own description.
void AppendErrorInfo(IErrorInfo *info, Message &message) {
  IErrorCollection *errors = nullptr;
  if (SUCCEEDED(info->QueryInterface(KZ_IID(IErrorCollection), reinterpret_cast<void **>(&errors))) &&
      errors != nullptr) {
    LONG count = 0;
    if (FAILED(errors->get_ErrorCount(&count))) count = 0;
    for (LONG i = 0; i < count; ++i) {
      BSTR description = nullptr;
      // Linux: a description that cannot be read adds nothing, and the next one is tried.
      if (FAILED(errors->get_ErrorDescription(i, &description))) continue;
      const bool appended = message.AppendLine(description);
      SysFreeString(description);
      if (!appended) break;
    }
    errors->Release();
    return;
  }
  BSTR description = nullptr;
  if (SUCCEEDED(info->GetDescription(&description))) message.AppendLine(description);
  SysFreeString(description);
}

void RemoveAmpersands(WCHAR *text) {
  WCHAR *out = text;
  for (const WCHAR *in = text; *in != 0; ++in)
    if (*in != u'&') *out++ = *in;
  *out = 0;
}

// The right-to-left test of the regional language does not change in a process and is made once;
// that of the interface is made on every call.
bool RightToLeftBox() {
  static const bool regional = VESKLocale::IsRightToLeft();
  return regional && VESKLocale::IsRightToLeftUI();
}

}  // namespace

int ReportError(HINSTANCE instance, UINT message_id, UINT title_id, bool add_error_info, HWND parent,
                UINT flags) {
  WCHAR message[kResourceUnits] = {};
  LoadStringW(instance, message_id, message, static_cast<int>(kResourceUnits));
  return ReportError(instance, message, title_id, add_error_info, parent, flags);
}

int ReportError(HINSTANCE instance, const WCHAR *message, UINT title_id, bool add_error_info, HWND parent,
                UINT flags) {
  WCHAR title[kResourceUnits] = {};
  LoadStringW(instance, title_id, title, static_cast<int>(kResourceUnits));
  Message text(message);
  RemoveAmpersands(title);
  if (add_error_info) {
    // Taking the error object clears it, and it is not put back: the box has reported it.
    IErrorInfo *info = nullptr;
    if (GetErrorInfo(0, &info) == S_OK && info != nullptr) {
      AppendErrorInfo(info, text);
      info->Release();
    }
  }
  return KzMessageBox(parent != nullptr ? parent : GetActiveWindow(), text.text(), title, flags);
}

void S_ReportErrorInfo(LONG) {
  IErrorInfo *info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || info == nullptr) return;
  BSTR description = nullptr;
  info->GetDescription(&description);
  // Put back: the debugger output leaves the thread's error state as it found it.
  SetErrorInfo(0, info);
  info->Release();
  OutputDebugStringW(u"*** Error:\n*** ");
  OutputDebugStringW(description != nullptr ? description : u"");
  OutputDebugStringW(u"\n");
  SysFreeString(description);
}

int KzMessageBox(HWND parent, const WCHAR *text, const WCHAR *title, UINT flags) {
  // Linux: the gate is expected in every process that shows messages; where it cannot be made,
  // the message is shown.
  IMessageGate *gate = nullptr;
  IUnknown *object = nullptr;
  if (SUCCEEDED(KzCreateInstance(CLSID_MessageGate, nullptr, kGateContext, KZ_IID(IUnknown),
                                 reinterpret_cast<void **>(&object))) &&
      object != nullptr) {
    OleRun(object);
    object->QueryInterface(KZ_IID(IMessageGate), reinterpret_cast<void **>(&gate));
    object->Release();
  }
  if (gate != nullptr) {
    BSTR message = SysAllocString(text);
    gate->put_Message(message);
    SysFreeString(message);
    VARIANT_BOOL may_show = VARIANT_TRUE;
    gate->get_MayShow(&may_show);
    if (may_show == VARIANT_FALSE) {
      gate->Release();
      return IDOK;
    }
  }
  if (parent == nullptr) parent = GetActiveWindow();
  if (RightToLeftBox()) flags |= kRightToLeft;
  const WORD language = static_cast<WORD>((VESKLocale::GetUICountryID() << 10) | VESKLocale::GetUILangID());
  const int result = MessageBoxExW(parent, text, title, flags, language);
  if (gate != nullptr) gate->Release();
  return result;
}
