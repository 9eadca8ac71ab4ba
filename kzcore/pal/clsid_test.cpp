#include <uuid/uuid.h>

#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/class_registry.h>
#include <kzcore/pal/clsid.h>

namespace {

std::string Narrow(const char16_t *text) {
  if (text == nullptr) return "<null>";
  std::string out;
  for (; *text != 0; ++text) out += *text < 0x80 ? static_cast<char>(*text) : '?';
  return out;
}

std::u16string Wide(const std::string &text) { return std::u16string(text.begin(), text.end()); }

// The 16 bytes of a GUID in the order its text form writes them (the layout of a UUID).
void BytesOf(const GUID &guid, uuid_t bytes) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(guid.Data1 >> (24 - 8 * i));
  bytes[4] = static_cast<unsigned char>(guid.Data2 >> 8);
  bytes[5] = static_cast<unsigned char>(guid.Data2);
  bytes[6] = static_cast<unsigned char>(guid.Data3 >> 8);
  bytes[7] = static_cast<unsigned char>(guid.Data3);
  std::memcpy(bytes + 8, guid.Data4, 8);
}

// The value of a braced text as libuuid reads it.
std::string ReferenceBytes(const std::string &braced) {
  uuid_t bytes;
  EXPECT_EQ(uuid_parse(braced.substr(1, 36).c_str(), bytes), 0) << braced;
  return std::string(reinterpret_cast<char *>(bytes), 16);
}

std::string OurBytes(const GUID &guid) {
  uuid_t bytes;
  BytesOf(guid, bytes);
  return std::string(reinterpret_cast<char *>(bytes), 16);
}

struct TextRow {
  int line;
  bool interface_id;  // IIDFromString, else CLSIDFromString
  bool null_text;
  std::u16string text;
  HRESULT status;
  std::string value;  // compared on success only: on failure the identifier is not defined
};

// The CLSIDFromString and IIDFromString rows of the Windows-compatible reference table. Inputs are
// quoted (with \" and \\ escapes) or <NULL>; the status starts with its hexadecimal code.
std::vector<TextRow> ReferenceRows() {
  std::vector<TextRow> rows;
  std::ifstream in(KZ_TEST_DATA_DIR "/windows-ole.tsv");
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    std::vector<std::string> fields;
    for (std::size_t start = 0;;) {
      std::size_t tab = line.find('\t', start);
      fields.push_back(line.substr(start, tab - start));
      if (tab == std::string::npos) break;
      start = tab + 1;
    }
    if (fields.size() != 5 || (fields[0] != "CLSIDFromString" && fields[0] != "IIDFromString")) continue;
    TextRow row{number, fields[0] == "IIDFromString", fields[1] == "<NULL>", {}, 0, fields[4]};
    if (!row.null_text)
      for (std::size_t i = 1; i + 1 < fields[1].size(); ++i) {
        if (fields[1][i] == '\\') ++i;
        row.text += static_cast<char16_t>(static_cast<unsigned char>(fields[1][i]));
      }
    row.status = static_cast<HRESULT>(std::stoul(fields[3], nullptr, 16));
    rows.push_back(row);
  }
  return rows;
}

TEST(IdentifierText, ReferenceRows) {
  // The programmatic identifier that the reference machine had registered.
  CLSID file_system;
  ASSERT_EQ(CLSIDFromString(u"{0D43FE01-F093-11CF-8940-00A0C9054228}", &file_system), S_OK);
  ASSERT_EQ(KzRegisterProgID(file_system, u"Scripting.FileSystemObject"), S_OK);
  std::vector<TextRow> rows = ReferenceRows();
  EXPECT_GE(rows.size(), 19u);
  for (const TextRow &row : rows) {
    GUID got;
    std::memset(&got, 0xCC, sizeof got);
    const OLECHAR *text = row.null_text ? nullptr : row.text.c_str();
    HRESULT status = row.interface_id ? IIDFromString(text, &got) : CLSIDFromString(text, &got);
    SCOPED_TRACE("windows-ole.tsv:" + std::to_string(row.line));
    EXPECT_EQ(status, row.status);
    if (status == S_OK && row.status == S_OK) {
      EXPECT_EQ(OurBytes(got), ReferenceBytes(row.value));
    }
  }
  EXPECT_EQ(CLSIDFromString(u"{78FF7FA1-FB2F-11D1-94A2-080009EEBECB}", nullptr), E_INVALIDARG);
  EXPECT_EQ(IIDFromString(u"{78FF7FA1-FB2F-11D1-94A2-080009EEBECB}", nullptr), E_INVALIDARG);
}

