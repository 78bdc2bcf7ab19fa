#include "wkstd/stop_gate.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace wk {
namespace {

constexpr uint64_t A_DAY_MS = 24ULL * 3600 * 1000;

TEST(sleep_stop_gate, ends_for_every_sleeper_when_stop_is_set) {
  stop_gate gate;
  std::vector<std::thread> sleepers;
  std::atomic<int> nb_stopped{0};
  for (const uint64_t milliseconds : {A_DAY_MS, uint64_t{UINT64_MAX}, A_DAY_MS}) {
    sleepers.emplace_back([&gate, &nb_stopped, milliseconds] {
      if (sleep_stop_gate(gate, milliseconds)) ++nb_stopped;
    });
  }
  set_stop_stop_gate(gate);
  for (std::thread& sleeper : sleepers) sleeper.join();
  EXPECT_EQ(nb_stopped, 3);
  EXPECT_TRUE(sleep_stop_gate(gate, A_DAY_MS)) << "a stop that came before ends the sleep at once";
}

TEST(sleep_stop_gate, tells_that_the_time_ran_out) {
  stop_gate gate;
  set_pause_stop_gate(gate, 1);
  EXPECT_FALSE(sleep_stop_gate(gate, 0));
  EXPECT_FALSE(sleep_stop_gate(gate, 100));
}

}  // namespace
}  // namespace wk
