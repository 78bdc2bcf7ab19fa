#include "wkfs/pattern_automaton.h"

#include <re2/re2.h>
#include <re2/set.h>

#include <algorithm>

#include "wkfs/pattern_factor.h"

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

std::string join_patterns(std::span<const std::string> patterns) {
  std::string all;
  for (const std::string& pattern : patterns) all += (all.empty() ? "(?:" : "|(?:") + pattern + ")";
  return all;
}

}  // namespace

struct pattern_automaton {
  RE2::Set set;
  // The same patterns for texts on which the set's automaton outgrows its memory: slow, but within
  // any memory.
  std::unique_ptr<RE2> slow;

  pattern_automaton() : set(get_options(PATTERN_AUTOMATON_BYTES), RE2::ANCHOR_BOTH) {}
};

void destroy_pattern_automaton::operator()(const pattern_automaton* automaton) const {
  delete automaton;
}

uint32_t measure_pattern(std::string_view pattern, std::string* fault) {
  const RE2 compiled(get_piece(pattern), get_options(SINGLE_PATTERN_BYTES));
  if (compiled.ok()) return static_cast<uint32_t>(std::max(compiled.ProgramSize(), 1));
  if (fault != nullptr) *fault = compiled.error();
  return 0;
}

pattern_automaton_ptr compile_pattern_automaton(std::span<const std::string> patterns) {
  if (patterns.empty()) return nullptr;
  std::shared_ptr<pattern_automaton> automaton(new pattern_automaton, destroy_pattern_automaton());
  automaton->slow = compile_all(factor_patterns(patterns));
  if (!automaton->slow->ok()) automaton->slow = compile_all(join_patterns(patterns));
  if (!automaton->slow->ok()) return nullptr;
  if (automaton->set.Add(automaton->slow->pattern(), nullptr) < 0) return nullptr;
  if (!automaton->set.Compile()) return nullptr;
  return automaton;
}

bool matches_pattern_automaton(const pattern_automaton& automaton, std::string_view text) {
  RE2::Set::ErrorInfo error{};
  std::vector<int>* no_indices = nullptr;
  if (automaton.set.Match(get_piece(text), no_indices, &error)) return true;
  if (error.kind == RE2::Set::kNoError) return false;
  return RE2::FullMatch(get_piece(text), *automaton.slow);
}

}  // namespace wk
