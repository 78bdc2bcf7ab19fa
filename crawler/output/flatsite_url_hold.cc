// The flatsite store: documents one behind the other in files "<directory>/flatsite-<N>".
//
// FLATSITE RECORD, texts and line feeds as they stand:
//
//   FLATSITE_START
//   DB_DOC_URL=<url>
//   DB_DOC_DATE=<YYYYMMDD, UTC>      both only when the document's date is known;
//   WK_CRAWLER_DATE=<s since 1970>   the second one is the time of storing
//   DB_DOC_TITLE=<title>             when there is one
//   DB_DOC_TYPE=<type name>          when there is one
//   DB_DOC_LEN=<length of the content in bytes>
//   <the content>
//   FLATSITE_END                     a line feed of its own stands before it
//
// Header records (header_record.h) may stand among them; they count towards no limit.
//
// With a page limit of 1 a file holds one bare content and nothing else. A file ends with the
// document that reaches one of its limits; a page that only sends the browser elsewhere (meta
// refresh) counts towards neither.
#include <algorithm>
#include <bit>
#include <cerrno>
#include <ctime>
#include <limits>
#include <mutex>
#include <string>
#include <vector>

#include "crawler/output/flatsite_tail.h"
#include "crawler/output/header_record.h"
#include "crawler/output/url_hold.h"
#include "wkstd/byte_block.h"
#include "wkstd/clock.h"
#include "wkstd/directory.h"
#include "wkstd/error.h"
#include "wkstd/file.h"
#include "wkstd/state_stream.h"
#include "wkstd/text.h"

namespace wk {
namespace {

struct flatsite_url_hold : url_hold {
  std::string directory;  // fixed at creation
  Log* log = nullptr;     // fixed at creation; null: standard error

