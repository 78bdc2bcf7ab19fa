// The text of a Set-Cookie header, taken apart.
//
//   name=value; attribute=value; attribute; ...
//
// The name ends at the first "=" of the text, the value at the next ";". Blanks in front of an
// attribute's name are skipped, all others belong to the texts. An attribute counts by how its name
// begins, without regard to case: "path", "domain", "expires", "max-age". One without "=" does not
// count; of a repeated one the last counts.
#pragma once

#include <optional>
#include <string_view>

namespace wk {

// The views lie inside the text that was parsed.
struct set_cookie {
  std::string_view name;
  std::string_view value;
  std::optional<std::string_view> path;
  std::optional<std::string_view> domain;  // a leading "." included
  std::optional<std::string_view> expires;
  std::optional<std::string_view> max_age;
};

// False, and cookie is left alone, for a text without "=".
[[nodiscard]] bool parse_set_cookie(set_cookie& cookie, std::string_view text);

}  // namespace wk
