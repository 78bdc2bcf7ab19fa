// What a crawl could reach if fetching were all of it: some threads get the paths of a list, each
// over a connection of its own, and append the bodies to one file. Nothing is parsed, nothing is
// asked twice, nothing is checked but that the answer has a head.
//
//   ceiling PORT THREADS LIST OUT     the paths of LIST, a line each, from 127.0.0.1:PORT

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

struct fetch_job {
  sockaddr_in peer{};
  std::vector<std::string> paths;
  std::atomic<size_t> next{0};
  std::atomic<size_t> nb_failed{0};
  int out = -1;
  std::mutex out_lock;
};

// Where the answer ends, as soon as its head is there.
size_t find_end(std::string_view head) {
  const size_t end = head.find("\r\n\r\n");
  const size_t at = head.find("Content-Length: ");
  if (end == std::string_view::npos || at > end) return std::string_view::npos;
  size_t length = 0;
  std::from_chars(head.data() + at + 16, head.data() + end, length);
  return end + 4 + length;
}

// The number of bytes of the answer in the buffer; 0 when it did not come.
size_t fetch(const fetch_job& job, const std::string& path, std::vector<char>& buffer) {
  const int handle = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const std::string request = "GET " + path + " HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";
  size_t size = 0;
  size_t end = std::string_view::npos;
  if (connect(handle, reinterpret_cast<const sockaddr*>(&job.peer), sizeof job.peer) == 0 &&
      send(handle, request.data(), request.size(), MSG_NOSIGNAL) > 0) {
    while (size < end && size < buffer.size()) {
      const ssize_t count = recv(handle, buffer.data() + size, buffer.size() - size, 0);
      if (count <= 0) break;
      size += static_cast<size_t>(count);
      if (end == std::string_view::npos) end = find_end({buffer.data(), size});
    }
  }
  close(handle);
  return size;
}

void fetch_until_done(fetch_job& job) {
  std::vector<char> buffer(16 << 20);
  for (size_t i = job.next++; i < job.paths.size(); i = job.next++) {
    const size_t size = fetch(job, job.paths[i], buffer);
    const size_t head = std::string_view(buffer.data(), size).find("\r\n\r\n");
    if (head == std::string_view::npos) {
      ++job.nb_failed;
      continue;
    }
    const std::lock_guard<std::mutex> hold(job.out_lock);
    const size_t body = size - head - 4;
    if (write(job.out, buffer.data() + head + 4, body) != static_cast<ssize_t>(body)) std::abort();
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "Usage: ceiling PORT THREADS LIST OUT\n");
    return 1;
  }
  fetch_job job;
  job.peer.sin_family = AF_INET;
  job.peer.sin_port = htons(static_cast<uint16_t>(std::atoi(argv[1])));
  job.peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::ifstream list(argv[3]);
  for (std::string line; std::getline(list, line);) job.paths.push_back(line);
  job.out = open(argv[4], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (job.out < 0 || job.paths.empty()) return 1;
  std::vector<std::jthread> threads;
  for (int i = 0; i < std::atoi(argv[2]); ++i)
    threads.emplace_back([&job] { fetch_until_done(job); });
  threads.clear();
  if (job.nb_failed != 0) std::fprintf(stderr, "%zu failed\n", job.nb_failed.load());
  return job.nb_failed == 0 ? 0 : 1;
}
