// The pipeline store: each document goes over a TCP connection of its own to an indexing server.
//
// TRANSFER. Integers and strings are those of wkskt/skt.h.
//
//   crawler  the integers 1 and 512, the URL (string), the item (string; pipeline_item.h)
//   peer     the integer 0: stored; or 1: refused, and a string that says why
//
// A document counts as stored when, and only when, the peer has answered 0. Each step (connecting,
// each of the four things sent, each part of the answer) may take 30 seconds in all. A stop of the
// crawl ends every one of them, but a peer that has all of a document keeps one second for its
// answer, so that what it takes is counted. What is not stored is said in the log, by its URL.
#include <mutex>

#include "crawler/fetch/fetch_settings.h"
#include "crawler/output/pipeline_item.h"
#include "crawler/output/url_hold.h"
#include "wkskt/skt.h"
#include "wkstd/clock.h"
#include "wkstd/error.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

constexpr uint64_t STEP_LIMIT_US = 30'000'000;
constexpr uint64_t LAST_ANSWER_LIMIT_US = 1'000'000;
constexpr uint32_t FIRST_NUMBER = 1;
constexpr uint32_t SECOND_NUMBER = 512;
constexpr uint32_t ANSWER_STORED = 0;
constexpr uint32_t ANSWER_REFUSED = 1;
constexpr size_t MAX_REFUSAL_BYTES = 65'536;

// All fixed at creation.
struct pipeline_url_hold : url_hold {
  std::string host;
  uint32_t port = 0;
  bool raw = false;
  Log* log = nullptr;                     // null: standard error
  const fetch_settings* fetch = nullptr;  // null: nothing stops a transfer, every port is allowed
};

struct connection {
  int handle = -1;
  ~connection() { skt_close(handle); }
};

const std::atomic<uint32_t>* get_stop_flag(const pipeline_url_hold& hold) {
  const bool has_gate = hold.fetch != nullptr && hold.fetch->gate != nullptr;
  return has_gate ? &hold.fetch->gate->stop : nullptr;
}

bool is_stop_set(const pipeline_url_hold& hold) {
  const std::atomic<uint32_t>* stop = get_stop_flag(hold);
  return stop != nullptr && stop->load(std::memory_order_relaxed) != 0;
}

skt_terms begin_step(const pipeline_url_hold& hold) {
  return {.limit_us = STEP_LIMIT_US,
          .deadline_us = get_steady_time_us() + STEP_LIMIT_US,
          .stop = get_stop_flag(hold)};
}

int connect_peer(const pipeline_url_hold& hold) {
  skt_terms terms = begin_step(hold);
  if (hold.fetch != nullptr) {
    const std::shared_lock guard(hold.fetch->lock);
    terms.refused_own_port = hold.fetch->own_port;
  }
  return skt_open_with_timeout(hold.host.c_str(), hold.port, terms);
}

bool send_item(const pipeline_url_hold& hold, int handle, const stored_document& document) {
  std::string item;
  append_pipeline_item(item, document, hold.raw);
  return skt_send_uint32_with_timeout(handle, FIRST_NUMBER, begin_step(hold)) == 1 &&
         skt_send_uint32_with_timeout(handle, SECOND_NUMBER, begin_step(hold)) == 1 &&
         skt_send_message(handle, document.url, begin_step(hold)) == 1 &&
         skt_send_message(handle, item, begin_step(hold)) == 1;
}

uint32_t receive_answer(const pipeline_url_hold& hold, int handle) {
  const uint32_t answer = skt_recv_uint32_with_timeout(handle, begin_step(hold));
  if (answer != SKT_NO_NUMBER || !is_stop_set(hold)) return answer;
  const skt_terms last = {.limit_us = LAST_ANSWER_LIMIT_US,
                          .deadline_us = get_steady_time_us() + LAST_ANSWER_LIMIT_US};
  return skt_recv_uint32_with_timeout(handle, last);
}

// Null when the peer has stored the document, else why not.
const char* transfer_document(const pipeline_url_hold& hold, const stored_document& document) {
  const connection peer{connect_peer(hold)};
  if (peer.handle < 0) return "no connection";
  if (!send_item(hold, peer.handle, document)) return "not sent";
  switch (receive_answer(hold, peer.handle)) {
    case ANSWER_STORED:
      return nullptr;
    case ANSWER_REFUSED: {
      // The peer's reason is its own affair, but it is not cut short.
      std::string reason;
      (void)skt_recv_message(peer.handle, reason, begin_step(hold), MAX_REFUSAL_BYTES);
      return "refused";
    }
    case SKT_NO_NUMBER:
      return "no answer";
    default:
      return "an unknown answer";
  }
}

void report_pipeline(const pipeline_url_hold& hold, std::string_view url, const char* reason) {
  std::string text(url);
  text.append("  Not stored by the pipeline (").append(reason).append(")");
  if (hold.log != nullptr) {
    write_log(*hold.log, LOG_ERROR, "cs-uri s-comment", text);
  } else {
    print_message(text.append("\n"));
  }
}

int store_document_pipeline(url_hold& base, const stored_document& document) {
  const auto& hold = static_cast<const pipeline_url_hold&>(base);
  if (document.url.empty() || document.content.empty()) return 0;
  const char* reason =
      is_stop_set(hold) ? "the crawl has stopped" : transfer_document(hold, document);
  if (reason == nullptr) return 1;
  report_pipeline(hold, document.url, reason);
  if (!is_stop_set(hold)) base.nb_lost.fetch_add(1, std::memory_order_relaxed);
  return 0;
}

void save_pipeline(const url_hold& base, std::string& stream) {
  const auto& hold = static_cast<const pipeline_url_hold&>(base);
  append_u32(stream, 1);
  append_string(stream, hold.host);
  append_u32(stream, hold.port);
}

// The peer is the store's own from the beginning; the image's must be the same.
bool load_pipeline(url_hold& base, std::string_view& stream) {
  const auto& hold = static_cast<const pipeline_url_hold&>(base);
  std::string_view rest = stream;
  uint32_t mark = 0;
  std::string host;
  uint32_t port = 0;
  if (!take_u32(rest, mark) || mark != 1 || !take_string(rest, host) || !take_u32(rest, port) ||
      host != hold.host || port != hold.port) {
    return false;
  }
  stream = rest;
  return true;
}

void destroy_pipeline(url_hold* hold) { delete static_cast<pipeline_url_hold*>(hold); }

constexpr url_hold_ops PIPELINE_URL_HOLD_OPS = {
    .obj_type = T_PIPELINE_URL_HOLD_OBJ,
    .destroy = destroy_pipeline,
    .store_document = store_document_pipeline,
    .store_headers = nullptr,
    .resume = nullptr,
    .save = save_pipeline,
    .load = load_pipeline,
};

}  // namespace

url_hold_ptr create_pipeline_url_hold(const std::string& host, uint32_t port, bool raw, Log* log,
                                      const fetch_settings* fetch) {
  auto hold = std::make_unique<pipeline_url_hold>();
  hold->ops = &PIPELINE_URL_HOLD_OPS;
  hold->host = host;
  hold->port = port;
  hold->raw = raw;
  hold->log = log;
  hold->fetch = fetch;
  return url_hold_ptr(hold.release());
}

}  // namespace wk
