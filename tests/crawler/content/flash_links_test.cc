// Flash movies, built byte by byte.
#include "crawler/content/flash_links.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

namespace wk {
namespace {

using namespace std::string_literals;
using strings = std::vector<std::string>;

std::string u16(size_t value) {
  return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8 & 0xFF)};
}
std::string u32(size_t value) { return u16(value & 0xFFFF) + u16(value >> 16); }

std::string build_tag(uint32_t code, const std::string& body) {
  if (body.size() < 63) return u16(code << 6 | body.size()) + body;
  return u16(code << 6 | 63) + u32(body.size()) + body;
}
std::string build_action(char code, const std::string& data) {
  return code + u16(data.size()) + data;
}
std::string get_url(const std::string& url) { return build_action('\x83', url + "\0_self\0"s); }
std::string push(const std::string& values) { return build_action('\x96', values); }
const std::string GET_URL_2 = build_action('\x9A', "\0"s);

// A rectangle of four 15-bit numbers, one frame at 12 a second, the tags.
std::string build_content(const std::string& tags) {
  return "\x78" + std::string(8, '\xAA') + "\0\x0C\1\0"s + tags;
}
std::string build_movie(const std::string& tags) {
  const std::string content = build_content(tags);
  return "FWS\6" + u32(content.size() + 8) + content;
}
std::string build_compressed_movie(const std::string& content, size_t declared) {
  std::string packed(compressBound(content.size()), '\0');
  uLongf size = packed.size();
  compress2(reinterpret_cast<Bytef*>(packed.data()), &size,
            reinterpret_cast<const Bytef*>(content.data()), content.size(), 1);
  packed.resize(size);
  return "CWS\6" + u32(declared) + packed;
}

struct movie_links {
  uint32_t answer;
  strings urls;
  size_t nb_inflated_bytes;
};
movie_links find_links(const std::string& data, std::string_view url = "http://h/d/m.swf") {
  link_list links;
  link_gatherer gatherer;
  std::string inflated;
  begin_link_gatherer(gatherer, "http://h/d/p", links);
  const uint32_t answer = add_flash_links(url, data, inflated, gatherer);
  links.urls.resize(links.count);
  return {answer, links.urls, inflated.size()};
}

TEST(flash_links, are_what_actions_open) {
  const std::string pool = build_action('\x88', u16(3) + "a\0b\0c\0"s);
  const std::string variable = "\x1C";
  const std::tuple<const char*, std::string, strings> cases[] = {
      {"address", get_url("x.html") + get_url("http://o/y"), {"http://h/d/x.html", "http://o/y"}},
      {"no address to crawl", get_url("FSCommand:quit") + get_url("") + get_url("#x"), {}},
      {"behind the end", "\0"s + get_url("x"), {}},
      {"behind an unknown action", build_action('\xF0', "data") + get_url("x"), {"http://h/d/x"}},
      {"pushed texts", push("\0x\0\0_top\0"s) + GET_URL_2, {"http://h/d/x"}},
      {"one pushed text", push("\0x\0"s) + GET_URL_2, {"http://h/d/x"}},
      {"two pushes, other values before",
       push("\1....\2\3\4.\5.\6........\7....\0x\0"s) + push("\2"s) + GET_URL_2,
       {"http://h/d/x"}},
      {"constants", pool + push("\x08\1\x09\2\0"s) + GET_URL_2, {"http://h/d/b"}},
      {"a variable as target", push("\0x\0\0v\0"s) + variable + GET_URL_2, {"http://h/d/x"}},
      {"a member as target",
       push("\0x\0\0o\0"s) + variable + push("\0m\0"s) + "\x4E" + GET_URL_2,
       {"http://h/d/x"}},
      {"a variable as address", push("\0x\0"s) + variable + push("\0t\0"s) + GET_URL_2, {}},
      {"pushed before another action", push("\0x\0\0t\0"s) + "\x17" + GET_URL_2, {}},
      {"cut short", get_url("x").substr(0, 5), {"http://h/d/x"}},
      {"unknown type", push("\x7F"s) + GET_URL_2, {}},
  };
  for (const auto& [name, actions, urls] : cases) {
    EXPECT_EQ(find_links(build_movie(build_tag(12, actions + "\0"s))).urls, urls) << name;
  }
}

