// A link that was resolved names the same page wherever it stands, and has one canonical spelling.
#include <string>

#include "crawler/url/url_form.h"
#include "crawler/url/url_resolve.h"
#include "tests/fuzz/fuzz_law.h"

namespace wk {

void test_one_input(std::string_view bytes) {
  // References are decoded last, so what they hide is not normalised.
  const bool has_references = bytes.find('&') != std::string_view::npos;
  const std::string_view base = take_part(bytes);
  std::string url = "kept";
  if (build_absolute_url(url, bytes, base) == 0) {
    return require_law(url == "kept", "a link that is dropped leaves the output alone");
  }
  require_law(url.starts_with("http://") || url.starts_with("https://"), "a URL has its scheme");

  if (!has_references) {
    std::string again;
    const bool resolved = build_absolute_url(again, url, url) != 0;
    require_law(resolved && again == url, "a resolved URL resolves to itself");
    const std::string path = url.substr(url.find('/', 8));
    const bool has_dots = (path + "/").find("/./") != std::string::npos ||
                          (path + "/").find("/../") != std::string::npos;
    require_law(!has_dots && path.find("//") == std::string::npos, "a path is normalised");
  }

  canonicalize_url(url);
  std::string canonical = url;
  canonicalize_url(canonical);
  require_law(canonical == url, "a canonical URL stays as it is");
  require_law(url.find_first_of("# ") == std::string::npos, "no fragment, no blank");
}

}  // namespace wk
