#include "wkfs/pattern_factor.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace wk {
namespace {

// A pattern cut where one thing follows another: "a", "[^/]*", "(?:x|y)+", "\\.".
using pieces = std::vector<std::string_view>;

// Branches within branches; RE2 takes up to 1,000 brackets within each other.
constexpr size_t MAX_NB_LEVELS = 200;

bool is_octal(char c) { return c >= '0' && c <= '7'; }

size_t find_behind(std::string_view text, size_t start, std::string_view end) {
  const size_t found = text.find(end, start);
  return found == std::string_view::npos ? text.size() : found + end.size();
}

// Each of these answers where the thing at text[start] ends, or 0 when what follows it can't be
// told from the text alone.

size_t find_end_of_escape(std::string_view text, size_t start) {
  size_t end = std::min(start + 2, text.size());
  const char kind = text[end - 1];
  if (kind == 'Q') return 0;  // a quotation, up to \E or the end
  if (kind == 'p' || kind == 'P' || kind == 'x') {
    if (end < text.size() && text[end] == '{') return find_behind(text, end, "}");
    return std::min(end + (kind == 'x' ? 2 : 1), text.size());
  }
  if (!is_octal(kind)) return end;
  while (end < text.size() && end < start + 4 && is_octal(text[end])) ++end;
  return end;
}

size_t find_end_of_class(std::string_view text, size_t start) {
  size_t i = start + 1;
  if (i < text.size() && text[i] == '^') ++i;
  if (i < text.size() && text[i] == ']') ++i;  // stands for itself there
  while (i < text.size() && text[i] != ']') {
    if (text[i] == '\\') {
      i += 2;
    } else if (text.substr(i, 2) == "[:") {
      i = find_behind(text, i, ":]");
    } else {
      ++i;
    }
  }
  return std::min(i + 1, text.size());
}

// "(?i)" changes all that follows it; "(?i:" and "(?P<name>" are brackets like others.
bool is_flag_change(std::string_view text, size_t start) {
  if (text.substr(start, 2) != "(?") return false;
  const size_t end = text.find_first_of("):<", start);
  return end != std::string_view::npos && text[end] == ')';
}

size_t find_end_of_group(std::string_view text, size_t start) {
  size_t nb_open = 0;
  for (size_t i = start; i < text.size();) {
    const char c = text[i];
    if (c == '(' && is_flag_change(text, i)) return 0;
    if (c == '\\' || c == '[') {
      i = c == '[' ? find_end_of_class(text, i) : find_end_of_escape(text, i);
      if (i == 0) return 0;
      continue;
    }
    if (c == '(') ++nb_open;
    if (c == ')' && --nb_open == 0) return i + 1;
    ++i;
  }
  return 0;
}

size_t find_end_of_thing(std::string_view text, size_t start) {
  switch (text[start]) {
    case '\\':
      return find_end_of_escape(text, start);
    case '[':
      return find_end_of_class(text, start);
    case '(':
      return find_end_of_group(text, start);
    case '|':
      return 0;
    default:
      return start + 1;
  }
}

// Behind "*", "+", "?" or "{2,3}" and a "?" that makes it prefer less. A brace that is no count
// stands for itself.
size_t find_end_of_count(std::string_view text, size_t start) {
  size_t end = start;
  if (end == text.size()) return end;
  if (text[end] == '{') {
    const size_t brace = text.find_first_not_of("0123456789,", end + 1);
    if (brace == std::string_view::npos || text[brace] != '}' || brace == end + 1) return start;
    end = brace + 1;
  } else if (text[end] == '*' || text[end] == '+' || text[end] == '?') {
    ++end;
  } else {
    return start;
  }
  return end < text.size() && text[end] == '?' ? end + 1 : end;
}

bool cut_pattern(std::string_view pattern, pieces& cut) {
  for (size_t start = 0; start < pattern.size();) {
    size_t end = find_end_of_thing(pattern, start);
    if (end == 0) return false;
    end = find_end_of_count(pattern, end);
    cut.push_back(pattern.substr(start, end - start));
    start = end;
  }
  return true;
}

void append_pieces(std::string& text, const pieces& cut, size_t from, size_t to) {
  for (size_t i = from; i < to; ++i) text += cut[i];
}

// Patterns first to last, sorted, which have their first nb_shared pieces in common.
void append_branches(std::string& text, std::span<const pieces> patterns, size_t nb_shared,
                     size_t nb_levels) {
  const pieces& first = patterns.front();
  const pieces& last = patterns.back();
  size_t end = nb_shared;  // of what all share: they are sorted, so what the first and last do
  while (end < first.size() && end < last.size() && first[end] == last[end]) ++end;
  append_pieces(text, first, nb_shared, end);
  if (patterns.size() == 1 || end == last.size()) return;

  text += "(?:";
  for (size_t i = 0; i < patterns.size();) {
    size_t next = i + 1;
    const bool is_whole = patterns[i].size() == end || nb_levels == 0;
    while (next < patterns.size() && !is_whole && patterns[next][end] == patterns[i][end]) ++next;
    if (i > 0) text += '|';
    if (is_whole) {
      append_pieces(text, patterns[i], end, patterns[i].size());
    } else {
      append_branches(text, patterns.subspan(i, next - i), end, nb_levels - 1);
    }
    i = next;
  }
  text += ')';
}

}  // namespace

std::string factor_patterns(std::span<const std::string> patterns) {
  std::vector<pieces> factored;
  std::string text;
  for (const std::string& pattern : patterns) {
    pieces cut;
    if (cut_pattern(pattern, cut)) {
      factored.push_back(std::move(cut));
    } else {
      text += (text.empty() ? "(?:" : "|(?:") + pattern + ")";
    }
  }
  if (factored.empty()) return text;
  std::sort(factored.begin(), factored.end());
  factored.erase(std::unique(factored.begin(), factored.end()), factored.end());
  if (!text.empty()) text += '|';
  append_branches(text, factored, 0, MAX_NB_LEVELS);
  return text;
}

}  // namespace wk
