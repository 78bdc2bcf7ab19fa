// Documents are read back as they were stored, and behind them no record reaches past the file.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "crawler/output/flatsite_reader.h"
#include "crawler/output/flatsite_tail.h"
#include "crawler/output/url_hold.h"
#include "tests/fuzz/fuzz_law.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

std::string take_line(std::string_view& bytes) {
  const std::string_view part = take_part(bytes);
  return std::string(part.substr(0, part.find('\n')));
}

std::string read_content(const flatsite_reader& reader, const flatsite_record& record) {
  std::string content, piece;
  while (content.size() < record.head.content_length) {
    require_law(read_flatsite_content(reader, record, content.size(), piece), "content is read");
    content += piece;
  }
  require_law(content.size() == record.head.content_length, "content has its length");
  return content;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  static const temp_directory directory;
  const std::string path = directory.path + "/flatsite-1";
  std::filesystem::remove(path);
  const std::string url = take_line(bytes), title = take_line(bytes), content(take_part(bytes));
  quota counted;
  const int stored =
      store_document_url_hold(*create_flatsite_url_hold(directory.path, nullptr),
                              {.url = url, .title = title, .content = content}, counted);
  require_law(stored == (content.empty() ? 0 : 1), "a document with content is stored");
  std::ofstream(path, std::ios::binary | std::ios::app).write(bytes.data(), std::ssize(bytes));

  flatsite_reader reader;
  require_law(open_flatsite_reader(reader, path), "a store file is opened");
  flatsite_record record;
  uint64_t behind = 0;
  flatsite_answer answer = FLATSITE_END;
  for (int i = 0; (answer = read_flatsite_record(reader, record)) == FLATSITE_RECORD; ++i) {
    require_law(record.offset == behind && reader.offset <= reader.size, "records are neighbours");
    behind = reader.offset;
    const std::string read = read_content(reader, record);
    const bool is_stored =
        i != 0 || stored == 0 ||
        (record.head.url == url && record.head.title == title && read == content);
    require_law(is_stored, "a document is read back as it was stored");
  }
  require_law(stored == 0 || behind != 0, "a stored document is found");
  const uint64_t whole_size = reader.size;
  const flatsite_tail tail = repair_flatsite_tail(path);
  require_law(
      (tail == FLATSITE_TAIL_WHOLE) == (answer == FLATSITE_END) &&
          std::filesystem::file_size(path) == (tail == FLATSITE_TAIL_CUT ? behind : whole_size),
      "a torn end is cut off, and nothing else");
}

}  // namespace wk
