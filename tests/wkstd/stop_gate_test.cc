#include "wkstd/stop_gate.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace wk {
namespace {

constexpr uint64_t A_DAY_MS = 24ULL * 3600 * 1000;

TEST(sleep_stop_gate, ends_when_the_time_runs_out_or_stop_is_set) {
  stop_gate gate;
  set_pause_stop_gate(gate, 1);
  EXPECT_FALSE(sleep_stop_gate(gate, 100));
  {
    std::vector<std::jthread> sleepers;
    for (const uint64_t milliseconds : {A_DAY_MS, uint64_t{UINT64_MAX}, A_DAY_MS}) {
      sleepers.emplace_back(
          [&gate, milliseconds] { EXPECT_TRUE(sleep_stop_gate(gate, milliseconds)); });
    }
    set_stop_stop_gate(gate);
  }
  EXPECT_TRUE(sleep_stop_gate(gate, A_DAY_MS)) << "a stop that came before ends the sleep at once";
}

}  // namespace
}  // namespace wk
