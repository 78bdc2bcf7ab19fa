// A profile in which every field differs from its default.
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "crawler/config/config_text.h"

namespace wk {

[[nodiscard]] inline std::string write_fields(const config_values& config) {
  std::string text = "what stood here before";
  write_config_text(config, text);
  return text;
}

// The fields that differ from a fresh record's, as their text has them: "nb-spiders 9; retries 1".
[[nodiscard]] inline std::string describe(const config_values& config) {
  const std::string defaults = "\n" + write_fields({});
  std::istringstream lines(write_fields(config));
  std::string fields;
  for (std::string line; std::getline(lines, line);) {
    if (defaults.find("\n" + line + "\n") != std::string::npos) continue;
    fields += (fields.empty() ? "" : "; ") + line;
  }
  return fields;
}

// What describe says of the full profile. The numbers of sites are those of a.test and b.test.
constexpr const char* FULL_FIELDS =
    "convert-content 0; nb-spiders 3; admin-port -1; admin-address 0.0.0.0; admin-host a.test; "
    "admin-host b.test:81; forever-mode 1; admin-thread-sleep-time 250; stop-when-empty 1; rss 1; "
    "seed-url http://a.test/; "
    "seed-url http://b.test/start?x=1&y=2; seed-guest-limit 4; seed-guest-limit 100000000; "
    "site-page-limit 1151567390\t1000000; site-page-limit 3598367151\t2; "
    "restricted-url http://a\\\\.test/; excluded-url http://a\\\\.test/private; "
    "restricted-extension html; restricted-extension php; excluded-extension zip; "
    "restricted-regex http://b\\\\.test/.*; excluded-regex .*\\\\?session=.*; "
    "credential http://a.test/\tuser\tpass&word; credential b.test\t\tx; "
    "substitution www\\\\.(.*)\t\\\\1; substitution a-b\t; cookie a.test\t/\tname\tdata, more; "
    "disable-all-cookies 1; disabled-cookie-site ads.test; log-name {}/log; log-append 1; "
    "log-filter 6; frontier-sleep-mode 1; frontier-mode 2222; sleep-interval 0; nb-queues 5; "
    "queue-buffer-size 4; disk-cache-size 900; depth-first 0; portal-list http://portal.test/; "
    "http-proxy 127.0.0.1:3128; timeout-wait 1500; retries 2; retries-wait 30; honor-robots 0; "
    "user-agent Some/1.0 (agent); canonical-urls 1; strict-safety 1; parse-javascript-flash 1; "
    "hyperlink-extraction-off 1; news-pipeline 1; news-pipeline-host pipeline.test; "
    "news-pipeline-port 9000; news-pipeline-raw 1; store-name {}/store; temp-data-path {}/temp; "
    "status-file-path {}/status; link-file-path {}/links; store-mbytes 11; store-files 12; "
    "quota-mbytes 13; quota-files 14; checkpoint-directory {}/checkpoint; "
    "checkpoint-interval 3600";

// Every path lies below base.
[[nodiscard]] inline config_values build_full_profile(const std::string& base) {
  std::string text = FULL_FIELDS;
  for (size_t at = 0; (at = text.find("; ")) != std::string::npos;) text.replace(at, 2, "\n");
  for (size_t at = 0; (at = text.find("{}", at)) != std::string::npos; at += base.size()) {
    text.replace(at, 2, base);
  }
  config_values profile;
  EXPECT_TRUE(read_config_text(text + "\n", profile));
  return profile;
}

}  // namespace wk
