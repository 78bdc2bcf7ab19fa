// TCP stream sockets over IPv4 in which every wait has a limit.
//
// A socket is a plain handle; a negative one means that there is none. Every handle belongs to the
// caller who opened or accepted it, is used by one thread at a time and ends with skt_close. Limits
// are in microseconds. Integers on the wire are 32-bit unsigned in network byte order; a message is
// its length as such an integer and then its bytes. Nothing here keeps state.
//
// No reading function takes a byte from the socket beyond those it was asked for: what waits is
// peeked at, and then exactly what belongs to the answer is taken.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

constexpr uint64_t SKT_NO_WAIT_US = 4'294'967'295;  // where stated: no wait is made
constexpr uint32_t SKT_NO_NUMBER = 100'000'000;     // the answer of a failed integer receive
constexpr int SKT_BUFFER_BYTES = 32'768;            // send and receive buffer of every socket

// Why skt_open_with_timeout opened nothing.
enum skt_fault : uint32_t {
  SKT_NO_FAULT = 0,
  SKT_PEER_FAULT,        // the peer refused, or did not answer in time
  SKT_NO_ADDRESS_FAULT,  // the host's name was not found, or not in time
  SKT_OWN_FAULT,         // refused: a server of this machine that nobody is to be led to
  SKT_SHORTAGE_FAULT,    // this machine is short of handles, memory, client ports or threads
};

// The terms on which one operation may wait. Each single wait has the full limit.
struct skt_terms {
  uint64_t limit_us = 0;
  // Steady time (wkstd/clock.h) after which every wait fails, whatever the limit; 0: none.
  uint64_t deadline_us = 0;
  // When not null and set, every wait fails within 250 ms.
  const std::atomic<uint32_t>* stop = nullptr;

  // Looked at by skt_open_with_timeout only.
  // A connection to this port on an address of this machine is refused, by the resolved address;
  // 0: none.
  uint32_t refused_own_port = 0;
  bool refuses_own_addresses = false;  // the same for every port
  // When not null, receives why nothing was opened; with a shortage errno says of what.
  skt_fault* fault = nullptr;
};

void skt_startup();
void skt_cleanup();

// Connects to host and port; with a null host listens on every address of this machine. -1 on
// failure. A limit of 0 connects without a limit. A host that does not resolve prints
// "Socket error: %s:%d\n" to standard error; an empty host and a port outside 1 to 65535 fail.
[[nodiscard]] int skt_open_with_timeout(const char* host, uint32_t port, const skt_terms& terms);
[[nodiscard]] int skt_open(const char* host, uint32_t port);
// Listens on one address, in digits ("127.0.0.1") or a name; port 0 lets the system choose one. -1
// on failure; errno is EADDRINUSE when another has the port.
[[nodiscard]] int skt_listen(const char* address, uint32_t port);
// The port that a listening socket is bound to; 0 on failure.
[[nodiscard]] uint32_t skt_get_bound_port(int handle);
// The address of this machine that a socket is bound to or, once accepted, was reached at, in
// digits; "0.0.0.0" for a socket that listens on all; empty on failure.
[[nodiscard]] std::string skt_get_bound_address(int handle);
// address, when not null, receives the client's IPv4 address in network byte order.
[[nodiscard]] int skt_accept(int handle, uint32_t* address);
void skt_close(int handle);
[[nodiscard]] bool skt_is_alive(int handle);  // false: no socket, or the peer has closed

// Whether a system's error says that this machine lacks something, and nothing of the peer.
[[nodiscard]] bool is_skt_shortage(int error);

// Whether a wait on these terms fails at once, its limit aside: stopped, or past the deadline.
[[nodiscard]] bool is_over_skt_terms(const skt_terms& terms);
[[nodiscard]] int skt_wait_readable(int handle, const skt_terms& terms);  // 1 readable, else 0
[[nodiscard]] int skt_wait_writable(int handle, const skt_terms& terms);  // 1 writable, else 0

