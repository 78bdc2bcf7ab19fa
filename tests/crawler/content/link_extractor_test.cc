#include "crawler/content/link_extractor.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "crawler/content/page_text.h"

namespace wk {
namespace {

using namespace std::string_literals;
using strings = std::vector<std::string>;

constexpr const char* PAGE_URL = "http://h/d/p";

// The links of page, those below http://h/d/ without that prefix.
strings find_links(std::string_view page, std::string_view base = "", bool canonical = false) {
  const crawl_rules rules{.canonical_urls = canonical};
  const link_context_ptr context = create_link_context(rules);
  set_base_link_context(*context, base);
  link_list links;
  extract_links(PAGE_URL, page, *context, links);
  strings found;
  for (uint32_t i = 0; i < links.count; ++i) {
    const std::string& url = links.urls[i];
    found.push_back(url.starts_with("http://h/d/") ? url.substr(11) : url);
  }
  return found;
}

TEST(extract_links, finds_what_a_coarse_look_finds) {
  const std::tuple<const char*, std::string, strings> cases[] = {
      {"every tag",
       "<link href=1><base href=2><frame src=3><area href=4><iframe src=5><img src=6>"
       "<embed src=7><a href=8>",
       {"1", "2", "3", "4", "5", "6", "7", "8"}},
      {"names are prefixes", "<basefont href=1><frameset src=2><images src=3>", {"1", "2"}},
      {"but the anchor's", "<abbr href=1><a\thref=2><a/ href=3>", {}},
      {"white space before the name", "< \r\n\ta href=1><\nIMG SRC=2>", {"1", "2"}},
      {"unknown tags", "<div src=1><p href=2></a href=3>", {}},
      {"tag inside an unknown one", "<div <a href=1>", {"1"}},
      {"end of a longer name", "<img data-src=1>", {"1"}},
      {"anchor needs a blank", "<a data-href=1><a\n\thref=2><a\t href=3>", {"3"}},
      {"first match wins", "<img src=1 src=2>", {"1"}},
      {"bracket before it", "<a title='>' href=1>", {}},
      {"far behind the name", "<a class=\"reference internal external\" HREF=\"1\">", {"1"}},
      {"blanks, signs", "<a href = = \" \t1 2\n\"><a href  2>", {"1 2", "2"}},
      {"ends at white space", "<a href=1\tx><a href=2\rx><a href=3\nx>", {"1", "2", "3"}},
      {"line break makes it unquoted", "<a href=\n\"1\">", {"\"1\""}},
      {"other quote inside", "<a href=\"it's\">", {"it's"}},
      {"brackets inside quotes", "<a href=\"1>2<a href=3\">", {"1>2<a href=3"}},
      {"empty", "<a href=\"\"><a href=''><a href=><a href=\"  \"><a href=1>", {"1"}},
      {"goes on behind it", "<a href='1'<a href=2><a href=3<a href=4>", {"1", "2", "3<a"}},
      {"no closing quote", "<a href=1><a href=\"2><a href=3>", {"1"}},
      {"NUL ends the page", "<a href=1><a href=2\0><a href=3>"s, {"1"}},
      {"tag directly behind a comment is passed over", "<!-- c --><a href=1><a href=2>", {"2"}},
      {"shortest comment", "<!--> <a href=1>-->", {"1"}},
      {"three dashes", "<!-- c ---> <a href=1>", {"1"}},
      {"without end, goes on behind its last dash", "<!-- - <a href=1>", {"1"}},
      {"and a byte further", "<!--<a href=1><a href=2>", {"2"}},
      {"byte behind the last dash is skipped", "<!-- -<<a href=1>", {"1"}},
      {"declaration hides its third byte", "<!<a href=1><!-<a href=2>", {"2"}},
      {"script", "<ScRipt src=1><a href=2></script><a href=3>", {"3"}},
      {"no blanks", "<script></script ></ script><a href=1></script><a href=2>", {"2"}},
      {"style sheet", "<STYLE> <a href=1></style><a href=2>", {"2"}},
      {"closing tag of the other", "<style></script><a href=1></style><a href=2>", {"2"}},
      {"each once", "<a href=b><a href=a><a href=./b><a href=http://H/d/a>", {"b", "a"}},
      {"dropped", "<a href=#x><a href=mailto:x><a href=javascript:x><a href=a%zz>", {}},
      {"base first", "<base href=http://o/b/><a href=1>", {"http://o/b/", "http://o/b/1"}},
      {"base first but for what is dropped",
       "<a href=#x><base href=/b/><a href=1>",
       {"http://h/b/", "http://h/b/1"}},
      {"base later", "<a href=1><base href=http://o/b/><a href=2>", {"1", "http://o/b/", "2"}},
      {"known base", "<a href=/b/><base href=/b/><a href=2>", {"http://h/b/", "2"}},
      {"two bases", "<base href=b/><base href=c/><a href=1>", {"b/", "b/c/", "b/1"}},
  };
  for (const auto& [name, page, links] : cases) {
    SCOPED_TRACE(name);
    EXPECT_EQ(find_links(page), links);
    // The place of a tag within the blocks that the scanner reads at once changes nothing.
    for (size_t shift = 1; shift <= 33; ++shift) {
      ASSERT_EQ(find_links(std::string(shift, '.') + page), links) << shift;
      ASSERT_EQ(find_links(page + std::string(shift, ' ')), find_links(page + " ")) << shift;
    }
  }
  EXPECT_EQ(find_links("<a href=1>", "http://o/b/p"), strings{"http://o/b/1"});
  // A fragment may spoil its link or change the path, and then says nothing of the link without it.
  EXPECT_EQ(find_links("<a href=a#x><a href=a#y><a href=b#1%><a href=b><a href=c#/../y><a href=c>"
                       "<a href=d&#38;#x><a href=d&#38;#y><a href=e#1><base href=e/><a href=e#1>",
                       "", true),
            (strings{"a", "b", "y", "c", "d&", "e", "e/"}));
}

TEST(extract_links, says_what_is_malformed_and_keeps_the_links_before) {
  const std::string said = "file http://h/d/p doesn't have valid html format!(skip <";
  const std::tuple<const char*, std::string> cases[] = {
      {"<!-- <a href=x> -", said + "!-- comments to  end of file)\n"},
      {"<!--", said + "!-- comments to  end of file)\n"},
      {"<script><a href=x></script", said + "script> to  end of file)\n"},
      {"<style><a href=x>", said + "style> to  end of file)\n"},
      {"<!-- x", ""},
  };
  for (const auto& [page, message] : cases) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(find_links("<a href=http://o/>" + std::string(page)), strings{"http://o/"});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message) << page;
  }
}

