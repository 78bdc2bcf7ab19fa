#include "wkfs/pattern_automaton.h"

#include <re2/re2.h>
#include <re2/set.h>

#include "wkfs/pattern_factor.h"
#include "wkfs/pattern_prefix.h"

namespace wk {
namespace {

RE2::Options get_options(int64_t max_bytes) {
  RE2::Options options;
  options.set_encoding(RE2::Options::EncodingLatin1);
  options.set_dot_nl(true);
  options.set_log_errors(false);
  options.set_max_mem(max_bytes);
  return options;
}

re2::StringPiece get_piece(std::string_view text) { return {text.data(), text.size()}; }

constexpr int64_t SINGLE_PATTERN_BYTES = 8 << 20;

std::unique_ptr<RE2> compile_all(const std::string& pattern) {
  RE2::Options options = get_options(PATTERN_AUTOMATON_BYTES);
  options.set_never_capture(true);
  return std::make_unique<RE2>(pattern, options);
}

constexpr size_t MAX_PREFIXES = 8;

std::string join_patterns(std::span<const std::string> patterns) {
  std::string all;
  for (const std::string& pattern : patterns) all += (all.empty() ? "(?:" : "|(?:") + pattern + ")";
  return all;
}

// False when prefixes are not all of the patterns.
bool read_prefixes(std::vector<pattern_prefix>& prefixes, std::span<const std::string> patterns) {
  bool has_others = false;
  for (const std::string& pattern : patterns) {
    pattern_prefix prefix;
    if (prefixes.size() < MAX_PREFIXES && read_pattern_prefix(prefix, pattern)) {
      prefixes.push_back(std::move(prefix));
    } else {
      has_others = true;
    }
  }
  return !has_others;
}

}  // namespace

struct pattern_automaton {
  RE2::Set set;
  // The same patterns for texts on which the set's automaton outgrows its memory: slow, but within
  // any memory.
  std::unique_ptr<RE2> slow;

  // Of the patterns, those that only say how a text begins; more than a few are left to the set.
  std::vector<pattern_prefix> prefixes;
  bool has_others = false;

  pattern_automaton() : set(get_options(PATTERN_AUTOMATON_BYTES), RE2::ANCHOR_BOTH) {}
};

void destroy_pattern_automaton::operator()(const pattern_automaton* automaton) const {
  delete automaton;
}

bool is_valid_pattern(std::string_view pattern, std::string* fault) {
  const RE2 compiled(get_piece(pattern), get_options(SINGLE_PATTERN_BYTES));
  if (!compiled.ok() && fault != nullptr) *fault = compiled.error();
  return compiled.ok();
}

pattern_automaton_ptr compile_pattern_automaton(std::span<const std::string> patterns) {
  if (patterns.empty()) return nullptr;
  std::shared_ptr<pattern_automaton> automaton(new pattern_automaton, destroy_pattern_automaton());
  automaton->slow = compile_all(factor_patterns(patterns));
  if (!automaton->slow->ok()) automaton->slow = compile_all(join_patterns(patterns));
  if (!automaton->slow->ok()) return nullptr;
  if (automaton->set.Add(automaton->slow->pattern(), nullptr) < 0) return nullptr;
  if (!automaton->set.Compile()) return nullptr;
  automaton->has_others = !read_prefixes(automaton->prefixes, patterns);
  return automaton;
}

bool matches_pattern_automaton(const pattern_automaton& automaton, std::string_view text) {
  for (const pattern_prefix& prefix : automaton.prefixes) {
    if (matches_pattern_prefix(prefix, text)) return true;
  }
  if (!automaton.has_others) return false;
  RE2::Set::ErrorInfo error{};
  std::vector<int>* no_indices = nullptr;
  if (automaton.set.Match(get_piece(text), no_indices, &error)) return true;
  if (error.kind == RE2::Set::kNoError) return false;
  return RE2::FullMatch(get_piece(text), *automaton.slow);
}

}  // namespace wk
