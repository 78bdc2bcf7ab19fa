// The form fields of a request's target, decoded.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace wk {

// In the order of the query; names may come twice, and the first one counts.
using query_fields = std::vector<std::pair<std::string, std::string>>;

[[nodiscard]] query_fields read_query_fields(std::string_view target);
// Null when the query does not hold it.
[[nodiscard]] const std::string* find_field(const query_fields& fields, std::string_view name);
// The field's value when there is one that is not empty, else null.
[[nodiscard]] const std::string* find_filled_field(const query_fields& fields,
                                                   std::string_view name);
// The names of those fields that are there and empty, with commas between.
[[nodiscard]] std::string list_empty_fields(const query_fields& fields,
                                            std::initializer_list<std::string_view> names);
[[nodiscard]] bool is_box_checked(const query_fields& fields, std::string_view name);
// The number that the field's value begins with; 0 when it is none, or absent.
[[nodiscard]] int32_t read_number_field(const query_fields& fields, std::string_view name);

// The target with "***" as the value of every field called "pass", however the name is encoded.
[[nodiscard]] std::string mask_password_fields(std::string_view target);

}  // namespace wk
