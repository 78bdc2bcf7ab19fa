// Links that no attribute of a tag holds: those of scripts, feeds and Flash movies.
#include <gtest/gtest.h>
#include <zlib.h>

#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include "crawler/content/feed_links.h"
#include "crawler/content/flash_links.h"
#include "crawler/content/script_inlining.h"
#include "crawler/content/script_links.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

using namespace std::string_literals;

// The links that add puts together for a page http://h/d/p, blank-separated, those below
// http://h/d/ without that prefix.
template <typename adder>
std::string gather(const adder& add) {
  link_list links;
  link_gatherer gatherer;
  begin_link_gatherer(gatherer, "http://h/d/p", links);
  add(gatherer);
  std::string found;
  for (uint32_t i = 0; i < links.count; ++i) {
    if (i > 0) found += ' ';
    found += links.urls[i].substr(links.urls[i].starts_with("http://h/d/") ? 11 : 0);
  }
  return found;
}

size_t count_words(const std::string& text) {
  std::istringstream words(text);
  return static_cast<size_t>(std::distance(std::istream_iterator<std::string>(words),
                                           std::istream_iterator<std::string>()));
}

// Scripts by their path; what is asked for and not here is answered with 404.
struct made_up_scripts {
  std::map<std::string, std::string> texts;
  std::string asked;  // each followed by a blank
  http_transport transport;
  fetch_settings settings;
  http_fetcher_ptr fetcher = create_http_fetcher(settings);

  made_up_scripts() {
    transport.get_context = this;
    transport.get = [](http_request& request, http_response& response,
                       const http_surroundings& surroundings, void* context) -> uint32_t {
      auto& self = *static_cast<made_up_scripts*>(context);
      EXPECT_EQ(surroundings.attempt_limit_us, SCRIPT_LIMIT_US);
      self.asked += request.target.path + " ";
      const auto found = self.texts.find(request.target.path);
      if (found != self.texts.end()) response.body = found->second;
      return found == self.texts.end() ? 404 : 200;
    };
    fetcher->transport = &transport;
  }
};

std::string find_links(std::string_view page, http_fetcher& fetcher) {
  script_workspace workspace;
  return gather(
      [&](link_gatherer& gatherer) { add_script_links(page, fetcher, workspace, gatherer); });
}

std::string in_script(const std::string& text) { return "<script>" + text + "</script>"; }

TEST(script_links, are_found_in_each_of_their_places) {
  const std::pair<std::string, const char*> cases[] = {
      // Refresh directives: only at the very end of the text.
      {"<meta http-equiv=\"refresh\" content=\"0; url=next\">", ""},
      {"<META \n http-equiv=\"refresh\"\0 content=\"0; URL='next'\">"s, "next"},
      {"<meta http-equiv=\"Refresh\"\0 content=\"0; url=next\">"s, ""},
      {"<meta name=x http-equiv=\"refresh\"\0 content=\"0; url=next\">"s, ""},
      {"<meta http-equiv=\"refresh\"\0 content=\"5\"> url=next"s, ""},
      // Absolute URLs anywhere, as they stand.
      {"see http://a/x?y=1&amp;z, HTTPS://B/c.", "http://a/x?y=1&amp;z, HTTPS://B/c."},
      {"<a href=http://a/x>http://a/x</a>", "http://a/x http://a/x"},
      {"'http://a/1'\"http://a/2\"http://a/3\\http://a/4 http://a/5#x http://a/6\xC3\xA4",
       "http://a/1 http://a/2 http://a/3 http://a/4 http://a/5 http://a/6"},
      {"http://http://a hhttp://b http:/c ftp://d ttp://e http:", "http://http://a http://b"},
      {"http://a\0http://b"s, "http://a"},
      // Literals in scripts.
      {in_script("open('x.html'); b = \"Y/y.php?a=1\";"), "x.html Y/y.php?a=1"},
      {in_script("'dir/' 'x' '/x.html' './x.html' 'x.HTML' 'x y.html' '' 'a.plus'"), "dir/ a.plus"},
      {in_script("\"it's\" 'a.asp' \"b.cgi\" 'c.html\n'd.pl'"), "a.asp b.cgi d.pl"},
      {in_script("'http://a/x.html'; 'c.html'\n'd.html'"), "http://a/x.html d.html"},
      {in_script("/* 'a.html' */ 'b/*x*/c.html' // 'd.html'\n'e.html' /*'f.html'"),
       "bc.html e.html"},
      {in_script("<!-- 'a.html' -->'b.html' if (a<b) 'c.html' > 'd.html'"), "b.html d.html"},
      {"'a.html'<b>'b.html'</b><!-- <script>'c.html'</script> --><script>'d.html'", "d.html"},
      {in_script("'mailto:a.html' 'http://' 'https://'"), "http:// https://"},
      // Event handlers: the last of a tag, in lower case.
      {"<a onclick=\"go('Page.html', 'x', '')\">", "page.html"},
      {"<!--><a href='JavaScript:go(\"a/\", \"http://\")'>", "http:// a/"},
      {"<a onclick=\"go('a.html')\" onMouseOver=\"go('b.html','/c.html')\">", "b.html"},
      {"<a onclick = \"go('a.html')\"><a onclick=\"go('b.html')><a href=\"x\">", ""},
      {"<!-- <a onclick=\"go('a.html')\"> --><a onclick=\"go('b.html')\"", ""},
      {"<a     onclick>\n<a onclick=>", ""},
  };
  made_up_scripts scripts;
  for (const auto& [page, links] : cases) {
    EXPECT_EQ(find_links(page, *scripts.fetcher), links) << page;
  }
  EXPECT_EQ(scripts.asked, "");
}

