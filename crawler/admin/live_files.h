// The files of live/, as the build puts them into the program.
#pragma once

#include <string_view>

namespace wk {

extern const std::string_view LIVE_HTML;
extern const std::string_view LIVE_CSS;
extern const std::string_view LIVE_JS;

}  // namespace wk
