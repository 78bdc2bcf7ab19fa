#include "crawler/fetch/robots_paths.h"

#include <algorithm>

namespace wk {
namespace {

size_t count_shared_bytes(std::string_view a, std::string_view b) {
  const auto ends = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  return static_cast<size_t>(ends.first - a.begin());
}

// A path that begins with another one stands behind it, with nothing but such paths between them.
void remove_covered_paths(std::vector<std::string_view>& sorted) {
  const auto is_covered = [](std::string_view kept, std::string_view next) {
    return next.starts_with(kept);
  };
  sorted.erase(std::unique(sorted.begin(), sorted.end(), is_covered), sorted.end());
}

void append_number(std::string& bytes, size_t number) {
  for (; number >= 128; number >>= 7) bytes += static_cast<char>(number | 128);
  bytes += static_cast<char>(number);
}

// Cuts a number off the front of bytes, which build_robots_paths has written.
size_t take_number(std::string_view& bytes) {
  size_t number = 0;
  uint32_t shift = 0;
  bool more = true;
  while (more) {
    const auto byte = static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(1);
    number |= size_t{byte & 127U} << shift;
    shift += 7;
    more = byte >= 128;
  }
  return number;
}

struct stored_path {
  size_t shared;
  std::string_view rest;
};

stored_path take_path(std::string_view& bytes) {
  const size_t shared = take_number(bytes);
  const size_t size = take_number(bytes);
  const std::string_view rest = bytes.substr(0, size);
  bytes.remove_prefix(size);
  return {shared, rest};
}

std::string_view get_block(const robots_paths& paths, size_t i) {
  const size_t begin = i == 0 ? 0 : paths.blocks[i - 1];
  const size_t end = i == paths.blocks.size() ? paths.bytes.size() : paths.blocks[i];
  return std::string_view(paths.bytes).substr(begin, end - begin);
}

// The last block whose first path does not stand behind path: the only one that may cover it.
std::string_view find_block(const robots_paths& paths, std::string_view path) {
  size_t begin = 0;  // the block is not before it
  size_t end = paths.blocks.size();
  while (begin < end) {
    const size_t middle = begin + (end - begin + 1) / 2;
    std::string_view block = get_block(paths, middle);
    if (take_path(block).rest <= path) {
      begin = middle;
    } else {
      end = middle - 1;
    }
  }
  return get_block(paths, begin);
}

}  // namespace

robots_paths_ptr build_robots_paths(std::vector<std::string_view>& paths) {
  std::sort(paths.begin(), paths.end());
  remove_covered_paths(paths);
  size_t nb_bytes = 0;
  for (const std::string_view path : paths) nb_bytes += path.size();
  if (paths.empty() || nb_bytes > ROBOTS_MAX_PATH_BYTES) return nullptr;

  auto built = std::make_shared<robots_paths>();
  built->nb_paths = static_cast<uint32_t>(paths.size());
  built->blocks.reserve((paths.size() - 1) / ROBOTS_BLOCK_PATHS);
  std::string bytes;
  for (size_t i = 0; i < paths.size(); ++i) {
    const bool is_first = i % ROBOTS_BLOCK_PATHS == 0;
    if (is_first && i != 0) built->blocks.push_back(static_cast<uint32_t>(bytes.size()));
    const size_t shared = is_first ? 0 : count_shared_bytes(paths[i - 1], paths[i]);
    append_number(bytes, shared);
    append_number(bytes, paths[i].size() - shared);
    bytes += paths[i].substr(shared);
  }
  built->bytes = std::string(bytes);  // without the room to grow; nothing else takes that away
  return built;
}

bool is_covered_robots_paths(const robots_paths& paths, std::string_view path) {
  std::string_view block = find_block(paths, path);
  size_t nb_same = 0;  // bytes that path begins with as the stored path before does
  while (!block.empty()) {
    const stored_path next = take_path(block);
    // The path before and path part at nb_same. Less shared: next stands behind path, and so do
    // all that follow. More: it parts from path there as well.
    if (next.shared < nb_same) return false;
    if (next.shared > nb_same) continue;
    const size_t nb_more = count_shared_bytes(next.rest, path.substr(nb_same));
    if (nb_more == next.rest.size()) return true;
    nb_same += nb_more;
  }
  return false;
}

size_t get_nb_bytes_robots_paths(const robots_paths& paths) {
  return sizeof paths + paths.bytes.capacity() + paths.blocks.capacity() * sizeof(uint32_t);
}

}  // namespace wk
