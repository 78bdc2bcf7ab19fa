// A filter, whatever it looks up and whatever it runs, and a backtracking engine (PCRE2) allow the
// same URLs.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "crawler/url/url_filter.h"
#include "tests/fuzz/fuzz_law.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace wk {
namespace {

// What both engines read alike.
constexpr std::string_view ALPHABET = "ab/hp.*+?|()[]^-";
constexpr std::string_view QUOTED = ".?*/-";  // behind a backslash

std::string build_entry(std::string_view bytes) {
  std::string entry(bytes.substr(0, 24));
  for (size_t i = 0; i < entry.size(); ++i) {
    char& c = entry[i];
    if (c == '\\' && i + 1 < entry.size() && QUOTED.find(entry[i + 1]) != std::string_view::npos) {
      ++i;
    } else if (ALPHABET.find(c) == std::string_view::npos) {
      c = ALPHABET[static_cast<unsigned char>(c) % ALPHABET.size()];
    }
  }
  return entry;
}

// 1 and 0 for a match of the whole URL and none; -1 when this engine can't tell.
int match_whole(const std::string& pattern, std::string_view url) {
  int error = 0;
  PCRE2_SIZE place = 0;
  const std::unique_ptr<pcre2_code, void (*)(pcre2_code*)> code(
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                    PCRE2_ANCHORED | PCRE2_ENDANCHORED | PCRE2_DOTALL, &error, &place, nullptr),
      pcre2_code_free);
  const std::unique_ptr<pcre2_match_context, void (*)(pcre2_match_context*)> limits(
      pcre2_match_context_create(nullptr), pcre2_match_context_free);
  const std::unique_ptr<pcre2_match_data, void (*)(pcre2_match_data*)> data(
      pcre2_match_data_create(1, nullptr), pcre2_match_data_free);
  if (code == nullptr) return -1;
  pcre2_set_match_limit(limits.get(), 10'000);
  const int answer = pcre2_match(code.get(), reinterpret_cast<PCRE2_SPTR>(url.data()), url.size(),
                                 0, 0, data.get(), limits.get());
  return answer >= 0 ? 1 : answer == PCRE2_ERROR_NOMATCH ? 0 : -1;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  const std::string_view url = take_part(bytes).substr(0, 100);
  url_filter filter;
  bool some_match[2] = {}, some_unknown = false;
  for (int i = 0; i < 6 && !bytes.empty(); ++i) {
    const unsigned choice = take_byte(bytes);
    const auto side = static_cast<url_filter_side>(choice % 2);
    const auto kind = static_cast<url_filter_kind>((URL_FILTER_REGEX + choice / 2) % 3);
    const std::string entry = build_entry(take_part(bytes));
    if (add_url_filter(filter, side, kind, entry) == 0) continue;
    const int answer = match_whole(filter.sides[side].patterns.back().text, url);
    some_unknown |= answer < 0;
    some_match[side] |= answer == 1;
  }
  const bool is_restricted = !filter.sides[URL_FILTER_RESTRICTED].patterns.empty();
  const bool expected =
      (!is_restricted || some_match[URL_FILTER_RESTRICTED]) && !some_match[URL_FILTER_EXCLUDED];
  require_law(some_unknown || is_allowed_url_filter(filter, url) == expected,
              "both engines allow the same URLs");
  std::string image, second;
  save_url_filter(filter, image);
  url_filter copy;
  std::string_view rest = image;
  require_law(load_url_filter(rest, copy) && rest.empty(), "a saved filter is loaded");
  save_url_filter(copy, second);
  require_law(
      second == image && is_allowed_url_filter(copy, url) == is_allowed_url_filter(filter, url),
      "a loaded filter is the saved one");
}

}  // namespace wk
