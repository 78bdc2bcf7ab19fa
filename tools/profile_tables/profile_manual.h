// The manual of profiles, in Markdown: an introduction, and a table for each element.
#pragma once

#include <string>

namespace wk {

void write_profile_manual(std::string& out);  // replaces out

}  // namespace wk
