// A store that keeps a list: for each document a line with its length, type and URL, separated by
// tabs.
#include <cerrno>

#include "examples/extending/extending.h"
#include "wkstd/error.h"
#include "wkstd/file.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint32_t T_LIST_URL_HOLD_OBJ = 31415926;  // no other kind has it

struct list_url_hold : url_hold {
  std::string path;  // fixed at creation
  Log& log;          // has a lock of its own

  // Guarded by the store's lock.
  file_mode mode = FILE_TRUNCATE;
  output_file_ptr file;  // opened with the first document

  list_url_hold(const std::string& at, Log& says) : path(at), log(says) {}
};

int refuse_document(list_url_hold& hold) {
  const std::string reason = get_system_error_text(errno);
  write_formatted_log(hold.log, LOG_ERROR, "s-status s-comment", "500 %s: %s", hold.path.c_str(),
                      reason.c_str());
  hold.nb_lost.fetch_add(1, std::memory_order_relaxed);
  return 0;
}

int store_document_list(url_hold& base, const stored_document& document) {
  auto& hold = static_cast<list_url_hold&>(base);
  if (hold.file == nullptr) hold.file = open_output_file(hold.path, hold.mode);
  if (hold.file == nullptr) return refuse_document(hold);
  std::string line = std::to_string(document.content.size());
  line.append("\t").append(document.type_name).append("\t").append(document.url).append("\n");
  // A line is written whole or not at all.
  return append_record_output_file(*hold.file, {line}) ? 1 : refuse_document(hold);
}

void resume_list(url_hold& base) { static_cast<list_url_hold&>(base).mode = FILE_APPEND; }

void destroy_list(url_hold* hold) { delete static_cast<list_url_hold*>(hold); }

constexpr url_hold_ops LIST_URL_HOLD_OPS = {
    .obj_type = T_LIST_URL_HOLD_OBJ,
    .destroy = destroy_list,
    .store_document = store_document_list,
    .store_headers = nullptr,
    .resume = resume_list,
    .save = nullptr,  // its image is its tag
    .load = nullptr,
};

}  // namespace

url_hold_ptr create_list_url_hold(const std::string& path, Log& log) {
  auto* hold = new list_url_hold(path, log);
  hold->ops = &LIST_URL_HOLD_OPS;
  return url_hold_ptr(hold);
}

}  // namespace wk
