// check_profile FILE [-crawler-name NAME]
//
// Says what is suspicious in a crawler profile, without a crawl: the lines that a crawl of it would
// write to standard error at its start, here on standard output. Relative paths begin at the
// working directory, as they do for a crawl.
//
// Exit status: 0 clean, 1 something is suspicious, 2 wrong usage or a file that holds no profile.
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/config/config_reader.h"
#include "crawler/config/profile_check.h"

namespace wk {
namespace {

bool parse_options(const std::vector<std::string>& arguments, profile_question& question) {
  for (size_t i = 1; i < arguments.size(); ++i) {
    if (arguments[i] == "-crawler-name") {
      if (++i == arguments.size()) return false;
      question.name = arguments[i];
    } else if (question.path.empty()) {
      question.path = arguments[i];
    } else {
      return false;
    }
  }
  return !question.path.empty();
}

int run_check(const profile_question& question) {
  std::vector<std::string> doubts;
  (void)check_profile(question, doubts);  // of what it can't read the reader says why
  for (const std::string& doubt : doubts) std::printf("%s\n", doubt.c_str());
  if (std::fflush(stdout) != 0) {
    std::fputs("the report can't be written\n", stderr);
    return 2;
  }
  // A value that no crawl starts with ends this process as it would end the crawl, with status 1.
  if (read_config_with_libxml(question.path, question.name) == nullptr) return 2;
  return doubts.empty() ? 0 : 1;
}

}  // namespace
}  // namespace wk

int main(int argc, char** argv) {
  wk::profile_question question;
  if (!wk::parse_options(std::vector<std::string>(argv, argv + argc), question)) {
    std::fputs("usage: check_profile FILE [-crawler-name NAME]\n", stderr);
    return 2;
  }
  return wk::run_check(question);
}
