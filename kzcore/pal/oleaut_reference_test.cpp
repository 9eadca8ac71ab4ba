// Runs every row of the reference table (tests/data/windows-ole.tsv) for the OLE conversions, the
// digit functions, the system-time conversions and the BSTR functions, and reports each row that
// differs with its line, input and both results.
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/crt_number.h>
#include <kzcore/pal/oleaut.h>
#include <kzcore/pal/variant.h>

namespace {

struct Row {
  int line;
  std::string section, input, params, status, value;
};

std::vector<Row> LoadRows() {
  std::vector<Row> rows;
  std::ifstream in(KZ_TEST_DATA_DIR "/windows-ole.tsv");
  std::string text;
  for (int line = 1; std::getline(in, text); ++line) {
    if (text.empty() || text[0] == '#') continue;
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (;;) {
      const std::size_t tab = text.find('\t', start);
      fields.push_back(text.substr(start, tab - start));
      if (tab == std::string::npos) break;
      start = tab + 1;
    }
    if (fields.size() != 5) continue;
    rows.push_back({line, fields[0], fields[1], fields[2], fields[3], fields[4]});
  }
  return rows;
}

const std::vector<Row> &Rows() {
  static const std::vector<Row> rows = LoadRows();
  return rows;
}

// Runs `check` on every row of `section`; `check` returns an empty string when the row holds, or
// what the code gave instead.
template <class Check>
void RunSection(const std::string &section, Check check) {
  int count = 0;
  for (const Row &row : Rows()) {
    if (row.section != section) continue;
    ++count;
    const std::string got = check(row);
    if (!got.empty())
      ADD_FAILURE() << "windows-ole.tsv:" << row.line << " [" << section << "] " << row.input << " | "
                    << row.params << "\n  expected: " << row.status << " | " << row.value
                    << "\n  got:      " << got;
  }
  EXPECT_GT(count, 0) << "no rows for " << section;
}

// "\t12\t" with its escapes (\t \n \r \\ \" \uXXXX) as UTF-16.
std::u16string Unquote(const std::string &quoted) {
  std::u16string out;
  std::size_t i = quoted.size() >= 2 && quoted.front() == '"' ? 1 : 0;
  const std::size_t end = i == 1 ? quoted.size() - 1 : quoted.size();
  for (; i < end; ++i) {
    char c = quoted[i];
    if (c != '\\' || i + 1 >= end) {
      out.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
      continue;
    }
    c = quoted[++i];
    switch (c) {
      case 't': out.push_back(u'\t'); break;
      case 'n': out.push_back(u'\n'); break;
      case 'r': out.push_back(u'\r'); break;
      case 'u':
        out.push_back(static_cast<char16_t>(std::strtoul(quoted.substr(i + 1, 4).c_str(), nullptr, 16)));
        i += 4;
        break;
      default: out.push_back(static_cast<char16_t>(c)); break;
    }
  }
  return out;
}

std::string Narrow(const std::u16string &text) {
  std::string out;
  for (char16_t c : text) {
    if (c >= 0x20 && c < 0x7F) {
      out.push_back(static_cast<char>(c));
    } else {
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\u%04X", static_cast<unsigned>(c));
      out += buffer;
    }
  }
  return out;
}

std::string Narrow(BSTR text) { return text == nullptr ? "<null>" : Narrow(std::u16string(text, SysStringLen(text))); }

// The double whose bit pattern is written in brackets: "1.5 [3FF8000000000000]".
double BracketDouble(const std::string &text) {
  const std::size_t open = text.find('[');
  const uint64_t bits = std::strtoull(text.c_str() + open + 1, nullptr, 16);
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

std::string Bits(double d) {
  uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  char buffer[24];
  std::snprintf(buffer, sizeof buffer, "[%016" PRIX64 "]", bits);
  return buffer;
}

// The number after "key=" in text, in the base the text uses (0x prefixes read as hexadecimal).
long long Field(const std::string &text, const std::string &key, int base = 0) {
  const std::size_t at = text.find(key + "=");
  if (at == std::string::npos) return 0;
  return std::strtoll(text.c_str() + at + key.size() + 1, nullptr, base);
}

HRESULT Status(const std::string &status) { return static_cast<HRESULT>(std::strtoul(status.c_str(), nullptr, 16)); }

std::string Hex(HRESULT hr) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "0x%08X", static_cast<unsigned>(hr));
  return buffer;
}

