// Writing a profile in the form that the readers read.
#pragma once

#include <string>

#include "crawler/config/crawler_config.h"

namespace wk {

// Replaces out. Values are written as they are, without escaping; with strict_safety passwords are
// written as "***". Takes the record's lock.
void write_config(CrawlerConfig& config, std::string& out);

}  // namespace wk
