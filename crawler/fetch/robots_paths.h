// A set of paths, and the question whether a path begins with one of them: what one robots.txt
// forbids, kept small.
//
// The paths stand sorted, each as what it does not share with the one before it. In every block of
// ROBOTS_BLOCK_PATHS the first one stands whole, so that a question reads one block alone:
//
//   path   = shared size rest
//   shared   how many bytes it begins with as the path before it does; 0 for the first of a block
//   size     of the rest. Both are base 128, low bits first; a set top bit says that more follow
//
// "/a/1", "/a/2", "/b" are 0 4 "/a/1" 3 1 "2" 1 1 "b".
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

constexpr size_t ROBOTS_BLOCK_PATHS = 16;
// A set's paths in all, those left out that a shorter one covers.
constexpr size_t ROBOTS_MAX_PATH_BYTES = 16 << 20;

// Never changed once built, so that hosts and threads may share it.
struct robots_paths {
  std::string bytes;             // the paths
  std::vector<uint32_t> blocks;  // where in bytes the blocks behind the first one begin
  uint32_t nb_paths = 0;         // none begins with another one
};
using robots_paths_ptr = std::shared_ptr<const robots_paths>;

// paths are sorted on the way, and lose those that a shorter one covers. Null when they are none,
// or too many bytes.
[[nodiscard]] robots_paths_ptr build_robots_paths(std::vector<std::string_view>& paths);

// Takes time for the logarithm of the number of paths, whatever they are.
[[nodiscard]] bool is_covered_robots_paths(const robots_paths& paths, std::string_view path);

[[nodiscard]] size_t get_nb_bytes_robots_paths(const robots_paths& paths);

}  // namespace wk
