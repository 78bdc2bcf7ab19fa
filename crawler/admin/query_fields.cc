#include "crawler/admin/query_fields.h"

#include <algorithm>

#include "crawler/url/url_query.h"
#include "wkstd/text.h"

namespace wk {
namespace {

void add_field(const std::string& name, const std::string& value, void* context) {
  static_cast<query_fields*>(context)->emplace_back(name, value);
}

// piece is one "name=value" of a query.
bool is_password_piece(std::string_view piece) {
  const query_fields fields = read_query_fields("?" + std::string(piece));
  return !fields.empty() && fields.front().first == "pass";
}

}  // namespace

query_fields read_query_fields(std::string_view target) {
  query_fields fields;
  parse_query_string(target, add_field, &fields);
  return fields;
}

const std::string* find_field(const query_fields& fields, std::string_view name) {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [name](const auto& field) { return field.first == name; });
  return found == fields.end() ? nullptr : &found->second;
}

const std::string* find_filled_field(const query_fields& fields, std::string_view name) {
  const std::string* value = find_field(fields, name);
  return value != nullptr && value->empty() ? nullptr : value;
}

std::string list_empty_fields(const query_fields& fields,
                              std::initializer_list<std::string_view> names) {
  std::string listed;
  for (const std::string_view name : names) {
    const std::string* value = find_field(fields, name);
    if (value == nullptr || !value->empty()) continue;
    listed.append(listed.empty() ? "" : ", ").append(name);
  }
  return listed;
}

bool is_box_checked(const query_fields& fields, std::string_view name) {
  const std::string* value = find_field(fields, name);
  return value != nullptr && equals_ignoring_case(*value, "on");
}

int32_t read_number_field(const query_fields& fields, std::string_view name) {
  const std::string* value = find_field(fields, name);
  return value == nullptr ? 0 : parse_integer(*value);
}

std::string mask_password_fields(std::string_view target) {
  const size_t query = std::min(target.find('?'), target.size());
  std::string masked(target.substr(0, query));
  // mark is at the byte before a piece: the "?" or the separator behind the piece before.
  for (size_t mark = query; mark < target.size();) {
    const size_t end = std::min(target.find_first_of("&;", mark + 1), target.size());
    const std::string_view piece = target.substr(mark + 1, end - mark - 1);
    masked.push_back(target[mark]);
    if (is_password_piece(piece)) {
      masked.append(piece.substr(0, piece.find('='))).append("=***");
    } else {
      masked.append(piece);
    }
    mark = end;
  }
  return masked;
}

}  // namespace wk
