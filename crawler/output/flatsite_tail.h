// Where a store file may be continued.
#pragma once

#include <cstdint>
#include <string>

namespace wk {

enum flatsite_tail : uint32_t {
  FLATSITE_TAIL_WHOLE = 0,  // ends with a whole record, is empty or is not there
  FLATSITE_TAIL_CUT = 1,    // ended within a record, which a process that was killed left; cut off
  FLATSITE_TAIL_FOREIGN = 2,  // can't be read, or holds something else; left alone
};

// Passes over the records of the file at path, reading their heads only.
[[nodiscard]] flatsite_tail repair_flatsite_tail(const std::string& path);

}  // namespace wk
