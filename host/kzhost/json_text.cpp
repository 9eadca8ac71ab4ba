#include "json_text.h"

#include <algorithm>
#include <utility>

#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <host/objects/thread_stack_allocator.h>

namespace kzhost {
namespace {

// The reader's recursive parse: every handler here stops at its nesting limit, at most
// kMaxJsonDepth, before the reader goes a level deeper.
constexpr unsigned kReadFlags = rapidjson::kParseValidateEncodingFlag;

// A reader of `Source` text into UTF-8, whose stack comes from the thread's spares.
template <class Source = rapidjson::UTF8<>>
struct Reader : rapidjson::GenericReader<Source, rapidjson::UTF8<>, kz::host::ThreadStackAllocator> {
  Reader() : Reader::GenericReader(kz::host::ThreadStackAllocator::Instance()) {}
};

// Accepts every value and refuses to go deeper than the limit.
class DepthGuard : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, DepthGuard> {
 public:
  explicit DepthGuard(int max_depth) : max_depth_(std::min(max_depth, kMaxJsonDepth)) {}
  bool Default() { return true; }
  bool StartObject() { return ++depth_ <= max_depth_; }
  bool EndObject(rapidjson::SizeType) {
    --depth_;
    return true;
  }
  bool StartArray() { return ++depth_ <= max_depth_; }
  bool EndArray(rapidjson::SizeType) {
    --depth_;
    return true;
  }

 private:
  int max_depth_;
  int depth_ = 0;
};

}  // namespace

bool ValidJson(std::string_view text, int max_depth) {
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(bytes);
  Reader<> reader;
  DepthGuard guard(max_depth);
  return !reader.Parse<kReadFlags>(input, guard).IsError();
}

// Picks the string value of one member of the top-level object; refuses any other top level.
class MemberPicker : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, MemberPicker> {
 public:
  explicit MemberPicker(std::string_view key) : key_(key) {}
  bool Default() {
    wanted_ = false;
    return depth_ > 0;
  }
  bool String(const char *s, rapidjson::SizeType n, bool) {
    if (wanted_ && depth_ == 1 && !found_) found_ = std::string(s, n);
    return Default();
  }
  bool Key(const char *s, rapidjson::SizeType n, bool) {
    wanted_ = depth_ == 1 && std::string_view(s, n) == key_;
    return true;
  }
  bool StartObject() {
    if (depth_ == 0 && std::exchange(seen_top_, true)) return false;
    wanted_ = false;
    return ++depth_ <= kMaxJsonDepth;
  }
  bool EndObject(rapidjson::SizeType) {
    --depth_;
    return true;
  }
  bool StartArray() {
    wanted_ = false;
    return depth_ > 0 && ++depth_ <= kMaxJsonDepth;
  }
  bool EndArray(rapidjson::SizeType) {
    --depth_;
    return true;
  }
  std::optional<std::string> &found() { return found_; }

 private:
  std::string_view key_;
  int depth_ = 0;
  bool wanted_ = false;
  bool seen_top_ = false;
  std::optional<std::string> found_;
};

template <class Source, class Stream>
std::optional<std::string> PickMember(Stream &input, std::string_view key) {
  Reader<Source> reader;
  MemberPicker picker(key);
  if (reader.template Parse<kReadFlags>(input, picker).IsError()) return std::nullopt;
  return std::move(picker.found());
}

std::optional<std::string> MemberString(std::string_view text, std::string_view key) {
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(bytes);
  return PickMember<rapidjson::UTF8<>>(input, key);
}

std::optional<std::string> MemberString(const char16_t *text, std::string_view key) {
  if (text == nullptr) return std::nullopt;
  rapidjson::GenericStringStream<rapidjson::UTF16<char16_t>> input(text);
  return PickMember<rapidjson::UTF16<char16_t>>(input, key);
}

// One pass: the reader feeds the document through the depth guard.
class DocumentBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, DocumentBuilder> {
 public:
  DocumentBuilder(rapidjson::Document &doc, int max_depth)
      : doc_(doc), max_depth_(std::min(max_depth, kMaxJsonDepth)) {}
  bool Null() { return doc_.Null(); }
  bool Bool(bool b) { return doc_.Bool(b); }
  bool Int(int i) { return doc_.Int(i); }
  bool Uint(unsigned u) { return doc_.Uint(u); }
  bool Int64(int64_t i) { return doc_.Int64(i); }
  bool Uint64(uint64_t u) { return doc_.Uint64(u); }
  bool Double(double d) { return doc_.Double(d); }
  bool RawNumber(const char *s, rapidjson::SizeType n, bool copy) { return doc_.RawNumber(s, n, copy); }
  bool String(const char *s, rapidjson::SizeType n, bool copy) { return doc_.String(s, n, copy); }
  bool Key(const char *s, rapidjson::SizeType n, bool copy) { return doc_.Key(s, n, copy); }
  bool StartObject() { return ++depth_ <= max_depth_ && doc_.StartObject(); }
  bool EndObject(rapidjson::SizeType n) {
    --depth_;
    return doc_.EndObject(n);
  }
  bool StartArray() { return ++depth_ <= max_depth_ && doc_.StartArray(); }
  bool EndArray(rapidjson::SizeType n) {
    --depth_;
    return doc_.EndArray(n);
  }

 private:
  rapidjson::Document &doc_;
  int max_depth_;
  int depth_ = 0;
};

bool ParseJson(std::string_view text, rapidjson::Document &doc, int max_depth) {
  bool ok = false;
  auto generate = [&](rapidjson::Document &target) {
    rapidjson::MemoryStream bytes(text.data(), text.size());
    rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(bytes);
    Reader<> reader;
    DocumentBuilder builder(target, max_depth);
    ok = !reader.Parse<kReadFlags>(input, builder).IsError();
    return ok;
  };
  doc.Populate(generate);
  if (!ok) doc.SetNull();
  return ok;
}

void AppendJsonString(std::string &out, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  out.push_back('"');
  size_t run = 0;  // the start of the characters not yet appended, which need no escape
  for (size_t i = 0; i < text.size(); ++i) {
    auto u = static_cast<unsigned char>(text[i]);
    if (u >= 0x20 && u != '"' && u != '\\') continue;
    out.append(text.substr(run, i - run));
    run = i + 1;
    switch (u) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        out += "\\u00";
        out.push_back(kHex[u >> 4]);
        out.push_back(kHex[u & 15]);
    }
  }
  out.append(text.substr(run));
  out.push_back('"');
}

std::string WriteJson(const rapidjson::Value &value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return std::string(buffer.GetString(), buffer.GetSize());
}

int DecodeUtf8(const unsigned char *p, const unsigned char *end, unsigned *cp) {
  unsigned c = *p;
  if (c < 0x80) {
    *cp = c;
    return 1;
  }
  int extra;
  unsigned value, min;
  if ((c & 0xE0) == 0xC0) extra = 1, value = c & 0x1F, min = 0x80;
  else if ((c & 0xF0) == 0xE0) extra = 2, value = c & 0x0F, min = 0x800;
  else if ((c & 0xF8) == 0xF0) extra = 3, value = c & 0x07, min = 0x10000;
  else return 0;
  if (end - p <= extra) return 0;
  for (int k = 1; k <= extra; ++k) {
    if ((p[k] & 0xC0) != 0x80) return 0;
    value = (value << 6) | (p[k] & 0x3F);
  }
  if (value < min || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 0;
  *cp = value;
  return extra + 1;
}

}  // namespace kzhost
