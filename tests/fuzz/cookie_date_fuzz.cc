// Any second, written in any of the four forms, is read as that second.
#include <ctime>
#include <string>

#include "crawler/fetch/cookie_date.h"
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

}  // namespace

void test_one_input(std::string_view bytes) {
  const uint32_t date = cookie_date_parse(bytes);
  if (date != 0) require_law(cookie_date_parse(std::string(bytes) + "x") == 0, "a date is whole");
  if (date > 1 && date != UINT32_MAX) require_every_form(date);
  uint32_t any_date = 0;
  if (take_u32(bytes, any_date)) require_every_form(any_date);
}

}  // namespace wk
