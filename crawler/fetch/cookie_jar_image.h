// COOKIE JAR IMAGE, in the encoding of wkstd/state_stream.h:
//
//   1 (integer), number of cookies and each, in the order of the jar: key, name, value (strings),
//   expiry (s since 1970, 0: never), 1 for a preset one, else 0 (integers)
#pragma once

#include <string>
#include <string_view>

#include "crawler/fetch/cookie_jar.h"

namespace wk {

void save_cookie_jar(const cookie_jar& jar, std::string& stream);
// Cuts an image off the front of stream and puts its cookies in the place of the jar's, whose
// bounds hold for them too; no removal hook is called. False, and both are left alone, for other
// bytes and for a cookie that holds a CR, LF or NUL.
[[nodiscard]] bool load_cookie_jar(std::string_view& stream, cookie_jar& jar);

}  // namespace wk
