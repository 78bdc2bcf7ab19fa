// The directory that documents are exported to: one file for each, named after its URL.
//
// A name is the URL without its scheme, each byte but letters, digits, "-", "_" and "." turned into
// "_", a "." at its beginning too, cut after 180 bytes. A name that is taken, by an earlier
// document or by whatever stands there, gets "~2", "~3", ... behind it. So every file is a new one
// directly inside the directory: nothing is replaced, no symbolic link is followed, and no URL
// leads out.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "crawler/output/flatsite_reader.h"

namespace wk {

[[nodiscard]] std::string build_export_name(std::string_view url);

struct export_directory {
  int handle = -1;
  std::map<std::string, uint64_t> nb_taken;  // by name: how many of it were tried so far

  export_directory() = default;
  ~export_directory();
  export_directory(const export_directory&) = delete;
  export_directory& operator=(const export_directory&) = delete;
};

// Makes the directory when it is absent. False, and errno says why, when there is none in the end;
// a symbolic link is none.
[[nodiscard]] bool open_export_directory(export_directory& directory, const std::string& path);
// Writes the content of the record into a file of its own; name receives what it is called. When
// false, errno says why, and no file is left behind.
[[nodiscard]] bool export_record(export_directory& directory, const flatsite_reader& reader,
                                 const flatsite_record& record, std::string& name);

}  // namespace wk