TEST(script_links, are_found_in_scripts_that_the_page_loads) {
  made_up_scripts scripts;
  scripts.texts = {{"/d/a.js", "'in-a.html'; x = 'http://a/in-a';\n<script src=e.js></script>"},
                   {"/b.js", "'in-b.html'\0'behind.html'"s},
                   {"/d/c.js", "'in-c.html'"}};
  EXPECT_EQ(
      find_links("http://p/ <script src=\"a.js\">'body.html'</script><SCRIPT src=c.js></SCRIPT>"
                 "<script defer SRC='/b.js'/>'text.html'<script src=gone.js></script>"
                 "<script src=\"\"></script><script src='e\x01.js'></script>"
                 "<script data-src=c.js>'last.html'</script><script src='c.js",
                 *scripts.fetcher),
      "http://p/ http://a/in-a in-a.html body.html in-c.html in-b.html last.html");
  EXPECT_EQ(scripts.asked, "/d/a.js /d/c.js /b.js /d/gone.js ");
}

TEST(script_links, load_no_more_than_a_page_may_and_cost_time_in_proportion) {
  made_up_scripts scripts;
  std::string page;
  for (int i = 0; i < 100; ++i) page += "<script src=s></script>";
  scripts.texts["/d/s"] = "'s/'";
  EXPECT_EQ(count_words(find_links(page, *scripts.fetcher)), MAX_SCRIPTS_PER_PAGE);
  EXPECT_EQ(count_words(scripts.asked), MAX_SCRIPTS_PER_PAGE);
  scripts.texts["/d/s"] = "'s/'" + std::string(5 << 20, ' ');
  EXPECT_EQ(count_words(find_links(page, *scripts.fetcher)), 3u)
      << "16 MiB have room for three of 5";
  // Each of these makes a search run to the end of the page from wherever it starts.
  for (const char* piece : {"<", "<!--", "<!-- ", "<script", "<script src='", "</script", ":", "'",
                            "\"'", "/*", "//", "<a onclick='", "http://a "}) {
    page = "<script>";
    while (page.size() < (4 << 20)) page += piece;
    const size_t count = piece == "http://a "s ? MAX_LINKS_PER_PAGE : 0;
    EXPECT_EQ(count_words(find_links(page, *scripts.fetcher)), count) << piece;
  }
}

std::string find_feed_links(std::string_view feed) {
  std::string plain;
  return gather([&](link_gatherer& gatherer) { add_feed_links(feed, plain, gatherer); });
}

std::string in_rss(const std::string& items) {
  return "<rss version=\"2.0\"><channel>\n<link>http://h/channel</link>\n" + items +
         "\n<image><link>http://h/image</link></image></channel></rss>\n";
}