std::string DecimalFields(const DECIMAL &d) {
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "(sign=0x%02X scale=%u hi=%08X mid=%08X lo=%08X)", d.sign, d.scale,
                static_cast<unsigned>(d.Hi32), static_cast<unsigned>(d.Mid32), static_cast<unsigned>(d.Lo32));
  return buffer;
}

struct TypeName {
  const char *name;
  VARTYPE vt;
};
constexpr TypeName kTypes[] = {{"VT_EMPTY", VT_EMPTY}, {"VT_I2", VT_I2},     {"VT_I4", VT_I4},
                               {"VT_R4", VT_R4},       {"VT_R8", VT_R8},     {"VT_CY", VT_CY},
                               {"VT_DATE", VT_DATE},   {"VT_BSTR", VT_BSTR}, {"VT_BOOL", VT_BOOL},
                               {"VT_DECIMAL", VT_DECIMAL}};

VARTYPE TargetOf(const std::string &params) {
  const std::string name = params.substr(params.find("->") + 2);
  for (const TypeName &t : kTypes)
    if (name == t.name) return t.vt;
  ADD_FAILURE() << "unknown target type " << name;
  return VT_EMPTY;
}

// Runs the conversion the params column names: "VariantChangeType flags=0 ->VT_R8" or
// "VariantChangeTypeEx lcid=1033 flags=0x2 ->VT_BSTR".
HRESULT Convert(const std::string &params, VARIANT *dst, const VARIANT *src) {
  const VARTYPE vt = TargetOf(params);
  const auto flags = static_cast<USHORT>(Field(params, "flags"));
  if (params.rfind("VariantChangeTypeEx", 0) == 0)
    return VariantChangeTypeEx(dst, src, static_cast<LCID>(Field(params, "lcid")), flags, vt);
  return VariantChangeType(dst, src, flags, vt);
}

// The parts of a value column that identify the value: the bits of reals and dates, the integer
// of currency, the fields of a decimal, the number of the integer types.
std::string ValueKey(const std::string &value) {
  const std::string type = value.substr(0, value.find(' '));
  if (type == "R8" || type == "R4" || type == "DATE") return type + " " + Bits(BracketDouble(value));
  if (type == "CY") return "CY int64=" + std::to_string(Field(value, "int64", 10));
  if (type == "DECIMAL") return "DECIMAL " + value.substr(value.find('('));
  return value;
}

std::string KeyOf(const VARIANT &v) {
  switch (v.vt) {
    case VT_R8: return "R8 " + Bits(v.dblVal);
    case VT_R4: return "R4 " + Bits(v.fltVal);
    case VT_DATE: return "DATE " + Bits(v.date);
    case VT_CY: return "CY int64=" + std::to_string(v.cyVal.int64);
    case VT_DECIMAL: return "DECIMAL " + DecimalFields(v.decVal);
    case VT_I2: return "I2 " + std::to_string(v.iVal);
    case VT_I4: return "I4 " + std::to_string(v.lVal);
    case VT_BOOL: return "BOOL " + std::to_string(v.boolVal);
    default: return "vt=" + std::to_string(v.vt);
  }
}

// `BSTR "text" (len=N)` or `"text" (len=N)` against a BSTR.
std::string CompareText(const std::string &expected, BSTR got) {
  const std::size_t open = expected.find('"');
  const std::size_t close = expected.rfind('"');
  const std::u16string want = Unquote(expected.substr(open, close - open + 1));
  const auto length = static_cast<UINT>(Field(expected, "len", 10));
  if (got == nullptr || std::u16string(got, SysStringLen(got)) != want || SysStringLen(got) != length)
    return "\"" + Narrow(got) + "\"";
  return "";
}

TEST(OleReference, TextToValues) {
  RunSection("VCT_BSTR_TO", [](const Row &row) -> std::string {
    VARIANT src, dst;
    VariantInit(&dst);
    src.vt = VT_BSTR;
    const std::u16string text = Unquote(row.input);
    src.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    const HRESULT hr = Convert(row.params, &dst, &src);
    std::string got;
    if (hr != Status(row.status))
      got = Hex(hr) + " " + (SUCCEEDED(hr) ? KeyOf(dst) : "");
    else if (SUCCEEDED(hr) && KeyOf(dst) != ValueKey(row.value))
      got = KeyOf(dst);
    VariantClear(&src);
    VariantClear(&dst);
    return got;
  });
}

