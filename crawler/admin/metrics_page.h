// /metrics: the figures of a crawl for a monitoring system, in the Prometheus text exposition
// format, version 0.0.4.
#pragma once

#include <string>

#include "crawler/core/crawl_facts.h"

namespace wk {

constexpr const char* METRICS_CONTENT_TYPE = "text/plain; version=0.0.4; charset=utf-8";

void append_metrics(std::string& out, const crawl_facts& facts);

}  // namespace wk
