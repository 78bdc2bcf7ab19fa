#include "bench/micro/real_pages.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "crawler/content/html_scan.h"

namespace wk {
namespace {

constexpr size_t MAX_PAGES = 2'000;
const char* const SITES[] = {"/usr/share/doc/openjdk-17-jre-headless/api",
                             "/usr/share/doc/python3.11/html"};

std::vector<real_page> read_site(const std::string& directory) {
  std::vector<real_page> pages;
  if (!std::filesystem::is_directory(directory)) return pages;
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (entry.path().extension() == ".html") paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  const size_t step = std::max<size_t>(paths.size() / MAX_PAGES, 1);
  for (size_t i = 0; i < paths.size() && pages.size() < MAX_PAGES; i += step) {
    std::ifstream file(paths[i], std::ios::binary);
    pages.push_back({"http://127.0.0.1:8080" + paths[i].substr(directory.rfind('/')),
                     std::string(std::istreambuf_iterator<char>(file), {})});
  }
  return pages;
}

std::vector<real_page> read_pages() {
  for (const char* site : SITES) {
    std::vector<real_page> pages = read_site(site);
    if (!pages.empty()) return pages;
  }
  std::fprintf(stderr, "Neither openjdk-17-doc nor python3-doc is installed\n");
  std::exit(1);
}

std::vector<real_link> find_links() {
  std::vector<real_link> links;
  for (const real_page& page : get_real_pages()) {
    html_scan scan = start_html_scan(page.text);
    for (html_link link; find_next_html_link(scan, link);) links.push_back({link.value, page.url});
  }
  return links;
}

}  // namespace

const std::vector<real_page>& get_real_pages() {
  static const std::vector<real_page> pages = read_pages();
  return pages;
}

size_t count_bytes_real_pages() {
  size_t count = 0;
  for (const real_page& page : get_real_pages()) count += page.text.size();
  return count;
}

const std::vector<real_link>& get_real_links() {
  static const std::vector<real_link> links = find_links();
  return links;
}

}  // namespace wk
