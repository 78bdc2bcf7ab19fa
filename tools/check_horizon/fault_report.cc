#include "tools/check_horizon/fault_report.h"

#include <cstdio>
#include <string>

#include "wkstd/text.h"

namespace wk {
namespace {

void append_name(std::string& out, std::string_view name) {
  for (const char byte : name) {
    const auto c = static_cast<unsigned char>(byte);
    if (c < 0x20 || c >= 0x7F || c == '\\') {
      append_formatted_text(out, "\\x%02x", c);
    } else {
      out.push_back(byte);
    }
  }
}

// A refusal is kept by the stream until finish_report.
void print_text(const std::string& text) { (void)std::fwrite(text.data(), 1, text.size(), stdout); }

std::string build_report_line(std::string_view file, std::string_view what) {
  std::string text;
  append_name(text, file);
  text.append(": ").append(what);
  return text;
}

}  // namespace

void print_fault(fault_report& report, std::string_view file, std::string_view what) {
  ++report.nb_faults;
  print_text(build_report_line(file, what) + "\n");
}

void print_line_fault(fault_report& report, std::string_view file, std::string_view what,
                      uint64_t line_number) {
  ++report.nb_faults;
  print_text(build_report_line(file, what) + ", line " + std::to_string(line_number) + "\n");
}

void print_note(std::string_view file, std::string_view what) {
  print_text("note: " + build_report_line(file, what) + "\n");
}

bool finish_report() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0; }

}  // namespace wk
