// Form fields out of a query string (application/x-www-form-urlencoded, with "&" and ";").
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

using query_parameter_callback = void (*)(const std::string& name, const std::string& value,
                                          void* context);

// Calls callback for every parameter after the first "?", decoded, in order; their number.
uint32_t parse_query_string(std::string_view text, query_parameter_callback callback,
                            void* context);

}  // namespace wk