TEST(flash_links, are_found_in_actions_of_frames_and_buttons) {
  const std::string actions = get_url("x") + "\0"s;
  // A record of a button: state, character, depth, matrix with scale (2 x 1 bit) and translation
  // (2 x 3 bits) in 3 bytes: 1 00001 11 0 00011 101 010, filled up.
  const std::string record = "\1\1\0\2\0"s + "\x87\x0E\xA0";
  const std::string button = u16(1) + record + record + "\0"s + actions;
  const std::string event = u16(4 + actions.size()) + "\1\0"s + actions;
  const std::string last_event = u16(0) + "\1\0"s + actions;
  const std::string button_2 = u16(1) + "\0"s + u16(2 + record.size() + 1) + record + "\0"s;
  const std::tuple<const char*, std::string, uint32_t> cases[] = {
      {"frame", build_tag(12, actions), 1},
      {"long tag", build_tag(2, std::string(70'000, 'x')) + build_tag(12, actions), 1},
      {"button", build_tag(7, button), 1},
      {"button 2", build_tag(34, button_2 + event + event + last_event), 3},
      {"button 2, no last event", build_tag(34, button_2 + event), 1},
      {"button 2, events far away", build_tag(34, u16(1) + "\0"s + u16(999) + last_event), 0},
      {"button 2, tiny events", build_tag(34, button_2 + "\1\0\1\0"s + actions), 0},
      {"behind the end", build_tag(0, "") + build_tag(12, actions), 0},
      {"a length beyond the movie", u16(12 << 6 | 63) + u32(0xFFFFFFFF) + actions, 1},
  };
  for (const auto& [name, tags, count] : cases)
    EXPECT_EQ(find_links(build_movie(tags)).answer, count) << name;
}

TEST(flash_links, come_from_movies_only) {
  const std::string movie = build_movie(build_tag(12, get_url("x")));
  const std::string content = movie.substr(8);
  const std::string packed = build_compressed_movie(content, movie.size());
  const std::tuple<const char*, const char*, std::string, uint32_t> cases[] = {
      {"bare", "http://h/m.SwF", movie, 1},
      {"compressed", "http://h/m.swf", packed, 1},
      {"compressed, declared too short", "http://h/m.swf", build_compressed_movie(content, 16), 0},
      {"compressed, damaged", "http://h/m.swf", "CWS\6" + u32(99) + "no zlib", NO_FLASH_MOVIE},
      {"other signature", "http://h/m.swf", "fws" + movie.substr(3), NO_FLASH_MOVIE},
      {"too short", "http://h/m.swf", "FWS\6\0\0\0"s, NO_FLASH_MOVIE},
      {"projector: search ends at its first byte", "http://h/m.exe", "MZ" + movie, NO_FLASH_MOVIE},
      {"projector: a bare movie", "http://h/m.exe", movie, NO_FLASH_MOVIE},
  };
  for (const auto& [name, url, data, answer] : cases)
    EXPECT_EQ(find_links(data, url).answer, answer) << name;
}

TEST(flash_links, are_looked_for_in_a_bounded_part_of_a_bomb) {
  const std::string content =
      build_content(build_tag(12, get_url("x"))) + std::string(70 << 20, '\0');
  const movie_links found = find_links(build_compressed_movie(content, ~0U));
  EXPECT_EQ(found.answer, 1u);
  EXPECT_EQ(found.nb_inflated_bytes, MAX_INFLATED_MOVIE_BYTES);
}

// Movies of one repeated piece: each of them was made to be read again and again, or to be kept.
TEST(flash_links, cost_time_in_proportion_to_the_movie) {
  for (const std::string& piece :
       {push(std::string(60'000, '\2')),
        build_action('\x88', u16(0xFFFF) + std::string(65'000, '\0')),
        build_action('\x88', u16(9)) + push("\x08\1"s), "\x1C"s, "\x4E"s, "\x83"s, "\1"s}) {
    std::string actions;
    while (actions.size() < (2 << 20)) actions += piece;
    for (const uint32_t code : {12U, 7U, 34U}) {
      EXPECT_EQ(find_links(build_movie(build_tag(code, actions))).answer, 0u);
    }
  }
}

}  // namespace
}  // namespace wk