// Every text one character away from a valid one is read as libuuid reads the part inside the
// braces, and only with both braces in place.
TEST(IdentifierText, ValidityAgreesWithLibuuidForEveryOneCharacterChange) {
  const std::string valid = "{1d5b8a3c-90ef-4b27-A6C4-7e2F0d91B35a}";
  int accepted = 0;
  for (std::size_t at = 0; at < valid.size(); ++at) {
    for (char c : std::string("0aF9g-{} +xZ")) {
      std::string text = valid;
      text[at] = c;
      uuid_t reference;
      bool expected = text.front() == '{' && text.back() == '}' && uuid_parse(text.substr(1, 36).c_str(), reference) == 0;
      IID got;
      HRESULT status = IIDFromString(Wide(text).c_str(), &got);
      EXPECT_EQ(status == S_OK, expected) << text;
      EXPECT_EQ(status == S_OK || status == CO_E_IIDSTRING, true) << text;  // the length is right
      if (status == S_OK && expected) {
        EXPECT_EQ(OurBytes(got), std::string(reinterpret_cast<char *>(reference), 16)) << text;
        ++accepted;
      }
    }
  }
  EXPECT_GT(accepted, 100);  // the digits' changes, at least
}

TEST(IdentifierText, NewIdentifiersRoundTripThroughLibuuid) {
  std::set<std::string> seen;
  for (int i = 0; i < 500; ++i) {
    GUID guid;
    ASSERT_EQ(CoCreateGuid(&guid), S_OK);
    uuid_t bytes;
    BytesOf(guid, bytes);
    EXPECT_EQ(uuid_type(bytes), UUID_TYPE_DCE_RANDOM);
    EXPECT_EQ(uuid_variant(bytes), UUID_VARIANT_DCE);
    seen.insert(OurBytes(guid));

    char upper[37], lower[37];
    uuid_unparse_upper(bytes, upper);
    uuid_unparse_lower(bytes, lower);
    LPOLESTR text = nullptr;
    ASSERT_EQ(StringFromCLSID(guid, &text), S_OK);
    EXPECT_EQ(std::u16string(text), Wide("{" + std::string(upper) + "}"));
    CoTaskMemFree(text);
    ASSERT_EQ(StringFromIID(guid, &text), S_OK);
    EXPECT_EQ(std::u16string(text), Wide("{" + std::string(upper) + "}"));
    CoTaskMemFree(text);

    CLSID back;
    EXPECT_EQ(CLSIDFromString(Wide("{" + std::string(lower) + "}").c_str(), &back), S_OK);
    EXPECT_EQ(back, guid);
  }
  EXPECT_EQ(seen.size(), 500u);
  EXPECT_EQ(CoCreateGuid(nullptr), E_INVALIDARG);
  EXPECT_EQ(StringFromCLSID(GUID_NULL, nullptr), E_INVALIDARG);
}

TEST(ProgrammaticIdentifiers, RegisterLookUpAndReplace) {
  CLSID roads;
  ASSERT_EQ(CoCreateGuid(&roads), S_OK);
  LPOLESTR name = reinterpret_cast<LPOLESTR>(&roads);
  EXPECT_EQ(ProgIDFromCLSID(roads, &name), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(name, nullptr);

  ASSERT_EQ(KzRegisterProgID(roads, u"Kz.Test.Roads.1"), S_OK);
  ASSERT_EQ(ProgIDFromCLSID(roads, &name), S_OK);
  EXPECT_EQ(std::u16string(name), u"Kz.Test.Roads.1");
  CoTaskMemFree(name);
  CLSID found;
  EXPECT_EQ(CLSIDFromProgID(u"kz.TEST.roads.1", &found), S_OK);  // registry names ignore case
  EXPECT_EQ(found, roads);
  EXPECT_EQ(CLSIDFromString(u"KZ.Test.Roads.1", &found), S_OK);
  EXPECT_EQ(found, roads);

  // A second name replaces the first.
  ASSERT_EQ(KzRegisterProgID(roads, u"Kz.Test.Streets"), S_OK);
  EXPECT_EQ(CLSIDFromProgID(u"Kz.Test.Roads.1", &found), CO_E_CLASSSTRING);
  EXPECT_EQ(CLSIDFromString(u"Kz.Test.Roads.1", &found), CO_E_CLASSSTRING);
  EXPECT_EQ(found, CLSID_NULL);
  EXPECT_EQ(CLSIDFromProgID(u"Kz.Test.Streets", &found), S_OK);
  EXPECT_EQ(found, roads);

  // The rule for names: up to 39 letters, digits and periods, not starting with a digit.
  for (const char16_t *bad : {u"", u"1Roads", u"Kz_Roads", u"Kz Roads", u"Kz-Roads", u"Kz.Stra\u00DFe",
                              u"{78FF7FA1-FB2F-11D1-94A2-080009EEBECB}", u"A234567890123456789012345678901234567890"})
    EXPECT_EQ(KzRegisterProgID(roads, bad), E_INVALIDARG) << Narrow(bad);
  EXPECT_EQ(KzRegisterProgID(roads, u"A23456789012345678901234567890123456789"), S_OK);  // 39
  EXPECT_EQ(KzRegisterProgID(roads, nullptr), E_INVALIDARG);
  EXPECT_EQ(CLSIDFromProgID(nullptr, &found), E_INVALIDARG);
  EXPECT_EQ(CLSIDFromProgID(u"Kz.Test.Streets", nullptr), E_INVALIDARG);
  EXPECT_EQ(ProgIDFromCLSID(roads, nullptr), E_INVALIDARG);
}

}  // namespace
