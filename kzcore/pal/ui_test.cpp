#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/ui.h>

namespace {

std::vector<std::u16string> g_seen;

void CaptureDebug(const WCHAR *text) { g_seen.emplace_back(text); }

int CaptureBox(HWND parent, const WCHAR *text, const WCHAR *caption, UINT flags, WORD language) {
  g_seen.push_back(std::u16string(caption) + u"|" + text + u"|" +
                   std::u16string(1, static_cast<WCHAR>(language)));
  return IDCANCEL;
}

TEST(UiSinks, ReplacedSinksReceiveEveryCall) {
  g_seen.clear();
  KzDebugOutputSink old_debug = KzSetDebugOutputSink(CaptureDebug);
  KzMessageBoxSink old_box = KzSetMessageBoxSink(CaptureBox);
  OutputDebugStringW(u"plain");
  OutputDebugStringA(
      "Gr\xC3\xBC\xC3\x9F"
      "e");  // narrow text is UTF-8
  OutputDebugStringW(nullptr);
  EXPECT_EQ(MessageBoxExW(nullptr, u"Text", u"Title", MB_YESNO, 0x0407), IDCANCEL);
  EXPECT_EQ(MessageBoxW(nullptr, u"Other", u"T", MB_OK), IDCANCEL);
  EXPECT_EQ(g_seen, (std::vector<std::u16string>{u"plain", u"Grüße", u"Title|Text|\x0407",
                                                 std::u16string(u"T|Other|\0", 9)}));
  // Setting returns the sink replaced.
  EXPECT_EQ(KzSetDebugOutputSink(old_debug), CaptureDebug);
  EXPECT_EQ(KzSetMessageBoxSink(old_box), CaptureBox);
}

TEST(UiSinks, DefaultsWriteUtf8ToStandardError) {
  KzSetDebugOutputSink(nullptr);
  KzSetMessageBoxSink(nullptr);
  testing::internal::CaptureStderr();
  const WCHAR lone_surrogate[] = {u'a', 0xD800, u'b', 0};
  OutputDebugStringW(u"Grüße ");
  OutputDebugStringW(lone_surrogate);  // what cannot be converted shows as U+FFFD
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Gr\xC3\xBC\xC3\x9F"
            "e a\xEF\xBF\xBD"
            "b");
  testing::internal::CaptureStderr();
  EXPECT_EQ(MessageBoxExW(nullptr, u"Disk full", u"Saving", MB_ICONERROR, 0), IDOK);
  const std::string shown = testing::internal::GetCapturedStderr();
  EXPECT_NE(shown.find("Saving"), std::string::npos);
  EXPECT_NE(shown.find("Disk full"), std::string::npos);
}

}  // namespace
