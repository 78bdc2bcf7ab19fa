// A foreign request reaches no page and changes nothing, nor does HEAD; no page holds a "<" that a
// request brought.
#include <sys/socket.h>

#include <string>

#include "crawler/admin/admin_client.h"
#include "crawler/admin/admin_dispatch.h"
#include "crawler/admin/page_table.h"
#include "crawler/core/build_crawler.h"
#include "crawler/core/crawler_image.h"
#include "tests/fuzz/fuzz_law.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

constexpr const char* MARK = "<mark";

// Behind every "<", in any spelling, comes the rest of the mark.
std::string mark_brackets(std::string_view bytes) {
  std::string marked(bytes);
  for (const std::string_view bracket : {"<", "%3C", "%3c"}) {
    for (size_t at = marked.find(bracket); at != std::string::npos; at = marked.find(bracket, at)) {
      marked.insert(at += bracket.size(), "mark");
    }
  }
  return marked;
}

// The request as the server has it after the pieces came one by one; empty when there is none.
std::string receive_pieces(std::string_view bytes, size_t step) {
  int ends[2];
  require_law(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "two ends of a connection");
  admin_client client;
  client.handle = ends[0];
  http_request scratch;
  for (size_t at = 0; at < bytes.size(); at += step) {
    (void)skt_send_now(ends[1], bytes.substr(at, step));
    receive_request(client, scratch);
  }
  skt_close(ends[1]);
  receive_request(client, scratch);
  require_law(client.input.size() <= ADMIN_MAX_HEAD_BYTES + ADMIN_MAX_BODY_BYTES, "it is bounded");
  if (client.state != ADMIN_REQUESTED) return "";
  // What stands behind the request is nobody's.
  return client.wanted_bytes == 0 ? client.input : client.input.substr(0, client.wanted_bytes);
}

crawler_ptr build_small_crawler(const std::string& directory) {
  CrawlerConfig config;
  config.temp_data_path = directory;
  config.nb_queues = 2;
  config.disk_cache_size = 1'000;
  return build_crawler(config);
}

std::string save(Crawler& crawler) {
  std::string image;
  save_crawler(crawler, image);
  return image + std::to_string(list_cookie_jar(crawler.cookies).size()) +
         (crawler.gate.stop != 0 ? "stopped" : "") + (crawler.gate.pause != 0 ? "paused" : "");
}

}  // namespace

void test_one_input(std::string_view bytes) {
  static const temp_directory directory;
  static crawler_ptr crawler;
  static uint32_t nb_runs = 0;
  if (nb_runs++ % 64 == 0) {
    crawler.reset();  // gives the directory back
    crawler = build_small_crawler(directory.path);
  }

  const size_t step = size_t{take_byte(bytes)} + 1;
  const std::string marked = mark_brackets(bytes);
  const std::string text = receive_pieces(marked, step);
  require_law(text == receive_pieces(marked, marked.size() + 1), "pieces make no difference");
  http_request request;
  http_response response;
  http_read_stored_request(request, text);
  // Would make a directory wherever the request says.
  if (request.target.path.starts_with("/webadmin/Checkpoint?")) return;
  const std::string before = save(*crawler);
  answer_admin_request(*crawler, {"192.0.2.7", {}}, request, response);

  require_law(response.body.find(MARK) == std::string::npos, "values are escaped");
  const std::string* host = find_http_headers(request.headers, "Host");
  const std::string* site = find_http_headers(request.headers, "Sec-Fetch-Site");
  const bool names_other_host = host != nullptr && host->find(".test") != std::string::npos;
  const bool is_cross_site = site != nullptr && *site == "cross-site";
  require_law(response.status == 403 || (!names_other_host && !is_cross_site), "who is foreign");
  const bool may_change = response.status != 403 && request.method != HTTP_HEAD;
  require_law(may_change || save(*crawler) == before, "a foreign request or HEAD changes nothing");
}

}  // namespace wk
