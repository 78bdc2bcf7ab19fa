// Made plain a feed declares nothing and stays plain; no link is longer than what the feed holds.
#include "crawler/content/link_extractor.h"
#include "crawler/content/plain_feed.h"
#include "tests/fuzz/fuzz_law.h"

namespace wk {

void test_one_input(std::string_view bytes) {
  std::string plain, again, markup;
  build_plain_feed(plain, bytes);
  build_plain_feed(again, plain);
  require_law(plain == again, "a plain feed stays as it is");
  std::string_view rest = plain;
  for (size_t at = rest.find("<![CDATA["); at != std::string_view::npos;
       at = rest.find("<![CDATA[")) {
    markup += rest.substr(0, at);
    const size_t end = rest.find("]]>", at);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end);
  }
  markup += rest;
  require_law(markup.find("<!") == std::string::npos, "a plain feed declares nothing");

  static const link_context_ptr context = create_link_context();
  static link_list links;
  constexpr std::string_view URL = "http://h.test/";
  extract_feed_links(URL, bytes, *context, links);
  size_t nb_elements = 0;
  for (size_t at = plain.find("<link"); at != std::string::npos; at = plain.find("<link", at + 1)) {
    ++nb_elements;
  }
  size_t nb_bytes = 0;
  for (uint32_t i = 0; i < links.count; ++i) nb_bytes += links.urls[i].size();
  require_law(links.count <= nb_elements, "an element gives one link at most");
  // A byte of another character set is three of UTF-8 at most.
  require_law(nb_bytes <= 3 * plain.size() + links.count * URL.size(), "no reference grows");
}

}  // namespace wk
