// UTF8Util::W2UTF8 against ICU's u_strToUTF8, and escapeJSONString against RapidJSON's writer.
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <unicode/ustring.h>

#include <kzcore/core/text_conversions.h>
#include <kzcore/core/utf8_util.h>

namespace {

// The characters of a text, a surrogate pair kept as one.
std::vector<std::u16string> Characters(const std::u16string &text) {
  std::vector<std::u16string> out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool pair = text[i] >= 0xD800 && text[i] <= 0xDBFF && i + 1 < text.size();
    out.push_back(text.substr(i, pair ? 2 : 1));
    if (pair) ++i;
  }
  return out;
}

// Paragraphs of several scripts, as a multilingual document has them: English, French, Russian,
// Chinese and Japanese, with emoji now and then. Words of each script are drawn from a small
// alphabet of that script.
std::u16string MixedText(std::size_t units, unsigned seed) {
  struct Script {
    std::u16string letters;
    int weight;
  };
  const Script scripts[] = {
      {u"etaoinshrdlucmfwypvbgkjqxz", 40},
      {u"eaisnrtoluédcmpvqfbghjàèùâêîôûçxyz", 20},
      {u"оеаинтсрвлкмдпуяыьгзбчйхжшюцщэфъё", 15},
      {u"的一是不了人我在有他这中大来上国个到说们为子和你地出道也时年得就那要下以生会自着去之过家学对可她里后小么心多天而能好都然没日于起还发成事只作当想看文无开手十用主行方又如前所本见经头面公同三已老从动两长知民样现分将外但身些与高意进把法此实回二理美点月明其种声全工己话儿者向情部正名定女问力机给等几很业最间新什打便位因重被走电四第门相次东政海口使教西再平真听世气信北少关并内加化由却代军产入先山五太水万市眼体别处总才场师书",
       20},
      {u"\U0001F600\U0001F30D\U0001F680\u2764\uFE0F", 5},
  };
  std::vector<std::vector<std::u16string>> characters;
  for (const Script &s : scripts) characters.push_back(Characters(s.letters));
  std::mt19937 rng(seed);
  int total_weight = 0;
  for (const Script &s : scripts) total_weight += s.weight;
  std::u16string text;
  text.reserve(units + 1024);
  while (text.size() < units) {
    int pick = static_cast<int>(rng() % static_cast<unsigned>(total_weight));
    std::size_t which = 0;
    while (pick >= scripts[which].weight) pick -= scripts[which++].weight;
    const std::vector<std::u16string> &letters = characters[which];
    const bool cjk = which == 3;
    // A paragraph of 20 to 120 words.
    for (int word = 20 + static_cast<int>(rng() % 100); word > 0; --word) {
      const int length = cjk ? 2 + static_cast<int>(rng() % 6) : 1 + static_cast<int>(rng() % 9);
      for (int i = 0; i < length; ++i) text += letters[rng() % letters.size()];
      text += cjk ? (rng() % 8 == 0 ? u"\u3002" : u"") : (rng() % 10 == 0 ? u", " : u" ");
    }
    text += u"\n";
  }
  return text;
}

const std::u16string &HundredMegabytes() {
  static const std::u16string text = MixedText(50u << 20, 1);  // 50 Mi units: 100 MiB of UTF-16
  return text;
}

void BM_W2UTF8_kz(benchmark::State &state) {
  const std::u16string &text = HundredMegabytes();
  std::string buffer(text.size() * 3, '\0');
  const int length = static_cast<int>(text.size());
  for (auto _ : state) {
    const HRESULT hr = UTF8Util::W2UTF8(text.data(), length, buffer.data(), static_cast<unsigned>(buffer.size()));
    benchmark::DoNotOptimize(hr);
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size() * 2));
}
BENCHMARK(BM_W2UTF8_kz)->Name("BM_W2UTF8/kz")->Unit(benchmark::kMillisecond);

void BM_W2UTF8_ref(benchmark::State &state) {
  const std::u16string &text = HundredMegabytes();
  std::string buffer(text.size() * 3, '\0');
  for (auto _ : state) {
    int32_t written = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8(buffer.data(), static_cast<int32_t>(buffer.size()), &written, text.data(),
                static_cast<int32_t>(text.size()), &status);
    benchmark::DoNotOptimize(written);
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size() * 2));
}
BENCHMARK(BM_W2UTF8_ref)->Name("BM_W2UTF8/ref")->Unit(benchmark::kMillisecond);

// JSON string values as a REST response carries them: names, descriptions and paths of 8 to 300
// units in the scripts above, with quotes, backslashes, line breaks and the odd tab.
const std::vector<std::u16string> &JsonValues() {
  static const std::vector<std::u16string> values = [] {
    std::vector<std::u16string> out;
    std::mt19937 rng(2);
    const std::u16string source = MixedText(4u << 20, 3);
    const std::u16string specials = u"\"\\\n\t/<";
    std::size_t at = 0;
    for (int i = 0; i < 20000; ++i) {
      const std::size_t length = 8 + rng() % 293;
      if (at + length > source.size()) at = 0;
      std::u16string value = source.substr(at, length);
      at += length;
      // Whole characters only.
      if (value.back() >= 0xD800 && value.back() <= 0xDBFF) value.pop_back();
      if (value.front() >= 0xDC00 && value.front() <= 0xDFFF) value.erase(0, 1);
      for (int k = static_cast<int>(rng() % 3); k > 0; --k) value[rng() % value.size()] = specials[rng() % specials.size()];
      out.push_back(value);
    }
    return out;
  }();
  return values;
}

int64_t UnitsOf(const std::vector<std::u16string> &values) {
  int64_t units = 0;
  for (const auto &v : values) units += static_cast<int64_t>(v.size());
  return units;
}

void BM_EscapeJSON_kz(benchmark::State &state) {
  std::vector<String> values;
  for (const auto &v : JsonValues()) values.emplace_back(v.c_str());
  for (auto _ : state) {
    for (const String &v : values) {
      String escaped = escapeJSONString(v);
      benchmark::DoNotOptimize(static_cast<const WCHAR *>(escaped));
    }
  }
  state.SetBytesProcessed(state.iterations() * UnitsOf(JsonValues()) * 2);
}
BENCHMARK(BM_EscapeJSON_kz)->Name("BM_EscapeJSON/kz")->Unit(benchmark::kMillisecond);

// The same strings through RapidJSON's writer, UTF-16 in and out; each value gets a text of its
// own, as each escapeJSONString call does.
void BM_EscapeJSON_ref(benchmark::State &state) {
  using Utf16 = rapidjson::UTF16<char16_t>;
  const std::vector<std::u16string> &values = JsonValues();
  for (auto _ : state) {
    for (const std::u16string &v : values) {
      rapidjson::GenericStringBuffer<Utf16> buffer;
      rapidjson::Writer<rapidjson::GenericStringBuffer<Utf16>, Utf16, Utf16> writer(buffer);
      writer.String(v.data(), static_cast<rapidjson::SizeType>(v.size()));
      benchmark::DoNotOptimize(buffer.GetString());
    }
  }
  state.SetBytesProcessed(state.iterations() * UnitsOf(values) * 2);
}
BENCHMARK(BM_EscapeJSON_ref)->Name("BM_EscapeJSON/ref")->Unit(benchmark::kMillisecond);

}  // namespace
