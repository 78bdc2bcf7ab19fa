// What this machine is short of while a crawl runs: file handles, memory, client ports, threads.
//
// An attempt that fails for want of them says nothing about its site. Its spider waits here and
// tries again until there is enough, or the crawl is stopped; no attempt of the site's is counted.
// The first to wait says so; has_passed_local_shortage tells when it is over.
// Owner: the fetch settings. Threads: any, no lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "wkstd/stop_gate.h"

namespace wk {

struct local_shortage {
  // Fixed before any thread starts; may be null. Called once for each shortage.
  void (*tell)(const std::string& text, void* context) = nullptr;
  void* context = nullptr;

  std::atomic<uint32_t> nb_waiting{0};  // spiders
  std::atomic<bool> is_told{false};
  std::atomic<uint64_t> latest_us{0};  // steady time of the latest wait
};

// One wait, of half a second; error is the system's reason (errno). True when the crawl was
// stopped. A null gate is for tests and does not wait.
bool wait_local_shortage(local_shortage& shortage, int error, stop_gate* gate);

// True once after each shortage that was told: nobody has had to wait for ten seconds.
[[nodiscard]] bool has_passed_local_shortage(local_shortage& shortage, uint64_t now_us);

}  // namespace wk
