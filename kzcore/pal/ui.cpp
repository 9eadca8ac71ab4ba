// Debugger output and message boxes, which go to replaceable sinks: there is no window system.
#include <kzcore/pal/ui.h>

#include <atomic>
#include <cstdio>
#include <string>

#include <kzcore/pal/internal/utf8.h>

namespace {

using kz::pal::internal::Utf8FromWideLossy;
using kz::pal::internal::WideFromUtf8;

void WriteToStandardError(const std::string &text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

void DefaultDebugOutput(const WCHAR *text) { WriteToStandardError(Utf8FromWideLossy(text)); }

int DefaultMessageBox(HWND, const WCHAR *text, const WCHAR *caption, UINT, WORD) {
  std::string line = Utf8FromWideLossy(caption);
  line += ": ";
  line += Utf8FromWideLossy(text);
  line += '\n';
  WriteToStandardError(line);
  return IDOK;
}

std::atomic<KzDebugOutputSink> g_debug_sink{DefaultDebugOutput};
std::atomic<KzMessageBoxSink> g_message_box_sink{DefaultMessageBox};

}  // namespace

KzDebugOutputSink KzSetDebugOutputSink(KzDebugOutputSink sink) {
  return g_debug_sink.exchange(sink != nullptr ? sink : DefaultDebugOutput);
}

KzMessageBoxSink KzSetMessageBoxSink(KzMessageBoxSink sink) {
  return g_message_box_sink.exchange(sink != nullptr ? sink : DefaultMessageBox);
}

void OutputDebugStringW(const WCHAR *text) {
  if (text == nullptr) return;
  g_debug_sink.load()(text);
}

void OutputDebugStringA(const char *text) {
  if (text == nullptr) return;
  std::u16string wide = WideFromUtf8(text);
  g_debug_sink.load()(wide.c_str());
}

int MessageBoxExW(HWND parent, const WCHAR *text, const WCHAR *caption, UINT flags, WORD language) {
  // A null caption is shown as "Error", as Windows does.
  return g_message_box_sink.load()(parent, text != nullptr ? text : u"",
                                   caption != nullptr ? caption : u"Error", flags, language);
}

int MessageBoxW(HWND parent, const WCHAR *text, const WCHAR *caption, UINT flags) {
  return MessageBoxExW(parent, text, caption, flags, 0);
}

HWND GetActiveWindow() { return nullptr; }
