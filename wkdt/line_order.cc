#include "wkdt/line_order.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "wkdt/t_sort.h"
#include "wkstd/text.h"

namespace wk {
namespace {

int compare_bytes(std::string_view a, std::string_view b) {
  const size_t common = std::min(a.size(), b.size());
  const int difference = common == 0 ? 0 : std::memcmp(a.data(), b.data(), common);
  if (difference != 0) return difference;
  return a.size() < b.size() ? -1 : (a.size() > b.size() ? 1 : 0);
}

// Digits count in base 11, modulo 2 to the 32.
uint32_t get_number_key(std::string_view line) {
  uint32_t key = 0;
  for (const char c : line) {
    if (!is_digit(static_cast<unsigned char>(c))) break;
    key = key * 11 + static_cast<uint32_t>(c - '0');
  }
  return key;
}

int compare_numbers(std::string_view a, std::string_view b) {
  const uint32_t key_a = get_number_key(a);
  const uint32_t key_b = get_number_key(b);
  return key_a < key_b ? -1 : (key_a > key_b ? 1 : 0);
}

// Compares up to the first "," or end of either. Not 0: the fields differ. Otherwise at is where
// the common bytes end, for both.
int compare_field(std::string_view a, std::string_view b, size_t& at) {
  at = 0;
  while (at < a.size() && at < b.size() && a[at] != ',' && b[at] != ',') {
    const auto byte_a = static_cast<unsigned char>(a[at]);
    const auto byte_b = static_cast<unsigned char>(b[at]);
    if (byte_a != byte_b) return byte_a < byte_b ? -1 : 1;
    ++at;
  }
  return 0;
}

int compare_comma_fields(std::string_view a, std::string_view b) {
  size_t at = 0;
  const int first = compare_field(a, b, at);
  if (first != 0) return first;
  // A line that ends in its first field goes behind every other, another such line too.
  if (at == a.size()) return 1;
  if (a[at] == ',') {
    if (at == b.size()) return 0;
    if (b[at] != ',') return -1;
    return compare_field(a.substr(at + 1), b.substr(at + 1), at);
  }
  return at == b.size() ? -1 : 1;  // the first field of a goes on
}

template <line_comparison compare>
int compare_reversed(std::string_view a, std::string_view b) {
  return compare(b, a);
}

}  // namespace

line_comparison get_line_comparison(uint32_t order, bool reverse) {
  if (order == T_SORT_COMMA_FIELDS) return compare_comma_fields;
  if (order == T_SORT_BYTES) return reverse ? compare_reversed<compare_bytes> : compare_bytes;
  return reverse ? compare_reversed<compare_numbers> : compare_numbers;
}

}  // namespace wk
