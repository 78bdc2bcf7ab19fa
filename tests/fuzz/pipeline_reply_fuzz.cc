// A document counts as stored when, and only when, the peer has answered with the integer 0.
#include <string>

#include "crawler/output/pipeline_item.h"
#include "crawler/output/url_hold.h"
#include "tests/fuzz/fuzz_law.h"
#include "tests/fuzz/reply_peer.h"

namespace wk {

void test_one_input(std::string_view bytes) {
  static const reply_peer peer;
  const bool raw = take_byte(bytes) % 2 != 0;
  const stored_document document{.url = "http://h.test/", .type_name = "html", .content = "text"};
  std::string item;
  append_pipeline_item(item, document, raw);
  const url_hold_ptr hold = create_pipeline_url_hold("127.0.0.1", peer.port, raw, nullptr, nullptr);
  quota counted;
  set_page_limit_quota(counted, 2);
  int stored = 0;
  {
    const size_t size = 4 * 4 + document.url.size() + item.size();
    const peer_work server = reply_once(peer, {}, size, std::span(&bytes, 1));
    stored = store_document_url_hold(*hold, document, counted);
  }
  const bool answers_0 = bytes.starts_with(std::string_view("\0\0\0\0", 4));
  require_law(stored == (answers_0 ? 1 : 0), "the answer 0 alone stores");
  require_law(counted.pages == (answers_0 ? 1U : 0U), "what is stored is counted");
}

}  // namespace wk
