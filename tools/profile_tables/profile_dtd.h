// The document type of profiles.
//
// Children of a profile come in any order and any number. A DTD knows one kind of element by one
// name, so "url" has the attributes of the entries of all lists whose entries are so called. An
// attribute without a default, or whose absence means something else than any value, is #IMPLIED.
#pragma once

#include <string>

namespace wk {

void write_profile_dtd(std::string& out);  // replaces out

}  // namespace wk
