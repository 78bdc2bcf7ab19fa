// A web site without an end, fast enough to be no limit for a crawl: page N links to pages 3 N + 1
// to 3 N + 3, to its parent and to one picked at random. One page in a hundred is hostile, each
// time in another way.
//
//   endless_site         prints its port, and serves on 127.0.0.1 until its standard input closes

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr uint64_t PAGES_A_HOSTILE_ONE = 100;

uint64_t mix(uint64_t x) {
  x = (x ^ (x >> 33)) * 0xff51afd7ed558ccd;
  x = (x ^ (x >> 33)) * 0xc4ceb9fe1a85ec53;
  return x ^ (x >> 33);
}

std::string build_link(uint64_t number) {
  return "<a href=\"/" + std::to_string(number) + "\">" + std::to_string(mix(number)) + "</a>\n";
}

std::string build_body(uint64_t number) {
  std::string body = "<html><title>" + std::to_string(mix(number)) + "</title>\n";
  for (uint64_t i = 1; i <= 3; ++i) body += build_link(number * 3 + i);
  body += build_link(number / 3) + build_link(mix(number) % (number + 1));
  for (uint64_t i = 0; i < mix(number) % 60; ++i)
    body += std::to_string(mix(number + i)) + " text ";
  return body;
}

std::string build_answer(std::string_view head, const std::string& body, size_t announced) {
  return "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n" + std::string(head) +
         "Content-Length: " + std::to_string(announced) + "\r\n\r\n" + body;
}

// All of them lead on, where they come to be read at all.
std::string build_hostile_answer(uint64_t number) {
  const std::string body = build_body(number);
  switch (number / PAGES_A_HOSTILE_ONE % 10) {
    case 0:
      return "";
    case 1:
      return "nothing like HTTP\n" + body;
    case 2:
      return build_answer("", body, body.size() + 1'000);
    case 3:
      return build_answer("", body, body.size() / 2);
    case 4:
      return build_answer("X: " + std::string(300'000, 'x') + "\r\n", body, body.size());
    case 5:
      return "HTTP/1.0 302 Found\r\nLocation: /" + std::to_string(number) + "\r\n\r\n";
    case 6:
      return build_answer("", std::string(400'000, '<') + body, 400'000 + body.size());
    case 7:
      return build_answer("Set-Cookie: a=" + std::string(9'000, 'c') + "\r\n", body + "<!-- -",
                          body.size() + 6);
    case 8:
      return build_answer("", body + std::string("\0\xff\xfe\0", 4) + "<script>", body.size());
    default:
      return build_answer("Content-Length: -1\r\n", body, 4'000'000'000);
  }
}

void answer(int client) {
  char request[4'096];
  const ssize_t count = recv(client, request, sizeof request, 0);
  const std::string_view text(request, count > 0 ? static_cast<size_t>(count) : 0);
  uint64_t number = 0;
  if (text.size() > 5) std::from_chars(text.data() + 5, text.data() + text.size(), number);
  const bool hostile = number % PAGES_A_HOSTILE_ONE == PAGES_A_HOSTILE_ONE - 1;
  const std::string body = build_body(number);
  const std::string bytes =
      hostile ? build_hostile_answer(number) : build_answer("", body, body.size());
  size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t part = send(client, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (part <= 0) break;
    sent += static_cast<size_t>(part);
  }
  close(client);
}

}  // namespace

int main() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in own{};
  own.sin_family = AF_INET;
  own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof own;
  if (bind(listener, reinterpret_cast<sockaddr*>(&own), sizeof own) != 0 ||
      listen(listener, 4'096) != 0 ||
      getsockname(listener, reinterpret_cast<sockaddr*>(&own), &length) != 0) {
    return 1;
  }
  std::printf("%d\n", ntohs(own.sin_port));
  std::fflush(stdout);
  const int events = epoll_create1(EPOLL_CLOEXEC);
  const auto watch = [events](int handle, uint32_t what) {
    epoll_event event{};
    event.events = what;
    event.data.fd = handle;
    epoll_ctl(events, EPOLL_CTL_ADD, handle, &event);
  };
  watch(listener, EPOLLIN);
  watch(STDIN_FILENO, EPOLLIN);
  for (;;) {
    epoll_event ready[64];
    const int nb_ready = epoll_wait(events, ready, 64, -1);
    for (int i = 0; i < nb_ready; ++i) {
      const int handle = ready[i].data.fd;
      if (handle == STDIN_FILENO) return 0;
      if (handle != listener) {
        answer(handle);
      } else {
        watch(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC), EPOLLIN);
      }
    }
  }
}
