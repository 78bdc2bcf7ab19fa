// Which names the files of a horizon have: what a checkpoint holds, and nothing else.
#pragma once

#include <string_view>

namespace wk {

// True for the files that hold a horizon's state; its work in progress (".sort", ".new") is none.
[[nodiscard]] bool is_horizon_file_name(std::string_view name);

}  // namespace wk
