#include "crawler/content/link_extractor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace wk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;
using strings = std::vector<std::string>;

constexpr const char* PAGE_URL = "http://h/d/p";

// The links of page, those below http://h/d/ without that prefix.
strings find_links(std::string_view page, std::string_view base = "") {
  const link_context_ptr context = create_link_context();
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

struct page_case {
  const char* name;
  std::string page;
  strings links;
};

void expect_links(const std::vector<page_case>& cases) {
  for (const page_case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(find_links(c.page), c.links);
    // The place of a tag within the blocks that the scanner reads at once changes nothing.
    for (size_t shift = 1; shift <= 33; ++shift) {
      ASSERT_EQ(find_links(std::string(shift, '.') + c.page), c.links) << shift;
      ASSERT_EQ(find_links(c.page + std::string(shift, ' ')), find_links(c.page + " ")) << shift;
    }
  }
}

TEST(extract_links, knows_the_link_bearing_tags) {
  expect_links({
      {"anchor", "<a href=\"x\">", {"x"}},
      {"other case, single quotes", "<A HREF='x'>", {"x"}},
      {"every tag",
       "<link href=1><base href=2><frame src=3><area href=4><iframe src=5><img src=6>"
       "<embed src=7><a href=8>",
       {"1", "2", "3", "4", "5", "6", "7", "8"}},
      {"names are prefixes", "<basefont href=1><frameset src=2><images src=3>", {"1", "2"}},
      {"but the anchor's", "<abbr href=1><a\thref=2><a/ href=3>", {}},
      {"white space before the name", "< \r\n\ta href=1><\nIMG SRC=2>", {"1", "2"}},
      {"unknown tags", "<div src=1><p href=2></a href=3>", {}},
      {"tag inside an unknown one", "<div <a href=1>", {"1"}},
      {"nothing", "", {}},
      {"only text", "no tag at all", {}},
      {"tag cut off", "<a href=1><a", {"1"}},
      {"text ends in a bracket", "<a href=1><", {"1"}},
  });
}

TEST(extract_links, finds_attributes_without_respect_for_quotes) {
  expect_links({
      {"end of a longer name", "<img data-src=1>", {"1"}},
      {"anchor needs a blank", "<a data-href=1><a\n\thref=2><a\t href=3>", {"3"}},
      {"start of a longer name", "<a hreflang=en>", {"lang=en"}},
      {"inside another value", "<a title='my href=x y'>", {"x"}},
      {"first match wins", "<img src=1 src=2>", {"1"}},
      {"no attribute", "<img><img alt=x><a href=1>", {"1"}},
      {"bracket before it", "<a title='>' href=1>", {}},
      {"far behind the name", "<a class=\"reference internal external\" HREF=\"1\">", {"1"}},
  });
}

TEST(extract_links, reads_values) {
  expect_links({
      {"blanks and signs", "<a href = = \"1\"><a href  2>", {"1", "2"}},
      {"trimmed", "<a href=\" \t\r\n1 2\n \">", {"1 2"}},
      {"unquoted ends at white space",
       "<a href=1\tx><a href=2\rx><a href=3\nx><a href=4 x>",
       {"1", "2", "3", "4"}},
      {"line break makes it unquoted", "<a href=\n\"1\">", {"\"1\""}},
      {"other quote inside", "<a href=\"it's\">", {"it's"}},
      {"brackets inside quotes", "<a href=\"1>2<a href=3\">", {"1>2<a href=3"}},
      {"empty", "<a href=\"\"><a href=''><a href=><a href=\"  \"><a href=1>", {"1"}},
      {"scanning goes on behind the delimiter",
       "<a href=\"1\"<a href=2><a href=3<a href=4>",
       {"1", "2", "3<a"}},
      {"no closing quote", "<a href=1><a href=\"2><a href=3>", {"1"}},
      {"text ends", "<a href=1><a href=2", {"1"}},
      {"text ends at the sign", "<a href=1><a href=", {"1"}},
      {"text ends at the quote", "<a href=1><a href=\"", {"1"}},
      {"NUL ends the page", "<a href=1><a href=2\0><a href=3>"s, {"1"}},
  });
}

TEST(extract_links, skips_comments_scripts_and_style_sheets) {
  expect_links({
      {"comment", "<!-- <a href=1> --> <a href=2>", {"2"}},
      {"tag directly behind a comment is passed over", "<!-- c --><a href=1><a href=2>", {"2"}},
      {"shortest comment", "<!--> <a href=1>-->", {"1"}},
      {"blanks before the end", "<!-- c -- \r\n\t> <a href=1>", {"1"}},
      {"three dashes", "<!-- c ---> <a href=1>", {"1"}},
      {"dashes inside", "<!-- a - b -- c -> <a href=1> --> <a href=2>", {"2"}},
      {"comment at the end", "<a href=1><!-- c -->", {"1"}},
      {"without end, goes on behind its last dash", "<!-- - <a href=1>", {"1"}},
      {"and a byte further", "<!--<a href=1><a href=2>", {"2"}},
      {"byte behind the last dash is skipped", "<!-- -<<a href=1>", {"1"}},
      {"declaration", "<!DOCTYPE html><a href=1>", {"1"}},
      {"declaration hides its third byte", "<!<a href=1><!-<a href=2>", {"2"}},
      {"script", "<script src=1><a href=2></script><a href=3>", {"3"}},
      {"script in other case", "<ScRiPt>'<a href=1>'</sCrIpT><a href=2>", {"2"}},
      {"closing tag has no blanks",
       "<script></script ></ script><a href=1></script><a href=2>",
       {"2"}},
      {"style sheet", "<STYLE> <a href=1></style><a href=2>", {"2"}},
      {"closing tag of the other", "<style></script><a href=1></style><a href=2>", {"2"}},
  });
}

TEST(extract_links, gives_each_resolved_link_once_in_order) {
  EXPECT_THAT(find_links("<a href=b><a href=a><a href=./b><a href=http://H/d/a><a href=c>"),
              ElementsAre("b", "a", "c"));
  EXPECT_THAT(find_links("<a href=#x><a href=mailto:x><a href=javascript:x><a href=a%zz>"),
              IsEmpty());
}

TEST(extract_links, takes_the_base_from_the_first_link_only) {
  EXPECT_THAT(find_links("<base href=http://o/b/><a href=1>"),
              ElementsAre("http://o/b/", "http://o/b/1"));
  EXPECT_THAT(find_links("<a href=#x><base href=http://o/b/><a href=1>"),
              ElementsAre("http://o/b/", "http://o/b/1"));
  EXPECT_THAT(find_links("<a href=1><base href=http://o/b/><a href=2>"),
              ElementsAre("1", "http://o/b/", "2"));
  EXPECT_THAT(find_links("<a href=http://o/b/><base href=http://o/b/><a href=2>"),
              ElementsAre("http://o/b/", "2"));
  EXPECT_THAT(find_links("<base href=b/><base href=c/><a href=1>"),
              ElementsAre("b/", "b/c/", "b/1"));
  EXPECT_THAT(find_links("<a href=1>", "http://o/b/p"), ElementsAre("http://o/b/1"));
}

TEST(extract_links, says_what_is_malformed_and_keeps_the_links_before) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {PAGE_URL, "<a href=http://o/><!-- <a href=x> -",
       "file http://h/d/p doesn't have valid html format!(skip <!-- comments to  end of file)\n"},
      {PAGE_URL, "<a href=http://o/><!--",
       "file http://h/d/p doesn't have valid html format!(skip <!-- comments to  end of file)\n"},
      {PAGE_URL, "<a href=http://o/><script><a href=x></script",
       "file http://h/d/p doesn't have valid html format!(skip <script> to  end of file)\n"},
      {PAGE_URL, "<a href=http://o/><style><a href=x>",
       "file http://h/d/p doesn't have valid html format!(skip <style> to  end of file)\n"},
      {PAGE_URL, "<a href=http://o/><!-- x", ""},
      {"", "<a href=><a href=http://o/><a href=1><script>", "can't not find the base!\n"},
  };
  for (const auto& [url, page, message] : cases) {
    SCOPED_TRACE(page);
    const link_context_ptr context = create_link_context();
    link_list links;
    testing::internal::CaptureStderr();
    extract_links(url, page, *context, links);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message);
    EXPECT_EQ(links.count, *url == '\0' ? 0u : 1u);
  }
}

TEST(extract_links, forgets_the_page_before) {
  const link_context_ptr context = create_link_context();
  link_list links;
  extract_links("http://h/", "<base href=http://o/><a href=1><a href=2>", *context, links);
  EXPECT_EQ(links.count, 3u);
  extract_links("http://h/", "<a href=2>", *context, links);
  ASSERT_EQ(links.count, 1u);
  EXPECT_EQ(links.urls[0], "http://h/2");
  extract_links("http://h/", "", *context, links);
  EXPECT_EQ(links.count, 0u);
}

// The set of links seen grows several times over; none is lost and none comes twice.
TEST(extract_links, gives_a_bounded_number_of_links) {
  std::string page;
  for (size_t i = 0; i < MAX_LINKS_PER_PAGE + 10; ++i) {
    page.append("<a href=").append(std::to_string(i)).append(">");
    if (i % 1'000 == 999) page.append("<a href=7>");
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
}

}  // namespace
}  // namespace wk
