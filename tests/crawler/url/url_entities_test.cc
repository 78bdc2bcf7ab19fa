#include "crawler/url/url_entities.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace wk {
namespace {

using namespace std::string_literals;

std::string decode(std::string text) {
  decode_url_entities(text);
  return text;
}

std::string repeat(std::string_view piece, size_t nb_times) {
  std::string text;
  for (size_t i = 0; i < nb_times; ++i) text += piece;
  return text;
}

TEST(decode_url_entities, decodes_in_its_order) {
  const std::tuple<std::string, std::string> cases[] = {
      {"no reference", "no reference"},
      {"a&quot;&apos;&amp;&lt;&gt;b", "a\"'&<>b"},
      {"?a=1&b=2;c", "?a=1&b=2;c"},
      {"&amp;lt;", "<"},    // behind "&amp;", so decoded
      {"&amp;quot;", ""},   // before it, so only deleted
      {"&amp;amp;x", "x"},  // one pass, the rest is unknown
      {"&amp;#65;", "A"},
      {"&AMP;x", "x"},  // case counts
      {"&#38;", "&"},
      {"&#38;#38;", "&"},  // a byte begins the next
      {"&#38;#38;#38;#65;", "A"},
      {"&&#35;65;", "A"},  // a byte is the middle of the next
      {"&#&#54;5;", "A"},
      {"&#6&#53;;", "A"},
      {"&#65&#59;", "A"},
      {"&#000&#57;;", "\t"},
      {"x&#38;lt;", "x"},  // a byte begins a name: too late for the five
      {"&#321;", "A"},     // modulo 256
      {"&#9999;", "\x0F"},
      {"&#255;", "\xFF"},
      {"ab&#00;cd&nbsp;", "ab"},
      {"ab&#256;cd", "ab"},
      {"&nbsp;ab&#0000;cd", "ab"},
      {"&#9;&#00038;&#x26;", "&#9;&#00038;&#x26;"},
      {"a&nbsp;b&copy;", "ab"},
      {"&a;&abcdefghi;", "&a;&abcdefghi;"},
      {"&ab&cd;", "&ab"},
      {"&a&bcd;b;", "&ab;"},  // what closes up is not looked at again
      {"&\0\xFF&#65;"s,
       "&\0\xFF"
       "A"s},
      {"&", "&"},
      {"", ""},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(decode(text), expected) << text;
}

constexpr std::string_view LETTERS_AND_DIGITS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// Where the reference that begins at i ends, or 0 when none does.
size_t find_reference_end(const std::string& text, size_t i, std::string_view opening,
                          std::string_view allowed, size_t min_bytes, size_t max_bytes) {
  if (text.compare(i, opening.size(), opening) != 0) return 0;
  const size_t begin = i + opening.size();
  const size_t end = text.find_first_not_of(allowed, begin);
  if (end == std::string::npos || text[end] != ';') return 0;
  return end - begin >= min_bytes && end - begin <= max_bytes ? end + 1 : 0;
}

// Every leftmost number replaced in turn, searching anew from the start; then one pass for names.
std::string decode_step_by_step(std::string text) {
  for (size_t i = 0; i < text.size(); ++i) {
    const size_t end = find_reference_end(text, i, "&#", "0123456789", 2, 4);
    if (end == 0) continue;
    const int value = std::stoi(text.substr(i + 2)) % 256;
    if (value == 0) {
      text.resize(i);
      break;
    }
    text.replace(i, end - i, 1, static_cast<char>(value));
    i = static_cast<size_t>(-1);
  }
  for (size_t i = 0; i < text.size();) {
    const size_t end = find_reference_end(text, i, "&", LETTERS_AND_DIGITS, 2, 8);
    if (end == 0) {
      ++i;
    } else {
      text.erase(i, end - i);
    }
  }
  return text;
}

TEST(decode_url_entities, agrees_with_replacing_numbers_one_by_one) {
  // The pieces join into references of references: "&", "#", ";" and digits are all there by
  // number.
  const std::string_view pieces[] = {"&#38;", "&#35;", "&#59;", "&#51;", "&#56;", "&#", "3", "8;"};
  constexpr uint32_t NB_PIECES = 6;
  for (uint32_t number = 0; number < 1u << (3 * NB_PIECES); ++number) {
    std::string text = "x";
    for (uint32_t i = 0; i < NB_PIECES; ++i) text += pieces[(number >> (3 * i)) & 7];
    ASSERT_EQ(decode(text), decode_step_by_step(text)) << text;
  }
}

// Work that grew with the square of these lengths would outlast any time limit of a test run.
TEST(decode_url_entities, is_linear_in_hostile_texts) {
  constexpr size_t REPEATS = 1'000'000;
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"chain of numbers", "&" + repeat("#38;", REPEATS), "&"},
      {"numbers", repeat("&#65;", REPEATS), std::string(REPEATS, 'A')},
      {"names", repeat("&amp;", REPEATS), std::string(REPEATS, '&')},
      {"unknown names", repeat("&nbsp;", REPEATS), ""},
      {"unfinished numbers", repeat("&#38", REPEATS), repeat("&#38", REPEATS)},
      {"unfinished names", repeat("&abcdefgh", REPEATS) + ";", repeat("&abcdefgh", REPEATS - 1)},
      {"a number behind much text", repeat("&#", REPEATS) + repeat("a&#65;", REPEATS),
       repeat("&#", REPEATS) + repeat("aA", REPEATS)},
  };
  for (const auto& [name, text, expected] : cases) {
    EXPECT_TRUE(decode(text) == expected) << name;
  }
}

TEST(decode_url_entities, serves_threads_at_once) {
  std::vector<std::string> answers(4);
  {
    std::vector<std::jthread> threads;
    threads.reserve(answers.size());
    for (std::string& answer : answers) {
      threads.emplace_back([&answer] { answer = decode(repeat("&#65;&nbsp;", 1'000)); });
    }
  }
  for (const std::string& answer : answers) EXPECT_EQ(answer, std::string(1'000, 'A'));
}

}  // namespace
}  // namespace wk
