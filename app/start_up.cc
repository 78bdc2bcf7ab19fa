#include "app/start_up.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <utility>

#include "app/command_line.h"
#include "app/progress_line.h"
#include "app/signal_watch.h"
#include "crawler/config/profile_check.h"
#include "crawler/content/builtin_plugins.h"
#include "crawler/content/external_plugin.h"
#include "crawler/core/build_crawler.h"
#include "crawler/core/checkpoint.h"
#include "crawler/core/crawler.h"
#include "crawler/core/crawler_image.h"
#include "crawler/output/url_dates.h"
#include "crawler/run/control_loop.h"
#include "wkskt/skt.h"
#include "wkstd/error.h"
#include "wkstd/file.h"
#include "wkstd/text.h"
#include "wkzp/parse_repository.h"

namespace wk {
namespace {

// The network layer, up as long as the record lives.
struct socket_layer {
  socket_layer() { skt_startup(); }
  ~socket_layer() { skt_cleanup(); }
  socket_layer(const socket_layer&) = delete;
  socket_layer& operator=(const socket_layer&) = delete;
};

bool write_to_output(const std::string& bytes) {
  return std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() &&
         std::fflush(stdout) == 0;
}

// Says what the profile's reader passes over, or takes for something else, without a word.
void tell_doubts(const start_request& request) {
  profile_question question;
  question.path = request.config_path;
  question.name = request.crawler_name;
  question.use_libxml = request.use_libxml;
  if (request.admin_port > -2) question.admin_port = request.admin_port;
  if (request.mode == MODE_SAVE) question.admin_port = -1;  // no crawl, no server
  std::vector<std::string> doubts;
  (void)check_profile(question, doubts);  // of what can't be read the reader says why
  for (const std::string& doubt : doubts) print_message(doubt + "\n");
}

constexpr uint64_t MAX_IMAGE_BYTES = uint64_t{4} << 30;

// -load takes a profile or an image; only an image begins with its mark.
crawler_ptr load_profile_or_image(const start_request& request, const std::atomic<uint32_t>& stop) {
  std::string bytes;
  const bool is_image = request.mode == MODE_RESTORE &&
                        read_file_head(request.config_path, sizeof CRAWLER_IMAGE_MARK, bytes) &&
                        is_crawler_image(bytes);
  if (!is_image) {
    tell_doubts(request);
    return load_crawler(request.config_path, request.crawler_name, request.use_libxml, &stop);
  }
  crawler_ptr crawler;
  if (read_whole_file(request.config_path, MAX_IMAGE_BYTES, bytes)) {
    crawler = load_crawler_image(bytes, request.config_path);
  }
  if (crawler == nullptr) {
    print_message(format_text("The crawler image '%s' is damaged.\n", request.config_path.c_str()));
  }
  return crawler;
}

crawler_ptr start_crawler(const start_request& request, const std::atomic<uint32_t>& stop) {
  crawler_ptr crawler = load_profile_or_image(request, stop);
  if (crawler == nullptr) return nullptr;
  switch (request.mode) {
    case MODE_CRAWL:
    case MODE_SAVE:
      start_fresh_crawler(*crawler);
      return crawler;
    case MODE_RESTORE:
      // A crawl of what could be read would replace the checkpoint by less.
      return restore_crawler(*crawler) ? std::move(crawler) : nullptr;
    default:
      print_message(format_text("Unrecognized or unhandled mode: %u\n", request.mode));
      return nullptr;
  }
}

void load_url_dates(Crawler& crawler, const std::string& path) {
  if (path.empty()) return;
  uint32_t nb_skipped = 0;
  hash_string_ptr dates = read_url_dates(path, nb_skipped);
  if (dates == nullptr) {
    print_message(format_text("Couldn't load the URL date map '%s'\n", path.c_str()));
    return;
  }
  if (nb_skipped > 0) {
    print_message(format_text("The URL date map '%s' names store files that can't be read: %u\n",
                              path.c_str(), nb_skipped));
  }
  attach_url_dates_crawler(crawler, std::move(dates));
}

// Raw mode 255 takes every document for raw, whatever other plug-ins would say of it.
void load_plugins(Crawler& crawler, const start_request& request) {
  add_raw_plugin(crawler.plugins, request.raw_mode);
  if (request.raw_mode == 255) return;
  add_html_plugin(crawler.plugins);
  for (const std::vector<std::string>& arguments : request.content_plugins) {
    if (load_external_plugin(crawler.plugins, arguments, &crawler.gate.stop)) continue;
    print_message(format_text("Couldn't load content plugin '%s'\n",
                              arguments.empty() ? "" : arguments[0].c_str()));
  }
}

int save_image(Crawler& crawler) {
  std::string image;
  {
    const std::lock_guard<std::mutex> hold(crawler.gate.lock);
    save_crawler(crawler, image);
  }
  if (write_to_output(image)) return 0;
  print_message("Couldn't write the crawler image.\n");
  return 1;
}

void log_command_line(Crawler& crawler, const std::vector<std::string>& arguments) {
  std::string text;
  for (const std::string& argument : arguments) text.append(argument).append(" ");
  write_log(*crawler.log, LOG_STATUS, "x-cmdline-arguments", text);
}

void apply_overrides(Crawler& crawler, const start_request& request) {
  if (request.nb_spiders > 0) {
    set_spiders_crawler(crawler, static_cast<uint32_t>(request.nb_spiders));
  }
  if (request.admin_port > -2) set_admin_port_crawler(crawler, request.admin_port);
  if (request.admin_thread_sleep_time_ms > 0) {
    set_admin_thread_sleep_time_crawler(crawler,
                                        static_cast<uint32_t>(request.admin_thread_sleep_time_ms));
  }
  if (request.stop_when_empty) set_stop_when_empty_crawler(crawler, true);
}

// Signals may come before there is a crawler. A stop is remembered; nothing is open to be reopened.
struct start_signals {
  std::atomic<uint32_t> stop{0};  // set once; read without the lock
  std::mutex lock;                // taken before the crawler's
  Crawler* crawler = nullptr;     // guarded by lock
};

void stop_on_signal(void* context) {
  auto& start = *static_cast<start_signals*>(context);
  print_message("Stopping the crawl; a second signal ends the process at once.\n");
  const std::lock_guard<std::mutex> hold(start.lock);
  start.stop.store(1);
  if (start.crawler != nullptr) stop_crawler(*start.crawler);
}

// From here on signals are the crawler's.
void hand_over_signals(start_signals& start, Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(start.lock);
  start.crawler = &crawler;
  if (start.stop.load() != 0) stop_crawler(crawler);
}

void reopen_on_signal(void* context) {
  auto& start = *static_cast<start_signals*>(context);
  const std::lock_guard<std::mutex> hold(start.lock);
  if (start.crawler != nullptr) reopen_outputs_crawler(*start.crawler);
}

void crawl(Crawler& crawler, const start_request& request,
           const std::vector<std::string>& arguments) {
  log_command_line(crawler, arguments);
  apply_overrides(crawler, request);
  const progress_line_ptr progress = create_progress_line(crawler);
  run_main_loop(crawler);
}

int create_parse_repository() {
  std::string bytes;
  write_parse_repository(get_parse_repository(), bytes);
  if (write_to_output(bytes)) return 0;
  print_message("Couldn't write the parse repository.\n");
  return 1;
}

int run_request(const start_request& request, const std::vector<std::string>& arguments) {
  if (request.config_path.empty()) {
    print_message(get_usage_text());
    return 1;
  }
  start_signals start;
  crawler_ptr crawler;
  // A signal ends a long start, and the waiting for plug-ins, when they start and when they end.
  const signal_watch_ptr watch =
      create_signal_watch({.stop = stop_on_signal, .reopen = reopen_on_signal, .context = &start});
  crawler = start_crawler(request, start.stop);
  // Stopped before there was a crawl: only an image that was asked for is missing.
  if (crawler == nullptr && start.stop.load() != 0) return request.mode == MODE_SAVE ? 1 : 0;
  if (crawler == nullptr) {
    print_message(format_text("Couldn't load crawler (%s #%s). Aborting\n",
                              request.config_path.c_str(), request.crawler_name.c_str()));
    return 1;
  }
  if (request.mode != MODE_SAVE) open_links_crawler(*crawler);  // the watch may open it again
  hand_over_signals(start, *crawler);
  load_url_dates(*crawler, request.url_date_map_path);
  load_plugins(*crawler, request);
  int status = 0;
  if (request.mode == MODE_SAVE) {
    status = save_image(*crawler);
  } else {
    crawl(*crawler, request, arguments);
  }
  write_log(*crawler->log, LOG_STATUS, "s-comment", "Crawling process success!\n");
  close_crawler_content_plugin(crawler->plugins);
  return status;
}

}  // namespace

int run_program(const std::vector<std::string>& arguments) {
  start_request request;
  switch (parse_command_line(arguments, request)) {
    case COMMAND_LINE_OK:
      break;
    case COMMAND_LINE_HELP:
      std::fputs(get_usage_text(), stdout);
      return 0;
    case COMMAND_LINE_FAULT:
      return 1;
  }
  prepare_signals();
  const socket_layer sockets;
  if (!request.parse_repository_path.empty()) {
    (void)load_parse_repository(
        request.parse_repository_path);  // said there; the built-in one stays
  }
  if (request.mode == MODE_CREATE_PARSE_REPOSITORY) return create_parse_repository();
  return run_request(request, arguments);
}

}  // namespace wk
