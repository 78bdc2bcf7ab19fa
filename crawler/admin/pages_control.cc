// Steering the crawl as a whole and watching it.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>

#include "crawler/admin/page_writer.h"
#include "crawler/admin/pages.h"
#include "crawler/core/checkpoint.h"
#include "crawler/url/url_form.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// The share as a fraction, though a percent sign follows it on the page.
std::string write_share(uint32_t counted, uint32_t limit) {
  return format_text("%g", static_cast<double>(counted) / static_cast<double>(limit));
}

bool holds_control_byte(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char byte) {
    const auto c = static_cast<unsigned char>(byte);
    return c < 0x20 || c == 0x7F;
  });
}

// Makes location the crawler's checkpoint directory when a checkpoint could be written into it;
// else a directory that was made for it goes again, and reason says why. Caller holds the
// crawler's lock.
bool move_checkpoint(Crawler& crawler, const std::string& location, std::string& reason) {
  const bool made = ::mkdir(location.c_str(), 0700) == 0;
  if (write_checkpoint(crawler, location, reason) == CHECKPOINT_OK) {
    crawler.checkpoint_directory = location;
    return true;
  }
  if (made) ::rmdir(location.c_str());
  return false;
}

void checkpoint_into(Crawler& crawler, const std::string& location, std::string& out) {
  std::string reason;
  bool written = false;
  if (holds_control_byte(location)) {
    reason = "its name holds a control byte";
    write_log(*crawler.log, LOG_ERROR, "s-comment",
              "Couldn't checkpoint the crawler: the directory's name holds a control byte\n");
  } else {
    const std::lock_guard<std::mutex> hold(crawler.gate.lock);
    written = move_checkpoint(crawler, location, reason);
  }
  if (written) {
    append_page(out, "<p class=\"Result\">Checkpointed the crawler.</p>\n");
  } else {
    append_page(out, "<p class=\"Result\">Couldn't checkpoint the crawler to '%s': %s.</p>\n",
                {location, reason});
  }
}

std::string get_checkpoint_directory(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  return crawler.checkpoint_directory;
}

}  // namespace

void write_shutdown_page(page_visit& visit) { stop_crawler(visit.crawler); }

void write_pause_page(page_visit& visit) {
  pause_crawler(visit.crawler);
  append_page(visit.response.body,
              "<p class=\"Help\">The Crawler is currently paused. Click <a "
              "href=\"/webadmin/Resume\">here</a> to resume the crawler.</p>\n");
}

void write_resume_page(page_visit& visit) {
  resume_crawler(visit.crawler);
  append_page(visit.response.body,
              "<p class=\"Help\">The crawler is currently running. Click <a "
              "href=\"/webadmin/Pause\">here</a> to pause the crawler.</p>\n");
}

void write_statistics_page(page_visit& visit) {
  Crawler& crawler = visit.crawler;
  const quota& limits = crawler.crawl_quota;
  std::string& out = visit.response.body;
  if (limits.has_page_limit != 0) {
    const uint32_t pages = limits.pages;
    const uint32_t limit = limits.page_limit;
    append_page(out, "<p>Page Quota: <em>%s</em> of <em>%s</em> pages (<em>%s%</em>).</p>\n",
                {write_page_number(pages), write_page_number(limit), write_share(pages, limit)});
  }
  if (limits.has_mb_limit != 0) {
    const uint32_t megabytes = limits.megabytes;
    const uint32_t limit = limits.mb_limit;
    append_page(
        out, "<p>MegaByte Quota: <em>%s</em> of <em>%s</em> MegaBytes (<em>%s%</em>).</p>\n",
        {write_page_number(megabytes), write_page_number(limit), write_share(megabytes, limit)});
  }
  const auto nb_hosts = static_cast<uint32_t>(get_counts_robots_cache(*crawler.robots).nb_hosts);
  append_page(out, "<p>Downloaded <em>%s</em> robots.txt files.</p>\n",
              {write_page_number(nb_hosts)});
  append_page(out, "<p><em>%s</em> URLs in the URL Horizon.</p>\n",
              {write_page_number(crawler.horizon->count_urls(*crawler.horizon))});
  append_page(out, "<p><em>%s</em> URLs written to disk.</p>\n",
              {write_page_number(get_nb_stored_url_hold(*crawler.store))});
  set_http_headers(visit.response.headers, "Refresh", "5; URL=/webadmin/GetStats");
}

void write_add_url_page(page_visit& visit) {
  Crawler& crawler = visit.crawler;
  std::string& out = visit.response.body;
  append_page(out,
              "<form action=\"/webadmin/AddUrl\" method=\"get\"><p>URL: <input type=\"text\" "
              "name=\"url\"> <input type=\"submit\" value=\"Add\"></p></form>\n");
  if (const std::string* given = find_filled_field(visit.fields, "url"); given != nullptr) {
    std::string url = *given;
    if (crawler.rules.canonical_urls) canonicalize_url(url);
    if (crawler.horizon->add_url(*crawler.horizon, url) != 0) {
      append_page(out, "<p class=\"Result\">Added %s to the URL Horizon.</p>\n", {url});
    }
  }
  append_page(out,
              "<p class=\"Help\">This will add another 'seed URL' to the URL horizon. This URL and "
              "the ones it references will be crawled, subject to your filtering "
              "preferences.</p>\n");
}

void write_checkpoint_page(page_visit& visit) {
  const std::string* location = find_filled_field(visit.fields, "filename");
  std::string result;
  if (location != nullptr) checkpoint_into(visit.crawler, *location, result);
  std::string& out = visit.response.body;
  append_page(out,
              "<form action=\"/webadmin/Checkpoint\" method=\"get\">\n<p>Directory name: <input "
              "type=\"text\" name=\"filename\" value=\"%s\"></p>\n<p><input type=\"submit\" "
              "value=\"Submit\"></p>\n</form>\n",
              {location != nullptr ? *location : get_checkpoint_directory(visit.crawler)});
  out.append(result);
  append_page(out, "<p class=\"Help\">This page saves the crawler's active state to disk. </p>\n");
}

}  // namespace wk
