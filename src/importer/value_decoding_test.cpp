#include "importer/value_decoding.h"

#include <gtest/gtest.h>

#include <string>

#include "runtime/memory.h"
#include "runtime/memory_fail.h"

namespace {

struct Extracted {
  bool found;
  std::string value;
  std::string line_after;
};

Extracted Extract(const std::string& line, const char* element) {
  std::string buffer = line;
  char* value = extract_value(buffer.data(), element);
  Extracted result{value != nullptr, value != nullptr ? value : "", buffer.c_str()};
  if (value != nullptr) upnp_free(value);
  return result;
}

TEST(ExtractValue, Decoding) {
  struct Case {
    const char* text;
    std::string decoded;
  };
  const Case cases[] = {
      {"Rock+Roll", "Rock Roll"},
      {"AC%2FDC", "AC/DC"},
      {"%2f%2F", "//"},
      {"Tom &amp; Jerry", "Tom &amp; Jerry"},
      {"Caf&#233;", "Caf\xE9"},
      {"Caf&#233; au lait", "Caf\xE9 au lait"},
      {"Tom &#38; Jerry", "Tom & Jerry"},
      {"&#59;semi", ";semi"},
      {"&#321;", "A"},  // 321 mod 256 = 65
      {"100%", "100%"},
      {"100%4", "100%4"},
      {"%4G%G4", "%4G%G4"},
      {"a%", "a%"},
      {"%41", "A"},
      {"file://localhost/My%20Music/a+b.mp3", "file://localhost/My Music/a b.mp3"},
      {"%E2%82%AC", "\xE2\x82\xAC"},
      {"", ""},
      // Malformed at the end of the text: the value still ends where it should.
      {"a&#65", "aA"},
      {"a&#", "a"},
      {"a&", "a&"},
      {"x&#0;y", "x"},  // a reference to byte 0 ends the text
  };
  for (const Case& c : cases) {
    const Extracted got = Extract(std::string("<key>Name</key><string>") + c.text + "</string>\n", "string");
    EXPECT_TRUE(got.found) << c.text;
    EXPECT_EQ(got.value, c.decoded) << c.text;
    EXPECT_EQ(got.line_after, "<key>Name</key><string>" + c.decoded) << c.text << ": decoded in place";
  }
}

TEST(ExtractValue, Tags) {
  struct Case {
    const char* line;
    const char* element;
    bool found;
    const char* value;
  };
  const Case cases[] = {
      {"<key>Name</key><data>abc</data>", "string", false, ""},
      {"<key>Name</key><string>abc", "string", false, ""},
      {"<string>a</string><string>b</string>", "string", true, "a"},
      {"</string><string>b</string>", "string", true, "b"},
      {"<key>Date Modified</key><date>2010-05-04T12:34:56Z</date>", "date", true, "2010-05-04T12:34:56Z"},
      {"<string></string>", "string", true, ""},
      {"<integer>12</integer>", "int", false, ""},
  };
  for (const Case& c : cases) {
    const Extracted got = Extract(c.line, c.element);
    EXPECT_EQ(got.found, c.found) << c.line;
    EXPECT_EQ(got.value, c.value) << c.line;
    if (!c.found) {
      EXPECT_EQ(got.line_after, c.line) << c.line << ": untouched when not found";
    }
  }
  EXPECT_EQ(extract_value(nullptr, "string"), nullptr);
  char line[] = "<string>x</string>";
  EXPECT_EQ(extract_value(line, nullptr), nullptr);
}

TEST(ExtractValue, FailedCopyGivesNoneAndLeaksNothing) {
  const int64_t used_before = upnp_mem_used();
  char line[] = "<string>abc</string>";
  MemFailAfter fail(0);
  EXPECT_EQ(extract_value(line, "string"), nullptr);
  char number[] = "<integer>7</integer>";
  EXPECT_EQ(extract_integer(number), 7u) << "numbers are read in place and need no memory";
  EXPECT_EQ(upnp_mem_used(), used_before);
}

TEST(ExtractInteger, Values) {
  struct Case {
    const char* line;
    uint32_t value;
  };
  const Case cases[] = {
      {"<key>Track ID</key><integer>1234</integer>", 1234},
      {"<key>Size</key><integer>3000000000</integer>", 3000000000u},
      {"<key>Size</key><integer>4294967296</integer>", 0},
      {"<integer>-1</integer>", 4294967295u},
      {"<integer>12abc</integer>", 12},
      {"<integer>+5</integer>", 5},  // "+" decodes to a space, which strtol skips
      {"<integer></integer>", 0},
      {"<key>Name</key><string>12</string>", 0},
      {"<integer>12", 0},
  };
  const int64_t used_before = upnp_mem_used();
  for (const Case& c : cases) {
    std::string line = c.line;
    EXPECT_EQ(extract_integer(line.data()), c.value) << c.line;
  }
  EXPECT_EQ(extract_integer(nullptr), 0u);
  EXPECT_EQ(upnp_mem_used(), used_before) << "the extracted text is freed";
}

}  // namespace
