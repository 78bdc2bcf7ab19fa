#include "crawler/content/builtin_plugins.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "crawler/content/content_class.h"

namespace wk {
namespace {

TEST(raw_plugin, is_as_certain_of_everything_as_it_was_told) {
  for (const uint8_t certainty : std::initializer_list<uint8_t>{0, 8, 255}) {
    crawler_content_plugin set;
    add_raw_plugin(set, certainty);
    EXPECT_EQ(recognize_mime_crawler_content_plugin(set, 0, "image/png"), certainty);
    EXPECT_EQ(recognize_url_crawler_content_plugin(set, 0, ""), certainty);
    EXPECT_EQ(recognize_content_crawler_content_plugin(set, 0, "<html"), certainty);
    EXPECT_EQ(recognize_content_crawler_content_plugin(set, 1, "<html"), 0) << "no such plug-in";
  }
}

TEST(html_plugin, knows_html_by_mime_type_and_by_its_marks) {
  crawler_content_plugin set;
  add_html_plugin(set);
  const std::pair<std::string, uint8_t> mime_types[] = {
      {"text/html", 255},
      {"x;text/html; charset=a", 255},
      {"application/xhtml+xml", 255},
      {"TEXT/HTML", 0},
      {"text/htm", 0},
      {"text/plain", 0},
      {"application/xml", 0},
      {"application/XHTML+xml", 0},
      {"", 0},
  };
  for (const auto& [type, certainty] : mime_types) {
    EXPECT_EQ(recognize_mime_crawler_content_plugin(set, 0, type), certainty) << type;
  }
  const std::pair<std::string, uint8_t> pages[] = {
      {"<!DOCTYPE HTML>", 255},
      {"\xff <HtMl>", 255},
      {"<title>x<head>", 170},  // the surer mark counts, wherever it stands
      {"<TITLE>", 128},
      {"<title><html", 255},
      {std::string(251, ' ') + "<html" + std::string(44, ' '), 255},
      {std::string(252, ' ') + "<html" + std::string(43, ' '), 0},
      {std::string(251, ' ') + "<htm", 0},
      {"<body>", 0},
      {"<h1>", 0},
      {"<!-- -->", 0},
      {std::string("<ht\0ml>", 7), 0},
      {"", 0},
  };
  for (const auto& [page, certainty] : pages) {
    EXPECT_EQ(recognize_content_crawler_content_plugin(set, 0, page), certainty) << page;
  }
  EXPECT_EQ(recognize_url_crawler_content_plugin(set, 0, "http://a/b.html"), 0);
}

TEST(builtin_plugins, convert_by_copying_every_byte) {
  crawler_content_plugin set;
  add_raw_plugin(set, 0);
  add_html_plugin(set);
  const std::string content("<p>\0\xff", 5);
  for (const auto& [number, type] :
       {std::pair<size_t, uint32_t>{0, CONTENT_RAW}, {1, CONTENT_HTML}}) {
    conversion result{"old", 77};
    EXPECT_NE(convert_crawler_content_plugin(set, number, {content}, result), 0u);
    EXPECT_EQ(result.text, content);
    EXPECT_EQ(result.type, type);
  }
}

}  // namespace
}  // namespace wk
