#include "crawler/url/url_resolve.h"

#include <cstddef>

#include "crawler/url/url_entities.h"
#include "crawler/url/url_kind.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t NO_PLACE = std::string_view::npos;

// What an absolute URL is put together from: views into the link and its base.
struct url_pieces {
  url_kind kind = URL_OTHER;
  std::string_view host;
  std::string_view directory;  // of the base, "/" at its end; empty when path stands alone
  std::string_view path;
};

// Cuts text, which stands behind "//", into host and path.
void split_host_and_path(std::string_view text, std::string_view& host, std::string_view& path) {
  const size_t slash = text.find('/');
  host = text.substr(0, slash);
  path = slash == NO_PLACE ? std::string_view("/") : text.substr(slash);
}

// Fills pieces for a link without a host. False when there is nothing to resolve it against, or
// when it only names a place in its own page.
bool find_relative_pieces(url_pieces& pieces, std::string_view link, std::string_view base) {
  pieces.kind = classify_url(base);
  if (pieces.kind != URL_HTTP && pieces.kind != URL_HTTPS) return false;
  if (link.starts_with('#')) return false;

  const std::string_view behind_colon = base.substr(base.find(':') + 1);
  std::string_view base_path;
  split_host_and_path(behind_colon.size() < 2 ? std::string_view() : behind_colon.substr(2),
                      pieces.host, base_path);
  // The last "/" of the whole base, of its query too: "/dir/page?u=a/b" is in "/dir/page?u=a/".
  if (!link.starts_with('/')) pieces.directory = base_path.substr(0, base_path.rfind('/') + 1);
  pieces.path = link;
  return true;
}

bool find_url_pieces(url_pieces& pieces, std::string_view link, std::string_view base) {
  const url_kind kind = classify_url(link);
  if (kind == URL_OTHER) return false;
  if (kind == URL_RELATIVE) return find_relative_pieces(pieces, link, base);

  const std::string_view behind_colon = link.substr(link.find(':') + 1);
  if (!behind_colon.starts_with("//")) return find_relative_pieces(pieces, behind_colon, base);
  pieces.kind = kind;
  split_host_and_path(behind_colon.substr(2), pieces.host, pieces.path);
  return true;
}

// A path while it is normalised: bytes [0, written) are done, [read, size) are still to come.
// written never passes read, so both live in one buffer.
struct path_scan {
  char* bytes;
  size_t size;
  size_t read = 0;
  size_t written = 0;
  // The first "/" written behind position 0. What stands before it is the first segment, which a
  // "../" never cuts; knowing its end spares searching the segment again for each "../".
  size_t first_segment_end = NO_PLACE;
};

// Writes the "/" at scan.read and takes out what may not follow it: slashes, ".", and ".." with
// the segment before. A cut goes on at the "/" before the segment, so "/a/b/c/../../x" climbs
// twice; the bytes searched for that "/" are the bytes cut, so all cuts together are linear.
bool write_slash(path_scan& scan) {
  size_t at = scan.written;
  scan.bytes[at] = '/';
  ++scan.read;
  scan.written = at + 1;
  if (at > 0 && scan.first_segment_end == NO_PLACE) scan.first_segment_end = at;

  while (scan.read < scan.size) {
    const std::string_view rest(scan.bytes + scan.read, scan.size - scan.read);
    if (rest.front() == '/') {
      scan.read += 1;
    } else if (rest.front() != '.') {
      break;
    } else if (rest.starts_with("./")) {
      scan.read += 2;
    } else if (rest == ".") {
      scan.read += 1;
    } else if (rest.starts_with("../") || rest == "..") {
      if (at == 0) return false;
      if (at != scan.first_segment_end) {
        at = std::string_view(scan.bytes, at).rfind('/');
        scan.written = at + 1;
      } else if (rest == "..") {
        // Only at the end does the first segment go, too.
        scan.written = scan.bytes[0] == '/' ? 1 : 0;
      }
      scan.read += rest == ".." ? 2 : 3;
    } else {
      break;
    }
  }
  return true;
}

bool is_hexadecimal(char byte) {
  const auto c = static_cast<unsigned char>(byte);
  return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Checks and copies the "%" and two hexadecimal digits at scan.read; their case is kept.
bool write_escape(path_scan& scan) {
  if (scan.size - scan.read < 3) return false;
  const char* escape = scan.bytes + scan.read;
  if (!is_hexadecimal(escape[1]) || !is_hexadecimal(escape[2])) return false;
  for (int i = 0; i < 3; ++i) scan.bytes[scan.written++] = scan.bytes[scan.read++];
  return true;
}

// Normalises the path that fills text from begin to its end.
bool normalize_path_from(std::string& text, size_t begin) {
  path_scan scan{.bytes = text.data() + begin, .size = text.size() - begin};
  while (scan.read < scan.size) {
    const char byte = scan.bytes[scan.read];
    if (byte == '/') {
      if (!write_slash(scan)) return false;
    } else if (byte == '%') {
      if (!write_escape(scan)) return false;
    } else {
      scan.bytes[scan.written++] = byte;
      ++scan.read;
    }
  }
  text.resize(begin + scan.written);
  return true;
}

}  // namespace

int build_absolute_url(std::string& out, std::string_view link, std::string_view base) {
  url_pieces pieces;
  if (!find_url_pieces(pieces, link, base) || pieces.host.empty()) return 0;

  // The URL is made behind what out holds, and takes its place only when it is known to be good.
  const std::string_view scheme = pieces.kind == URL_HTTP ? "http://" : "https://";
  const size_t begin = out.size();
  const size_t host_begin = begin + scheme.size();
  const size_t path_begin = host_begin + pieces.host.size();
  out.reserve(path_begin + pieces.directory.size() + pieces.path.size());
  out.append(scheme).append(pieces.host).append(pieces.directory).append(pieces.path);
  for (size_t i = host_begin; i < path_begin; ++i) out[i] = to_lower(out[i]);
  if (!normalize_path_from(out, path_begin)) {
    out.resize(begin);
    return 0;
  }
  out.erase(0, begin);
  decode_url_entities(out);
  return 1;
}

int normalize_url_path(std::string& path) { return normalize_path_from(path, 0) ? 1 : 0; }

}  // namespace wk
