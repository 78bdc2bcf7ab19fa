#include "app/start_up.h"

#include <cstdio>

#include "app/command_line.h"
#include "app/signal_watch.h"
#include "crawler/core/build_crawler.h"
#include "crawler/core/crawler.h"
#include "crawler/run/control_loop.h"
#include "wkskt/skt.h"
#include "wkstd/error.h"
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

crawler_ptr start_crawler(const start_request& request) {
  crawler_ptr crawler = load_crawler(request.config_path, request.crawler_name, request.use_libxml);
  if (crawler != nullptr && request.mode == MODE_CRAWL) start_fresh_crawler(*crawler);
  return crawler;
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

void stop_on_signal(void* context) {
  print_message("Stopping the crawl; a second signal ends the process at once.\n");
  stop_crawler(*static_cast<Crawler*>(context));
}

void crawl(Crawler& crawler, const start_request& request,
           const std::vector<std::string>& arguments) {
  log_command_line(crawler, arguments);
  apply_overrides(crawler, request);
  const signal_watch_ptr watch = create_signal_watch(stop_on_signal, &crawler);
  run_main_loop(crawler);
}

int create_parse_repository() {
  std::string bytes;
  write_parse_repository(get_parse_repository(), bytes);
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() &&
                       std::fflush(stdout) == 0;
  if (!written) print_message("Couldn't write the parse repository.\n");
  return written ? 0 : 1;
}

int run_request(const start_request& request, const std::vector<std::string>& arguments) {
  if (request.config_path.empty()) {
    print_message(get_usage_text());
    return 1;
  }
  const crawler_ptr crawler = start_crawler(request);
  if (crawler == nullptr) {
    print_message(format_text("Couldn't load crawler (%s #%s). Aborting\n",
                              request.config_path.c_str(), request.crawler_name.c_str()));
    return 1;
  }
  crawl(*crawler, request, arguments);
  write_log(*crawler->log, LOG_STATUS, "s-comment", "Crawling process success!\n");
  return 0;
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
