#include "importer/value_decoding.h"

#include <gtest/gtest.h>

#include <string>

#include "base/memory.h"

namespace {

// The decoded value of `line` (or "<none>") and the line as it is left.
std::pair<std::string, std::string> Extract(const std::string& line, const char* element) {
  std::string buffer = line;
  char* value = extract_value(buffer.data(), element);
  const std::string result = value != nullptr ? value : "<none>";
  if (value != nullptr) upnp_free(value);
  return {result, buffer.c_str()};
}

TEST(ExtractValue, DecodesInPlace) {
  const struct {
    const char* text;
    std::string decoded;
  } cases[] = {
      {"Rock+Roll", "Rock Roll"},
      {"%2f%2F", "//"},
      {"Tom &amp; Jerry", "Tom &amp; Jerry"},
      {"Caf&#233; au lait", "Caf\xE9 au lait"},
      {"Tom &#38; Jerry", "Tom & Jerry"},
      {"&#321;", "A"},  // 321 mod 256 = 65
      {"100%", "100%"},
      {"%4G%G4", "%4G%G4"},
      {"%E2%82%AC", "\xE2\x82\xAC"},
      {"", ""},
      // Malformed at the end of the text: the value still ends where it should.
      {"a&#65", "aA"},
      {"a&", "a&"},
      {"a%", "a%"},
      {"x&#0;y", "x"},  // a reference to byte 0 ends the text
  };
  for (const auto& c : cases) {
    const auto [value, line] = Extract(std::string("<key>Name</key><string>") + c.text + "</string>\n", "string");
    EXPECT_EQ(value, c.decoded) << c.text;
    EXPECT_EQ(line, "<key>Name</key><string>" + c.decoded) << c.text;
  }
}

TEST(ExtractValue, FindsTheFirstElementOrNone) {
  const struct {
    const char* line;
    const char* element;
    const char* value;
  } cases[] = {
      {"<key>Name</key><data>abc</data>", "string", "<none>"},
      {"<key>Name</key><string>abc", "string", "<none>"},
      {"<string>a</string><string>b</string>", "string", "a"},
      {"</string><string>b</string>", "string", "b"},
      {"<key>Date Modified</key><date>2010-05-04T12:34:56Z</date>", "date", "2010-05-04T12:34:56Z"},
  };
  for (const auto& c : cases) {
    const auto [value, line] = Extract(c.line, c.element);
    EXPECT_EQ(value, c.value) << c.line;
    if (value == "<none>") {
      EXPECT_EQ(line, c.line) << c.line << ": untouched when not found";
    }
  }
  char line[] = "<string>x</string>";
  EXPECT_EQ(extract_value(nullptr, "string"), nullptr);
  EXPECT_EQ(extract_value(line, nullptr), nullptr);
}

}  // namespace
