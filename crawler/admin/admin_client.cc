#include "crawler/admin/admin_client.h"

#include <string_view>

#include "wkskt/skt.h"

namespace wk {
namespace {

constexpr size_t STEP_BYTES = 16'384;

// Looks at the lines of the head that are whole and were not looked at; true when the empty line
// that ends the head is among them. line_start is then behind it.
bool find_head_end(admin_client& client) {
  const std::string_view input = client.input;
  for (size_t feed = input.find('\n', client.line_start); feed != std::string_view::npos;
       feed = input.find('\n', client.line_start)) {
    std::string_view line = input.substr(client.line_start, feed - client.line_start);
    if (line.ends_with('\r')) line.remove_suffix(1);
    client.line_start = feed + 1;
    if (client.has_request_line && line.empty()) return true;
    ++client.nb_lines;
    if (line.find("HTTP/") != std::string_view::npos) client.has_request_line = true;
  }
  return false;
}

// The length of the body, as the head says.
size_t read_body_length(std::string_view head, http_request& scratch) {
  http_read_stored_request(scratch, head);
  return http_headers_content_length(scratch.headers);
}

// A head beyond its bounds is not read at all: what would speak against it might be left out.
void look_at_input(admin_client& client, http_request& scratch) {
  if (client.wanted_bytes == 0) {
    const bool is_whole = find_head_end(client);
    const size_t head_bytes = is_whole ? client.line_start : client.input.size();
    client.state = ADMIN_TOO_LARGE;
    if (head_bytes > ADMIN_MAX_HEAD_BYTES || client.nb_lines > ADMIN_MAX_HEAD_LINES) return;
    client.state = ADMIN_RECEIVING;
    if (!is_whole) return;
    const std::string_view head = std::string_view(client.input).substr(0, head_bytes);
    client.wanted_bytes = head_bytes + read_body_length(head, scratch);
  }
  if (client.wanted_bytes - client.line_start > ADMIN_MAX_BODY_BYTES) {
    client.state = ADMIN_TOO_LARGE;
  } else if (client.input.size() >= client.wanted_bytes) {
    client.state = ADMIN_REQUESTED;
  }
}

// The client sends no more. A line that was cut off might say anything and says nothing.
void end_input(admin_client& client) {
  if (client.wanted_bytes == 0) client.input.resize(client.line_start);
  client.state = client.has_request_line ? ADMIN_REQUESTED : ADMIN_GONE;
}

}  // namespace

admin_client::~admin_client() { skt_close(handle); }

void receive_request(admin_client& client, http_request& scratch) {
  char step[STEP_BYTES];
  while (client.state == ADMIN_RECEIVING) {
    const int64_t received = skt_recv_now(step, sizeof step, client.handle);
    if (received == SKT_WOULD_WAIT) return;
    if (received < 0) {
      client.state = ADMIN_GONE;
    } else if (received == 0) {
      end_input(client);
    } else {
      client.input.append(step, static_cast<size_t>(received));
      look_at_input(client, scratch);
    }
  }
}

void start_answer(admin_client& client, http_response& response) {
  client.status = response.status;
  client.output.clear();
  http_format_response(response, client.output);
  std::string().swap(client.input);
  client.state = ADMIN_SENDING;
}

void send_answer(admin_client& client) {
  while (client.nb_sent < client.output.size()) {
    const int64_t sent =
        skt_send_now(client.handle, std::string_view(client.output).substr(client.nb_sent));
    if (sent == SKT_WOULD_WAIT) return;
    if (sent <= 0) {
      client.state = ADMIN_BROKEN;
      return;
    }
    client.nb_sent += static_cast<size_t>(sent);
  }
  std::string().swap(client.output);
  skt_end_sending(client.handle);
  client.state = ADMIN_CLOSING;
}

void await_close(admin_client& client) {
  char step[STEP_BYTES];
  const int64_t received = skt_recv_now(step, sizeof step, client.handle);
  if (received == 0 || received == -1) client.state = ADMIN_GONE;
}

}  // namespace wk
