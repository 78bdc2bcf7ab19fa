#include "crawler/content/feed_links.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/crawler/content/gathered_links.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

using namespace std::string_literals;

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

}  // namespace
}  // namespace wk
