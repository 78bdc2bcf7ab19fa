#include "crawler/url/url_form.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "crawler/url/url_kind.h"
#include "wkstd/byte_block.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view URL_PUNCTUATION = "-._~:/?#[]@!$&'()*+,;=%";

constexpr std::array<bool, 256> build_url_characters() {
  std::array<bool, 256> characters{};
  for (size_t c = 0; c < characters.size(); ++c) {
    const auto byte = static_cast<unsigned char>(c);
    characters[c] = is_letter(byte) || is_digit(byte);
  }
  for (const char c : URL_PUNCTUATION) characters[static_cast<unsigned char>(c)] = true;
  return characters;
}
constexpr std::array<bool, 256> URL_CHARACTERS = build_url_characters();

bool is_control_byte(char byte) {
  const auto c = static_cast<unsigned char>(byte);
  return c < 0x20 || c == 0x7F;
}

bool has_control_byte(std::string_view text) {
  size_t at = 0;
  for (; at + BYTE_BLOCK_SIZE <= text.size(); at += BYTE_BLOCK_SIZE) {
    const byte_block block = load_byte_block(text.data() + at);
    if ((match_up_to_byte_block(block, 0x1F) | match_byte_block(block, 0x7F)) != 0) return true;
  }
  return std::any_of(text.begin() + static_cast<ptrdiff_t>(at), text.end(), is_control_byte);
}

// Makes room from the end, so that each byte moves once.
void escape_blanks(std::string& url) {
  if (find_byte(url, 0, ' ') == url.size()) return;
  const auto nb_blanks = static_cast<size_t>(std::count(url.begin(), url.end(), ' '));
  size_t read = url.size();
  url.resize(url.size() + 2 * nb_blanks);
  size_t written = url.size();
  while (read < written) {
    const char byte = url[--read];
    if (byte != ' ') {
      url[--written] = byte;
      continue;
    }
    written -= 3;
    url.replace(written, 3, "%20");
  }
}

}  // namespace

bool is_acceptable_url(std::string_view url) {
  if (url.empty() || url.size() > MAX_URL_BYTES) return false;
  return !has_control_byte(url);
}

void canonicalize_url(std::string& url) {
  const url_kind kind = classify_url(url);
  if (kind != URL_HTTP && kind != URL_HTTPS) return;
  const size_t host_begin = kind == URL_HTTP ? 7 : 8;
  if (!std::string_view(url).substr(host_begin - 2).starts_with("//")) return;

  url.resize(std::min(url.find('#'), url.size()));
  // A query may stand directly behind the host.
  const size_t end = std::min(url.find_first_of("/?", host_begin), url.size());
  const std::string_view port = kind == URL_HTTP ? ":80" : ":443";
  std::string_view host = std::string_view(url).substr(host_begin, end - host_begin);
  while (host.ends_with(port)) host.remove_suffix(port.size());
  const bool has_path = end < url.size() && url[end] == '/';
  const size_t host_end = host_begin + host.size();
  url.replace(host_end, end - host_end, has_path ? "" : "/");
  escape_blanks(url);
}

bool is_url_character(unsigned char c) { return URL_CHARACTERS[c]; }

}  // namespace wk
