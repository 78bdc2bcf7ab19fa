// One line of live progress at the foot of the terminal:
//
//   1234 pages  56 queued  78.9 pages/s  3 errors  0:00:21  paused
//
// Errors are fetches that ended with a status of 400 or above, or with none. The line is redrawn a
// few times a second by a thread of its own. Where standard error is no terminal, or one that can't
// erase a line, there is neither.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "crawler/core/crawl_facts.h"
#include "crawler/core/crawler.h"

namespace wk {

struct progress_line;
struct destroy_progress_line {
  void operator()(progress_line* line) const;  // removes the line from the screen, ends the thread
};
using progress_line_ptr = std::unique_ptr<progress_line, destroy_progress_line>;

// Null when there is nowhere to draw it. The crawler outlives the record.
[[nodiscard]] progress_line_ptr create_progress_line(const Crawler& crawler);

// The text, cut to nb_columns; rate in pages per second.
[[nodiscard]] std::string build_progress_text(const crawl_facts& facts, double rate,
                                              size_t nb_columns);

}  // namespace wk
