#include "crawler/url/url_record.h"

#include <algorithm>
#include <cstddef>

#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

struct record_scheme {
  std::string_view prefix;
  url_record_scheme scheme;
  uint32_t port;
  bool has_authority;
};

constexpr record_scheme RECORD_SCHEMES[] = {
    {"http://", URL_RECORD_HTTP, 80, true},   {"https://", URL_RECORD_HTTPS, 443, true},
    {"ftp://", URL_RECORD_FTP, 21, true},     {"ftps://", URL_RECORD_FTPS, 990, true},
    {"mailto:", URL_RECORD_MAILTO, 0, false}, {"about:", URL_RECORD_ABOUT, 0, false},
};
constexpr record_scheme UNKNOWN_SCHEME = {"", URL_RECORD_UNKNOWN, 0, false};

const record_scheme& find_record_scheme(std::string_view text) {
  for (const record_scheme& known : RECORD_SCHEMES) {
    if (starts_with_ignoring_case(text, known.prefix)) return known;
  }
  return UNKNOWN_SCHEME;
}

// Cuts the bytes up to the first of stops (or the end) off the front of rest.
std::string_view take_until(std::string_view& rest, std::string_view stops) {
  const std::string_view taken = rest.substr(0, rest.find_first_of(stops));
  rest.remove_prefix(taken.size());
  return taken;
}

// Takes "user:password@" off the front of rest. A user without a password stays in the host.
void take_user(url_record& record, std::string_view& rest) {
  const std::string_view authority = rest.substr(0, rest.find_first_of("?#/"));
  const size_t colon = authority.find(':');
  const size_t at = authority.find('@');
  if (colon == std::string_view::npos || at == std::string_view::npos) return;
  if (colon == 0 || colon > at) return;
  record.user = authority.substr(0, colon);
  record.password = authority.substr(colon + 1, at - colon - 1);
  rest.remove_prefix(at + 1);
}

// Takes host and port off the front of rest; false when the port is no number.
bool take_host(url_record& record, std::string_view& rest) {
  record.host = take_until(rest, "/?#:");
  if (!rest.starts_with(':')) return true;
  rest.remove_prefix(1);
  const std::string_view port = take_until(rest, "/?#");
  if (port.empty()) return true;
  const auto is_port_digit = [](char c) { return is_digit(static_cast<unsigned char>(c)); };
  if (!std::all_of(port.begin(), port.end(), is_port_digit)) return false;
  record.port = parse_unsigned(port);
  return true;
}

void add_parameters(url_record& record, std::string_view query) {
  while (!query.empty()) {
    const std::string_view pair = take_until(query, "&");
    if (!query.empty()) query.remove_prefix(1);
    const size_t equals = pair.find('=');
    const std::string_view name = pair.substr(0, equals);
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1);
    if (name.empty() && value.empty()) continue;
    record.parameters.emplace_back(name);
    record.parameters.emplace_back(value);
    ++record.nb_parameters;
  }
}

}  // namespace

void reset_url_record(url_record& record) {
  record.text.clear();
  record.scheme = URL_RECORD_UNKNOWN;
  record.port = 0;
  record.user.clear();
  record.password.clear();
  record.host.clear();
  record.path.clear();
  record.parameters.clear();
  record.nb_parameters = 0;
  record.fragment.clear();
}

int parse_url(url_record& record, std::string_view text) {
  reset_url_record(record);
  record.text = text;
  record.path = "/";
  const record_scheme& known = find_record_scheme(text);
  record.scheme = known.scheme;
  record.port = known.port;
  if (!known.has_authority) return 1;

  std::string_view rest = text.substr(known.prefix.size());
  take_user(record, rest);
  if (!take_host(record, rest)) {
    print_message("fail to to parse url " + record.text + "\n");
    return 1;
  }
  const std::string_view path = take_until(rest, "?#");
  if (!path.empty()) record.path = path;
  if (rest.starts_with('?')) {
    rest.remove_prefix(1);
    add_parameters(record, take_until(rest, "#"));
  }
  if (rest.starts_with('#')) record.fragment = rest.substr(1);
  return 1;
}

}  // namespace wk
