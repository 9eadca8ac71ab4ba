// A short walk through the library: each subsystem does one thing and says what it did.
#include <cstdio>
#include <thread>

#include <kzcore/kzcore.h>

namespace {

std::string Narrow(const WCHAR *text) {
  std::string out(wcstombs(nullptr, text, 0) + 1, '\0');
  const std::size_t n = wcstombs(out.data(), text, out.size());
  out.resize(n == static_cast<std::size_t>(-1) ? 0 : n);
  return out;
}

void Say(const char *topic, const String &what) { std::printf("  %-26s %s\n", topic, Narrow(what).c_str()); }

void Frame() {
  std::printf("Library frame\n");
  WCHAR path[512];
  GetModuleFileNameW(KzGetModuleHandle(), path, 512);
  Say("loaded from", path);

  const DWORD key = TLS_Alloc();
  TLS_SetValue(key, 7);
  DWORD other = 0;
  std::thread([&] { TLS_GetValue(key, &other); }).join();
  DWORD mine = 0;
  TLS_GetValue(key, &mine);
  String line;
  line.Format(u"key %u holds %u here, %u on another thread", key, mine, other);
  Say("per-thread values", line);

  ICreateErrorInfo *create = nullptr;
  CreateErrorInfo(&create);
  create->SetDescription(const_cast<OLECHAR *>(u"the layer is locked"));
  IErrorInfo *info = nullptr;
  create->QueryInterface(&info);
  SetErrorInfo(0, info);
  info->Release();
  create->Release();
  static String captured;
  KzSetDebugOutputSink([](const WCHAR *text) { captured += text; });
  S_ReportErrorInfo(E_FAIL);
  KzSetDebugOutputSink(nullptr);
  captured.Replace(u'\n', u' ');
  Say("debugger sees", captured);
}

void Text() {
  std::printf("\nText\n");
  String name(u"  Roads and Rails\r\n");
  name.TrimLeft();
  name.TrimRight();
  String shown(static_cast<const WCHAR *>(name));  // a deep copy: Replace writes through sharers
  shown.Replace(u'\r', u'↵');
  Say("trimmed (CR is kept)", shown);
  name.TrimRight(u'\r');
  String copy = name;
  String shared;
  shared.Format(u"%s", copy == static_cast<const WCHAR *>(name) ? u"one block, two owners" : u"two blocks");
  Say("after a copy", shared);
  copy.MakeUpper();
  Say("copy made upper case", copy);
  Say("original still", name);
  String where;
  where.Format(u"\"rails\" at %d, whole word \"Rails\" at %d", name.FindNoCase(u"rails"),
               name.FindWholeWord(u"Rails"));
  Say("searches", where);
  String number(u"-0.5");
  String parsed;
  parsed.Format(u"%s reads as %g", static_cast<const WCHAR *>(number), number.AsDBaseDouble());
  Say("dBASE number", parsed);
  String message;
  message.FormatMessageW(u"%2 has %1!d! features", 1204, u"Parcels");
  Say("message inserts", message);
  String formatted;
  formatted.Format(u"%-8s|%08.3f|%I64d|%S", u"left", 3.14159, LONGLONG{1} << 40, "narrow");
  Say("Microsoft printf", formatted);
}

void Values() {
  std::printf("\nOLE values\n");
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_BSTR;
  v.bstrVal = SysAllocString(u" 1,234.5 ");
  VARIANT number;
  VariantInit(&number);
  HRESULT hr = VariantChangeType(&number, &v, 0, VT_R8);
  String line;
  line.Format(u"\"%s\" -> %.17g (hr 0x%08X)", v.bstrVal, number.dblVal, hr);
  Say("text to double", line);
  VARIANT date;
  VariantInit(&date);
  date.vt = VT_DATE;
  date.date = 46348.75;  // 2026-11-22 18:00
  Say("date as text", String(date));
  VARIANT big;
  VariantInit(&big);
  big.vt = VT_R8;
  big.dblVal = 70000.0;
  VARIANT small;
  VariantInit(&small);
  hr = VariantChangeType(&small, &big, 0, VT_I2);
  line.Format(u"70000 to a 16-bit integer: hr 0x%08X (DISP_E_OVERFLOW)", hr);
  Say("range check", line);
  VariantClear(&v);
  VariantClear(&date);
}

void Numerics() {
  std::printf("\nPoints, envelopes and random numbers\n");
  RandomGenerator rng(2026, veskRandomGeneratorMersenneTwister);
  WKSEnvelope boxes[50];
  double summed = 0;
  for (auto &box : boxes) {
    const WKSPoint corner{rng.Uniform(0, 100), rng.Uniform(0, 100)};
    box = WKSEnvelope(corner, WKSPoint{corner.x + rng.Uniform(5, 30), corner.y + rng.Uniform(5, 30)});
    summed += box.Area();
  }
  WKSEnvelope all(50, boxes);
  int dimension = 0;
  const double covered = WKSEnvelope::AreaOfUnion(boxes, 50, &dimension);
  String line;
  line.Format(u"%.1f covered of %.1f summed, inside %.0f x %.0f", covered, summed, all.xmax - all.xmin,
              all.ymax - all.ymin);
  Say("union of 50 random boxes", line);
  line.Format(u"%s, normal draws %.4f %.4f %.4f", rng.Name(), rng.Normal(0, 1), rng.Normal(0, 1), rng.Normal(0, 1));
  Say("generator", line);
  const WKSPoint a{0, 0}, b{3, 4};
  line.Format(u"%g, empty point is NaN: %s", a.Distance(b), IsEmptyValue(WKSPoint::EmptyPoint().x) ? u"yes" : u"no");
  Say("distance (0,0)-(3,4)", line);
}

}  // namespace

int main() {
  std::printf("KzCore tour\n\n");
  Frame();
  Text();
  Values();
  Numerics();
  return 0;
}