// The source variant of a VCT_TO_BSTR row: "R8 1.5 [bits]", "R4 x [bits]", "BOOL -1",
// "DATE x [bits]", "CY int64=N", "I4 -5", "DECIMAL x (sign=.. scale=.. hi=.. mid=.. lo=..)", "EMPTY".
VARIANT SourceOf(const std::string &input) {
  VARIANT v;
  VariantInit(&v);
  const std::string type = input.substr(0, input.find(' '));
  const std::string rest = input.size() > type.size() ? input.substr(type.size() + 1) : "";
  if (type == "R8") {
    v.vt = VT_R8, v.dblVal = BracketDouble(rest);
  } else if (type == "R4") {
    v.vt = VT_R4, v.fltVal = static_cast<float>(BracketDouble(rest));
  } else if (type == "DATE") {
    v.vt = VT_DATE, v.date = BracketDouble(rest);
  } else if (type == "BOOL") {
    v.vt = VT_BOOL, v.boolVal = static_cast<VARIANT_BOOL>(std::stol(rest));
  } else if (type == "I4") {
    v.vt = VT_I4, v.lVal = static_cast<LONG>(std::stol(rest));
  } else if (type == "CY") {
    v.vt = VT_CY, v.cyVal.int64 = Field(rest, "int64", 10);
  } else if (type == "DECIMAL") {
    DECIMAL d{};
    d.sign = static_cast<BYTE>(Field(rest, "sign", 16));
    d.scale = static_cast<BYTE>(Field(rest, "scale", 10));
    d.Hi32 = static_cast<ULONG>(Field(rest, "hi", 16));
    d.Mid32 = static_cast<ULONG>(Field(rest, "mid", 16));
    d.Lo32 = static_cast<ULONG>(Field(rest, "lo", 16));
    v.decVal = d;
    v.vt = VT_DECIMAL;
  } else if (type != "EMPTY") {
    ADD_FAILURE() << "unknown source " << input;
  }
  return v;
}

TEST(OleReference, ValuesToText) {
  RunSection("VCT_TO_BSTR", [](const Row &row) -> std::string {
    VARIANT src = SourceOf(row.input), dst;
    VariantInit(&dst);
    const HRESULT hr = Convert(row.params, &dst, &src);
    std::string got;
    if (hr != Status(row.status))
      got = Hex(hr) + (SUCCEEDED(hr) ? " \"" + Narrow(dst.bstrVal) + "\"" : "");
    else if (SUCCEEDED(hr))
      got = CompareText(row.value, dst.bstrVal);
    VariantClear(&dst);
    return got;
  });
}

TEST(OleReference, VarBstrFromR8) {
  RunSection("VarBstrFromR8", [](const Row &row) -> std::string {
    const LCID lcid = static_cast<LCID>(Field(row.params, "lcid"));
    const ULONG flags = row.params.find("LOCALE_NOUSEROVERRIDE") != std::string::npos ? LOCALE_NOUSEROVERRIDE : 0;
    BSTR text = nullptr;
    const HRESULT hr = VarBstrFromR8(BracketDouble(row.input), lcid, flags, &text);
    std::string got = hr != Status(row.status) ? Hex(hr) : CompareText(row.value, text);
    SysFreeString(text);
    return got;
  });
}

// VarR8FromStr and VarDateFromStr rows: a quoted text, lcid and flags, a double with its bits.
template <class Parse>
std::string CheckTextToDouble(const Row &row, Parse parse) {
  const std::u16string text = Unquote(row.input);
  double result = 0;
  const HRESULT hr = parse(text.c_str(), static_cast<LCID>(Field(row.params, "lcid")),
                           static_cast<ULONG>(Field(row.params, "flags")), &result);
  if (hr != Status(row.status)) return Hex(hr) + (SUCCEEDED(hr) ? " " + Bits(result) : "");
  if (SUCCEEDED(hr) && Bits(result) != Bits(BracketDouble(row.value))) return Bits(result);
  return "";
}

TEST(OleReference, VarR8FromStr) {
  RunSection("VarR8FromStr", [](const Row &row) { return CheckTextToDouble(row, VarR8FromStr); });
}

TEST(OleReference, VarDateFromStr) {
  RunSection("VarDateFromStr", [](const Row &row) { return CheckTextToDouble(row, VarDateFromStr); });
}

