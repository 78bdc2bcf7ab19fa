// How the crawler fetches and what it takes.
#include <algorithm>
#include <mutex>

#include "crawler/admin/page_writer.h"
#include "crawler/admin/pages.h"

namespace wk {
namespace {

constexpr int32_t MAX_CERTAINTY = 255;

std::string_view write_box(bool checked) { return checked ? "checked" : ""; }

// A header's value that ends its line would make every request of the crawl unsendable.
bool is_header_text(const std::string& text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

struct spider_settings {
  uint32_t retries;
  int32_t timeout_ms;
  uint32_t retry_wait_ms;
};

spider_settings get_spider_settings(const fetch_settings& settings) {
  const std::shared_lock<std::shared_mutex> hold(settings.lock);
  return {settings.retries, settings.timeout_ms, settings.retry_wait_ms};
}

std::string list_negative_fields(const query_fields& fields) {
  std::string listed;
  for (const char* name : {"nb_retries", "timeout", "retry_wait"}) {
    if (read_number_field(fields, name) < 0) listed.append(listed.empty() ? "" : ", ").append(name);
  }
  return listed;
}

// A negative number stands for none and leaves its setting as it was.
void change_spider_settings(fetch_settings& settings, const query_fields& fields) {
  const int32_t retries = read_number_field(fields, "nb_retries");
  const int32_t timeout_ms = read_number_field(fields, "timeout");
  const int32_t retry_wait_ms = read_number_field(fields, "retry_wait");
  const std::lock_guard<std::shared_mutex> hold(settings.lock);
  if (retries >= 0) settings.retries = static_cast<uint32_t>(retries);
  if (timeout_ms >= 0) settings.timeout_ms = timeout_ms;
  if (retry_wait_ms >= 0) settings.retry_wait_ms = static_cast<uint32_t>(retry_wait_ms);
}

}  // namespace

void write_depth_first_page(page_visit& visit) {
  Crawler& crawler = visit.crawler;
  std::string& out = visit.response.body;
  const bool submitted = find_field(visit.fields, "submitted") != nullptr;
  if (submitted) set_depth_first_crawler(crawler, is_box_checked(visit.fields, "depth_first"));
  bool depth_first = false;
  {
    const std::lock_guard<std::mutex> hold(crawler.gate.lock);
    depth_first = crawler.depth_first;
  }
  append_page(out,
              "<form action=\"/webadmin/SetDepthFirst\" method=\"get\"><p>Depth First: <input "
              "type=\"checkbox\" name=\"depth_first\" %s> <input name=\"submitted\" "
              "type=\"hidden\" value=\"true\"> <input "
              "type=\"submit\"value=\"Submit\"></p></form>\n",
              {write_box(depth_first)});
  if (submitted) {
    append_page(out, "<p class=\"Result\">Enabled %s crawling.</p>\n",
                {depth_first ? "depth-first" : "breadth-first"});
  }
  append_page(out,
              "<p class=\"Help\">If checked, we will perform 'depth-first' crawling. If "
              "unchecked, we will perform 'breadth-first' crawling.</p>\n");
}

void write_honor_robots_page(page_visit& visit) {
  std::atomic<uint32_t>& honor = visit.crawler.robots->honor;
  std::string& out = visit.response.body;
  const bool submitted = find_field(visit.fields, "submitted") != nullptr;
  if (submitted) honor = is_box_checked(visit.fields, "honor") ? 1 : 0;
  append_page(out,
              "<form action=\"/webadmin/SetHonorRobots\" method=\"get\"><p>Honor robots: <input "
              "type=\"checkbox\" name=\"honor\" %s> <input name=\"submitted\" type=\"hidden\" "
              "value=\"true\"> <input type=\"submit\"value=\"Submit\"></p></form>\n",
              {write_box(honor != 0)});
  // The text is the same whatever was set; the box of the form tells.
  if (submitted) append_page(out, "<p class=\"Result\">Set honor robots.txt to true.</p>\n");
  append_page(out,
              "<p class=\"Help\">If checked, we will honor the robots.txt standard. If left "
              "unchecked, we will not honor the standard. See <a "
              "href=\"https://www.robotstxt.org/\">the robots exclusion standard's home "
              "page</a>.</p>\n");
}

void write_user_agent_page(page_visit& visit) {
  fetch_settings& settings = visit.crawler.fetch;
  std::string& out = visit.response.body;
  const std::string* given = find_filled_field(visit.fields, "user_agent");
  const bool taken = given != nullptr && is_header_text(*given);
  std::string user_agent;
  {
    const std::lock_guard<std::shared_mutex> hold(settings.lock);
    if (taken) settings.user_agent = *given;
    user_agent = settings.user_agent;
  }
  append_page(out,
              "<form action=\"/webadmin/SetUserAgent\" method=\"get\"><p>User-Agent: <input "
              "type=\"text\" name=\"user_agent\" value=\"%s\"> <input "
              "type=\"submit\"value=\"Submit\"></p></form>\n",
              {user_agent});
  if (taken) {
    append_page(out, "<p class=\"Result\">Set HTTP User-Agent to %s.</p>\n", {user_agent});
  }
  append_page(out,
              "<p class=\"Help\">This page allows you to set the crawler's HTTP User-Agent "
              "header. See <a href=\"https://www.w3.org/Protocols/\">the HTTP pages of the "
              "W3C</a>.</p>\n");
}

void write_content_certainty_page(page_visit& visit) {
  crawler_content_plugin& plugins = visit.crawler.plugins;
  std::string& out = visit.response.body;
  const bool given = find_field(visit.fields, "certainty") != nullptr;
  if (given) {
    const int32_t number = read_number_field(visit.fields, "certainty");
    set_certainty_crawler_content_plugin(
        plugins, static_cast<uint8_t>(std::clamp(number, int32_t{0}, MAX_CERTAINTY)));
  }
  const std::string certainty = write_page_number(get_certainty_crawler_content_plugin(plugins));
  append_page(out,
              "<form action=\"/webadmin/SetContentCertainty\" method=\"get\"><p>Certainty "
              "Threshold [0-255]: <input type=\"text\" name=\"certainty\" value=\"%s\"> <input "
              "type=\"submit\" value=\"Set\"></p></form>\n",
              {certainty});
  if (given) append_page(out, "<p class=\"Result\">Set content certainty to %s</p>\n", {certainty});
  append_page(out,
              "<p class=\"Help\">The 'content certainty theshold' is a number between 0 and 255. "
              "For any page found in the wild, we attempt to determine its content type (for "
              "indexing purposes), and score our certainty on the scale of [0-255]. Pages "
              "exceeding this threshold will be converted and indexed.</p>\n");
}

void write_spiders_page(page_visit& visit) {
  fetch_settings& settings = visit.crawler.fetch;
  std::string& out = visit.response.body;
  const bool given = find_field(visit.fields, "nb_retries") != nullptr &&
                     find_field(visit.fields, "timeout") != nullptr &&
                     find_field(visit.fields, "retry_wait") != nullptr;
  if (given) change_spider_settings(settings, visit.fields);
  const spider_settings in_force = get_spider_settings(settings);
  append_page(out,
              "<form action=\"/webadmin/ConfigureSpiders\" method=\"get\">\n"
              "<p>Allowed # of retries: <input type=\"text\" name=\"nb_retries\" "
              "value=\"%s\"></p>\n"
              "<p>Give up after (# milliseconds): <input type=\"text\" name=\"timeout\" "
              "value=\"%s\"></p>\n"
              "<p>Wait (# milliseconds) between retries: <input type=\"text\" "
              "name=\"retry_wait\" value=\"%s\"></p>\n"
              "<p><input type=\"submit\" value=\"Submit\"></p>\n</form>\n",
              {write_page_number(in_force.retries), std::to_string(in_force.timeout_ms),
               write_page_number(in_force.retry_wait_ms)});
  if (given) append_page(out, "<p class=\"Result\">Configured web spiders.</p>\n");
  if (const std::string ignored = list_negative_fields(visit.fields); given && !ignored.empty()) {
    append_page(out, "<p class=\"Result\">Ignored as negative: %s.</p>\n", {ignored});
  }
  append_page(out,
              "<p class=\"Help\">This page configures how 'nice' the crawler will be to the sites "
              "it visits.</p>\n");
}

}  // namespace wk