TEST(feed_links, are_the_links_of_items) {
  const std::pair<std::string, const char*> cases[] = {
      {"<?xml version=\"1.0\"?><!DOCTYPE rss PUBLIC \"-//N//DTD RSS 0.91//EN\" "
       "\"http://127.0.0.1:9/rss-0.91.dtd\"><rss version=\"0.91\"><channel><title>x</title>"
       "<item><title>t</title><link>http://h/1</link></item></channel></rss>",
       "http://h/1"},
      {"<?xml version=\"1.0\"?><rdf:RDF xmlns:rdf=\"http://r#\" xmlns=\"http://purl.org/rss/1.0/\">"
       "<channel rdf:about=\"c\"><link>http://h/c</link><items/></channel>"
       "<item rdf:about=\"a\"><link>http://h/a</link></item>"
       "<item rdf:about=\"b\"><link>http://h/b</link></item></rdf:RDF>",
       "http://h/a http://h/b"},
      {in_rss(
           "<item><guid>http://h/g</guid><link>\n http://h/1 \n</link></item><item><LINK>x</LINK>"
           "<atom:link href='y'/><link><![CDATA[http://h/2?a&b]]></link></item><!-- don't > "
           "<item> --><ITEM><link>http://h/3</link></ITEM><item/><link>http://h/4</link>"),
       "http://h/1 http://h/2?a&b"},
      {"<feed xmlns=\"http://www.w3.org/2005/Atom\"><link href=\"http://h/\"/>"
       "<entry><link href=\"http://h/1\"/><link>http://h/2</link></entry></feed>",
       ""},
      {in_rss("<item><link>http://h/?a&amp;b&#38;c=%20&lt;</link></item>"), "http://h/?a&b&c=%20<"},
      {in_rss("<item><link></link><link/><link> </link><link><b>x</b></link><link>/r</link>"
              "<link>mailto:x</link><source><link>HTTP://O/x/../y</link></source></item>"),
       "http://h/r HTTP://O/x/../y"},
      // Broken XML.
      {in_rss("<item><link>http://h/1</link></item><item><title>A & B</title>"
              "<link>http://h/2</link></item>"),
       "http://h/1 http://h/2"},
      {in_rss("<item><title>caf\xE9 <b>x</title><link>http://h/1</link></item>"),
       "http://h/1 http://h/image"},  // </item> is taken for the end of the title
      {"<rss><item><link>http://h/?a&b</link></item><item><link>http://h/2",
       "http://h/?a&b http://h/2"},
      {"<?xml version=\"1.0\" encoding=\"UTF-16\"?><rss><item><link>http://h/1</link></item></rss>",
       "http://h/1"},
      {"\0<rss><item><link>http://h/1</link></item></rss>"s, ""},
      {"", ""},
  };
  for (const auto& [feed, links] : cases) EXPECT_EQ(find_feed_links(feed), links) << feed;
}

TEST(feed_links, are_whole_wherever_they_stand_and_however_many) {
  const std::string url = "http://h/" + std::string(3'000, 'x') + "?a=1&";
  for (size_t shift = 0; shift < 1'200; ++shift) {  // the reader takes its text in pieces
    const std::string title = "<title>" + std::string(shift, '.') + "</title>";
    ASSERT_EQ(find_feed_links(in_rss("<item>" + title + "<link>" + url + "amp;b</link></item>")),
              url + "b");
  }
  std::string items;
  for (size_t n = 1; n <= 200'000; ++n) {
    items += "<item><a:b/><title>t</title><link>http://h/" + std::to_string(n) + "</link></item>\n";
  }
  const std::string links = find_feed_links(in_rss(items));
  EXPECT_EQ(count_words(links), 200'000u);
  EXPECT_TRUE(links.ends_with(" http://h/200000"));
}

TEST(feed_links, replace_no_entity_and_read_nothing_else) {
  const temp_directory directory;
  write_test_file(directory.path + "/secret", "http://h/secret");
  std::string laughs = "<!DOCTYPE rss [<!ENTITY l0 \"http://h/lol\">";
  for (int i = 1; i < 40; ++i) {
    laughs += "<!ENTITY l" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) laughs += "&l" + std::to_string(i - 1) + ";";
    laughs += "\">";
  }
  EXPECT_EQ(find_feed_links(laughs + "]><rss><item><link>&l39;</link></item></rss>"), "");
  const std::string file = "SYSTEM \"file://" + directory.path + "/secret\"";
  EXPECT_EQ(
      find_feed_links("<!DOCTYPE rss [<!ENTITY e " + file + "><!ENTITY % p " + file +
                      "> %p;]><rss><item><link>&e;</link><link>http://h/1</link></item></rss>"),
      ("http://h/1"));
}

TEST(feed_links, of_hostile_feeds_cost_time_in_proportion) {
  for (const char* piece :
       {"<a>", "<item>", "<link>", "<![CDATA[", "<!--", "&amp;", "&", "<a b='", " a='1'",
        "<!ENTITY a 'b'>", "<?", "<!DOCTYPE a [<", "]]>", "</a>", "<a/>", "<", "\"", "x"}) {
    for (const char* head : {"<rss>", "<rss ", "<!DOCTYPE a ["}) {
      std::string feed = head;
      while (feed.size() < 1'000'000) feed += piece;
      EXPECT_EQ(find_feed_links(feed), "") << head << piece;
    }
  }
}

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
