// Showing a failure to a person or a debugger.
//
// ReportError shows a message box with a message and a title from the caller's resources; asked
// to, it adds the descriptions the thread's error object carries, one per line, and consumes that
// object. S_ReportErrorInfo writes the thread's error description to the debugger output and
// leaves the error object in place. KzMessageBox shows a box unless the process's message gate
// says the message may not be shown.
//
//   if (FAILED(hr)) ReportError(module, IDS_CANNOT_OPEN, IDS_OPEN_TITLE, true, nullptr, MB_ICONERROR);
//
// On this platform boxes and debugger output go to the sinks of <kzcore/pal/ui.h>.
#pragma once

#include <kzcore/pal/com.h>

// Implemented by error objects that carry several errors: the count, and each description.
struct IErrorCollection : IUnknown {
  virtual HRESULT get_ErrorCount(LONG *count) = 0;
  virtual HRESULT get_ErrorDescription(LONG index, BSTR *description) = 0;
};
KZ_DECLARE_IID(IErrorCollection, "{66353C17-DF5D-11D3-9FA0-00C04F6BDF0C}");

// The message gate: a process-wide object, provided by a module outside this library, that
// decides whether a message may be shown. Only the operations this library calls are known; the
// others keep their places in the interface.
struct IMessageGate : IUnknown {
  virtual HRESULT ReservedGateSlot3() = 0;
  virtual HRESULT put_Message(BSTR text) = 0;
  virtual HRESULT ReservedGateSlot5() = 0;
  virtual HRESULT get_MayShow(VARIANT_BOOL *may_show) = 0;
};
KZ_DECLARE_IID(IMessageGate, "{57A048C7-DFB1-4BC7-B6DF-24EF539373EA}");
KZ_DEFINE_GUID(CLSID_MessageGate, "{A2E96EFD-D501-433B-941F-83447916B8F6}");

// Loads the message `message_id` of `instance` (up to 511 units) and shows it as the text form
// does.
KZ_API int ReportError(HINSTANCE instance, UINT message_id, UINT title_id, bool add_error_info, HWND parent,
                       UINT flags);
// Shows `message` (cut to 2047 units) under the title `title_id` of `instance`, with every "&"
// taken out of the title so that a menu caption can serve. With `add_error_info`, takes the
// thread's error object and appends its descriptions, each after a line feed, as long as the
// whole stays within 2047 units: a description that does not fit is left out whole, and no later
// one is tried. Returns the box's result.
KZ_API int ReportError(HINSTANCE instance, const WCHAR *message, UINT title_id, bool add_error_info,
                       HWND parent, UINT flags);
// Writes "*** Error:\n*** ", the description of the thread's error object and a line feed to the
// debugger output. The error object stays the thread's. `hr` is not used.
KZ_API void S_ReportErrorInfo(LONG hr);
// Shows a message box unless the message gate refuses the text, in which case nothing is shown
// and the result is IDOK. The box reads right to left when the interface does.
KZ_API int KzMessageBox(HWND parent, const WCHAR *text, const WCHAR *title, UINT flags);
