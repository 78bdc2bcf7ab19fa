#include "crawler/content/builtin_plugins.h"
#include "crawler/content/content_class.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// A mark of HTML, looked for from first on and lying wholly before last.
struct html_marker {
  std::string_view text;  // in lower case
  size_t first;
  size_t last;
  uint8_t certainty;
};

// Nothing lies before 0, so the marks with that end are never found. They stand in wait of an end
// of their own: pages that hold nothing else are no HTML to this plug-in.
constexpr html_marker HTML_MARKERS[] = {
    {"<!doctype html", 0, 256, 255},
    {"<html", 0, 256, 255},
    {"<head", 0, 256, 170},
    {"<body", 0, 0, 170},
    {"<title", 0, 256, 128},
    {"<h1", 0, 0, 128},
    {"<!--", 0, 0, 85},
};

uint8_t recognize_html_mime(std::string_view mime_type, void*) {
  constexpr auto NOT_THERE = std::string_view::npos;
  return mime_type.find("text/html") != NOT_THERE ||
                 mime_type.find("application/xhtml+xml") != NOT_THERE
             ? 255
             : 0;
}

uint8_t recognize_html_content(std::string_view content, void*) {
  for (const html_marker& marker : HTML_MARKERS) {
    const std::string_view head = content.substr(0, marker.last);
    if (find_ignoring_case(head, marker.text, marker.first) != std::string_view::npos) {
      return marker.certainty;
    }
  }
  return 0;
}

uint32_t convert_html(const conversion_request& request, conversion& result, void*) {
  result.text.assign(request.content);
  result.type = CONTENT_HTML;
  return 1;
}

constexpr content_plugin_ops html_ops = {
    .name = "html",
    .recognize_mime = recognize_html_mime,
    .recognize_content = recognize_html_content,
    .recognize_url = nullptr,
    .convert = convert_html,
    .begin_close = nullptr,
    .close = nullptr,
};

}  // namespace

void add_html_plugin(crawler_content_plugin& set) {
  add_crawler_content_plugin(set, html_ops, nullptr);
}

}  // namespace wk
