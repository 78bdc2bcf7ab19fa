// Flash movies, built byte by byte.
#include "crawler/content/flash_links.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <tuple>

#include "tests/crawler/content/gathered_links.h"

namespace wk {
namespace {

using namespace std::string_literals;

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

// The links of a movie.
std::string find_movie_links(const std::string& data, std::string_view url = "http://h/d/m.swf") {
  std::string inflated;
  uint32_t answer = 0;
  const std::string found = gather(
      [&](link_gatherer& gatherer) { answer = add_flash_links(url, data, inflated, gatherer); });
  EXPECT_LE(inflated.size(), MAX_INFLATED_MOVIE_BYTES);
  if (answer == NO_FLASH_MOVIE) return "no movie";
  EXPECT_EQ(answer, count_words(found));
  return found;
}
std::string in_frame(const std::string& actions) {
  return build_movie(build_tag(12, actions + "\0"s));
}

TEST(flash_links, are_found_in_actions_of_frames_and_buttons_of_movies_only) {
  const std::string pool = build_action('\x88', u16(3) + "a\0b\0c\0"s), variable = "\x1C";
  const std::string actions = get_url("x") + "\0"s;
  // A record of a button: state, character, depth, matrix with scale (2 x 1 bit) and translation
  // (2 x 3 bits) in 3 bytes: 1 00001 11 0 00011 101 010, filled up.
  const std::string record = "\1\1\0\2\0"s + "\x87\x0E\xA0";
  const std::string button = u16(1) + record + record + "\0"s + actions;
  const std::string event = u16(4 + actions.size()) + "\1\0"s + actions;
  const std::string last = u16(0) + "\1\0"s + actions;
  const std::string head = u16(1) + "\0"s + u16(2 + record.size() + 1) + record + "\0"s;
  const std::string movie = in_frame(get_url("x")), content = movie.substr(8);
  const std::string filled = build_content(build_tag(12, actions)) + std::string(70 << 20, '\0');
  const std::tuple<const char*, std::string, const char*> cases[] = {
      {"addresses", in_frame(get_url("x.html") + get_url("http://o/y")), "x.html http://o/y"},
      {"no address", in_frame(get_url("FSCommand:quit") + get_url("") + get_url("#x")), ""},
      {"behind the end", in_frame("\0"s + get_url("x")), ""},
      {"behind an unknown action", in_frame(build_action('\xF0', "data") + get_url("x")), "x"},
      {"pushed texts", in_frame(push("\0x\0\0_top\0"s) + GET_URL_2), "x"},
      {"one pushed text", in_frame(push("\0x\0"s) + GET_URL_2), "x"},
      {"two pushes, other values before",
       in_frame(push("\1....\2\3\4.\5.\6........\7....\0x\0"s) + push("\2"s) + GET_URL_2), "x"},
      {"constants", in_frame(pool + push("\x08\1\x09\2\0"s) + GET_URL_2), "b"},
      {"a variable as target", in_frame(push("\0x\0\0v\0"s) + variable + GET_URL_2), "x"},
      {"a member", in_frame(push("\0x\0\0o\0"s) + variable + push("\0m\0"s) + "\x4E" + GET_URL_2),
       "x"},
      {"variable address", in_frame(push("\0x\0"s) + variable + push("\0t\0"s) + GET_URL_2), ""},
      {"pushed before another action", in_frame(push("\0x\0\0t\0"s) + "\x17" + GET_URL_2), ""},
      {"cut short", in_frame(get_url("x").substr(0, 5)), "x"},
      {"unknown type", in_frame(push("\x7F"s) + GET_URL_2), ""},
      {"long", build_movie(build_tag(2, std::string(70'000, 'x')) + build_tag(12, actions)), "x"},
      {"button", build_movie(build_tag(7, button)), "x"},
      {"button 2", build_movie(build_tag(34, head + event + last)), "x x"},
      {"button 2, no last event", build_movie(build_tag(34, head + event)), "x"},
      {"button 2, far events", build_movie(build_tag(34, u16(1) + "\0"s + u16(999) + last)), ""},
      {"button 2, tiny events", build_movie(build_tag(34, head + "\1\0\1\0"s + actions)), ""},
      {"behind the last tag", build_movie(build_tag(0, "") + build_tag(12, actions)), ""},
      {"length beyond the end", build_movie(u16(12 << 6 | 63) + u32(0xFFFFFFFF) + actions), "x"},
      {"compressed", build_compressed_movie(content, movie.size()), "x"},
      {"compressed, declared too short", build_compressed_movie(content, 16), ""},
      {"compressed, damaged", "CWS\6" + u32(99) + "no zlib", "no movie"},
      {"a bomb is inflated in part", build_compressed_movie(filled, ~0U), "x"},
      {"other signature", "fws" + movie.substr(3), "no movie"},
      {"too short", "FWS\6\0\0\0"s, "no movie"},
  };
  for (const auto& [name, data, links] : cases) EXPECT_EQ(find_movie_links(data), links) << name;
  EXPECT_EQ(find_movie_links(movie, "http://h/d/m.SwF"), "x");
  for (const std::string& projector : {"MZ" + movie, movie}) {  // the search ends at its first byte
    EXPECT_EQ(find_movie_links(projector, "http://h/d/m.exe"), "no movie");
  }
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
      EXPECT_EQ(find_movie_links(build_movie(build_tag(code, actions))), "");
    }
  }
}

}  // namespace
}  // namespace wk
