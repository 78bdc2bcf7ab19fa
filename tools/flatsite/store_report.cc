#include "tools/flatsite/store_report.h"

#include <cstdio>

#include "crawler/admin/quoted_text.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// A refusal is kept by the stream until finish_store_report.
void print_line(std::string& line) {
  line.push_back('\n');
  (void)std::fwrite(line.data(), 1, line.size(), stdout);
}

void append_plain(std::string& out, std::string_view bytes) {
  for (const char byte : bytes) {
    const auto c = static_cast<unsigned char>(byte);
    if (c < 0x20 || c >= 0x7F || c == '\\') {
      append_formatted_text(out, "\\x%02x", c);
    } else {
      out.push_back(byte);
    }
  }
}

// Members of an object, the first one opening it.
void append_member_name(std::string& out, const char* name) {
  out.append(out.empty() ? "{\"" : ",\"").append(name).append("\":");
}

void append_text_member(std::string& out, const char* name, std::string_view value) {
  append_member_name(out, name);
  append_json_string(out, value);
}

void append_number_member(std::string& out, const char* name, uint64_t value) {
  append_member_name(out, name);
  out.append(std::to_string(value));
}

void append_optional_member(std::string& out, const char* name, std::string_view value) {
  if (!value.empty()) append_text_member(out, name, value);
}

std::string_view get_type(const flatsite_head& head) {
  return head.kind == FLATSITE_HEADERS ? "headers" : head.type_name;
}

std::string build_record_object(std::string_view file, const flatsite_record& record,
                                std::string_view name) {
  std::string line;
  append_optional_member(line, "name", name);
  append_text_member(line, "file", file);
  append_number_member(line, "offset", record.offset);
  append_text_member(line, "url", record.head.url);
  append_optional_member(line, "type", get_type(record.head));
  append_optional_member(line, "title", record.head.title);
  append_optional_member(line, "document_date", record.head.document_date);
  append_optional_member(line, "crawl_date", record.head.crawl_date);
  append_number_member(line, "length", record.head.content_length);
  return line + "}";
}

std::string build_record_line(std::string_view file, const flatsite_record& record,
                              std::string_view name) {
  std::string line;
  append_plain(line, name);
  if (!name.empty()) line.push_back('\t');
  line.append(std::to_string(record.head.content_length)).push_back('\t');
  append_plain(line, get_type(record.head));
  line.push_back('\t');
  append_plain(line, record.head.url);
  line.push_back('\t');
  append_plain(line, file);
  return line + ":" + std::to_string(record.offset);
}

}  // namespace

void print_record(const store_report& report, std::string_view file, const flatsite_record& record,
                  std::string_view name) {
  std::string line = report.is_json ? build_record_object(file, record, name)
                                    : build_record_line(file, record, name);
  print_line(line);
}

void print_store_fault(const store_report& report, std::string_view file, uint64_t offset,
                       std::string_view what) {
  std::string line;
  if (report.is_json) {
    append_text_member(line, "file", file);
    append_number_member(line, "offset", offset);
    append_text_member(line, "fault", what);
    line.push_back('}');
  } else {
    append_plain(line, file);
    line.append(": offset ").append(std::to_string(offset)).append(": ").append(what);
  }
  print_line(line);
}

void print_sound_file(const store_report& report, std::string_view file, uint64_t nb_records,
                      uint64_t nb_bytes) {
  std::string line;
  if (report.is_json) {
    append_text_member(line, "file", file);
    append_number_member(line, "records", nb_records);
    append_number_member(line, "bytes", nb_bytes);
    line.push_back('}');
  } else {
    append_plain(line, file);
    line.append(": ").append(std::to_string(nb_records)).append(" records, ");
    line.append(std::to_string(nb_bytes)).append(" bytes");
  }
  print_line(line);
}

bool finish_store_report() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0; }

}  // namespace wk
