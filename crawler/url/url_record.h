// The full form of a URL, with its query taken apart: for request targets.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

enum url_record_scheme : uint32_t {
  URL_RECORD_UNKNOWN = 0,
  URL_RECORD_HTTP = 1,
  URL_RECORD_HTTPS = 2,
  URL_RECORD_FTP = 3,
  URL_RECORD_FTPS = 4,
  URL_RECORD_MAILTO = 5,
  URL_RECORD_ABOUT = 6,
};

struct url_record {
  std::string text;
  uint32_t scheme = URL_RECORD_UNKNOWN;
  uint32_t port = 0;
  std::string user;
  std::string password;
  std::string host;
  std::string path;
  std::vector<std::string> parameters;  // name and value alternately, undecoded
  uint32_t nb_parameters = 0;           // pairs
  std::string fragment;
};

void reset_url_record(url_record& record);
// Always 1. A port that is no number prints "fail to to parse url %s\n" to standard error.
int parse_url(url_record& record, std::string_view text);

}  // namespace wk
