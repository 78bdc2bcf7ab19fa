// What docs/extending.md shows: a store, a horizon and a transport of another make.
#pragma once

#include <string>

#include "crawler/fetch/http_fetcher.h"
#include "crawler/horizon/frontier.h"
#include "crawler/output/url_hold.h"

namespace wk {

// Keeps a list of the documents instead of the documents. log must outlive the store.
[[nodiscard]] url_hold_ptr create_list_url_hold(const std::string& path, Log& log);

// Keeps all URLs in memory. It knows nothing of checkpoints.
[[nodiscard]] frontier_ptr create_memory_frontier(uint32_t interval_seconds);

// Answers from the files below a directory, which must outlive the transport and every fetcher
// that has it.
[[nodiscard]] http_transport build_mirror_transport(std::string& directory);

}  // namespace wk