// _ecvt and _fcvt rows: `digits="123" decpt=3 sign=0`, the same for both runtimes' rows.
template <class Convert>
std::string CheckDigits(const Row &row, Convert convert) {
  int point = -99, sign = -99;
  const char *digits = convert(BracketDouble(row.input), static_cast<int>(Field(row.params, "ndigits", 10)), &point, &sign);
  const std::string got = "digits=\"" + std::string(digits) + "\" decpt=" + std::to_string(point) +
                          " sign=" + std::to_string(sign);
  return got == row.value ? "" : got;
}

TEST(OleReference, Ecvt) {
  RunSection("_ecvt", [](const Row &row) { return CheckDigits(row, _ecvt); });
}

TEST(OleReference, Fcvt) {
  RunSection("_fcvt", [](const Row &row) { return CheckDigits(row, _fcvt); });
}

TEST(OleReference, SystemTimeToVariantTime) {
  RunSection("SystemTimeToVariantTime", [](const Row &row) -> std::string {
    int year, month, day, hour, minute, second, millisecond;
    std::sscanf(row.input.c_str(), "%d-%d-%d %d:%d:%d.%d", &year, &month, &day, &hour, &minute, &second,
                &millisecond);
    SYSTEMTIME st{static_cast<WORD>(year),   static_cast<WORD>(month),  0,
                  static_cast<WORD>(day),    static_cast<WORD>(hour),   static_cast<WORD>(minute),
                  static_cast<WORD>(second), static_cast<WORD>(millisecond)};
    double date = -1;
    const INT ok = SystemTimeToVariantTime(&st, &date);
    const bool want = row.status == "TRUE";
    if ((ok != 0) != want) return ok ? "TRUE " + Bits(date) : "FALSE";
    if (want && Bits(date) != Bits(BracketDouble(row.value))) return Bits(date);
    return "";
  });
}

TEST(OleReference, VariantTimeToSystemTime) {
  RunSection("VariantTimeToSystemTime", [](const Row &row) -> std::string {
    SYSTEMTIME st{};
    const INT ok = VariantTimeToSystemTime(BracketDouble(row.input), &st);
    const bool want = row.status == "TRUE";
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u.%03u dow=%u", st.wYear, st.wMonth, st.wDay,
                  st.wHour, st.wMinute, st.wSecond, st.wMilliseconds, st.wDayOfWeek);
    if ((ok != 0) != want) return ok ? std::string("TRUE ") + text : "FALSE";
    if (want && row.value != text) return text;
    return "";
  });
}

TEST(OleReference, SysString) {
  RunSection("SysString", [](const Row &row) -> std::string {
    auto lengths = [](BSTR b) {
      return "len=" + std::to_string(SysStringLen(b)) + " bytelen=" + std::to_string(SysStringByteLen(b));
    };
    std::string status = "-", value;
    if (row.input == "SysAllocString(L\"\")") {
      BSTR b = SysAllocString(u"");
      status = b != nullptr ? "non-NULL" : "NULL";
      value = lengths(b);
      SysFreeString(b);
    } else if (row.input.rfind("SysAllocStringByteLen(", 0) == 0) {
      const std::size_t open = row.input.find('"'), close = row.input.find('"', open + 1);
      const std::string bytes = row.input.substr(open + 1, close - open - 1);
      BSTR b = SysAllocStringByteLen(bytes.c_str(), static_cast<UINT>(bytes.size()));
      status = b != nullptr ? "non-NULL" : "NULL";
      value = lengths(b);
      if (row.value.find("bytes=") != std::string::npos) {
        const auto *p = reinterpret_cast<const unsigned char *>(b);
        char tail[64];
        std::snprintf(tail, sizeof tail, " bytes=\"%.*s\" b[%zu]=0x%02X b[%zu]=0x%02X", static_cast<int>(bytes.size()),
                      reinterpret_cast<const char *>(p), bytes.size(), p[bytes.size()], bytes.size() + 1,
                      p[bytes.size() + 1]);
        value += tail;
      }
      SysFreeString(b);
    } else if (row.input == "SysStringLen(NULL)") {
      value = lengths(nullptr);
    } else if (row.input == "SysReAllocStringLen(\"hello\"->\"hi\",2)") {
      BSTR b = SysAllocString(u"hello");
      const INT ok = SysReAllocStringLen(&b, u"hi", 2);
      value = "ret=" + std::to_string(ok) + " \"" + Narrow(b) + "\" (len=" + std::to_string(SysStringLen(b)) + ")";
      SysFreeString(b);
    } else {
      return "no check written for this case";
    }
    return status == row.status && value == row.value ? "" : status + " | " + value;
  });
}

}  // namespace
