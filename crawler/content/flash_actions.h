// The byte code of a Flash movie's actions, read for the addresses that it opens.
#pragma once

#include <string_view>

#include "crawler/content/link_gatherer.h"

namespace wk {

// Gathers what ActionGetURL names, and what ActionGetURL2 is given as a constant. No action is
// carried out: of the stack only what is pushed right before is followed.
//
// An action is a code (1) and, from code 0x80 on, the length of its data (2) and the data. Code 0
// ends the actions.
void add_flash_action_links(std::string_view actions, link_gatherer& gatherer);

}  // namespace wk
