// The parse repository: the named patterns that the program works with, built in or read from a
// file at start-up.
//
// One repository is in force in a process. It is chosen before any thread starts and never changes
// afterwards, so it is read without a lock.
//
// PARSE REPOSITORY FILE. Integers and strings are those of wkstd/state_stream.h.
//
//   magic    integer, 0x52504b57, the bytes "WKPR"
//   version  integer, 1; readers refuse any other
//   count    integer, of the entries that follow
//   entries  each: kind (integer), name (string), source (string)
//   check    integer, the Adler-32 sum (RFC 1950, section 9) of all bytes before it
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

enum parse_entry_kind : uint32_t {
  PARSE_ENTRY_PCRE = 1,  // source is a pattern in PCRE2 syntax
};

struct parse_entry {
  uint32_t kind = PARSE_ENTRY_PCRE;
  std::string name;
  std::string source;
};

struct parse_repository {
  std::vector<parse_entry> entries;
};

// Names of the entries that the program looks up.
constexpr std::string_view PATTERN_URL_DECIMAL_ENTITY = "url-decimal-entity";
constexpr std::string_view PATTERN_URL_NAMED_ENTITY = "url-named-entity";
constexpr std::string_view PATTERNS_COOKIE_DATE[] = {"cookie-date-1", "cookie-date-2",
                                                     "cookie-date-3", "cookie-date-4"};

[[nodiscard]] parse_repository build_parse_repository();
void write_parse_repository(const parse_repository& repository, std::string& out);
// False, and repository is left alone, for bytes of another format and for damaged ones.
[[nodiscard]] bool read_parse_repository(std::string_view bytes, parse_repository& repository);

// Reads the file at path and puts it in force. When it can't be used the reason goes to standard
// error ("%s: cannot open file\n", "%s: incorrect file type (%u)\n") and the built-in one stays.
bool load_parse_repository(const std::string& path);

[[nodiscard]] const parse_repository& get_parse_repository();  // the one in force
// The source of an entry of the repository in force; the built-in one's where it has no such entry.
[[nodiscard]] std::string_view get_pattern_parse_repository(std::string_view name);

}  // namespace wk
