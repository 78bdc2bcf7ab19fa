// The parts of a URL, put together again, are split into the same parts.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "crawler/url/url_address.h"
#include "crawler/url/url_parts.h"
#include "crawler/url/url_query.h"
#include "crawler/url/url_record.h"
#include "tests/fuzz/fuzz_law.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr const char* SCHEMES[] = {"", "http://", "https://", "ftp://", "ftps://"};

std::string join_record(const url_record& record) {
  std::string url = SCHEMES[record.scheme];
  if (!record.user.empty()) url += record.user + ":" + record.password + "@";
  url += record.host + ":" + std::to_string(record.port) + record.path;
  for (size_t i = 0; i < record.parameters.size(); i += 2) {
    url += (i == 0 ? "?" : "&") + record.parameters[i] + "=" + record.parameters[i + 1];
  }
  return record.fragment.empty() ? url : url + "#" + record.fragment;
}

void test_record(std::string_view text) {
  url_record record;
  parse_url(record, text);
  require_law(record.text == text, "a record keeps its text");
  require_law(record.parameters.size() == 2 * size_t{record.nb_parameters}, "parameters in pairs");
  if (record.scheme == URL_RECORD_UNKNOWN || record.scheme >= URL_RECORD_MAILTO) return;
  const std::string joined = join_record(record);
  url_record second;
  parse_url(second, joined);
  require_law(second.scheme == record.scheme && second.port == record.port &&
                  second.user == record.user && second.password == record.password &&
                  second.host == record.host && second.path == record.path &&
                  second.parameters == record.parameters && second.fragment == record.fragment,
              "a record's parts give the same record");
}

void test_address(std::string_view text) {
  url_address address, second;
  if (split_url(address, text) == 0) return;
  require_law(address.path.starts_with('/'), "a path begins with a slash");
  constexpr const char* schemes[] = {"http://", "https://", "ftp://"};
  const std::string joined =
      schemes[address.scheme] + address.host + ":" + std::to_string(address.port) + address.path;
  require_law(split_url(second, joined) == 1 && second.scheme == address.scheme &&
                  second.host == address.host && second.port == address.port &&
                  second.path == address.path,
              "an address's parts give the same address");
}

using parameters = std::vector<std::pair<std::string, std::string>>;

parameters read_parameters(std::string_view text) {
  parameters read;
  const auto add = [](const std::string& name, const std::string& value, void* context) {
    static_cast<parameters*>(context)->emplace_back(name, value);
  };
  require_law(parse_query_string(text, add, &read) == read.size(), "each parameter is counted");
  return read;
}

void test_query(std::string_view text) {
  const parameters first = read_parameters(text);
  std::string joined;
  for (const auto& [name, value] : first) {
    joined += joined.empty() ? '?' : '&';
    for (const char c : name) append_formatted_text(joined, "%%%02X", static_cast<uint8_t>(c));
    joined += '=';
    for (const char c : value) append_formatted_text(joined, "%%%02x", static_cast<uint8_t>(c));
  }
  require_law(read_parameters(joined) == first, "encoded parameters are read back");
  const std::string_view query = text.substr(std::min(text.find('?'), text.size()));
  const auto nb_pieces =
      std::count_if(query.begin(), query.end(), [](char c) { return c == '&' || c == ';'; });
  require_law(first.size() == (query.empty() ? 0U : 1U + static_cast<size_t>(nb_pieces)),
              "every piece of a query is a parameter");
}

}  // namespace

void test_one_input(std::string_view bytes) {
  test_record(bytes);
  test_address(bytes);
  test_query(bytes);
  const std::string_view host = find_url_host(bytes);
  require_law(host.find('/') == std::string_view::npos, "a host has no slash");
  require_law(bytes.starts_with(find_url_site(bytes)), "a site begins its URL");
}

}  // namespace wk
