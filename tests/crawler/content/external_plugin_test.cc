#include "crawler/content/external_plugin.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>
#include <functional>
#include <thread>
#include <tuple>
#include <vector>

#include "crawler/content/builtin_plugins.h"
#include "tests/support/crawl_run.h"
#include "tests/support/temp_directory.h"
#include "wkstd/text.h"

namespace wk {
namespace {

using namespace std::string_literals;

const std::string UP = "printf '\\1\\0\\0\\0'; ";
constexpr external_plugin_limits LONG = {.start_ms = 600'000, .exchange_ms = 600'000};

std::vector<std::string> build_shell_plugin(const std::string& script) {
  return {"sh", "-c", script};
}

std::string build_printf(const std::string& bytes) {
  std::string text = "printf '";
  for (const char c : bytes) {
    append_formatted_text(text, "\\%03o", unsigned{static_cast<unsigned char>(c)});
  }
  return text + "'; ";
}

uint32_t ask_mime(const crawler_content_plugin& set, const std::string& type = "a/b") {
  return recognize_mime_crawler_content_plugin(set, 0, type);
}

struct exchange {
  std::function<uint32_t(const crawler_content_plugin& set, conversion& result)> ask;
  std::string request;
  std::string answer;
  uint32_t expected;
};

TEST(external_plugin, keeps_to_the_protocol_to_the_byte) {
  const exchange exchanges[] = {
      {[](const auto& set, auto&) { return ask_mime(set); }, "\2\0\0\0\3\0\0\0a/b"s, "\xff", 255},
      {[](const auto& set, auto&) { return recognize_url_crawler_content_plugin(set, 0, ""); },
       "\3\0\0\0\0\0\0\0"s, "\0"s, 0},
      {[](const auto& set, auto&) {
         return recognize_content_crawler_content_plugin(set, 0, "\0\n"s);
       },
       "\4\0\0\0\2\0\0\0\0\n"s, "\x80", 128},
      {[](const auto& set, auto& result) {
         return convert_crawler_content_plugin(set, 0, {"c", "one", ""}, result);
       },
       "\5\0\0\0\3\0\0\0one\0\0\0\0\1\0\0\0c"s, "\0\0\0\0"s, 0},
      {[](const auto& set, auto& result) {
         return convert_crawler_content_plugin(set, 0, {"", "", "t"}, result);
       },
       "\5\0\0\0\0\0\0\0\1\0\0\0t\0\0\0\0"s, "\7\0\0\0\4\0\0\0\0new\3\1\0\0"s, 7},
  };
  const temp_directory directory;
  const std::string record = directory.path + "/record";
  std::string script = UP;
  std::string requests;
  for (const exchange& e : exchanges) {
    script += format_text("head -c %zu >>%s; ", e.request.size(), record.c_str());
    script += build_printf(e.answer);
    requests += e.request;
  }
  crawler_content_plugin set;
  ASSERT_TRUE(load_external_plugin(set, build_shell_plugin(script + "cat >>" + record), nullptr));
  conversion result{"old", 9};
  for (const exchange& e : exchanges) {
    EXPECT_EQ(result.text, "old") << "a refused conversion leaves it alone";
    EXPECT_EQ(e.ask(set, result), e.expected) << testing::PrintToString(e.request);
  }
  EXPECT_EQ(result.text, "\0new"s);
  EXPECT_EQ(result.type, 259u);
  close_crawler_content_plugin(set);
  EXPECT_EQ(read_test_file(record), requests + "\1\0\0\0"s);
  EXPECT_EQ(ask_mime(set), 0u);
}

TEST(load_external_plugin, refuses_what_does_not_come_up) {
  const std::tuple<const char*, std::vector<std::string>, uint64_t> cases[] = {
      {"no arguments", {}, 1},
      {"an empty name", {""}, 1},
      {"no such program", {"/no/such/plugin", "x"}, 1},
      {"a directory", {"/"}, 1},
      {"dies at once", build_shell_plugin("exit 0"), 600'000},
      {"dies within its first word", build_shell_plugin("printf '\\1\\0\\0'"), 600'000},
      {"says nothing", build_shell_plugin("exec sleep 1000"), 20},
      {"says nothing and minds no signal", build_shell_plugin("trap '' TERM HUP; sleep 1000"), 20},
  };
  for (const auto& [name, arguments, start_ms] : cases) {
    crawler_content_plugin set;
    EXPECT_FALSE(load_external_plugin(set, arguments, nullptr, {.start_ms = start_ms})) << name;
    EXPECT_EQ(count_crawler_content_plugin(set), 0u);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << name << " left a process behind";
  }
}

TEST(external_plugin, that_goes_wrong_costs_its_own_answers_and_is_said_once) {
  const std::string take_request = "head -c 17 >/dev/null; ";  // of the conversion below
  const std::tuple<const char*, std::string, uint64_t> cases[] = {
      {"it has ended", take_request, 600'000},
      {"it has ended", take_request + build_printf("\1\0\0\0\x64\0\0\0half"s), 600'000},
      {"it has ended", take_request + build_printf("\1\0\0\0\1\0\0\0xtyp"s), 600'000},
      {"it has ended", "sleep 1000 & exit", 600'000},
      {"no answer came within 30 ms", "exec sleep 1000", 30},
      {"no answer came within 30 ms", take_request + build_printf("\1"s) + "sleep 1000", 30},
      {"it announced 4294967295 bytes",
       take_request + build_printf("\1\0\0\0\xff\xff\xff\xff"s) + "cat", 600'000},
      {"it announced 1870078063 bytes", take_request + "echo hello world; cat", 600'000},
      {"it wrote what nobody had asked for", "exec cat /dev/zero", 600'000},
      {"it did not end within 30 ms",
       take_request + build_printf(std::string(4, 0)) + "head -c 11 >/dev/null; printf x; " +
           "head -c 11 >/dev/null; printf '\\0'; exec sleep 1000",
       600'000},
  };
  for (const auto& [reason, script, exchange_ms] : cases) {
    SCOPED_TRACE(script);
    testing::internal::CaptureStderr();
    {
      crawler_content_plugin set;
      ASSERT_TRUE(load_external_plugin(set, build_shell_plugin(UP + script), nullptr,
                                       {.exchange_ms = exchange_ms, .end_ms = 30}));
      add_raw_plugin(set, 8);
      conversion result{"old", 9};
      EXPECT_EQ(convert_crawler_content_plugin(set, 0, {"x"}, result), 0u);
      EXPECT_EQ(result.text, "old");
      (void)ask_mime(set);
      EXPECT_EQ(ask_mime(set, "c/d"), 0u);
      EXPECT_EQ(recognize_mime_crawler_content_plugin(set, 1, "a/b"), 8u) << "another plug-in";
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string("The content plug-in 'sh' is not asked any more: ") + reason + "\n");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a process was left behind";
  }
}

TEST(external_plugin, that_reads_nothing_is_left_at_the_limit) {
  crawler_content_plugin set;
  ASSERT_TRUE(load_external_plugin(set, build_shell_plugin(UP + "exec sleep 1000"), nullptr,
                                   {.exchange_ms = 30}));
  EXPECT_EQ(recognize_content_crawler_content_plugin(set, 0, std::string(1 << 20, 'x')), 0);
}

TEST(external_plugin, is_waited_for_no_longer_when_the_crawl_stops) {
  const temp_directory directory;
  const std::string asked = directory.path + "/asked";
  ASSERT_EQ(::mkfifo(asked.c_str(), 0600), 0);
  std::atomic<uint32_t> stop{0};
  crawler_content_plugin set;
  const std::string script = UP + "head -c 11 >/dev/null; echo >" + asked + "; sleep 1000";
  ASSERT_TRUE(load_external_plugin(set, build_shell_plugin(script), &stop, LONG));
  std::thread stopper([&asked, &stop] {
    std::ifstream(asked).get();  // comes when the plug-in has been asked
    stop = 1;
  });
  testing::internal::CaptureStderr();
  EXPECT_EQ(ask_mime(set), 0u);
  EXPECT_EQ(ask_mime(set), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "it is not the plug-in's fault";
  stopper.join();
  EXPECT_FALSE(load_external_plugin(set, build_shell_plugin("sleep 1000"), &stop, LONG));
}

struct example_case {
  std::string path;
  std::string mime_type;
  std::string url;
  std::string content;
  uint8_t certainty;  // of the content
  std::string text;   // that it is converted to
};

TEST(example_plugins, know_their_documents_and_serve_threads_one_after_another) {
  const example_case cases[] = {
      {WK_SOURCE_DIRECTORY "/examples/plugins/markdown_plugin.py", "text/markdown",
       "http://a/b.md?c", "# One\n**two** [three](http://x/)\n", 128, "One\ntwo three\n"},
      {get_zcrawler_path().substr(0, get_zcrawler_path().rfind('/')) +
           "/examples/plugins/plain_text_plugin",
       "text/plain; charset=x", "http://a/b.txt", "one\r\ntwo\rthree\n", 64, "one\ntwo\nthree\n"},
  };
  for (const example_case& c : cases) {
    SCOPED_TRACE(c.path);
    crawler_content_plugin set;
    ASSERT_TRUE(load_external_plugin(set, std::vector{c.path}, nullptr, LONG));
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&set, &c] {
        for (int i = 0; i < 20; ++i) {
          EXPECT_EQ(ask_mime(set, c.mime_type), 255u);
          EXPECT_EQ(recognize_url_crawler_content_plugin(set, 0, c.url), 200u);
          EXPECT_EQ(recognize_content_crawler_content_plugin(set, 0, c.content), c.certainty);
          EXPECT_EQ(ask_mime(set, "image/png"), 0u);
        }
      });
    }
    threads.clear();
    conversion result;
    EXPECT_EQ(convert_crawler_content_plugin(set, 0, {c.content, "a", "b"}, result), 1u);
    EXPECT_EQ(result.text, c.text);
    EXPECT_EQ(result.type, 3u);
    std::string large(3 << 20, 'x');
    EXPECT_EQ(convert_crawler_content_plugin(set, 0, {large}, result), 1u);
    EXPECT_EQ(result.text, large);
  }
}

}  // namespace
}  // namespace wk
