// What is suspicious in a profile though it can be read: names that nothing knows, numbers that are
// none, directories that are not there, a port that is taken.
//
//   crawl.xml:12: attribute "nb-spider" of "crawler" is not known; did you mean "nb-spiders"?
//
// A crawl reads such a profile all the same, and in its own way. The check reads the file once more
// and changes nothing. Names with a namespace prefix are another's and pass.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace wk {

struct profile_question {
  std::string path = {};
  std::string name = {};  // of the profile, as for the readers
  // Whose choice among several profiles of that name is checked: the libxml2 reader's, or the
  // other's.
  bool use_libxml = true;
  std::optional<int32_t> admin_port = {};  // in place of the profile's; -1: no server
};

// One line each, without a line feed, in the order of the file, at most 101. False, with doubts
// empty, for what the libxml2 reader refuses too, and says why: a file that is broken or holds no
// profile.
[[nodiscard]] bool check_profile(const profile_question& question,
                                 std::vector<std::string>& doubts);

}  // namespace wk
