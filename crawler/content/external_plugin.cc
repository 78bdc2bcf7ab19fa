#include "crawler/content/external_plugin.h"

#include <mutex>
#include <utility>

#include "wkstd/clock.h"
#include "wkstd/error.h"
#include "wkstd/state_stream.h"
#include "wkstd/text.h"

namespace wk {
namespace {

enum plugin_request : uint32_t {
  REQUEST_CLOSE = 1,
  REQUEST_MIME = 2,
  REQUEST_URL = 3,
  REQUEST_CONTENT = 4,
  REQUEST_CONVERT = 5,
};

struct external_plugin {
  std::string name;  // for messages
  external_plugin_limits limits;
  const std::atomic<uint32_t>* stop;

  // Held over a whole exchange; guards all below. No other lock is taken under it.
  std::mutex lock;
  process_ptr program;  // null: was closed
  process_terms terms;  // of the exchange under way
  uint64_t end_us;      // steady time by which it is to have ended
};

void end_plugin(external_plugin& plugin, const std::string& reason) {
  print_message(format_text("The content plug-in '%s' is not asked any more: %s\n",
                            plugin.name.c_str(), reason.c_str()));
  plugin.program.reset();
}

// True when all went well. Otherwise the plug-in is at an end.
bool check_answer(external_plugin& plugin, process_answer answer) {
  switch (answer) {
    case PROCESS_OK:
      return true;
    case PROCESS_ENDED:
      end_plugin(plugin, "it has ended");
      return false;
    case PROCESS_TIMED_OUT:
      end_plugin(plugin, format_text("no answer came within %llu ms",
                                     static_cast<unsigned long long>(plugin.limits.exchange_ms)));
      return false;
    case PROCESS_STOPPED:
      plugin.program.reset();
      return false;
  }
  return false;
}

process_terms build_terms(uint64_t limit_ms, const std::atomic<uint32_t>* stop) {
  return {.deadline_us = get_steady_time_us() + limit_ms * 1000, .stop = stop};
}

// Sends the first bytes of an exchange. Caller holds the plug-in's lock, here and below.
bool begin_exchange(external_plugin& plugin, std::string_view bytes) {
  if (plugin.program == nullptr) return false;
  if (plugin.stop != nullptr && plugin.stop->load(std::memory_order_relaxed) != 0) return false;
  if (has_output_process(*plugin.program)) {
    end_plugin(plugin, "it wrote what nobody had asked for");
    return false;
  }
  plugin.terms = build_terms(plugin.limits.exchange_ms, plugin.stop);
  return check_answer(plugin, send_process(*plugin.program, bytes, plugin.terms));
}

bool send(external_plugin& plugin, std::string_view bytes) {
  return check_answer(plugin, send_process(*plugin.program, bytes, plugin.terms));
}

bool receive(external_plugin& plugin, size_t count, std::string& out) {
  out.clear();
  return check_answer(plugin, receive_process(*plugin.program, count, out, plugin.terms));
}

bool receive_u32(external_plugin& plugin, uint32_t& value) {
  std::string bytes;
  if (!receive(plugin, sizeof value, bytes)) return false;
  std::string_view rest = bytes;
  return take_u32(rest, value);
}

uint8_t recognize(plugin_request request, std::string_view text, void* context) {
  external_plugin& plugin = *static_cast<external_plugin*>(context);
  std::string head;
  append_u32(head, request);
  append_u32(head, static_cast<uint32_t>(text.size()));
  std::string certainty;
  const std::lock_guard<std::mutex> hold(plugin.lock);
  if (!begin_exchange(plugin, head) || !send(plugin, text) || !receive(plugin, 1, certainty)) {
    return 0;
  }
  return static_cast<uint8_t>(certainty[0]);
}

uint8_t recognize_external_mime(std::string_view mime_type, void* context) {
  return recognize(REQUEST_MIME, mime_type, context);
}

uint8_t recognize_external_url(std::string_view url, void* context) {
  return recognize(REQUEST_URL, url, context);
}

uint8_t recognize_external_content(std::string_view content, void* context) {
  return recognize(REQUEST_CONTENT, content, context);
}

bool receive_conversion(external_plugin& plugin, conversion& result) {
  uint32_t length = 0;
  if (!receive_u32(plugin, length)) return false;
  if (length > plugin.limits.output_bytes) {
    end_plugin(plugin, format_text("it announced %u bytes", length));
    return false;
  }
  conversion came;
  if (!receive(plugin, length, came.text) || !receive_u32(plugin, came.type)) return false;
  result = std::move(came);
  return true;
}

uint32_t convert_external(const conversion_request& request, conversion& result, void* context) {
  external_plugin& plugin = *static_cast<external_plugin*>(context);
  std::string head;
  append_u32(head, REQUEST_CONVERT);
  append_string(head, request.first_text);
  append_string(head, request.second_text);
  append_u32(head, static_cast<uint32_t>(request.content.size()));
  uint32_t status = 0;
  const std::lock_guard<std::mutex> hold(plugin.lock);
  if (!begin_exchange(plugin, head) || !send(plugin, request.content) ||
      !receive_u32(plugin, status)) {
    return 0;
  }
  return status != 0 && receive_conversion(plugin, result) ? status : 0;
}

// The last word goes out even when the crawl was stopped.
void begin_close_external(void* context) {
  external_plugin& plugin = *static_cast<external_plugin*>(context);
  std::string bytes;
  append_u32(bytes, REQUEST_CLOSE);
  const std::lock_guard<std::mutex> hold(plugin.lock);
  plugin.stop = nullptr;
  plugin.limits.exchange_ms = plugin.limits.end_ms;
  plugin.end_us = build_terms(plugin.limits.end_ms, nullptr).deadline_us;
  if (begin_exchange(plugin, bytes)) close_pipes_process(*plugin.program);
}

void close_external(void* context) {
  const std::unique_ptr<external_plugin> plugin(static_cast<external_plugin*>(context));
  const std::lock_guard<std::mutex> hold(plugin->lock);
  if (plugin->program == nullptr) return;
  const uint64_t now_us = get_steady_time_us();
  const uint64_t left_us = plugin->end_us > now_us ? plugin->end_us - now_us : 0;
  if (end_process(*plugin->program, left_us / 1'000)) return;
  end_plugin(*plugin, format_text("it did not end within %llu ms",
                                  static_cast<unsigned long long>(plugin->limits.end_ms)));
}

constexpr content_plugin_ops external_ops = {
    .name = "external",
    .recognize_mime = recognize_external_mime,
    .recognize_content = recognize_external_content,
    .recognize_url = recognize_external_url,
    .convert = convert_external,
    .begin_close = begin_close_external,
    .close = close_external,
};

// The plug-in's first word; which number it is doesn't matter.
bool has_come_up(process& program, const process_terms& terms) {
  std::string word;
  return receive_process(program, sizeof(uint32_t), word, terms) == PROCESS_OK;
}

}  // namespace

bool load_external_plugin(crawler_content_plugin& set, std::span<const std::string> arguments,
                          const std::atomic<uint32_t>* stop, const external_plugin_limits& limits) {
  process_ptr program = open_process(arguments);
  return program != nullptr &&
         add_external_plugin(set, arguments[0], std::move(program), stop, limits);
}

bool add_external_plugin(crawler_content_plugin& set, const std::string& name, process_ptr program,
                         const std::atomic<uint32_t>* stop, const external_plugin_limits& limits) {
  if (!has_come_up(*program, build_terms(limits.start_ms, stop))) return false;
  add_crawler_content_plugin(set, external_ops,
                             new external_plugin{.name = name,
                                                 .limits = limits,
                                                 .stop = stop,
                                                 .lock = {},
                                                 .program = std::move(program),
                                                 .terms = {},
                                                 .end_us = 0});
  return true;
}

}  // namespace wk
