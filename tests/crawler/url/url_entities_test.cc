#include "crawler/url/url_entities.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace wk {
namespace {

std::string decode(std::string text) {
  decode_url_entities(text);
  return text;
}

TEST(decode_url_entities, decodes_in_its_order) {
  const std::tuple<std::string, std::string> cases[] = {
      {"a&quot;&apos;&amp;&lt;&gt;b", "a\"'&<>b"},
      {"&amp;lt;", "<"},           // behind "&amp;", so decoded
      {"&amp;quot;", ""},          // before it, so only deleted
      {"&#38;#38;#38;#65;", "A"},  // a byte begins the next
      {"&&#35;65;", "A"},          // is in the middle of the next
      {"&#&#54;5;&#6&#53;;", "AA"},
      {"x&#38;lt;", "x"},          // a byte begins a name: too late for the five
      {"&#321;&#9999;", "A\x0F"},  // modulo 256
      {"ab&#256;cd&nbsp;", "ab"},
      {"&#9;&#00038;&#x26;", "&#9;&#00038;&#x26;"},
      {"&a;&abcdefghi;&abcdefgh;", "&a;&abcdefghi;"},
      {"&a&bcd;b;", "&ab;"},  // what closes up is not looked at again
      {std::string("&\0&#65;", 7), std::string("&\0A", 3)},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(decode(text), expected) << text;
}

// Work that grew with the square of these lengths would outlast any time limit of a test run.
TEST(decode_url_entities, is_linear_in_hostile_texts) {
  const auto repeat = [](std::string_view piece, size_t count = 1'000'000) {
    std::string text;
    while (count-- > 0) text += piece;
    return text;
  };
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"chain of numbers", "&" + repeat("#38;"), "&"},
      {"names", repeat("&amp;"), repeat("&")},
      {"unknown names", repeat("&nbsp;"), ""},
      {"unfinished names", repeat("&abcdefgh") + ";", repeat("&abcdefgh", 999'999)},
      {"behind much text", repeat("&#") + repeat("a&#65;"), repeat("&#") + repeat("aA")},
  };
  for (const auto& [name, text, expected] : cases) EXPECT_TRUE(decode(text) == expected) << name;
}

}  // namespace
}  // namespace wk
