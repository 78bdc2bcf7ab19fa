// A movie gives the same links bare, compressed and in a projector, and all of them stand in it.
#include <zlib.h>

#include <string>
#include <vector>

#include "crawler/content/flash_links.h"
#include "tests/fuzz/fuzz_law.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

std::vector<std::string> find_links(std::string_view url, const std::string& data) {
  static std::string inflated;
  link_list links;
  link_gatherer gatherer;
  begin_link_gatherer(gatherer, "http://h.test/", links);
  const uint32_t number = add_flash_links(url, data, inflated, gatherer);
  require_law(number == links.count || (number == NO_FLASH_MOVIE && links.count == 0),
              "the number is that of the links");
  links.urls.resize(links.count);
  return links.urls;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  std::string head = "\x06";
  append_u32(head, static_cast<uint32_t>(bytes.size() + 8));
  const std::string bare = "FWS" + head + std::string(bytes);
  const std::vector<std::string> links = find_links("http://h.test/a.swf", bare);

  std::string compressed = "CWS" + head;
  uLongf size = compressBound(bytes.size());
  compressed.resize(8 + size);
  compress2(reinterpret_cast<Bytef*>(compressed.data() + 8), &size,
            reinterpret_cast<const Bytef*>(bytes.data()), bytes.size(), 1);
  compressed.resize(8 + size);
  require_law(find_links("http://h.test/a.swf", compressed) == links, "compressed it is the same");
  (void)find_links("http://h.test/a.exe", bare + "12345678");
  (void)find_links("http://h.test/a.swf", "CWS" + std::string(bytes));

  for (const std::string& link : links) {
    require_law(link.starts_with("http://") || link.starts_with("https://"), "a link is a URL");
  }
  require_law(links.size() <= bytes.size() / 3, "a link costs an action");
}

}  // namespace wk
