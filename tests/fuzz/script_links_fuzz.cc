// Whatever scripts hold: a bounded number of them is loaded, and every link is an absolute URL.
#include <string>

#include "crawler/content/absolute_links.h"
#include "crawler/content/script_inlining.h"
#include "crawler/content/script_links.h"
#include "tests/fuzz/fuzz_law.h"
#include "wkstd/text.h"

namespace wk {
namespace {

struct script_server {
  std::string_view script;
  uint32_t nb_asked = 0;
};

uint32_t answer_with_script(http_request& /*request*/, http_response& response,
                            const http_surroundings& /*surroundings*/, void* context) {
  auto& server = *static_cast<script_server*>(context);
  ++server.nb_asked;
  response.body = server.script;
  return response.status = 200;
}

size_t find_link_slowly(std::string_view text, size_t at) {
  while (at < text.size() && !starts_with_ignoring_case(text.substr(at), "http://") &&
         !starts_with_ignoring_case(text.substr(at), "https://")) {
    ++at;
  }
  return at;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  script_server server{.script = take_part(bytes)};
  std::string_view link;
  for (size_t at = 0, from = 0; find_next_absolute_link(bytes, at, link); from = at) {
    const auto begin = static_cast<size_t>(link.data() - bytes.data());
    require_law(begin == find_link_slowly(bytes, from) && begin + link.size() == at,
                "the next absolute link is the first one");
  }

  const fetch_settings settings;
  const http_transport transport{.get = answer_with_script, .get_context = &server};
  const http_fetcher_ptr fetcher = create_http_fetcher(settings);
  fetcher->transport = &transport;
  script_workspace workspace;
  link_list links;
  link_gatherer gatherer;
  begin_link_gatherer(gatherer, "http://h.test/", links);
  add_script_links(bytes, *fetcher, workspace, gatherer);
  require_law(server.nb_asked <= MAX_SCRIPTS_PER_PAGE, "a page loads a bounded number of scripts");
  for (uint32_t i = 0; i < links.count; ++i) {
    require_law(find_link_slowly(links.urls[i], 0) == 0, "every link is absolute");
  }
}

}  // namespace wk
