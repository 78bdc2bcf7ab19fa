// Keys that say for which URLs a credential or a cookie is meant: a host or a domain, with or
// without a scheme before it and a path behind it ("http://host.test", ".host.test/shop").
#pragma once

#include <string>
#include <string_view>

#include "crawler/url/url_address.h"

namespace wk {

// The easy rule: the key's text stands anywhere in the URL.
[[nodiscard]] bool is_url_key_in(std::string_view key, std::string_view url);

// The strict rule, over the address that is connected to. The key's scheme and port, where it has
// them, are the target's; its host is the target's host or, beginning at a label, the end of it,
// without regard to case; its path, query included, is how the target's path begins. A leading "."
// of the host means nothing. An empty key fits nothing.
[[nodiscard]] bool does_url_key_fit(std::string_view key, const url_address& target);

// Where to look for keys that may fit: the key's host in lower case, then its path. A target that
// the key fits has this text in its own, from the beginning of a label of its host on.
[[nodiscard]] std::string build_url_key_text(std::string_view key);

}  // namespace wk
