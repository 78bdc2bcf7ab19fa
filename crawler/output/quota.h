// A limit in megabytes (1,048,576 bytes) and pages, and what was counted against it.
//
// Setters, accounting and reset take the record's write lock; is_exceeded reads without it, because
// it is asked while the store's lock is held.
#pragma once

#include <atomic>
#include <cstdint>
#include <shared_mutex>
#include <string>
#include <string_view>

namespace wk {

struct quota {
  mutable std::shared_mutex lock;
  std::atomic<uint32_t> has_mb_limit{0};
  std::atomic<uint32_t> megabytes{0};
  std::atomic<uint32_t> bytes{0};  // beyond the last whole megabyte
  std::atomic<uint32_t> mb_limit{0};
  std::atomic<uint32_t> has_page_limit{0};
  std::atomic<uint32_t> pages{0};
  std::atomic<uint32_t> page_limit{0};
};

void set_mb_limit_quota(quota& record, uint32_t megabytes);
void set_page_limit_quota(quota& record, uint32_t pages);
// Which of the limits count; the limits themselves stay.
void switch_limits_quota(quota& record, bool has_page_limit, bool has_mb_limit);
void add_document_quota(quota& record, uint32_t length_bytes);
[[nodiscard]] bool is_exceeded_quota(const quota& record);
void reset_quota(quota& record);  // the counts; flags and limits stay
// Image: the integer 1 and the seven words in the order of the record.
void save_quota(const quota& record, std::string& stream);
// False, and record as it was, when the image is cut short or contradicts itself.
[[nodiscard]] bool load_quota(std::string_view& stream, quota& record);

}  // namespace wk
