// Building a crawler from a profile, and the two ways of starting it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "crawler/config/crawler_config.h"
#include "crawler/core/crawler.h"

namespace wk {

// The store that a profile names; nothing is touched before its first document. log, which may be
// null, hears when it names none; fetch, which may be null, ends the waits of a pipeline. Both must
// outlive the store.
[[nodiscard]] url_hold_ptr build_store(const config_values& config, Log* log,
                                       const fetch_settings* fetch);

// Locks the crawl's directories, empties the temporary one, creates everything a crawl owns, adds
// the seeds and writes the profile into the log. Directories that are not usable, or that another
// crawl uses, end the process with a fatal report; so does a file to be written that is source, the
// file that config was read from (empty: none), and so do URL filters that can't be built or, where
// safety is strict, a restricting list of which no entry can. Null when stop, which may be null, is
// set while the filters are built.
[[nodiscard]] crawler_ptr build_crawler(CrawlerConfig& config, const std::string& source = {},
                                        const std::atomic<uint32_t>* stop = nullptr);

// Reads the profile called name (empty: the first) from path and builds a crawler from it. Null
// when there is no profile; the reader has said why, and the path is said behind it. Null too when
// stop ended the build.
[[nodiscard]] crawler_ptr load_crawler(const std::string& path, const std::string& name,
                                       bool use_libxml,
                                       const std::atomic<uint32_t>* stop = nullptr);

// Empties the store's directory. A directory that is set and not usable ends the process.
void start_fresh_crawler(Crawler& crawler);

}  // namespace wk
