#include "crawler/fetch/cookie_date.h"

#include <array>
#include <ctime>
#include <iterator>
#include <limits>
#include <memory>
#include <string>

#include "wkzp/parse_repository.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace wk {
namespace {

// In the order of PATTERNS_COOKIE_DATE. The process stays in the "C" locale, so names of days and
// months are English.
constexpr std::array FORMATS = {"%a, %d-%b-%y %T GMT", "%a %b %d %T %Y GMT", "%a, %d-%b-%Y %T GMT",
                                "%a, %d %b %Y %T GMT"};
static_assert(FORMATS.size() == std::size(PATTERNS_COOKIE_DATE));

using date_patterns = std::array<const pcre2_code*, FORMATS.size()>;

struct free_match_data {
  void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
};

// The patterns are never written again, so all threads share them; they live as long as the
// process. Null stands for one that does not compile: it matches nothing.
date_patterns compile_date_patterns() {
  date_patterns patterns{};
  for (size_t i = 0; i < patterns.size(); ++i) {
    const std::string_view source = get_pattern_parse_repository(PATTERNS_COOKIE_DATE[i]);
    int error = 0;
    PCRE2_SIZE offset = 0;
    patterns[i] = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(source.data()), source.size(),
                                PCRE2_ANCHORED | PCRE2_ENDANCHORED | PCRE2_DOLLAR_ENDONLY, &error,
                                &offset, nullptr);
  }
  return patterns;
}

bool does_match(const pcre2_code* pattern, std::string_view text) {
  // What a match works on belongs to one thread, which keeps it for all its dates.
  thread_local const std::unique_ptr<pcre2_match_data, free_match_data> data(
      pcre2_match_data_create(1, nullptr));
  return pattern != nullptr && data != nullptr &&
         pcre2_match(pattern, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0, 0,
                     data.get(), nullptr) >= 0;
}

uint32_t read_date(const std::string& text, const char* format) {
  std::tm parts{};
  if (strptime(text.c_str(), format, &parts) == nullptr) return 0;
  return limit_cookie_expiry(timegm(&parts));
}

}  // namespace

uint32_t cookie_date_parse(std::string_view text) {
  static const date_patterns patterns = compile_date_patterns();
  for (size_t i = 0; i < patterns.size(); ++i) {
    if (does_match(patterns[i], text)) return read_date(std::string(text), FORMATS[i]);
  }
  return 0;
}

uint32_t limit_cookie_expiry(int64_t seconds_since_1970) {
  constexpr uint32_t LATEST = std::numeric_limits<uint32_t>::max();
  if (seconds_since_1970 < 0) return 1;  // 0 would mean a cookie that never expires
  return seconds_since_1970 > LATEST ? LATEST : static_cast<uint32_t>(seconds_since_1970);
}

}  // namespace wk
