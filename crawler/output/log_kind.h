// What a log is made of: the head that all kinds share and the operations of one kind.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "crawler/output/log.h"

namespace wk {

// write, flush and reopen are called with the log's lock held. An absent operation does nothing.
struct log_ops {
  uint32_t tag;
  void (*write)(Log& log, std::string_view fields, std::string_view text);  // may be null
  void (*flush)(Log& log);                                                  // may be null
  void (*reopen)(Log& log);                                                 // may be null
  void (*close)(Log* log);  // frees the record and what it holds, unflushed
  // Appends what the kind's image holds behind the tag: what is fixed at opening. May be null.
  void (*save)(const Log& log, std::string& stream);
};

struct Log {
  const log_ops* ops = nullptr;
  // Written under the lock, read without it: a record on its way when the filter changes may still
  // be judged by the earlier one.
  std::atomic<uint32_t> filter{LOG_DEFAULT_FILTER};
  std::atomic<uint64_t> nb_records{0};  // written under the lock, read without it
  std::mutex lock;                      // guards what the kind keeps
};

}  // namespace wk
