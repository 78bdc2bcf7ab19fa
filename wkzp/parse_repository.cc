#include "wkzp/parse_repository.h"

#include <utility>

#include "wkstd/error.h"
#include "wkstd/file.h"
#include "wkstd/state_stream.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint32_t MAGIC = 0x52504b57;
constexpr uint32_t VERSION = 1;
constexpr uint64_t MAX_FILE_BYTES = 16 << 20;

uint32_t compute_adler32(std::string_view bytes) {
  constexpr uint32_t MODULUS = 65'521;
  uint32_t a = 1;
  uint32_t b = 0;
  for (const char c : bytes) {
    a = (a + static_cast<unsigned char>(c)) % MODULUS;
    b = (b + a) % MODULUS;
  }
  return b << 16 | a;
}

const parse_repository& get_built_in() {
  static const parse_repository repository = build_parse_repository();
  return repository;
}

parse_repository& get_loaded() {
  static parse_repository repository;  // empty: the built-in one is in force
  return repository;
}

const parse_entry* find_entry(const parse_repository& repository, std::string_view name) {
  for (const parse_entry& entry : repository.entries) {
    if (entry.name == name) return &entry;
  }
  return nullptr;
}

bool take_entry(std::string_view& bytes, parse_entry& entry) {
  return take_u32(bytes, entry.kind) && entry.kind == PARSE_ENTRY_PCRE &&
         take_string(bytes, entry.name) && take_string(bytes, entry.source);
}

}  // namespace

parse_repository build_parse_repository() {
  const std::pair<std::string_view, const char*> patterns[] = {
      {PATTERN_URL_DECIMAL_ENTITY, "&#[0-9]{2,4};"},
      {PATTERN_URL_NAMED_ENTITY, "&[a-zA-Z0-9]{2,8};"},
      {PATTERNS_COOKIE_DATE[0], R"(^[a-zA-Z]{3,5}, \d+-[a-zA-Z]+-\d{2} \d{2}:\d{2}:\d{2} GMT$)"},
      {PATTERNS_COOKIE_DATE[1], R"(^[a-zA-Z]{3,5} [a-zA-Z]+ \d\d \d{2}:\d{2}:\d{2} \d{4} GMT$)"},
      {PATTERNS_COOKIE_DATE[2], R"(^[a-zA-Z]{3,5}, \d+-[a-zA-Z]+-\d{4} \d{2}:\d{2}:\d{2} GMT$)"},
      {PATTERNS_COOKIE_DATE[3], R"(^[a-zA-Z]{3,5}, \d+ [a-zA-Z]+ \d{4} \d{2}:\d{2}:\d{2} GMT$)"},
  };
  parse_repository repository;
  for (const auto& [name, source] : patterns) {
    repository.entries.push_back({PARSE_ENTRY_PCRE, std::string(name), source});
  }
  return repository;
}

void write_parse_repository(const parse_repository& repository, std::string& out) {
  out.clear();
  append_u32(out, MAGIC);
  append_u32(out, VERSION);
  append_u32(out, static_cast<uint32_t>(repository.entries.size()));
  for (const parse_entry& entry : repository.entries) {
    append_u32(out, entry.kind);
    append_string(out, entry.name);
    append_string(out, entry.source);
  }
  append_u32(out, compute_adler32(out));
}

bool read_parse_repository(std::string_view bytes, parse_repository& repository) {
  const std::string_view whole = bytes;
  uint32_t magic = 0;
  uint32_t version = 0;
  uint32_t count = 0;
  if (!take_u32(bytes, magic) || magic != MAGIC) return false;
  if (!take_u32(bytes, version) || version != VERSION) return false;
  if (!take_u32(bytes, count)) return false;
  parse_repository read;
  for (uint32_t i = 0; i < count; ++i) {
    parse_entry entry;
    if (!take_entry(bytes, entry)) return false;
    read.entries.push_back(std::move(entry));
  }
  const std::string_view checked = whole.substr(0, whole.size() - bytes.size());
  uint32_t check = 0;
  if (!take_u32(bytes, check) || !bytes.empty() || check != compute_adler32(checked)) return false;
  repository = std::move(read);
  return true;
}

bool load_parse_repository(const std::string& path) {
  std::string bytes;
  if (!read_whole_file(path, MAX_FILE_BYTES, bytes)) {
    print_message(format_text("%s: cannot open file\n", path.c_str()));
    return false;
  }
  if (read_parse_repository(bytes, get_loaded())) return true;
  std::string_view head = bytes;
  uint32_t type = 0;
  (void)take_u32(head, type);  // a file of less than four bytes has type 0
  print_message(format_text("%s: incorrect file type (%u)\n", path.c_str(), type));
  return false;
}

const parse_repository& get_parse_repository() {
  return get_loaded().entries.empty() ? get_built_in() : get_loaded();
}

std::string_view get_pattern_parse_repository(std::string_view name) {
  const parse_entry* entry = find_entry(get_loaded(), name);
  if (entry == nullptr) entry = find_entry(get_built_in(), name);
  return entry == nullptr ? std::string_view() : std::string_view(entry->source);
}

}  // namespace wk
