#include "app/command_line.h"

#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// What an option does; argument is empty for one without.
struct option {
  const char* name;
  bool takes_argument;
  void (*apply)(start_request& request, const std::string& argument);
};

void set_conf(start_request& request, const std::string& path) {
  request.config_path = path;
  request.mode = MODE_CRAWL;
}

void set_load(start_request& request, const std::string& path) {
  request.config_path = path;
  request.mode = MODE_RESTORE;
}

constexpr option OPTIONS[] = {
    {"-restore", false, [](start_request& r, const std::string&) { r.mode = MODE_RESTORE; }},
    {"-save", false, [](start_request& r, const std::string&) { r.mode = MODE_SAVE; }},
    {"-load", true, set_load},
    {"-crawler-name", true,
     [](start_request& r, const std::string& name) { r.crawler_name = name; }},
    {"-spiders", true,
     [](start_request& r, const std::string& n) { r.nb_spiders = parse_integer(n); }},
    {"-admin-port", true,
     [](start_request& r, const std::string& n) { r.admin_port = parse_integer(n); }},
    {"-admin-thread-sleep-time", true,
     [](start_request& r, const std::string& n) {
       r.admin_thread_sleep_time_ms = parse_integer(n);
     }},
    {"-parse-repository", true,
     [](start_request& r, const std::string& path) { r.parse_repository_path = path; }},
    {"-url-date-map", true,
     [](start_request& r, const std::string& path) { r.url_date_map_path = path; }},
    {"-create-parse-repository", false,
     [](start_request& r, const std::string&) { r.mode = MODE_CREATE_PARSE_REPOSITORY; }},
    {"-enable-raw", false, [](start_request& r, const std::string&) { r.raw_mode = 8; }},
    {"-force-raw", false, [](start_request& r, const std::string&) { r.raw_mode = 255; }},
    {"-stop-when-empty", false,
     [](start_request& r, const std::string&) { r.stop_when_empty = true; }},
    {"-no-libxml", false, [](start_request& r, const std::string&) { r.use_libxml = false; }},
};

const option* find_option(const std::string& argument) {
  for (const option& candidate : OPTIONS) {
    if (argument == candidate.name) return &candidate;
  }
  return nullptr;
}

// The plug-in's arguments run up to one that begins with ";", which is consumed, or to the last.
size_t take_content_plugin(const std::vector<std::string>& arguments, size_t next,
                           start_request& request) {
  std::vector<std::string>& plugin = request.content_plugins.emplace_back();
  for (; next < arguments.size(); ++next) {
    if (arguments[next].starts_with(';')) return next + 1;
    plugin.push_back(arguments[next]);
  }
  return next;
}

command_line_answer answer_fault(std::string_view fault) {
  print_message(std::string(fault) + get_usage_text());
  return COMMAND_LINE_FAULT;
}

}  // namespace

const char* get_usage_text() {
  return "Usage: _zcrawler [-conf crawler.conf] [-crawler-name name] [-spiders <int>] "
         "[-admin-port <int>] [-stop-when-empty] [-restore] [-admin-thread-sleep-time <int>] "
         "[-no-libxml] \n";
}

command_line_answer parse_command_line(const std::vector<std::string>& arguments,
                                       start_request& request) {
  if (arguments.size() < 2) return answer_fault({});
  size_t i = 1;
  while (i < arguments.size()) {
    const std::string& argument = arguments[i++];
    const bool is_last = i == arguments.size();
    if (argument == "-conf") {
      // A last -conf is let through with an empty path, which start-up then misses.
      set_conf(request, is_last ? std::string() : arguments[i]);
      ++i;
    } else if (argument == "-h") {
      return COMMAND_LINE_HELP;
    } else if (argument == "-content-plugin") {
      if (is_last) return answer_fault({});
      i = take_content_plugin(arguments, i, request);
    } else if (const option* known = find_option(argument); known != nullptr) {
      if (known->takes_argument && is_last) return answer_fault({});
      known->apply(request, known->takes_argument ? arguments[i++] : std::string());
    } else {
      return answer_fault(format_text("Unrecognized option: '%s'\n", argument.c_str()));
    }
  }
  return request.mode == MODE_NONE ? answer_fault({}) : COMMAND_LINE_OK;
}

}  // namespace wk
