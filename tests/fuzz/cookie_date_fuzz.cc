// Any second, written in any of the four forms of cookies or the three of other headers, is read as
// that second.
#include <ctime>
#include <string>

#include "crawler/fetch/cookie_date.h"
#include "crawler/fetch/http_date.h"
#include "tests/fuzz/fuzz_law.h"
#include "wkstd/state_stream.h"

namespace wk {

namespace {

void require_every_form(uint32_t date) {
  const auto seconds = static_cast<std::time_t>(date);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  for (const char* form : {"%a %b %d %T %Y GMT", "%a, %d-%b-%Y %T GMT", "%a, %d %b %Y %T GMT",
                           "%a, %d-%B-%y %T GMT"}) {
    // A year of two digits is one of 1969 to 2068.
    if (parts.tm_year >= 169 && std::string_view(form).ends_with("%y %T GMT")) continue;
    char text[64];
    const size_t size = std::strftime(text, sizeof text, form, &parts);
    require_law(cookie_date_parse({text, size}) == date, "a date is read back in every form");
  }
}

void require_every_http_form(int64_t date) {
  const auto seconds = static_cast<std::time_t>(date);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  for (const char* form : {"%a, %d %b %Y %T GMT", "%A, %d-%b-%y %T GMT", "%a %b %e %T %Y"}) {
    if (parts.tm_year >= 169 && std::string_view(form).find("%y") != std::string_view::npos)
      continue;
    char text[64];
    const size_t size = std::strftime(text, sizeof text, form, &parts);
    require_law(parse_http_date({text, size}) == date, "a date is read back in every form");
  }
}

}  // namespace

void test_one_input(std::string_view bytes) {
  const uint32_t date = cookie_date_parse(bytes);
  if (date != 0) require_law(cookie_date_parse(std::string(bytes) + "x") == 0, "a date is whole");
  if (date > 1 && date != UINT32_MAX) require_every_form(date);
  const int64_t http_date = parse_http_date(bytes);
  if (http_date != 0) require_every_http_form(http_date);
  uint32_t any_date = 0;
  if (!take_u32(bytes, any_date)) return;
  require_every_form(any_date);
  require_every_http_form(any_date);
}

}  // namespace wk
