#include "crawler/output/link_file.h"

#include <cerrno>

#include "crawler/output/record_file.h"
#include "wkstd/directory.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

bool is_full(const link_file& links, uint64_t size) {
  return size / 1024 * 1024 >= links.max_bytes;
}

// What is there but is no regular file has no size that could fill it, so it is taken as it is.
bool may_be_continued(const link_file& links, const std::string& path) {
  uint64_t size = 0;
  return !is_regular_file(path) || !get_file_size(path, size) || !is_full(links, size);
}

std::string build_link_path(const link_file& links) {
  return format_text("%s.%u", links.base_path.c_str(), links.counter);
}

// Goes on to the next file that may be continued. False after the message when it does not open;
// no link is stored from then on.
bool open_next_link_file(link_file& links) {
  std::string path;
  do {
    ++links.counter;
    path = build_link_path(links);
  } while (!may_be_continued(links, path));
  links.file = open_output_file(path, FILE_APPEND);
  if (links.file != nullptr) return true;
  print_message(format_text(
      "The link file %s cann't be opened to write. The links will not be stored.\n", path.c_str()));
  return false;
}

std::string build_link_record(std::string_view page_url, std::span<const std::string> urls) {
  size_t length = page_url.size() + 16;
  for (const std::string& url : urls) length += url.size() + 1;
  std::string record;
  record.reserve(length);
  record.append("\n").append(page_url);
  append_formatted_text(record, "\n%d\n", static_cast<int>(urls.size()));
  for (const std::string& url : urls) record.append(url).append("\n");
  return record;
}

}  // namespace

link_file_ptr open_link_file(const std::string& base_path, uint32_t counter) {
  auto links = std::make_unique<link_file>();
  links->base_path = base_path;
  links->counter = counter;
  if (!open_next_link_file(*links)) return nullptr;
  return links;
}

void write_link_record(link_file& links, std::string_view page_url,
                       std::span<const std::string> urls) {
  const std::string record = build_link_record(page_url, urls);
  const std::lock_guard guard(links.lock);
  if (links.file == nullptr) return;
  const bool needs_next = links.file->broken || is_full(links, links.file->size);
  if (needs_next && !open_next_link_file(links)) return;
  if (append_record_output_file(*links.file, {record}) || links.refusal_said) return;
  const int refusal = errno;
  links.refusal_said = true;
  print_refusal("link file", build_link_path(links), refusal);
}

bool flush_link_file(link_file& links) {
  const std::lock_guard guard(links.lock);
  return links.file != nullptr && sync_output_file(*links.file);
}

void reopen_link_file(link_file& links) {
  const std::lock_guard guard(links.lock);
  if (links.file == nullptr) return;
  // No later checkpoint makes this file last. All records of it are the system's already, so that a
  // refusal takes none back.
  (void)sync_output_file(*links.file);
  if (reopen_by_name(links.file, "link file", build_link_path(links))) links.refusal_said = false;
}

}  // namespace wk
