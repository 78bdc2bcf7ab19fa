// A content plug-in for plain text: knows it by MIME type, URL and the bytes themselves, and gives
// its lines one line feed each.
//
//     _zcrawler -conf crawl.xml -content-plugin build/examples/plugins/plain_text_plugin [TRACE]
//     ";"
//
// The protocol is described in docs/formats.md. With TRACE, a file, each request leaves a line
// there. It is written for a machine that keeps the lowest byte of an integer first.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

namespace {

enum request : uint32_t { CLOSE = 1, MIME = 2, URL = 3, CONTENT = 4, CONVERT = 5 };
constexpr uint32_t TYPE_TXT = 3;

bool read_integer(uint32_t& value) {
  return !!std::cin.read(reinterpret_cast<char*>(&value), sizeof value);
}

// The crawler announces no more than it holds itself.
bool read_text(std::string& text) {
  uint32_t length = 0;
  if (!read_integer(length)) return false;
  text.resize(length);
  return !!std::cin.read(text.data(), length);
}

void write_integer(uint32_t value) {
  std::cout.write(reinterpret_cast<const char*>(&value), sizeof value);
}

uint8_t recognize_mime(std::string_view mime_type) {
  return mime_type.starts_with("text/plain") ? 255 : 0;
}

uint8_t recognize_url(std::string_view url) {
  const std::string_view path = url.substr(0, url.find_first_of("?#"));
  return path.ends_with(".txt") ? 200 : 0;
}

// Text holds no control bytes but blanks; a tag at the start is another plug-in's.
uint8_t recognize_content(std::string_view content) {
  if (content.empty() || content.front() == '<') return 0;
  for (const char c : content) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 && c != '\t' && c != '\n' && c != '\r') return 0;
  }
  return 64;
}

std::string convert(std::string_view content) {
  std::string text;
  for (size_t i = 0; i < content.size(); ++i) {
    const bool is_line_end = content[i] == '\r' || content[i] == '\n';
    if (content[i] == '\r' && i + 1 < content.size() && content[i + 1] == '\n') ++i;
    text.push_back(is_line_end ? '\n' : content[i]);
  }
  return text;
}

uint8_t recognize(uint32_t request, std::string_view text) {
  switch (request) {
    case MIME:
      return recognize_mime(text);
    case URL:
      return recognize_url(text);
    default:
      return recognize_content(text);
  }
}

bool serve_recognition(uint32_t request, std::ostream& trace) {
  std::string text;
  if (!read_text(text)) return false;
  const uint8_t certainty = recognize(request, text);
  trace << "recognize " << request << ": " << int{certainty} << std::endl;
  std::cout.put(static_cast<char>(certainty));
  return true;
}

bool serve_conversion(std::ostream& trace) {
  std::string unused;  // the two texts mean nothing to this plug-in
  std::string content;
  if (!read_text(unused) || !read_text(unused) || !read_text(content)) return false;
  const std::string text = convert(content);
  trace << "convert: " << text.size() << " bytes" << std::endl;
  write_integer(1);
  write_integer(static_cast<uint32_t>(text.size()));
  std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
  write_integer(TYPE_TXT);
  return true;
}

// False when the crawler has gone or asks for what this plug-in does not know.
bool serve(std::ostream& trace) {
  write_integer(1);  // up
  trace << "up" << std::endl;
  for (;;) {
    std::cout.flush();  // the crawler waits
    uint32_t request = 0;
    if (!read_integer(request)) return false;
    if (request == CLOSE) break;
    const bool is_recognition = request == MIME || request == URL || request == CONTENT;
    if (!is_recognition && request != CONVERT) return false;
    if (!(is_recognition ? serve_recognition(request, trace) : serve_conversion(trace))) {
      return false;
    }
  }
  trace << "closed" << std::endl;
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::ofstream trace;  // writes nowhere until it is opened
  if (argc > 1) trace.open(argv[1], std::ios::app);
  return serve(trace) ? 0 : 1;
}
