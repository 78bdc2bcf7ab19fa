#include "tests/support/crawl_run.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "wkstd/text.h"

namespace wk {
namespace {

std::string build_profile(const crawl_place& place, const crawl_profile& profile) {
  const std::string& base = place.directory.path;
  std::string text =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<crawlers>\n<crawler name=\"test\"";
  append_formatted_text(text,
                        " nb-spiders=\"%u\" admin-port=\"-1\" stop-when-empty=\"true\""
                        " admin-thread-sleep-time=\"%u\" %s>\n<seed-urls>\n",
                        profile.nb_spiders, profile.round_time_ms, profile.attributes.c_str());
  for (const std::string& seed : profile.seeds) text += "<url name=\"" + seed + "\"/>\n";
  append_formatted_text(text,
                        "</seed-urls>\n<frontier sleep_mode=\"0\" sleep_interval=\"%u\" "
                        "nb_queues=\"%u\" queue_buffer_size=\"%u\"/>\n",
                        profile.sleep_interval, profile.nb_queues, profile.queue_buffer_size);
  append_formatted_text(text,
                        "<store name=\"%s/store\" temp_data_path=\"%s/temp\" "
                        "status_file_path=\"%s/status\" link_file_path=\"%s/links\"/>\n",
                        base.c_str(), base.c_str(), base.c_str(), base.c_str());
  append_formatted_text(text, "<log name=\"%s/log\"/>\n<canonical-urls enable=\"%d\"/>\n",
                        base.c_str(), profile.canonical_urls ? 1 : 0);
  return text + "<robot honor=\"false\"/>\n" + profile.elements + "</crawler>\n</crawlers>\n";
}

[[noreturn]] void end_with_damaged_store(std::string_view where) {
  std::fprintf(stderr, "a store file does not follow its format at: %.*s\n",
               static_cast<int>(std::min<size_t>(where.size(), 200)), where.data());
  std::abort();
}

// Cuts prefix and the rest of its line off bytes; false when bytes begins otherwise.
bool take_line(std::string_view& bytes, std::string_view prefix, std::string_view& rest) {
  const size_t end = bytes.find('\n');
  if (end == std::string_view::npos || !bytes.starts_with(prefix)) return false;
  rest = bytes.substr(prefix.size(), end - prefix.size());
  bytes.remove_prefix(end + 1);
  return true;
}

unsigned get_file_number(const std::string& path) {
  return static_cast<unsigned>(std::strtoul(path.c_str() + path.rfind('-') + 1, nullptr, 10));
}

}  // namespace

void prepare_crawl(const crawl_place& place, const crawl_setup& setup) {
  make_directory(place.directory, "store");
  make_directory(place.directory, "temp");
  write_test_file(place.directory.path + "/crawl.xml", build_profile(place, setup.profile));
}

running_program start_crawl(const crawl_place& place, const crawl_setup& setup) {
  program_setup program;
  program.arguments = {get_zcrawler_path(), "-conf", place.directory.path + "/crawl.xml"};
  program.arguments.insert(program.arguments.end(), setup.options.begin(), setup.options.end());
  program.directory = place.directory.path;
  program.environment = setup.environment;
  program.max_open_files = setup.max_open_files;
  program.max_file_bytes = setup.max_file_bytes;
  return start_program(program, place.directory.path);
}

crawl_result read_crawl(const crawl_place& place, program_result program) {
  const std::string& base = place.directory.path;
  crawl_result result;
  result.program = std::move(program);
  result.log = read_test_file(base + "/log");
  result.status = read_test_file(base + "/status");
  result.links = read_test_file(base + "/links.1");
  read_store_documents(base + "/store", result.documents);
  for (const auto& entry : std::filesystem::directory_iterator(base + "/temp")) {
    result.temp_files.push_back(entry.path().filename().string());
  }
  return result;
}

crawl_result run_crawl(const crawl_place& place, const crawl_setup& setup) {
  prepare_crawl(place, setup);
  running_program program = start_crawl(place, setup);
  return read_crawl(place, wait_program(program));
}

size_t count_text(std::string_view text, std::string_view part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

void read_flatsite_documents(std::string_view bytes, std::vector<crawl_document>& documents) {
  while (!bytes.empty()) {
    const std::string_view record = bytes;
    std::string_view start;
    std::string_view url;
    std::string_view date;
    std::string_view type;
    std::string_view length;
    if (!take_line(bytes, "FLATSITE_START", start) || !take_line(bytes, "DB_DOC_URL=", url) ||
        (take_line(bytes, "DB_DOC_DATE=", date) && !take_line(bytes, "WK_CRAWLER_DATE=", date)) ||
        !take_line(bytes, "DB_DOC_TYPE=", type) || !take_line(bytes, "DB_DOC_LEN=", length)) {
      end_with_damaged_store(record);
    }
    const size_t nb_bytes = parse_unsigned(length);
    constexpr std::string_view END = "\nFLATSITE_END\n";
    if (bytes.size() < nb_bytes + END.size() || bytes.substr(nb_bytes, END.size()) != END) {
      end_with_damaged_store(record);
    }
    documents.push_back(
        {std::string(url), std::string(type), std::string(bytes.substr(0, nb_bytes))});
    bytes.remove_prefix(nb_bytes + END.size());
  }
}

void read_store_documents(const std::string& directory, std::vector<crawl_document>& documents) {
  std::vector<std::string> store_files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    store_files.push_back(entry.path().string());
  }
  std::sort(store_files.begin(), store_files.end(),
            [](const auto& a, const auto& b) { return get_file_number(a) < get_file_number(b); });
  for (const std::string& path : store_files) {
    read_flatsite_documents(read_test_file(path), documents);
  }
}

std::string get_zcrawler_path() { return WK_ZCRAWLER_PATH; }

}  // namespace wk
