// flatsite [--json] list PATH...         a line for each record
// flatsite cat URL PATH...               the content of the last record of that URL
// flatsite [--json] export DIR PATH...   each content as a file in DIR, and a line for each
// flatsite [--json] check PATH...        a line for each store file
//
// Reads the store files of a crawl. PATH is a store file, or a directory whose files flatsite-<N>
// are read by rising number. A file is read up to the first place where no whole record stands;
// that place is reported, on standard output by check and on standard error by the others. Store
// files are never written. Forms of the lines: store_report.h; names in DIR: export_directory.h.
//
// Exit status: 0 all well; 1 a store file is damaged, or cat does not find its URL; 2 wrong usage,
// or something can't be read or written.
#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/output/flatsite_reader.h"
#include "tools/flatsite/export_directory.h"
#include "tools/flatsite/store_files.h"
#include "tools/flatsite/store_report.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr int STATUS_WELL = 0;
constexpr int STATUS_FAULT = 1;
constexpr int STATUS_TROUBLE = 2;

struct flatsite_run;
// Takes one record; false ends the program with STATUS_TROUBLE, and the reason has been said.
using take_record = bool (*)(flatsite_run& run, const std::string& file, flatsite_reader& reader,
                             const flatsite_record& record);

// What one command does with the records.
struct flatsite_command {
  std::string_view name;
  bool takes_argument;  // a URL or a directory before the paths
  bool may_be_json;
  bool reports_files;  // check: a line for each file, faults on standard output
  take_record take;
};

struct flatsite_run {
  const flatsite_command* command = nullptr;
  store_report report;
  std::string argument;
  std::vector<std::string> files;
  export_directory directory;
  std::string found_file;  // cat: where the last record of the URL stands
  flatsite_record found;   // whose views have ended
  int status = STATUS_WELL;
};

void say_trouble(flatsite_run& run, const std::string& path, const char* what) {
  print_message(
      format_text("%s: %s: %s\n", path.c_str(), what, get_system_error_text(errno).c_str()));
  run.status = STATUS_TROUBLE;
}

bool list_record(flatsite_run& run, const std::string& file, flatsite_reader& /*reader*/,
                 const flatsite_record& record) {
  print_record(run.report, file, record);
  return true;
}

bool find_record(flatsite_run& run, const std::string& file, flatsite_reader& /*reader*/,
                 const flatsite_record& record) {
  if (record.head.url != run.argument) return true;
  run.found_file = file;
  run.found = record;
  return true;
}

bool write_record(flatsite_run& run, const std::string& file, flatsite_reader& reader,
                  const flatsite_record& record) {
  std::string name;
  if (!export_record(run.directory, reader, record, name)) {
    say_trouble(run, run.argument, "a document can't be written");
    return false;
  }
  print_record(run.report, file, record, name);
  return true;
}

bool pass_record(flatsite_run& /*run*/, const std::string& /*file*/, flatsite_reader& /*reader*/,
                 const flatsite_record& /*record*/) {
  return true;
}

constexpr flatsite_command COMMANDS[] = {
    {"list", false, true, false, list_record},
    {"cat", true, false, false, find_record},
    {"export", true, true, false, write_record},
    {"check", false, true, true, pass_record},
};

void report_damage(flatsite_run& run, const std::string& file, const flatsite_reader& reader) {
  if (run.status == STATUS_WELL) run.status = STATUS_FAULT;
  if (run.command->reports_files) {
    print_store_fault(run.report, file, reader.offset, reader.fault);
    return;
  }
  print_message(format_text("%s: offset %llu: %s\n", file.c_str(),
                            static_cast<unsigned long long>(reader.offset), reader.fault));
}

// False when the program is to end.
bool read_file(flatsite_run& run, const std::string& file) {
  flatsite_reader reader;
  if (!open_flatsite_reader(reader, file)) {
    say_trouble(run, file, "can't be opened");
    return true;
  }
  flatsite_record record;
  uint64_t nb_records = 0;
  flatsite_answer answer = read_flatsite_record(reader, record);
  for (; answer == FLATSITE_RECORD; answer = read_flatsite_record(reader, record)) {
    ++nb_records;
    if (!run.command->take(run, file, reader, record)) return false;
  }
  if (answer == FLATSITE_UNREADABLE) {
    say_trouble(run, file, reader.fault);
  } else if (answer != FLATSITE_END) {
    report_damage(run, file, reader);
  } else if (run.command->reports_files) {
    print_sound_file(run.report, file, nb_records, reader.size);
  }
  return true;
}

// Writes the content that find_record has found.
void write_found(flatsite_run& run) {
  if (run.found_file.empty()) {
    print_message("no record has this URL\n");
    if (run.status == STATUS_WELL) run.status = STATUS_FAULT;
    return;
  }
  flatsite_reader reader;
  if (!open_flatsite_reader(reader, run.found_file)) {
    say_trouble(run, run.found_file, "can't be opened");
    return;
  }
  std::string piece;
  for (uint64_t done = 0; done < run.found.head.content_length; done += piece.size()) {
    errno = EIO;  // for a file that was cut meanwhile
    if (!read_flatsite_content(reader, run.found, done, piece)) {
      say_trouble(run, run.found_file, "can't be read");
      return;
    }
    if (std::fwrite(piece.data(), 1, piece.size(), stdout) != piece.size()) return;
  }
}

bool parse_arguments(const std::vector<std::string>& arguments, flatsite_run& run,
                     std::vector<std::string>& paths) {
  size_t at = 0;
  if (at < arguments.size() && arguments[at] == "--json") {
    run.report.is_json = true;
    ++at;
  }
  if (at == arguments.size()) return false;
  for (const flatsite_command& command : COMMANDS) {
    if (command.name == arguments[at]) run.command = &command;
  }
  ++at;
  if (run.command == nullptr || (run.report.is_json && !run.command->may_be_json)) return false;
  if (run.command->takes_argument) {
    if (at == arguments.size()) return false;
    run.argument = arguments[at++];
  }
  paths.assign(arguments.begin() + static_cast<std::ptrdiff_t>(at), arguments.end());
  return !paths.empty();
}

int run_command(flatsite_run& run, const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    const size_t nb_before = run.files.size();
    if (!list_store_files(path, run.files)) {
      say_trouble(run, path, "can't be read");
    } else if (run.files.size() == nb_before) {
      errno = ENOENT;
      say_trouble(run, path, "no store files");
    }
  }
  if (run.command->take == write_record && !open_export_directory(run.directory, run.argument)) {
    say_trouble(run, run.argument, "can't be exported to");
    return run.status;
  }
  for (const std::string& file : run.files) {
    if (!read_file(run, file)) break;
  }
  if (run.command->take == find_record) write_found(run);
  if (finish_store_report()) return run.status;
  say_trouble(run, "standard output", "can't be written");
  return run.status;
}

}  // namespace
}  // namespace wk

int main(int argc, char** argv) {
  wk::flatsite_run run;
  std::vector<std::string> paths;
  if (!wk::parse_arguments({argv + (argc > 0 ? 1 : 0), argv + argc}, run, paths)) {
    std::fputs(
        "usage: flatsite [--json] list PATH...\n"
        "       flatsite cat URL PATH...\n"
        "       flatsite [--json] export DIR PATH...\n"
        "       flatsite [--json] check PATH...\n"
        "PATH is a store file or a directory with files flatsite-<N>.\n",
        stderr);
    return wk::STATUS_TROUBLE;
  }
  return wk::run_command(run, paths);
}
