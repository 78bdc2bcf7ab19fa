#include "crawler/config/near_name.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace wk {
namespace {

constexpr size_t MAX_CHANGES = 2;

size_t count_changes(std::string_view from, std::string_view to) {
  const size_t difference =
      from.size() > to.size() ? from.size() - to.size() : to.size() - from.size();
  if (difference > MAX_CHANGES) return difference;  // at least, which is too many
  // row[i]: the changes that make the first i bytes of to of those of from looked at so far.
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t j = 0; j < from.size(); ++j) {
    size_t diagonal = row[0]++;
    for (size_t i = 0; i < to.size(); ++i) {
      const size_t replaced = diagonal + (from[j] == to[i] ? 0 : 1);
      diagonal = row[i + 1];
      row[i + 1] = std::min({replaced, diagonal + 1, row[i] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string_view find_near_name(std::string_view name, std::span<const std::string_view> names) {
  std::string_view nearest;
  size_t fewest = std::min(MAX_CHANGES + 1, name.size());
  for (const std::string_view candidate : names) {
    const size_t nb_changes = count_changes(name, candidate);
    if (nb_changes >= fewest) continue;
    fewest = nb_changes;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace wk
