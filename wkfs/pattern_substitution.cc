#include "wkfs/pattern_substitution.h"

#include <re2/re2.h>

#include <utility>
#include <vector>

namespace wk {
namespace {

struct substitution {
  std::unique_ptr<RE2> source;
  std::string target;
};

}  // namespace

struct pattern_substitutions {
  std::vector<substitution> pairs;
};

void destroy_pattern_substitutions::operator()(pattern_substitutions* list) const { delete list; }

pattern_substitutions_ptr create_pattern_substitutions() {
  return pattern_substitutions_ptr(new pattern_substitutions);
}

bool add_pattern_substitution(pattern_substitutions& list, const std::string& source,
                              const std::string& target, std::string& fault) {
  RE2::Options options;
  options.set_encoding(RE2::Options::EncodingLatin1);
  options.set_dot_nl(true);
  options.set_log_errors(false);
  auto compiled = std::make_unique<RE2>(source, options);
  if (!compiled->ok()) {
    fault = compiled->error();
    return false;
  }
  if (!compiled->CheckRewriteString(target, &fault)) return false;
  list.pairs.push_back({std::move(compiled), target});
  return true;
}

bool substitute_pattern(const pattern_substitutions& list, std::string& text) {
  for (const substitution& pair : list.pairs) {
    if (RE2::Replace(&text, *pair.source, pair.target)) return true;
  }
  return false;
}

}  // namespace wk
