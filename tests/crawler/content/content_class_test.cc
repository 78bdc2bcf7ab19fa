#include "crawler/content/content_class.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

namespace wk {
namespace {

TEST(get_content_class, takes_the_word_that_comes_first) {
  const std::pair<const char*, content_class> cases[] = {
      {"text/html", CONTENT_HTML},
      {"TEXT/plain; charset=x", CONTENT_HTML},
      {"application/xml", CONTENT_XML},
      {"application/RSS+Xml; a=text", CONTENT_XML},
      {"application/x-htm", CONTENT_RAW},
      {"image/png", CONTENT_RAW},
      {"xm", CONTENT_RAW},
      {"", CONTENT_RAW},
  };
  for (const auto& [type, expected] : cases) EXPECT_EQ(get_content_class(type), expected) << type;
  std::string names;
  for (uint32_t code = 0; code < 7; ++code) names.append(get_content_type_name(code)) += ' ';
  EXPECT_EQ(names, "html sgml xml txt raw   ");
}

TEST(find_character_set, asks_the_header_and_then_the_page) {
  const std::tuple<std::string, std::string, const char*> cases[] = {
      {"text/html; charset=UTF-8", "<meta charset=x>", "UTF-8"},
      {"text/html;Charset = \"iso-8859-1\" ; a=b", "", "iso-8859-1"},
      {"text/html; charset=\"gbk", "<meta charset=x>", "x"},
      {"text/html; charset=a;b=c", "", "a"},
      {"text/html; charset-x=a; charset=b", "", "b"},
      {"", "<html><META name=a content='charset=b'><meta CharSet = 'gb2312' >", "gb2312"},
      {"", "<meta/charset=utf-8/>", "utf-8/"},
      {"", "<meta http-equiv=Content-Type content=\"text/html; charset=koi8-r\">", "koi8-r"},
      {"", "<meta content='text/html;charset=koi8-r' http-equiv='content-type'/>", "koi8-r"},
      {"", "<meta content='text/html;charset=koi8-r'>", ""},
      {"", "<!-- <meta charset=a> --><meta charset=b>", "b"},
      {"", "<metadata charset=a><meta charset='a", ""},
      {"", "<meta charset=", ""},
      {"", std::string(990, ' ') + "<meta charset=a>", "a"},
      {"", std::string(1024, ' ') + "<meta charset=a>", ""},
  };
  for (const auto& [type, body, expected] : cases) {
    EXPECT_EQ(find_character_set(type, body), expected) << type << body;
  }
}

}  // namespace
}  // namespace wk
