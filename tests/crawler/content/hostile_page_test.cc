// Pages of the largest size that is fetched, made to be searched through from each of their bytes.
// Work that grows with the square of the length would keep any of these busy for hours.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>

#include "crawler/content/digest_table.h"
#include "crawler/content/link_extractor.h"
#include "crawler/content/page_text.h"

namespace wk {
namespace {

constexpr size_t PAGE_BYTES = 8 << 20;

std::string repeat(std::string_view piece, std::string_view head = "", std::string_view tail = "") {
  std::string page(head);
  while (page.size() < PAGE_BYTES) page += piece;
  return page.append(tail);
}

TEST(hostile_page, costs_time_in_proportion_to_its_length) {
  // what is repeated, what stands at the end, how many links there are
  const std::tuple<std::string_view, std::string_view, uint32_t> cases[] = {
      {"<", "<a href=1>", 1},     {"<!--", "", 0},         {"<!-- -- ", "> <a href=1>", 1},
      {"-", "<a href=1>", 1},     {" ", "<a href=1>", 1},  {"<script></", "", 0},
      {"<style></scrip", "", 0},  {"<a ", "", 0},          {"<a ", "href=1>", 1},
      {"<img srsr", "", 0},       {"<a href=\"", "", 1},   {"<a href=1>", "", 1},
      {"&nbsp", "<a href=1>", 1}, {"<a href=../>", "", 0}, {"<script></script>", "<a href=1>", 1},
  };
  const link_context_ptr context = create_link_context();
  link_list links;
  std::string text;
  for (const auto& [piece, tail, nb_links] : cases) {
    SCOPED_TRACE(std::string(piece));
    const std::string page = repeat(piece, "", tail);
    testing::internal::CaptureStderr();
    extract_links("http://h/", page, *context, links);
    EXPECT_LE(testing::internal::GetCapturedStderr().size(), 200u);
    EXPECT_EQ(links.count, nb_links);
    build_page_text(text, page);
    EXPECT_EQ(compute_page_digest(page), compute_text_digest(text));
  }
}

// One tag with a value as long as the page, in the forms that the URL functions rewrite.
TEST(hostile_page, may_hold_one_endless_link) {
  const link_context_ptr context = create_link_context();
  link_list links;
  for (const std::string_view piece :
       {"a", "/", "./", "../", "a/../", "&amp;", "&#38;", "&", "%20"}) {
    SCOPED_TRACE(std::string(piece));
    extract_links("http://h/a/b", repeat(piece, "<a href=\"x/y/", "\">"), *context, links);
    EXPECT_LE(links.count, 1u);
    // The memory of such a link is given back with the next page.
    extract_links("http://h/", "<a href=1>", *context, links);
    ASSERT_EQ(links.count, 1u);
    EXPECT_LE(links.urls[0].capacity(), 4'096u);
  }
}

// Each short link below a base of a megabyte would be a megabyte: the page is cut short.
TEST(hostile_page, gives_no_more_memory_of_links_than_a_page_may_have) {
  std::string page = "<base href=\"http://h/" + std::string(1 << 20, 'b') + "/\">";
  for (int i = 0; i < 300'000; ++i) page += "<a href=" + std::to_string(i) + ">";
  const link_context_ptr context = create_link_context();
  link_list links;
  extract_links("http://h/", page, *context, links);
  size_t nb_bytes = 0;
  for (uint32_t i = 0; i < links.count; ++i) nb_bytes += links.urls[i].size();
  EXPECT_GT(links.count, 20u);
  EXPECT_LT(nb_bytes, size_t{200} << 20);
}

}  // namespace
}  // namespace wk
