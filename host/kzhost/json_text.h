// Small JSON helpers of the host: validation with a nesting limit, string escaping, and parsing
// into a RapidJSON document. Every JSON text that comes from outside (parameters, request
// properties, configuration files, a service's schema) passes through ValidJson or ParseJson
// first, so that a deeply nested text cannot exhaust the stack of a recursive reader later on.
//
//   std::string out = "{\"text\":";
//   AppendJsonString(out, "say \"hi\"");      // {"text":"say \"hi\""
//   if (!ValidJson(value, kMaxJsonDepth)) ...
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <rapidjson/document.h>

namespace kzhost {

// The deepest nesting of objects and arrays accepted in a text from outside.
inline constexpr int kMaxJsonDepth = 64;

// Whether `text` is one complete JSON value in valid UTF-8, nested at most `max_depth` deep
// (kMaxJsonDepth at most). The reader stops at the limit, so no text takes it deeper.
bool ValidJson(std::string_view text, int max_depth);

// Parses `text` into `doc` with the same checks as ValidJson; false (and `doc` unspecified) when
// it is not valid.
bool ParseJson(std::string_view text, rapidjson::Document &doc, int max_depth = kMaxJsonDepth);

// Appends `text` (UTF-8) as a quoted JSON string, escaping quotes, backslashes and controls.
void AppendJsonString(std::string &out, std::string_view text);

// The string value of the member `key` of the JSON object `text` (the first such member); nothing
// when the text is not a valid object or the member is absent or not a string. One pass, no tree.
std::optional<std::string> MemberString(std::string_view text, std::string_view key);
// The same for a UTF-16 text (up to its first 0; null is no object), read as it stands; a lone
// surrogate makes it invalid.
std::optional<std::string> MemberString(const char16_t *text, std::string_view key);

// The text of a JSON value written compactly.
std::string WriteJson(const rapidjson::Value &value);

// The length (1 to 4) of the well-formed UTF-8 sequence that starts at `p` (before `end`), with
// its code point in *cp; 0 for an overlong form, a surrogate, a value past U+10FFFF, a sequence
// cut off, or a byte no sequence starts with.
int DecodeUtf8(const unsigned char *p, const unsigned char *end, unsigned *cp);

}  // namespace kzhost
