#include "crawler/output/flatsite_tail.h"

#include <unistd.h>

#include <cerrno>

#include "crawler/output/flatsite_reader.h"

namespace wk {

flatsite_tail repair_flatsite_tail(const std::string& path) {
  flatsite_reader reader;
  if (!open_flatsite_reader(reader, path, FLATSITE_TO_REPAIR)) {
    return errno == ENOENT ? FLATSITE_TAIL_WHOLE : FLATSITE_TAIL_FOREIGN;
  }
  flatsite_record record;
  flatsite_answer answer = FLATSITE_RECORD;
  while (answer == FLATSITE_RECORD) answer = read_flatsite_record(reader, record);
  if (answer == FLATSITE_END) return FLATSITE_TAIL_WHOLE;
  if (answer != FLATSITE_TORN) return FLATSITE_TAIL_FOREIGN;
  return ::ftruncate(reader.handle, static_cast<off_t>(reader.offset)) == 0 ? FLATSITE_TAIL_CUT
                                                                            : FLATSITE_TAIL_FOREIGN;
}

}  // namespace wk
