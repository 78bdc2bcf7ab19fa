#include "crawler/fetch/http_date.h"

#include <ctime>
#include <string>

#include "wkstd/text.h"

namespace wk {
namespace {

// The process stays in the "C" locale, so names of days and months are English.
constexpr const char* FORMS[] = {"%a, %d %b %Y %T GMT", "%a, %d-%b-%y %T GMT", "%a %b %e %T %Y"};
constexpr size_t MAX_DATE_BYTES = 64;
constexpr int64_t END_OF_9999 = 253'402'300'799;  // a leap second could go beyond it

}  // namespace

int64_t parse_http_date(std::string_view text) {
  text = trim_blanks(text);
  if (text.size() > MAX_DATE_BYTES) return 0;
  const std::string terminated(text);
  for (const char* form : FORMS) {
    std::tm parts{};
    if (strptime(terminated.c_str(), form, &parts) != terminated.c_str() + terminated.size()) {
      continue;  // another form, or more behind it
    }
    const int64_t seconds = timegm(&parts);
    return seconds > 0 && seconds <= END_OF_9999 ? seconds : 0;
  }
  return 0;
}

int64_t find_document_date(const http_headers& headers) {
  for (const char* name : {"Last-Modified", "Date"}) {
    const std::string* value = find_http_headers(headers, name);
    const int64_t date = value == nullptr ? 0 : parse_http_date(*value);
    if (date > 0) return date;
  }
  return 0;
}

}  // namespace wk