// The set of links seen grows several times over; none is lost and none comes twice.
TEST(extract_links, gives_a_bounded_number_of_links) {
  std::string page;
  for (size_t i = 0; i < MAX_LINKS_PER_PAGE + 10; ++i) {
    page += "<a href=" + std::to_string(i) + (i % 1'000 == 999 ? "><a href=7>" : ">");
  }
  const link_context_ptr context = create_link_context();
  link_list links;
  extract_links("http://h/", page, *context, links);
  ASSERT_EQ(links.count, MAX_LINKS_PER_PAGE);
  for (size_t i = 0; i < MAX_LINKS_PER_PAGE; i += 17) {
    ASSERT_EQ(links.urls[i], "http://h/" + std::to_string(i));
  }
  append_link_list(links, "http://h/more");
  EXPECT_EQ(links.count, MAX_LINKS_PER_PAGE);
  testing::internal::CaptureStderr();
  extract_links("", "<a href=><a href=http://o/><a href=1><script>", *context, links);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "can't not find the base!\n");
  EXPECT_EQ(links.count, 0u);
  extract_links("http://o/", "<a href=2>", *context, links);
  ASSERT_EQ(links.count, 1u) << "the page before is forgotten";
  EXPECT_EQ(links.urls[0], "http://o/2");
}

// Pages of the largest size that is fetched, made to be searched through from each of their bytes.
// Work that grows with the square of the length would keep any of these busy for hours.
TEST(hostile_page, costs_time_in_proportion_to_its_length_and_bounded_memory) {
  // what stands before, what is repeated, what stands behind, how many links there are
  const std::tuple<std::string, const char*, const char*, uint32_t> cases[] = {
      {"", "<", "<a href=1>", 1},
      {"", "<!--", "", 0},
      {"", "<!-- -- ", "> <a href=1>", 1},
      {"", "<script></", "", 0},
      {"", "<style></scrip", "", 0},
      {"", "<a ", "href=1>", 1},
      {"", "<img srsr", "", 0},
      {"", "<a href=\"", "", 1},
      {"", "<a href=1>", "", 1},
      {"", "&nbsp", "<a href=1>", 1},
      {"", "<a href=../>", "", 1},
      {"", "<script></script>", "<a href=1>", 1},
      // One link as long as the page, in the forms that are rewritten.
      {"<a href=\"x/y/", "a", "\">", 1},
      {"<a href=\"x/y/", "/", "\">", 1},
      {"<a href=\"x/y/", "../", "\">", 1},
      {"<a href=\"x/y/", "a/../", "\">", 1},
      {"<a href=\"x/y/", "&#38;", "\">", 1},
      {"<a href=\"x/y/", "%20", "\">", 1},
  };
  const link_context_ptr context = create_link_context();
  link_list links;
  std::string text;
  for (const auto& [head, piece, tail, nb_links] : cases) {
    SCOPED_TRACE(head.substr(0, 20) + piece);
    std::string page = head;
    while (page.size() < 8 << 20) page += piece;
    page += tail;
    testing::internal::CaptureStderr();
    extract_links("http://h/a/b", page, *context, links);
    EXPECT_LE(testing::internal::GetCapturedStderr().size(), 200u);
    EXPECT_EQ(links.count, nb_links);
    build_page_text(text, page);
    // The memory of a long link is given back with the next page.
    extract_links("http://h/", "<a href=1>", *context, links);
    ASSERT_EQ(links.count, 1u);
    EXPECT_LE(links.urls[0].capacity(), 4'096u);
  }
  // Each short link below a base of a megabyte would be a megabyte: the page is cut short.
  std::string page = "<base href=\"http://h/" + std::string(1 << 20, 'b') + "/\">";
  for (int i = 0; i < 300'000; ++i) page += "<a href=" + std::to_string(i) + ">";
  extract_links("http://h/", page, *context, links);
  EXPECT_TRUE(links.count > 20 && links.count < 200) << links.count;
}

}  // namespace
}  // namespace wk