  // Guarded by the store's lock.
  quota file_quota;  // the limits of one file and what the current one holds
  uint32_t counter = 0;
  std::string path;  // of the current file
  output_file_ptr file;
  bool one_document_per_file = false;
  bool append_on_first_open = false;  // the file of this number is gone on with
  uint32_t nb_refused = 0;            // documents that the disk refused since it last took one
  std::string head;                   // of the record being written; kept for its memory
};

// Both statuses are those of HTTP: 500 for trouble, 200 for its end.
void report_flatsite(const flatsite_url_hold& hold, uint32_t status, const std::string& message) {
  if (hold.log == nullptr) {
    print_message(message);
  } else {
    write_formatted_log(*hold.log, LOG_ERROR, "s-status s-comment", "%u %s", status,
                        message.c_str());
  }
}

// Exactly four spellings count: `http-equiv=` or `HTTP-EQUIV=`, then `"refresh"` or `"Refresh"`.
bool is_meta_refresh_value(std::string_view content, size_t equals) {
  const std::string_view name = content.substr(0, equals);
  const std::string_view value = content.substr(equals + 1);
  return (value.starts_with("\"refresh\"") || value.starts_with("\"Refresh\"")) &&
         (name.ends_with("http-equiv") || name.ends_with("HTTP-EQUIV"));
}

// Sixteen places at once are asked whether `="r` or `="R` begins there, which is rare.
bool has_meta_refresh(std::string_view content) {
  size_t at = 0;
  for (; at + BYTE_BLOCK_SIZE + 2 <= content.size(); at += BYTE_BLOCK_SIZE) {
    const char* here = content.data() + at;
    uint32_t places = match_byte_block(load_byte_block(here), '=') &
                      match_byte_block(load_byte_block(here + 1), '"') &
                      match_byte_block(lower_byte_block(load_byte_block(here + 2)), 'r');
    for (; places != 0; places &= places - 1) {
      if (is_meta_refresh_value(content, at + static_cast<size_t>(std::countr_zero(places)))) {
        return true;
      }
    }
  }
  for (; at < content.size(); ++at) {
    if (content[at] == '=' && is_meta_refresh_value(content, at)) return true;
  }
  return false;
}

std::string build_store_path(const flatsite_url_hold& hold) {
  return format_text("%s/flatsite-%u", hold.directory.c_str(), hold.counter);
}

void open_next_file(flatsite_url_hold& hold) {
  if (hold.file != nullptr && !finish_output_file(hold.file)) {
    report_flatsite(hold, 500,
                    format_text("Error closing document store file: '%s'\n", hold.path.c_str()));
  }
  const bool append = hold.append_on_first_open && !hold.one_document_per_file;
  hold.append_on_first_open = false;
  if (!append) ++hold.counter;
  hold.path = build_store_path(hold);
  hold.file = open_output_file(hold.path, append ? FILE_APPEND : FILE_TRUNCATE);
  reset_quota(hold.file_quota);
  if (hold.file == nullptr) {
    report_flatsite(hold, 500,
                    format_text("Error opening document store file: '%s'\n", hold.path.c_str()));
  }
}

// With one document a file, a file that took nothing waits for the next document, so that a full
// disk does not fill the directory with empty files.
bool needs_next_file(const flatsite_url_hold& hold) {
  if (hold.file == nullptr || hold.file->broken) return true;
  if (hold.one_document_per_file) return hold.file->size > 0;
  return is_exceeded_quota(hold.file_quota);
}

void build_record_head(const stored_document& document, std::string& head) {
  head.assign("FLATSITE_START\nDB_DOC_URL=").append(document.url).append("\n");
  const auto date = static_cast<std::time_t>(document.date);
  std::tm parts{};
  if (date > 0 && ::gmtime_r(&date, &parts) != nullptr) {  // null: a year beyond an integer
    append_formatted_text(head, "DB_DOC_DATE=%04u%02u%02u\nWK_CRAWLER_DATE=%u\n",
                          static_cast<uint32_t>(parts.tm_year) + 1900,
                          static_cast<uint32_t>(parts.tm_mon) + 1,
                          static_cast<uint32_t>(parts.tm_mday), get_wall_time_seconds());
  }
  if (!document.title.empty()) head.append("DB_DOC_TITLE=").append(document.title).append("\n");
  if (!document.type_name.empty()) {
    head.append("DB_DOC_TYPE=").append(document.type_name).append("\n");
  }
  append_formatted_text(head, "DB_DOC_LEN=%d\n", static_cast<int>(document.content.size()));
}

bool write_document(flatsite_url_hold& hold, const stored_document& document) {
  if (hold.one_document_per_file) return append_record_output_file(*hold.file, {document.content});
  build_record_head(document, hold.head);
  return append_record_output_file(*hold.file, {hold.head, document.content, "\nFLATSITE_END\n"});
}

// A full disk refuses every document of a crawl: only the first and the end of it are said.
void note_refused_document(flatsite_url_hold& hold) {
  const std::string reason = get_system_error_text(errno);
  if (hold.nb_refused++ > 0) return;
  report_flatsite(hold, 500,
                  format_text("Error writing document store file: '%s' (%s); documents are not "
                              "stored until it can be written again\n",
                              hold.path.c_str(), reason.c_str()));
}

void note_stored_document(flatsite_url_hold& hold) {
  if (hold.nb_refused == 0) return;
  report_flatsite(hold, 200,
                  format_text("Document store file '%s' can be written again; documents that were "
                              "not stored: %u\n",
                              hold.path.c_str(), hold.nb_refused));
  hold.nb_refused = 0;
}

int store_document_flatsite(url_hold& base, const stored_document& document) {
  auto& hold = static_cast<flatsite_url_hold&>(base);
  if (needs_next_file(hold)) open_next_file(hold);
  if (document.content.empty() || document.content.size() > std::numeric_limits<int32_t>::max()) {
    return 0;
  }
  if (hold.file == nullptr || !write_document(hold, document)) {
    if (hold.file != nullptr) note_refused_document(hold);  // one that does not open was said
    hold.nb_lost.fetch_add(1, std::memory_order_relaxed);
    return 0;
  }
  note_stored_document(hold);
  const quota& limits = hold.file_quota;
  if ((limits.has_mb_limit != 0 || limits.has_page_limit != 0) &&
      !has_meta_refresh(document.content)) {
    add_document_quota(hold.file_quota, static_cast<uint32_t>(document.content.size()));
  }
  return 1;
}

// With one document a file nothing but the body and its two line feeds is written.
int store_headers_flatsite(url_hold& base, const stored_headers& exchange) {
  auto& hold = static_cast<flatsite_url_hold&>(base);
  const std::string_view body = choose_header_record_body(exchange);
  if (body.empty()) return 0;
  if (needs_next_file(hold)) open_next_file(hold);
  if (hold.file == nullptr) return 0;
  hold.head.clear();
  if (!hold.one_document_per_file) {
    build_header_record_head(exchange, get_wall_time_seconds(), hold.head);
  }
  if (!append_record_output_file(*hold.file, {hold.head, body, "\n\n"})) {
    note_refused_document(hold);
    return 0;
  }
  note_stored_document(hold);
  return 1;
}

// The number to go on with: that of the store files that are there. Where lower ones were taken
// away the highest number counts, so that no file is begun anew.
uint32_t find_last_number(const flatsite_url_hold& hold) {
  std::vector<std::string> names;
  if (!list_entries(hold.directory, names)) return 0;
  uint32_t count = 0;
  uint32_t highest = 0;
  for (const std::string& name : names) {
    if (!name.starts_with("flatsite")) continue;
    ++count;
    const uint32_t number = parse_unsigned(std::string_view(name).substr(name.rfind('-') + 1));
    if (name == format_text("flatsite-%u", number)) highest = std::max(highest, number);
  }
  return std::max(count, highest);
}

// The last file is gone on with when it ends with a whole record, or can be cut back to one; else
// the next number is begun.
void resume_flatsite(url_hold& base) {
  auto& hold = static_cast<flatsite_url_hold&>(base);
  hold.counter = find_last_number(hold);
  if (hold.counter == 0 || hold.one_document_per_file) return;
  const flatsite_tail tail = repair_flatsite_tail(build_store_path(hold));
  hold.append_on_first_open = tail != FLATSITE_TAIL_FOREIGN;
  if (tail == FLATSITE_TAIL_CUT) {
    report_flatsite(
        hold, 200,
        format_text("Document store file '%s' ended within a record, which is cut off\n",
                    build_store_path(hold).c_str()));
  }
}

void save_flatsite(const url_hold& base, std::string& stream) {
  const auto& hold = static_cast<const flatsite_url_hold&>(base);
  append_u32(stream, 1);
  save_quota(hold.file_quota, stream);
  append_u32(stream, hold.counter);
  append_string(stream, hold.directory);
}

// The directory is the store's own from the beginning; the image's must be the same.
bool load_flatsite(url_hold& base, std::string_view& stream) {
  auto& hold = static_cast<flatsite_url_hold&>(base);
  std::string_view rest = stream;
  uint32_t version = 0;
  quota file_quota;
  std::string_view quota_bytes;
  uint32_t counter = 0;
  std::string directory;
  if (!take_u32(rest, version) || version != 1) return false;
  quota_bytes = rest;
  if (!load_quota(rest, file_quota) || !take_u32(rest, counter) || !take_string(rest, directory) ||
      directory != hold.directory) {
    return false;
  }
  (void)load_quota(quota_bytes, hold.file_quota);  // read once already
  hold.one_document_per_file = file_quota.has_page_limit != 0 && file_quota.page_limit == 1;
  hold.counter = counter;
  stream = rest;
  return true;
}

void destroy_flatsite(url_hold* hold) { delete static_cast<flatsite_url_hold*>(hold); }

constexpr url_hold_ops FLATSITE_URL_HOLD_OPS = {
    .obj_type = T_FLATSITE_URL_HOLD_OBJ,
    .destroy = destroy_flatsite,
    .store_document = store_document_flatsite,
    .store_headers = store_headers_flatsite,
    .resume = resume_flatsite,
    .save = save_flatsite,
    .load = load_flatsite,
};

// Null, after the report of a failed condition, for a store of another kind.
flatsite_url_hold* get_flatsite(url_hold& hold) {
  const bool is_flatsite = hold.ops->obj_type == T_FLATSITE_URL_HOLD_OBJ;
  if (check_condition(is_flatsite, "hold->obj_type == T_FLATSITE_URL_HOLD_OBJ", __FILE__, __LINE__,
                      __func__) != 0) {
    return nullptr;
  }
  return static_cast<flatsite_url_hold*>(&hold);
}

}  // namespace

url_hold_ptr create_flatsite_url_hold(const std::string& directory, Log* log) {
  auto hold = std::make_unique<flatsite_url_hold>();
  hold->ops = &FLATSITE_URL_HOLD_OPS;
  hold->directory = directory;
  hold->log = log;
  return url_hold_ptr(hold.release());
}

void set_mb_quota_flatsite_url_hold(url_hold& hold, int32_t megabytes) {
  flatsite_url_hold* flatsite = get_flatsite(hold);
  if (flatsite == nullptr || megabytes <= 0) return;
  const std::unique_lock guard(flatsite->lock);
  set_mb_limit_quota(flatsite->file_quota, static_cast<uint32_t>(megabytes));
}

void set_page_quota_flatsite_url_hold(url_hold& hold, int32_t pages) {
  flatsite_url_hold* flatsite = get_flatsite(hold);
  if (flatsite == nullptr || pages <= 0) return;
  const std::unique_lock guard(flatsite->lock);
  set_page_limit_quota(flatsite->file_quota, static_cast<uint32_t>(pages));
  flatsite->one_document_per_file = pages == 1;
}

std::string get_directory_url_hold(const url_hold& hold) {
  if (hold.ops->obj_type != T_FLATSITE_URL_HOLD_OBJ) return {};
  return static_cast<const flatsite_url_hold&>(hold).directory;
}

}  // namespace wk
