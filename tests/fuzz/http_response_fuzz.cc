// A response is the same whatever pieces it comes in, and no longer than it was announced.
#include <algorithm>
#include <array>
#include <string>

#include "crawler/fetch/http_client.h"
#include "tests/fuzz/fuzz_law.h"
#include "tests/fuzz/reply_peer.h"
#include "wkstd/text.h"

namespace wk {
namespace {

struct outcome {
  uint32_t status = 0;
  std::string head, body, cookies;
  bool operator==(const outcome&) const = default;
};

// The number of the head's last Content-Length line; 0 without a plain one.
size_t find_announced_size(std::string bytes) {
  lower_text(bytes);
  size_t announced = 0;
  bool has_status = false;
  for (std::string_view rest = bytes, line; !rest.empty();) {
    line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!has_status) {
      has_status = line != "http/" && line.find(' ') != std::string_view::npos;
    } else if (line.empty()) {
      break;
    } else if (line.starts_with("content-length:")) {
      announced = parse_unsigned(line.substr(std::min<size_t>(16, line.size())));
    }
  }
  return announced;
}

outcome fetch_pieces(const reply_peer& peer, std::array<std::string_view, 2> pieces) {
  outcome found;
  http_request request;
  set_target_http_request(request, "http://127.0.0.1:" + std::to_string(peer.port) + "/");
  http_response response;
  response.cookie_context = &found;
  response.cookie_hook = [](std::string_view value, const url_address& /*target*/, void* context) {
    static_cast<outcome*>(context)->cookies.append(value).append("\n");
  };
  {
    const peer_work server = reply_once(peer, "\r\n\r\n", SIZE_MAX, pieces);
    found.status = http_get(request, response, {}, true);
  }
  append_http_headers(found.head, response.headers);
  found.body = response.body;
  return found;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  static const reply_peer peer;
  const size_t cut = take_byte(bytes) * bytes.size() / 256;
  const outcome whole = fetch_pieces(peer, {bytes, {}});
  const size_t announced = find_announced_size(std::string(bytes));
  require_law(whole.status != 200 || announced == 0 || whole.body.size() <= announced,
              "a body is no longer than it was announced");
  require_law(bytes.find(whole.body) != std::string_view::npos, "a body is a part of the answer");
  require_law(fetch_pieces(peer, {bytes.substr(0, cut), bytes.substr(cut)}) == whole,
              "the pieces make no difference");
}

}  // namespace wk
