#include "crawler/horizon/urls_in_hands.h"

namespace wk {

void hand_out_url(urls_in_hands& hands, const std::string& url) { hands.urls.insert(url); }

void take_back_url(urls_in_hands& hands, std::string_view url) {
  const auto at = hands.urls.find(url);
  if (at != hands.urls.end()) {
    hands.urls.erase(at);
  } else if (hands.nb_unnamed > 0) {
    --hands.nb_unnamed;
  }
}

void write_urls_in_hands(output_file& file, const urls_in_hands& hands) {
  for (const std::string& url : hands.urls) {
    write_output_file(file, url);
    write_output_file(file, "\n");
  }
}

}  // namespace wk