[[nodiscard]] int64_t skt_send_all(int handle, std::string_view bytes);  // the count, or -1
[[nodiscard]] int64_t skt_send_string(int handle, std::string_view text);
// 1 when all was sent, 0 on a time-out or error.
[[nodiscard]] int skt_send_all_with_timeout(int handle, std::string_view bytes,
                                            const skt_terms& terms);

// Bytes received, fewer than count if the peer closed; -1 on an error.
[[nodiscard]] int64_t skt_recv_all(int handle, char* buffer, size_t count);
// 0 on a time-out before the first byte, else as skt_recv_all; the buffer is zeroed first. A limit
// of SKT_NO_WAIT_US makes no wait.
[[nodiscard]] int64_t skt_recv_all_with_timeout(char* buffer, size_t count, int handle,
                                                const skt_terms& terms);

// A line without its line feed; a carriage return stays. 1 at a line feed; 0 on a time-out, error
// or close, or when the line would pass max_bytes. skt_read_line keeps what came before a close.
[[nodiscard]] int skt_read_line(std::string& line, int handle, size_t max_bytes = SIZE_MAX);
[[nodiscard]] int skt_read_line_with_timeout(std::string& line, int handle, const skt_terms& terms,
                                             size_t max_bytes = SIZE_MAX);

// Reads count bytes into buffer (zeroed first), waiting within the limit before each part that
// comes; the number of bytes read.
[[nodiscard]] size_t skt_read_counted_with_timeout(char* buffer, size_t count, int handle,
                                                   const skt_terms& terms);
// Reads until the peer closes, nothing comes within the limit, or max_bytes are there; the number
// of bytes read.
size_t skt_read_until_quiet(std::string& out, int handle, const skt_terms& terms,
                            size_t max_bytes = SIZE_MAX);
// Reads blocks until the peer closes or nothing comes within the limit; -1 on an error. A limit of
// SKT_NO_WAIT_US makes no wait.
[[nodiscard]] int64_t skt_read_all(std::string& out, int handle, const skt_terms& terms,
                                   size_t max_bytes = SIZE_MAX);

// Without any wait, for a thread that serves many clients and polls their sockets itself.
constexpr int64_t SKT_WOULD_WAIT = -2;
// The next client that waits, or -1; errno is EAGAIN when none does. handle never blocks from then
// on. Closing the client's socket never waits for what the client has not taken.
[[nodiscard]] int skt_accept_now(int handle, uint32_t* address);
// The number of bytes, SKT_WOULD_WAIT, or -1; 0 received bytes mean that the peer has closed.
[[nodiscard]] int64_t skt_recv_now(char* buffer, size_t count, int handle);
[[nodiscard]] int64_t skt_send_now(int handle, std::string_view bytes);
void skt_end_sending(int handle);  // the peer hears that nothing more comes

// With a limit of 0 no wait precedes these.
void skt_send_uint32(int handle, uint32_t value);
[[nodiscard]] int skt_send_uint32_with_timeout(int handle, uint32_t value, const skt_terms& terms);
[[nodiscard]] uint32_t skt_recv_uint32(int handle);
[[nodiscard]] uint32_t skt_recv_uint32_with_timeout(int handle, const skt_terms& terms);
[[nodiscard]] int skt_send_message(int handle, std::string_view text, const skt_terms& terms);
// False on a time-out, on an error and when the announced length passes max_bytes.
[[nodiscard]] bool skt_recv_message(int handle, std::string& text, const skt_terms& terms,
                                    size_t max_bytes);

// The lines of one socket, read without a system call per line: what the peer has sent is peeked at
// once, handed out line by line, and taken from the socket only as far as it was handed out.
struct skt_line_source {
  int handle = -1;
  std::string peeked = {};      // waits in the socket still
  size_t handed_out = 0;        // of peeked
  std::string begun_line = {};  // was taken from the socket before its line feed came
};
// As skt_read_line_with_timeout; the view lasts until the next call.
[[nodiscard]] int read_line_skt_line_source(skt_line_source& source, std::string_view& line,
                                            const skt_terms& terms, size_t max_bytes = SIZE_MAX);
// Takes what was handed out from the socket; call it before reading the socket in another way.
void finish_skt_line_source(skt_line_source& source);

}  // namespace wk
