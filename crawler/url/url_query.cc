#include "crawler/url/url_query.h"

#include <cstddef>

namespace wk {
namespace {

unsigned char read_plus(char byte) { return static_cast<unsigned char>(byte == '+' ? ' ' : byte); }

// The value of a hexadecimal digit. Any other byte has some value too: nothing is refused.
uint32_t read_digit(unsigned char c) {
  if (c < 'A') return uint32_t{c} - '0';
  return (uint32_t{c} & ~uint32_t{0x20}) - 'A' + 10;
}

// A "%" too close to the end stays as it is.
void decode_query_text(std::string& out, std::string_view text) {
  out.clear();
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned char c = read_plus(text[i]);
    if (c == '%' && text.size() - i > 2) {
      const uint32_t value =
          read_digit(read_plus(text[i + 1])) * 16 + read_digit(read_plus(text[i + 2]));
      c = static_cast<unsigned char>(value & 0xFF);
      i += 2;
    }
    out.push_back(static_cast<char>(c));
  }
}

}  // namespace

uint32_t parse_query_string(std::string_view text, query_parameter_callback callback,
                            void* context) {
  size_t mark = text.find('?');
  std::string name;
  std::string value;
  uint32_t nb_parameters = 0;
  // mark is at the byte before a piece: the "?" or the separator behind the piece before.
  while (mark != std::string_view::npos) {
    const size_t begin = mark + 1;
    mark = text.find_first_of("&;", begin);
    const std::string_view piece =
        text.substr(begin, mark == std::string_view::npos ? std::string_view::npos : mark - begin);
    const size_t equals = piece.find('=');
    decode_query_text(name, piece.substr(0, equals));
    decode_query_text(
        value, equals == std::string_view::npos ? std::string_view() : piece.substr(equals + 1));
    callback(name, value, context);
    ++nb_parameters;
  }
  return nb_parameters;
}

}  // namespace wk
