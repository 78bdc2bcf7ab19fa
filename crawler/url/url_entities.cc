#include "crawler/url/url_entities.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

#include "wkstd/text.h"
#include "wkzp/parse_repository.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace wk {
namespace {

struct named_entity {
  std::string_view text;
  char byte;
};

// "&amp;" is decoded before "&lt;" and "&gt;", and behind the other two: "&amp;lt;" ends as "<",
// "&amp;quot;" leaves "&quot;". Within one list no byte can become a part of another's text.
constexpr named_entity FIRST_ENTITIES[] = {{"&quot;", '"'}, {"&apos;", '\''}, {"&amp;", '&'}};
constexpr named_entity SECOND_ENTITIES[] = {{"&lt;", '<'}, {"&gt;", '>'}};

constexpr size_t NUMERIC_MAX_BYTES = 7;  // the longest decimal reference
constexpr uint32_t MAX_DELETIONS = 100'000'000;

struct free_match_data {
  void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
};

struct byte_range {
  size_t begin = 0;
  size_t end = 0;
};

// Compiles a pattern of the parse repository. It is never written again, so all threads share it;
// it lives as long as the process. Null when it does not compile: then nothing matches.
const pcre2_code* compile_pattern(std::string_view name) {
  const std::string_view pattern = get_pattern_parse_repository(name);
  int error = 0;
  PCRE2_SIZE offset = 0;
  return pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(), 0, &error,
                       &offset, nullptr);
}

// Finds the leftmost match of code in bytes. A match of no bytes is none.
bool find_match(byte_range& match, const pcre2_code* code, std::string_view bytes) {
  // What a match works on belongs to one thread, which keeps it for all its links.
  thread_local const std::unique_ptr<pcre2_match_data, free_match_data> data(
      pcre2_match_data_create(1, nullptr));
  if (code == nullptr || data == nullptr) return false;
  const int answer = pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(bytes.data()), bytes.size(), 0,
                                 0, data.get(), nullptr);
  if (answer < 0) return false;
  const PCRE2_SIZE* ends = pcre2_get_ovector_pointer(data.get());
  match = {.begin = ends[0], .end = ends[1]};
  return match.begin < match.end;
}

// Replaces each of entities by its byte, in one pass.
void replace_named_entities(std::string& text, std::span<const named_entity> entities) {
  size_t written = text.find('&');
  if (written == std::string::npos) return;
  size_t read = written;
  while (read < text.size()) {
    char byte = text[read];
    size_t length = 1;
    if (byte == '&') {
      const std::string_view rest = std::string_view(text).substr(read);
      for (const named_entity& entity : entities) {
        if (!rest.starts_with(entity.text)) continue;
        byte = entity.byte;
        length = entity.text.size();
        break;
      }
    }
    text[written++] = byte;
    read += length;
  }
  text.resize(written);
}

// Replaces the leftmost decimal reference by its byte until none is left. The byte may be a part
// of the next one ("&#38;#38;" is "&"), so each search begins as far before it as a reference is
// long. The text done is kept in front, apart from the text to come:
//
//   [0, kept) done    a gap of bytes no longer needed    [from, size) to be searched
//
// A replacement moves what stands before it to the front, and its last bytes back behind the gap.
void replace_numeric_entities(std::string& text) {
  static const pcre2_code* const pattern = compile_pattern(PATTERN_URL_DECIMAL_ENTITY);
  if (text.find("&#") == std::string::npos) return;

  char* bytes = text.data();
  const std::string_view all = text;
  size_t kept = 0;
  size_t from = 0;
  byte_range match;
  while (find_match(match, pattern, all.substr(from))) {
    const uint32_t value = parse_unsigned(all.substr(from + match.begin + 2));
    std::memmove(bytes + kept, bytes + from, match.begin);
    kept += match.begin;
    if (value % 256 == 0) {  // a NUL, and with it the text's end
      text.resize(kept);
      return;
    }
    from += match.end - 1;
    bytes[from] = static_cast<char>(static_cast<unsigned char>(value % 256));
    const size_t nb_back = std::min(kept, NUMERIC_MAX_BYTES - 1);
    kept -= nb_back;
    from -= nb_back;
    std::memmove(bytes + from, bytes + kept, nb_back);
  }
  std::memmove(bytes + kept, bytes + from, text.size() - from);
  text.resize(kept + text.size() - from);
}

// Deletes named references that are none of the five, such as "&nbsp;". What closes up around one
// is not looked at again.
void delete_named_entities(std::string& text) {
  static const pcre2_code* const pattern = compile_pattern(PATTERN_URL_NAMED_ENTITY);
  const size_t first = text.find('&');
  if (first == std::string::npos || text.find(';', first) == std::string::npos) return;

  char* bytes = text.data();
  const std::string_view all = text;
  size_t kept = first;
  size_t from = first;
  byte_range match;
  for (uint32_t i = 0; i < MAX_DELETIONS && find_match(match, pattern, all.substr(from)); ++i) {
    std::memmove(bytes + kept, bytes + from, match.begin);
    kept += match.begin;
    from += match.end;
  }
  std::memmove(bytes + kept, bytes + from, text.size() - from);
  text.resize(kept + text.size() - from);
}

}  // namespace

void decode_url_entities(std::string& text) {
  if (text.find('&') == std::string::npos) return;
  replace_named_entities(text, FIRST_ENTITIES);
  replace_named_entities(text, SECOND_ENTITIES);
  replace_numeric_entities(text);
  delete_named_entities(text);
}

}  // namespace wk
