// What the fuzz targets share: stating a law, and cutting an input into parts.
#pragma once

#include <string_view>

namespace wk {

// A target defines this: it takes any bytes and requires what holds for all of them.
void test_one_input(std::string_view bytes);

// Ends the process with the law in words when it does not hold.
void require_law(bool holds, const char* law);

// Cuts the part up to the first byte 0xFF off the front of bytes, and that byte with it.
[[nodiscard]] std::string_view take_part(std::string_view& bytes);
// Cuts the first byte off; 0 when there is none.
[[nodiscard]] unsigned char take_byte(std::string_view& bytes);

// Calls action. False when a fatal report ended it, which elsewhere ends the process; what the
// action held is lost then. Only for targets that are linked with --wrap=exit.
[[nodiscard]] bool runs_to_its_end(void (*action)(void* context), void* context);

}  // namespace wk
