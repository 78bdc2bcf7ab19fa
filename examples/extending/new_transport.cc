// A transport that asks no server: http://HOST/PATH is the file DIRECTORY/HOST/PATH, as a mirroring
// program leaves it. A path that ends in "/" is its index.html.
#include <algorithm>

#include "examples/extending/extending.h"
#include "wkstd/file.h"

namespace wk {
namespace {

// Hosts and paths come from pages; none may lead out of the directory.
bool is_inside(std::string_view host, std::string_view path) {
  const bool is_plain_host =
      !host.empty() && host != "." && host != ".." && host.find('/') == std::string_view::npos;
  return is_plain_host && path.starts_with("/") && path.find("/..") == std::string_view::npos;
}

// The status, as an attempt over the network would have it.
uint32_t get_from_mirror(http_request& request, http_response& response,
                         const http_surroundings& /*surroundings*/, void* context) {
  const auto& directory = *static_cast<const std::string*>(context);
  const std::string& host = request.target.host;
  std::string path = request.target.path;
  path.resize(std::min(path.size(), path.find_first_of("?#")));
  reset_http_response(response);
  if (!is_inside(host, path)) return response.status = 400;
  if (path.ends_with("/")) path.append("index.html");
  const std::string file = directory + "/" + host + path;
  if (!read_whole_file(file, HTTP_MAX_BODY_BYTES, response.body)) return response.status = 404;
  const bool is_html = path.ends_with(".html") || path.ends_with(".htm");
  set_http_headers(response.headers, "Content-Type",
                   is_html ? "text/html" : "application/octet-stream");
  return response.status = 200;
}

}  // namespace

http_transport build_mirror_transport(std::string& directory) {
  return {.get = get_from_mirror, .get_context = &directory};
}

}  // namespace wk
