#include "crawler/output/quota.h"

#include <iterator>
#include <mutex>

#include "wkstd/state_stream.h"

namespace wk {
namespace {

constexpr uint32_t MEGABYTE_SHIFT = 20;
constexpr uint64_t BYTES_MASK = (uint64_t{1} << MEGABYTE_SHIFT) - 1;

constexpr uint32_t QUOTA_IMAGE_MARK = 1;

// The words in the order of the image.
using quota_word = std::atomic<uint32_t> quota::*;
constexpr quota_word QUOTA_WORDS[] = {
    &quota::has_mb_limit,   &quota::megabytes, &quota::bytes,      &quota::mb_limit,
    &quota::has_page_limit, &quota::pages,     &quota::page_limit,
};

uint32_t get_word(const std::atomic<uint32_t>& word) {
  return word.load(std::memory_order_relaxed);
}

void set_word(std::atomic<uint32_t>& word, uint32_t value) {
  word.store(value, std::memory_order_relaxed);
}

}  // namespace

void set_mb_limit_quota(quota& record, uint32_t megabytes) {
  const std::unique_lock guard(record.lock);
  set_word(record.mb_limit, megabytes);
  set_word(record.has_mb_limit, 1);
}

void set_page_limit_quota(quota& record, uint32_t pages) {
  const std::unique_lock guard(record.lock);
  set_word(record.page_limit, pages);
  set_word(record.has_page_limit, 1);
}

void switch_limits_quota(quota& record, bool has_page_limit, bool has_mb_limit) {
  const std::unique_lock guard(record.lock);
  set_word(record.has_page_limit, has_page_limit ? 1 : 0);
  set_word(record.has_mb_limit, has_mb_limit ? 1 : 0);
}

void add_document_quota(quota& record, uint32_t length_bytes) {
  const std::unique_lock guard(record.lock);
  if (get_word(record.has_page_limit) != 0) set_word(record.pages, get_word(record.pages) + 1);
  if (get_word(record.has_mb_limit) == 0) return;
  const uint64_t sum = uint64_t{get_word(record.bytes)} + length_bytes;
  const auto nb_full = static_cast<uint32_t>(sum >> MEGABYTE_SHIFT);
  set_word(record.megabytes, get_word(record.megabytes) + nb_full);
  set_word(record.bytes, static_cast<uint32_t>(sum & BYTES_MASK));
}

bool is_exceeded_quota(const quota& record) {
  if (get_word(record.has_page_limit) != 0 &&
      get_word(record.pages) >= get_word(record.page_limit)) {
    return true;
  }
  return get_word(record.has_mb_limit) != 0 &&
         get_word(record.megabytes) >= get_word(record.mb_limit);
}

void reset_quota(quota& record) {
  const std::unique_lock guard(record.lock);
  set_word(record.megabytes, 0);
  set_word(record.bytes, 0);
  set_word(record.pages, 0);
}

void save_quota(const quota& record, std::string& stream) {
  const std::shared_lock guard(record.lock);
  append_u32(stream, QUOTA_IMAGE_MARK);
  for (const quota_word word : QUOTA_WORDS) append_u32(stream, get_word(record.*word));
}

bool load_quota(std::string_view& stream, quota& record) {
  std::string_view rest = stream;
  uint32_t mark = 0;
  uint32_t values[std::size(QUOTA_WORDS)] = {};
  if (!take_u32(rest, mark) || mark != QUOTA_IMAGE_MARK) return false;
  for (uint32_t& value : values) {
    if (!take_u32(rest, value)) return false;
  }
  if (values[2] > BYTES_MASK) return false;  // the bytes beyond the last whole megabyte
  const std::unique_lock guard(record.lock);
  for (size_t i = 0; i < std::size(QUOTA_WORDS); ++i) set_word(record.*QUOTA_WORDS[i], values[i]);
  stream = rest;
  return true;
}

}  // namespace wk
