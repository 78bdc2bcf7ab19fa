#include "app/progress_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string_view>

#include "wkstd/terminal_line.h"
#include "wkstd/text.h"
#include "wkstd/thread.h"

namespace wk {

struct progress_line {
  const Crawler& crawler;
  std::mutex lock;
  std::condition_variable changed;  // signalled at the end
  bool ended = false;
  joined_thread thread;
};

namespace {

constexpr auto REDRAW_TIME = std::chrono::milliseconds(250);
constexpr size_t NB_RATE_STEPS = 20;  // drawings that the rate is a mean over
constexpr size_t USUAL_COLUMNS = 80;  // of a terminal that doesn't tell

// The latest drawings, the oldest being overwritten by the next.
struct rate_window {
  struct moment {
    uint64_t time_us = 0;
    uint64_t nb_fetches = 0;
  };
  std::array<moment, NB_RATE_STEPS> moments{};
  size_t next = 0;
};

// Pages per second since the oldest drawing; at first since the crawl's start.
double measure_rate(rate_window& window, const crawl_facts& facts) {
  rate_window::moment& oldest = window.moments[window.next];
  const rate_window::moment now{facts.uptime_us, facts.nb_fetches};
  const auto seconds = static_cast<double>(now.time_us - oldest.time_us) / 1e6;
  const auto nb_fetches = static_cast<double>(now.nb_fetches - oldest.nb_fetches);
  oldest = now;
  window.next = (window.next + 1) % NB_RATE_STEPS;
  return seconds > 0 ? nb_fetches / seconds : 0;
}

// One less than the terminal has: a full row could make the cursor wrap.
size_t get_columns() {
  struct winsize size {};
  const bool told = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return (told ? size.ws_col : USUAL_COLUMNS) - 1;
}

bool can_draw() {
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDERR_FILENO) == 1 &&
         (terminal == nullptr || std::string_view(terminal) != "dumb");
}

void draw_until_ended(progress_line& line) {
  rate_window window;
  std::unique_lock<std::mutex> hold(line.lock);
  while (!line.changed.wait_for(hold, REDRAW_TIME, [&line] { return line.ended; })) {
    const crawl_facts facts = gather_crawl_facts(line.crawler);
    const double rate = measure_rate(window, facts);
    show_terminal_line(build_progress_text(facts, rate, get_columns()));
  }
}

}  // namespace

progress_line_ptr create_progress_line(const Crawler& crawler) {
  if (!can_draw()) return nullptr;
  progress_line_ptr line(new progress_line{
      .crawler = crawler, .lock = {}, .changed = {}, .ended = false, .thread = {}});
  open_terminal_line();
  // Without a thread nothing is drawn.
  (void)start_thread(line->thread, [&self = *line] { draw_until_ended(self); });
  return line;
}

void destroy_progress_line::operator()(progress_line* line) const {
  close_terminal_line();
  {
    const std::lock_guard<std::mutex> hold(line->lock);
    line->ended = true;
  }
  line->changed.notify_all();
  join_thread(line->thread);
  delete line;
}

std::string build_progress_text(const crawl_facts& facts, double rate, size_t nb_columns) {
  const auto& fetches = facts.counts.fetches;
  const uint64_t nb_errors = fetches[4] + fetches[5] + fetches[NO_STATUS_CLASS];
  std::string text;
  append_formatted_text(text, "%llu pages  %u queued  %.1f pages/s  %llu errors  ",
                        static_cast<unsigned long long>(facts.nb_fetches), facts.nb_queued, rate,
                        static_cast<unsigned long long>(nb_errors));
  append_elapsed(text, facts.uptime_us);
  if (facts.state != CRAWL_RUNNING) text.append("  ").append(get_crawl_state_name(facts.state));
  text.resize(std::min(text.size(), nb_columns));
  return text;
}

}  // namespace wk
