// The log of a crawl that keeps none.
#include "crawler/output/log.h"
#include "crawler/output/log_kind.h"

namespace wk {
namespace {

void close_discarding_log(Log* log) { delete log; }

constexpr log_ops DISCARDING_LOG_OPS = {
    .tag = LOG_DISCARDING_TAG,
    .write = nullptr,
    .flush = nullptr,
    .reopen = nullptr,
    .close = close_discarding_log,
    .save = nullptr,
};

}  // namespace

log_ptr create_discarding_log() {
  log_ptr log(new Log);
  log->ops = &DISCARDING_LOG_OPS;
  return log;
}

}  // namespace wk
