// profile_tables dtd | manual
//
// Prints packaging/wkcrawler.dtd or docs/profile.md, made from the table that profiles are read by.
#include <cstdio>
#include <string>
#include <string_view>

#include "tools/profile_tables/profile_dtd.h"
#include "tools/profile_tables/profile_manual.h"

int main(int argc, char** argv) {
  const std::string_view wanted = argc == 2 ? argv[1] : "";
  std::string text;
  if (wanted == "dtd") {
    wk::write_profile_dtd(text);
  } else if (wanted == "manual") {
    wk::write_profile_manual(text);
  } else {
    std::fputs("usage: profile_tables dtd | manual\n", stderr);
    return 2;
  }
  const bool is_written =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  return is_written ? 0 : 1;
}
