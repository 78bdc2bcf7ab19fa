// The links that one of a page's searches puts together.
#pragma once

#include <iterator>
#include <sstream>
#include <string>

#include "crawler/content/link_gatherer.h"

namespace wk {

// The links that add puts together for a page http://h/d/p, blank-separated, those below
// http://h/d/ without that prefix.
template <typename adder>
std::string gather(const adder& add) {
  link_list links;
  link_gatherer gatherer;
  begin_link_gatherer(gatherer, "http://h/d/p", links);
  add(gatherer);
  std::string found;
  for (uint32_t i = 0; i < links.count; ++i) {
    if (i > 0) found += ' ';
    found += links.urls[i].substr(links.urls[i].starts_with("http://h/d/") ? 11 : 0);
  }
  return found;
}

inline size_t count_words(const std::string& text) {
  std::istringstream words(text);
  return static_cast<size_t>(std::distance(std::istream_iterator<std::string>(words),
                                           std::istream_iterator<std::string>()));
}

}  // namespace wk
