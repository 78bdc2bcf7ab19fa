// Crawls that find their links elsewhere than in tags: a news crawl, and one that reads scripts and
// movies.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

using testing::UnorderedElementsAre;

std::multiset<std::string> get_paths(const scripted_server& server) {
  std::multiset<std::string> paths;
  for (const recorded_request& request : get_requests_scripted_server(server)) {
    paths.insert(request.path);
  }
  return paths;
}

std::string build_answer(const char* type, std::string_view body) {
  return build_response_text(200, std::string("Content-Type: ") + type + "\r\n", body);
}

TEST(news_crawl, takes_its_links_from_feeds_alone) {
  scripted_server server = start_scripted_server("127.0.0.1");
  scripted_server other = start_scripted_server("127.0.0.2");
  std::string feed = "<?xml version=\"1.0\"?><rss><channel><link>/channel</link>";
  for (const char* path : {"/story?a=1&amp;b=2#top", "/private/story", "/advert/story"}) {
    feed += "<item><link>" + get_url_scripted_server(server, path) + "</link></item>\n";
  }
  for (const char* path : {"/away", "/closed"}) {
    feed += "<item><link>" + get_url_scripted_server(other, path) + "</link></item>\n";
  }
  feed += "<item><link>/second.xml</link></item></channel></rss>";
  serve_page_scripted_server(server, "/robots.txt", "User-agent: *\nDisallow: /private\n");
  serve_page_scripted_server(other, "/robots.txt", "User-agent: *\nDisallow: /closed\n");
  serve_bytes_scripted_server(server, "/feed", build_answer("text/xml", feed));
  serve_bytes_scripted_server(server, "/second.xml",
                              build_answer("application/rss+xml", "<rss><item><link>/last</link>"));
  serve_page_scripted_server(server, "/story?a=1&b=2", "<a href=\"/from-story\">no feed</a>");
  serve_page_scripted_server(server, "/last", "the last story");
  serve_page_scripted_server(other, "/away", "a story of another host");
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/feed")};
  setup.profile.attributes = "type=\"rss\"";
  setup.profile.elements =
      "<robot honor=\"true\"/><excluded-regexes><regex "
      "expr=\".*/advert/.*\"/></excluded-regexes>\n";
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  EXPECT_THAT(get_paths(server), UnorderedElementsAre("/robots.txt", "/feed", "/story?a=1&b=2",
                                                      "/second.xml", "/last"));
  EXPECT_THAT(get_paths(other), UnorderedElementsAre("/robots.txt", "/away"));
  EXPECT_EQ(crawl.documents.size(), 5u) << "feeds are stored like stories";
  EXPECT_EQ(count_text(crawl.log, "forbidden"), 0u) << "no refused item was handed out";
}

TEST(crawl_with_scripts, follows_loaded_scripts_and_movies) {
  // One tag DoAction: ActionGetURL "/by-movie", target "".
  using namespace std::string_literals;
  const std::string movie = "FWS\5\x2A\0\0\0\0\0\1\1\0\x11\3\x83\x0B\0/by-movie\0\0\0"s;
  scripted_server server = start_scripted_server("127.0.0.1");
  scripted_server other = start_scripted_server("127.0.0.2");
  serve_page_scripted_server(server, "/",
                             "<script src=\"/s.js\"></script><script src=\"" +
                                 get_url_scripted_server(other, "/o.js") +
                                 "\"></script><script src=/hidden.js></script><embed src=m.swf>"
                                 "<a href=\"javascript:go('by-handler.html')\">x</a>");
  serve_page_scripted_server(server, "/robots.txt", "User-agent: *\nDisallow: /hidden\n");
  serve_bytes_scripted_server(server, "/s.js",
                              build_answer("text/javascript", "open('by-script.html')"));
  serve_bytes_scripted_server(server, "/m.swf",
                              build_answer("application/x-shockwave-flash", movie));
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/")};
  setup.profile.elements =
      "<robot honor=\"true\"/><safety strict=\"true\"/><restricted-urls><url name=\"" +
      get_url_scripted_server(server, "/") +
      "\"/></restricted-urls><parse-javascript-flash enable=\"1\"/>\n";
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  EXPECT_THAT(get_paths(server),
              UnorderedElementsAre("/robots.txt", "/", "/s.js", "/m.swf", "/by-script.html",
                                   "/by-handler.html", "/by-movie"));
  EXPECT_EQ(count_all_requests_scripted_server(other), 0u) << "the filter keeps it away";
}

}  // namespace
}  // namespace wk
