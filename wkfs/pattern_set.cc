#include "wkfs/pattern_set.h"

#include <algorithm>
#include <utility>

#include "wkfs/literal_index.h"
#include "wkfs/pattern_automaton.h"
#include "wkfs/pattern_literal.h"

namespace wk {

// A run of the patterns. What is added later becomes a part of its own; parts that are cheap to
// build again are built as one, so that there are few.
struct pattern_set_part {
  size_t nb_patterns = 0;
  uint64_t nb_steps = 0;
  literal_index begins;      // prefixes and whole texts
  literal_index extensions;  // as whole texts
  std::vector<pattern_automaton_ptr> automata;
};

namespace {

constexpr size_t MAX_AUTOMATON_PATTERNS = 10'000;
constexpr uint64_t MAX_AUTOMATON_STEPS = 1'000'000;

// What a part costs to build, a literal counting as one step: milliseconds for the first number,
// and tens of them for the second.
constexpr uint64_t SMALL_PART_COST = 4'096;
constexpr uint64_t MAX_MERGED_PART_COST = 32'768;

bool is_set(const std::atomic<uint32_t>* stop) {
  return stop != nullptr && stop->load(std::memory_order_relaxed) != 0;
}

// Compiles patterns into as few automata as they fit into. False when one does not fit by itself.
bool compile_automata(std::span<const std::string> patterns,
                      std::vector<pattern_automaton_ptr>& automata) {
  pattern_automaton_ptr automaton = compile_pattern_automaton(patterns);
  if (automaton != nullptr) {
    automata.push_back(std::move(automaton));
    return true;
  }
  if (patterns.size() <= 1) return false;
  const size_t half = patterns.size() / 2;
  return compile_automata(patterns.first(half), automata) &&
         compile_automata(patterns.subspan(half), automata);
}

// The patterns of a part by what becomes of them.
struct sorted_patterns {
  literal_list begins;
  literal_list extensions;
  std::vector<std::string> others;
  std::vector<uint32_t> nb_steps_of_others;
};

sorted_patterns sort_patterns(std::span<const listed_pattern> patterns) {
  sorted_patterns sorted;
  pattern_literal literal;
  for (const listed_pattern& pattern : patterns) {
    if (pattern.nb_steps != 0 || !read_pattern_literal(literal, pattern.text)) {
      sorted.others.push_back(pattern.text);
      sorted.nb_steps_of_others.push_back(pattern.nb_steps);
    } else if (literal.kind == LITERAL_EXTENSION) {
      add_literal_list(sorted.extensions, literal.symbols, false);
    } else {
      add_literal_list(sorted.begins, literal.symbols, literal.kind == LITERAL_PREFIX);
    }
  }
  return sorted;
}

bool compile_others(const sorted_patterns& sorted, std::vector<pattern_automaton_ptr>& automata,
                    const std::atomic<uint32_t>* stop) {
  const std::span<const std::string> others = sorted.others;
  for (size_t begin = 0; begin < others.size();) {
    if (is_set(stop)) return false;
    uint64_t nb_steps = sorted.nb_steps_of_others[begin];
    size_t end = begin + 1;
    while (end < others.size() && end - begin < MAX_AUTOMATON_PATTERNS &&
           nb_steps + sorted.nb_steps_of_others[end] <= MAX_AUTOMATON_STEPS) {
      nb_steps += sorted.nb_steps_of_others[end++];
    }
    if (!compile_automata(others.subspan(begin, end - begin), automata)) return false;
    begin = end;
  }
  return true;
}

uint64_t count_steps(std::span<const listed_pattern> patterns) {
  uint64_t nb_steps = 0;
  for (const listed_pattern& pattern : patterns) nb_steps += pattern.nb_steps;
  return nb_steps;
}

uint64_t get_cost(const pattern_set_part& part) { return part.nb_steps + part.nb_patterns; }

// Parts of about one size become one of twice the size, up to a limit; small ones always do.
bool is_merged(uint64_t before, uint64_t added) {
  return before + added <= SMALL_PART_COST ||
         (before <= 2 * added && before + added <= MAX_MERGED_PART_COST);
}

bool matches_extension(const literal_index& extensions, std::string_view text) {
  size_t dot = std::string_view::npos;  // the last one so far: an extension holds none
  for (size_t i = 0; i <= text.size(); ++i) {
    const bool is_end = i == text.size() || text[i] == '?';
    if (is_end && dot != std::string_view::npos && i - dot - 1 <= MAX_LITERAL_EXTENSION_BYTES &&
        matches_literal_index(extensions, text.substr(dot + 1, i - dot - 1))) {
      return true;
    }
    if (i < text.size() && text[i] == '.') dot = i;
  }
  return false;
}

bool matches_part(const pattern_set_part& part, std::string_view text) {
  if (matches_literal_index(part.begins, text)) return true;
  if (!part.extensions.nodes.empty() && matches_extension(part.extensions, text)) return true;
  return std::any_of(part.automata.begin(), part.automata.end(), [text](const auto& automaton) {
    return matches_pattern_automaton(*automaton, text);
  });
}

}  // namespace

bool read_listed_pattern(listed_pattern& pattern, std::string_view text, std::string* fault) {
  pattern_literal literal;
  pattern.nb_steps = 0;
  if (!read_pattern_literal(literal, text)) {
    pattern.nb_steps = measure_pattern(text, fault);
    if (pattern.nb_steps == 0) return false;
  }
  pattern.text = text;
  return true;
}

bool extend_pattern_set(pattern_set& set, std::span<const listed_pattern> patterns,
                        const std::atomic<uint32_t>* stop) {
  std::vector<std::shared_ptr<const pattern_set_part>> parts = set.parts;
  size_t begin = 0;
  uint64_t nb_steps_before = 0;
  for (const auto& part : parts) {
    begin += part->nb_patterns;
    nb_steps_before += part->nb_steps;
  }
  if (begin == patterns.size()) return true;
  uint64_t nb_steps = count_steps(patterns.subspan(begin));
  if (nb_steps_before + nb_steps > MAX_PATTERN_SET_STEPS) return false;
  while (!parts.empty() && is_merged(get_cost(*parts.back()), nb_steps + patterns.size() - begin)) {
    begin -= parts.back()->nb_patterns;
    nb_steps += parts.back()->nb_steps;
    parts.pop_back();
  }
  const auto part = std::make_shared<pattern_set_part>();
  part->nb_patterns = patterns.size() - begin;
  part->nb_steps = nb_steps;
  sorted_patterns sorted = sort_patterns(patterns.subspan(begin));
  part->begins = build_literal_index(sorted.begins);
  part->extensions = build_literal_index(sorted.extensions);
  if (!compile_others(sorted, part->automata, stop)) return false;
  parts.push_back(part);
  set.parts = std::move(parts);
  return true;
}

bool matches_pattern_set(const pattern_set& set, std::string_view text) {
  return std::any_of(set.parts.begin(), set.parts.end(),
                     [text](const auto& part) { return matches_part(*part, text); });
}

}  // namespace wk
