#include "crawler/content/script_links.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

#include "crawler/content/script_inlining.h"
#include "tests/crawler/content/gathered_links.h"

namespace wk {
namespace {

using namespace std::string_literals;

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

}  // namespace
}  // namespace wk
