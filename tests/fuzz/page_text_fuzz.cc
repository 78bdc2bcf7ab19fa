// A page's text is what cutting its markup out in plain steps leaves; its digest is the text's.
#include <algorithm>
#include <string>

#include "crawler/content/digest_table.h"
#include "crawler/content/page_text.h"
#include "tests/fuzz/fuzz_law.h"
#include "wkstd/text.h"

namespace wk {
namespace {

size_t find_behind(const std::string& page, std::string_view end, size_t from) {
  const size_t at = page.find(end, from);
  return at == std::string::npos ? page.size() : at + end.size();
}

// The place behind the markup at that place; the place itself where there is none. All letters are
// in lower case.
size_t skip_markup(const std::string& page, size_t at) {
  const std::string_view rest = std::string_view(page).substr(at);
  if (rest.starts_with("&nbsp")) return at + (rest.starts_with("&nbsp;") ? 6 : 5);
  if (!rest.starts_with('<')) return at;
  if (rest.starts_with("<!--")) return find_behind(page, "-->", at + 2);
  if (rest.starts_with("<script")) return find_behind(page, "</script>", at + 7);
  if (rest.starts_with("<style")) return find_behind(page, "</style>", at + 6);
  return find_behind(page, ">", at);
}

}  // namespace

void test_one_input(std::string_view bytes) {
  std::string lower(bytes), expected, text;
  lower_text(lower);
  for (size_t at = 0; at < bytes.size();) {
    const size_t behind = skip_markup(lower, at);
    if (behind == at) expected += bytes[at++];
    at = std::max(at, behind);
  }
  build_page_text(text, bytes);
  require_law(text == expected, "both ways leave the same text");

  content_digest digest{};
  text.resize(std::min(text.find('\0'), text.size()));
  for (size_t i = 0; i < text.size(); ++i) {
    digest[i % digest.size()] =
        static_cast<unsigned char>(digest[i % digest.size()] + static_cast<unsigned char>(text[i]));
  }
  require_law(compute_page_digest(bytes) == digest, "a page's digest is that of its text");
}

}  // namespace wk
